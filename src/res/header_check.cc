// SPDX-License-Identifier: Apache-2.0
//
// The order of the tests matters: counts before the tables that they bound, terminators before anything reads a text, extents last. Sizes
// are added up in 64 bits; each is compared with what is left before it is added.
#include "res/header_check.h"

#include <cstring>

#include "log/log.h"
#include "res/header_parser.h"
#include "res/res_mgr.h"

namespace TSEG {
namespace {

bool IsTerminated(const char* field, size_t bytes) { return std::memchr(field, 0, bytes) != nullptr; }

std::string Numbered(const char* what, int number) { return std::string(what) + " " + std::to_string(number); }

// Names, types and sizes of all variables against the data block.
template <class Image>
std::string FindVariableFlaw(const MlpResFileHeader<Image>& header) {
  using Parser = MlpResHeaderParser<Image>;
  for (int i = 0; i < header.nVars; ++i) {
    if (!IsTerminated(header.szVarName[i], Parser::kNameBytes)) return Numbered("the name is not terminated of variable", i);
    if (Parser::kTyped && !IsTerminated(header.szDataType[i], sizeof header.szDataType[i])) {
      return Numbered("the data type is not terminated of variable", i);
    }
  }
  uint64_t end = 0;
  for (int i = 0; i < header.nVars; ++i) {
    const std::string name = header.szVarName[i];
    if (header.nInner[i] < 1 || header.nOuter[i] < 1) {
      return "variable " + name + " has the shape " + std::to_string(header.nOuter[i]) + " x " + std::to_string(header.nInner[i]);
    }
    const auto bytes = static_cast<uint64_t>(MlpDataTypeBytes(Parser::get_var_datatype(header, name.c_str())));
    // Only what lies behind a variable depends on its type. The last one may be of any kind, as long as nobody asks for it.
    if (bytes == 0 && i + 1 < header.nVars) {
      WVAD_FAIL(0, "NULL", "get_var_datatype: do not support type %s.", name.c_str());
      return "variable " + name + " has an unknown data type";
    }
    const uint64_t elements = static_cast<uint64_t>(header.nInner[i]) * static_cast<uint64_t>(header.nOuter[i]);
    // Below 2 to the 62, so the bytes are only worked out once the count is known to be small.
    if (elements > header.data.size() || elements * bytes > header.data.size() - end) {
      return "variable " + name + " reaches beyond the end of the file";
    }
    end += elements * bytes;
  }
  return {};
}

}  // namespace

template <class Image>
std::string FindFlaw(const MlpResFileHeader<Image>& header) {
  if (header.nVars < 0 || header.nVars > kMaxVars) return Numbered("the number of variables is", header.nVars);
  return FindVariableFlaw(header);
}

template <class Image>
std::string FindKeyFlaw(const MlpResFileHeader<Image>& header) {
  if (header.nKeys < 0 || header.nKeys > kMaxKeys) return Numbered("the number of keys is", header.nKeys);
  for (int i = 0; i < header.nKeys; ++i) {
    if (!IsTerminated(header.szKey[i], sizeof header.szKey[i])) return Numbered("the text is not terminated of key", i);
    if (!IsTerminated(header.szValue[i], sizeof header.szValue[i])) return Numbered("the value is not terminated of key", i);
  }
  return {};
}

template std::string FindFlaw(const MlpResFileHeaderV1& header);
template std::string FindFlaw(const MlpResFileHeaderV2& header);
template std::string FindFlaw(const MlpResFileHeaderV3& header);
template std::string FindKeyFlaw(const MlpResFileHeaderV1& header);
template std::string FindKeyFlaw(const MlpResFileHeaderV2& header);
template std::string FindKeyFlaw(const MlpResFileHeaderV3& header);

int RefuseModel(const std::string& what) {
  return WVAD_FAIL(kResUnreadable, "ret", "ResLoader_ftr::load | model file refused, %s", what.c_str());
}

}  // namespace TSEG
