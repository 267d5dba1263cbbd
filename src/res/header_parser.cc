// SPDX-License-Identifier: Apache-2.0
//
// One implementation for the three header shapes; what differs is chosen by the shape at compile time.
#include "res/header_parser.h"

#include <cstring>

#include "log/log.h"
#include "nn/network_models.h"
#include "res/conversions.h"

namespace TSEG {
namespace {

// The length of the text in a fixed field, which need not be terminated.
size_t FieldLength(const char* field, size_t bytes) { return strnlen(field, bytes); }

bool FieldEquals(const char* field, size_t bytes, const char* text) {
  const size_t n = FieldLength(field, bytes);
  return n == strnlen(text, bytes) && std::memcmp(field, text, n) == 0;
}

// `convert` turns each of `outer` rows of `inner` elements into one of the padded length. `to` is zero where nothing is written.
template <typename From, typename To, typename Convert>
void CopyRows(const uint8_t* from, int64_t outer, int64_t inner, int64_t padded_inner, To* to, Convert convert) {
  for (int64_t r = 0; r < outer; ++r) {
    convert(from + static_cast<size_t>(r * inner) * sizeof(From), static_cast<size_t>(inner), to + r * padded_inner);
  }
}

// A row as it is.
template <typename T>
void CopyRow(const uint8_t* from, size_t n, T* to) {
  std::memcpy(to, from, n * sizeof(T));
}

// The place of a padded copy. Null when the data or the block is too short.
template <typename From, typename To, class Header>
To* TakePadded(const Header& header, int index, uint64_t offset, BlockCursor* cursor) {
  const int64_t inner = header.nInner[index];
  const int64_t outer = header.nOuter[index];
  if (inner < 0 || outer < 0) return nullptr;
  const uint64_t elements = static_cast<uint64_t>(inner) * static_cast<uint64_t>(outer);
  if (elements > header.data.size() || !header.data.holds(offset, elements * sizeof(From))) return nullptr;
  const uint64_t padded = static_cast<uint64_t>(PaddedDim(inner)) * static_cast<uint64_t>(PaddedDim(outer));
  return static_cast<To*>(cursor->Take(padded * sizeof(To)));
}

// The copy that all register operations share. Null likewise.
template <typename From, typename To, class Header, typename Convert>
To* CopyPadded(const Header& header, int index, uint64_t offset, BlockCursor* cursor, Convert convert) {
  To* to = TakePadded<From, To>(header, index, offset, cursor);
  if (to == nullptr) return nullptr;
  const int64_t inner = header.nInner[index];
  CopyRows<From>(header.data.data() + offset, header.nOuter[index], inner, PaddedDim(inner), to, convert);
  return to;
}

}  // namespace

int32_t NetworkTypeCode(const char* szMlpType) {
  for (const MlpTypeRow& row : kMlpTypes) {
    if (std::strncmp(szMlpType, row.name, 16) == 0) return row.code;
  }
  return kMlpUnknown;
}

template <class Image>
int MlpResHeaderParser<Image>::find_var(const Header& header, const char* name) {
  const int n = header.nVars < kMaxVars ? header.nVars : kMaxVars;
  for (int i = 0; i < n; ++i) {
    if (FieldEquals(header.szVarName[i], kNameBytes, name)) return i;
  }
  return -1;
}

template <class Image>
int MlpResHeaderParser<Image>::get_var_index(const Header& header, const char* name) {
  const int index = find_var(header, name);
  if (index >= 0) return index;
  WVAD_LOG_ERROR("%s: can't find  %s in resource, but force index to 0", "MlpResHeaderParser<struct MlpResFileHeader>::get_var_index",
                 name);
  return 0;
}

template <class Image>
int MlpResHeaderParser<Image>::find_key(const Header& header, const char* key) {
  const int n = header.nKeys < kMaxKeys ? header.nKeys : kMaxKeys;
  for (int i = 0; i < n; ++i) {
    if (std::strncmp(header.szKey[i], key, sizeof header.szKey[i]) == 0) return i;
  }
  return -1;
}

template <class Image>
bool MlpResHeaderParser<Image>::key_is(const Header& header, const char* key, const char* value) {
  const int row = find_key(header, key);
  return row >= 0 && FieldEquals(header.szValue[row], sizeof header.szValue[row], value);
}

template <class Image>
int MlpResHeaderParser<Image>::get_var_datatype(const Header& header, const char* name) {
  const int index = find_var(header, name);
  if (index < 0) return kTypeUnknown;
  if constexpr (!kTyped) {
    return kTypeFloat;
  } else {
    for (const MlpDataTypeRow& row : kMlpDataTypes) {
      if (FieldEquals(header.szDataType[index], sizeof header.szDataType[index], row.name)) return row.code;
    }
    return kTypeUnknown;
  }
}

template <class Image>
uint64_t MlpResHeaderParser<Image>::var_offset(const Header& header, int index) {
  uint64_t offset = 0;
  for (int j = 0; j < index && j < kMaxVars; ++j) {
    int bytes = 4;
    if constexpr (kTyped) {
      bytes = MlpDataTypeBytes(get_var_datatype(header, header.szVarName[j]));
      if (bytes == 0) {
        WVAD_FAIL(0, "NULL", "get_var_datatype: do not support type %s.", header.szVarName[j]);
        return 0;
      }
    }
    offset += static_cast<uint64_t>(header.nInner[j]) * static_cast<uint64_t>(header.nOuter[j]) * static_cast<uint64_t>(bytes);
  }
  return offset;
}

template <class Image>
uint64_t MlpResHeaderParser<Image>::padded_size(const Header& header) {
  uint64_t sum = 0;
  for (int i = 0; i < header.nVars && i < kMaxVars; ++i) sum += padded_elements(header, i);
  return sum;
}

template <class Image>
uint64_t MlpResHeaderParser<Image>::padded_bytes(const Header& header) {
  uint64_t sum = 0;
  for (int i = 0; i < header.nVars && i < kMaxVars; ++i) {
    sum += padded_elements(header, i) * static_cast<uint64_t>(MlpDataTypeBytes(get_var_datatype(header, header.szVarName[i])));
  }
  return sum;
}

template <class Image>
int MlpResHeaderParser<Image>::count_matching(const Header& header, const char* pattern) {
  const size_t length = std::strlen(pattern);
  const char* star = std::strchr(pattern, '*');
  int count = 0;
  for (int i = 0; i < header.nVars && i < kMaxVars; ++i) {
    const char* name = header.szVarName[i];
    if (FieldLength(name, kNameBytes) != length) continue;
    size_t differences = 0;
    for (size_t k = 0; k < length; ++k) differences += name[k] != pattern[k] ? 1U : 0U;
    if (star == nullptr) {
      count += differences == 0 ? 1 : 0;
    } else {
      const char at_star = name[star - pattern];
      count += differences == 1 && at_star >= '0' && at_star <= '9' ? 1 : 0;
    }
  }
  return count;
}

template <class Image>
int32_t MlpResHeaderParser<Image>::network_type_code(const Header& header) {
  return NetworkTypeCode(header.szMlpType);
}

template <class Image>
float* MlpResHeaderParser<Image>::register_value_float(const Header& header, float** destination, const char* name, BlockCursor* cursor) {
  const int index = get_var_index(header, name);
  if (index >= header.nVars) {
    WVAD_LOG_ERROR("register_value_float: can't find  %s in resource", name);
    return nullptr;
  }
  float* to = CopyPadded<float, float>(header, index, var_offset(header, index), cursor, CopyRow<float>);
  if (to == nullptr) return nullptr;
  *destination = to;
  return to + padded_elements(header, index);
}

template <class Image>
float* MlpResHeaderParser<Image>::place_for_value(const Header& header, const char* name, BlockCursor* cursor) {
  const int index = find_var(header, name);
  if (index < 0) {
    WVAD_FAIL(0, "NULL", "register_value_typed: can't find  %s in resource", name);
    return nullptr;
  }
  if (get_var_datatype(header, name) != kTypeFloat) return nullptr;
  return TakePadded<float, float>(header, index, var_offset(header, index), cursor);
}

template <class Image>
float* MlpResHeaderParser<Image>::register_value_typed(const Header& header, float** destination, const char* name, BlockCursor* cursor) {
  float* to = place_for_value(header, name, cursor);
  if (to == nullptr) return nullptr;
  const int index = find_var(header, name);
  const int64_t inner = header.nInner[index];
  CopyRows<float>(header.data.data() + var_offset(header, index), header.nOuter[index], inner, PaddedDim(inner), to, CopyRow<float>);
  *destination = to;
  return to + padded_elements(header, index);
}

template <class Image>
uint8_t MlpResHeaderParser<Image>::header_shift(const Header& header, int index, [[maybe_unused]] ShiftTable table) {
  if constexpr (std::is_same_v<Image, MlpResImageV1>) {
    return static_cast<uint8_t>(header.nShift[index] & 0xFF);
  } else if constexpr (std::is_same_v<Image, MlpResImageV2>) {
    return 0;  // this shape has ranges instead
  } else {
    return static_cast<uint8_t>((table == ShiftTable::k8 ? header.nShift8 : header.nShift16)[index] & 0xFF);
  }
}

template <class Image>
void* MlpResHeaderParser<Image>::register_value_fixed(const Header& header, void** destination, const char* name, BlockCursor* cursor,
                                                      int width, int shift, ShiftTable table) {
  int index = -1;
  if constexpr (kTyped) {
    index = find_var(header, name);
    if (index < 0) {
      WVAD_FAIL(0, "NULL", "register_value_typed: can't find  %s in resource", name);
      return nullptr;
    }
    if (get_var_datatype(header, name) != kTypeFloat) return nullptr;
  } else {
    index = get_var_index(header, name);
    if (index >= header.nVars) return nullptr;
  }
  const int s = shift >= kShiftFromHeader ? header_shift(header, index, table) : shift;
  const uint64_t offset = var_offset(header, index);
  void* to = nullptr;
  if (width == 4) {
    to = CopyPadded<float, int32_t>(header, index, offset, cursor, [s](const uint8_t* x, size_t n, int32_t* y) { Fixed32Row(x, n, s, y); });
  } else if (width == 2) {
    to = CopyPadded<float, int16_t>(header, index, offset, cursor, [s](const uint8_t* x, size_t n, int16_t* y) { Fixed16Row(x, n, s, y); });
  } else {
    to = CopyPadded<float, int8_t>(header, index, offset, cursor, [s](const uint8_t* x, size_t n, int8_t* y) { Fixed8Row(x, n, s, y); });
  }
  if (to == nullptr) return nullptr;
  *destination = to;
  return static_cast<uint8_t*>(to) + padded_elements(header, index) * static_cast<uint64_t>(width);
}

template <class Image>
int16_t* MlpResHeaderParser<Image>::register_map(const Header& header, int16_t** destination, BlockCursor* cursor) {
  const int index = find_var(header, "map");
  if (index < 0 || get_var_datatype(header, "map") != kTypeShort) return nullptr;
  int16_t* to = CopyPadded<int16_t, int16_t>(header, index, var_offset(header, index), cursor, CopyRow<int16_t>);
  if (to == nullptr) return nullptr;
  *destination = to;
  return to + padded_elements(header, index);
}

template struct MlpResHeaderParser<MlpResImageV1>;
template struct MlpResHeaderParser<MlpResImageV2>;
template struct MlpResHeaderParser<MlpResImageV3>;

}  // namespace TSEG
