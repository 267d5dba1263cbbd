// SPDX-License-Identifier: Apache-2.0
//
// From bytes to a ModelContents, through the engine's own header checks.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "modelfile/modelfile.h"
#include "res/header_check.h"
#include "res/header_parser.h"

namespace TSEG::modelfile {
namespace {

template <typename T>
void GetValues(const uint8_t* from, size_t n, std::vector<double>* to) {
  to->resize(n);
  for (size_t i = 0; i < n; ++i) {
    T value;
    std::memcpy(&value, from + i * sizeof value, sizeof value);
    (*to)[i] = static_cast<double>(value);
  }
}

void GetData(int type, const uint8_t* from, size_t n, std::vector<double>* to) {
  switch (type) {
    case kTypeDouble:
      GetValues<double>(from, n, to);
      break;
    case kTypeFloat:
      GetValues<float>(from, n, to);
      break;
    case kTypeInt:
      GetValues<int32_t>(from, n, to);
      break;
    case kTypeShort:
      GetValues<int16_t>(from, n, to);
      break;
    case kTypeUshort:
      GetValues<uint16_t>(from, n, to);
      break;
    case kTypeUchar:
      GetValues<uint8_t>(from, n, to);
      break;
    default:
      GetValues<int8_t>(from, n, to);
      break;
  }
}

// Names are bytes, or UTF-8 where names are characters: never the code page's, for which the library would take them.
std::filesystem::path PathOf(const std::string& name) { return std::u8string(name.begin(), name.end()); }

template <class Image>
ModelContents Read(const ByteView& file, uint64_t offset, Shape shape) {
  using Parser = MlpResHeaderParser<Image>;
  auto header = std::make_unique<MlpResFileHeader<Image>>();
  if (!CopyHeader(file, offset, header.get())) throw std::runtime_error("the header reaches beyond the end of the file");
  for (const std::string& flaw : {FindFlaw(*header), FindKeyFlaw(*header)}) {
    if (!flaw.empty()) throw std::runtime_error(flaw);
  }
  ModelContents contents;
  contents.shape = shape;
  contents.network_type = std::string(header->szMlpType, strnlen(header->szMlpType, sizeof header->szMlpType));
  if constexpr (std::is_same_v<Image, MlpResImageV2>) std::memcpy(contents.fScale.data(), header->fScale, sizeof header->fScale);
  for (int i = 0; i < header->nKeys; ++i) contents.keys.emplace_back(header->szKey[i], header->szValue[i]);
  for (int i = 0; i < header->nVars; ++i) {
    Variable variable;
    variable.name = header->szVarName[i];
    variable.inner = header->nInner[i];
    variable.outer = header->nOuter[i];
    if constexpr (Parser::kTyped) variable.dtype = header->szDataType[i];
    if constexpr (std::is_same_v<Image, MlpResImageV1>) variable.nShift8 = header->nShift[i];
    if constexpr (std::is_same_v<Image, MlpResImageV3>) {
      variable.nShift16 = header->nShift16[i];
      variable.nAux16 = header->nAux16[i];
      variable.nShift8 = header->nShift8[i];
      variable.nAux8 = header->nAux8[i];
    }
    const int type = Parser::get_var_datatype(*header, variable.name.c_str());
    if (MlpDataTypeBytes(type) == 0) throw std::runtime_error("variable " + variable.name + " has an unknown data type");
    const size_t n = static_cast<size_t>(variable.inner) * static_cast<size_t>(variable.outer);
    GetData(type, header->data.data() + Parser::var_offset(*header, i), n, &variable.data);
    contents.variables.push_back(std::move(variable));
  }
  return contents;
}

}  // namespace

ModelContents ReadModel(const Bytes& bytes) {
  const ByteView file(bytes.data(), bytes.size());
  if (!file.matches(kPrefixMagic, kModelMagic, kPrefixMagicBytes)) throw std::runtime_error("not a model file: the magic word is missing");
  const uint64_t offset = *file.u16(kPrefixHeaderSize);
  const auto type = file.sub(offset + kHeaderTypeOffset, kHeaderTypeBytes);
  if (!type) throw std::runtime_error("the header reaches beyond the end of the file");
  const auto* text = reinterpret_cast<const char*>(type->data());
  const Shape shape = ShapeOfType(std::string(text, strnlen(text, kHeaderTypeBytes)));
  switch (shape) {
    case Shape::kV1:
      return Read<MlpResImageV1>(file, offset, shape);
    case Shape::kV2:
      return Read<MlpResImageV2>(file, offset, shape);
    default:
      return Read<MlpResImageV3>(file, offset, shape);
  }
}

Bytes ReadFileBytes(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(PathOf(path), ignored);
  // A folder opens as a file does, and a device may never end.
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    throw std::runtime_error(path + ": is no ordinary file");
  std::ifstream in(PathOf(path), std::ios::binary);
  if (!in) throw std::runtime_error(path + ": cannot be opened");
  Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw std::runtime_error(path + ": cannot be read");
  return bytes;
}

void WriteFileBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream out(PathOf(path), std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace TSEG::modelfile
