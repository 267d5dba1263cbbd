// SPDX-License-Identifier: Apache-2.0
//
// From a ModelContents to bytes. A header image is filled field by field and written as it stands; the data follows in table order.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>

#include "modelfile/modelfile.h"
#include "res/model_format.h"

namespace TSEG::modelfile {
namespace {

constexpr uint16_t kHeaderOffset = 384;  // right behind the prefix

[[noreturn]] void Refuse(const std::string& what) { throw std::runtime_error(what); }

template <size_t N>
void PutText(char (&field)[N], const std::string& text, const std::string& what) {
  if (text.size() >= N) Refuse(what + " \"" + text + "\" is longer than " + std::to_string(N - 1) + " characters");
  if (text.find('\0') != std::string::npos) Refuse(what + " holds a NUL character");
  std::memcpy(field, text.data(), text.size());
}

const MlpDataTypeRow& DataType(const Variable& variable) {
  for (const MlpDataTypeRow& row : kMlpDataTypes) {
    if (variable.dtype == row.name) return row;
  }
  Refuse("variable " + variable.name + ": unknown data type \"" + variable.dtype + "\"");
}

template <typename T>
void PutIntegers(const Variable& variable, uint8_t* to) {
  for (size_t i = 0; i < variable.data.size(); ++i) {
    const double x = variable.data[i];
    if (!(x >= static_cast<double>(std::numeric_limits<T>::min()) && x <= static_cast<double>(std::numeric_limits<T>::max())) ||
        x != std::floor(x)) {
      Refuse("variable " + variable.name + ": " + std::to_string(x) + " is not a value of type " + variable.dtype);
    }
    const T value = static_cast<T>(x);
    std::memcpy(to + i * sizeof value, &value, sizeof value);
  }
}

void PutFloats(const Variable& variable, uint8_t* to) {
  for (size_t i = 0; i < variable.data.size(); ++i) {
    const double x = variable.data[i];
    if (std::isfinite(x) && std::fabs(x) > static_cast<double>(std::numeric_limits<float>::max())) {
      Refuse("variable " + variable.name + ": " + std::to_string(x) + " is not a value of type float");
    }
    const float value = static_cast<float>(x);
    std::memcpy(to + i * sizeof value, &value, sizeof value);
  }
}

void PutData(const Variable& variable, Bytes* file) {
  const MlpDataTypeRow& type = DataType(variable);
  const size_t begin = file->size();
  file->resize(begin + variable.data.size() * static_cast<size_t>(type.bytes));
  uint8_t* to = file->data() + begin;
  switch (type.code) {
    case kTypeDouble:
      std::memcpy(to, variable.data.data(), variable.data.size() * sizeof(double));
      break;
    case kTypeFloat:
      PutFloats(variable, to);
      break;
    case kTypeInt:
      PutIntegers<int32_t>(variable, to);
      break;
    case kTypeShort:
      PutIntegers<int16_t>(variable, to);
      break;
    case kTypeUshort:
      PutIntegers<uint16_t>(variable, to);
      break;
    case kTypeUchar:
      PutIntegers<uint8_t>(variable, to);
      break;
    default:
      PutIntegers<int8_t>(variable, to);
      break;
  }
}

void PutShifts(const Variable& variable, size_t i, MlpResImageV1* image) { image->nShift[i] = variable.nShift8; }
void PutShifts(const Variable&, size_t, MlpResImageV2*) {}
void PutShifts(const Variable& variable, size_t i, MlpResImageV3* image) {
  image->nShift16[i] = variable.nShift16;
  image->nAux16[i] = variable.nAux16;
  image->nShift8[i] = variable.nShift8;
  image->nAux8[i] = variable.nAux8;
}

template <class Image>
Bytes Write(const ModelContents& contents) {
  if (contents.variables.size() > kMaxVars) Refuse("more than " + std::to_string(kMaxVars) + " variables");
  if (contents.keys.size() > kMaxKeys) Refuse("more than " + std::to_string(kMaxKeys) + " keys");
  auto image = std::make_unique<Image>();
  PutText(image->szMlpType, contents.network_type, "network type");
  image->nVars = static_cast<int32_t>(contents.variables.size());
  image->nKeys = static_cast<int32_t>(contents.keys.size());
  for (size_t i = 0; i < contents.variables.size(); ++i) {
    const Variable& variable = contents.variables[i];
    PutText(image->szVarName[i], variable.name, "variable name");
    PutText(image->szDataType[i], variable.dtype, "data type");
    if (variable.inner < 1 || variable.outer < 1) Refuse("variable " + variable.name + ": a dimension is below 1");
    if (variable.data.size() != static_cast<uint64_t>(variable.inner) * static_cast<uint64_t>(variable.outer)) {
      Refuse("variable " + variable.name + ": " + std::to_string(variable.data.size()) + " values for a shape of " +
             std::to_string(variable.outer) + " x " + std::to_string(variable.inner));
    }
    if constexpr (std::is_same_v<Image, MlpResImageV1>) {
      if (variable.dtype != "float") Refuse("variable " + variable.name + ": this header shape holds floats alone");
    }
    image->nInner[i] = variable.inner;
    image->nOuter[i] = variable.outer;
    PutShifts(variable, i, image.get());
  }
  for (size_t i = 0; i < contents.keys.size(); ++i) {
    PutText(image->szKey[i], contents.keys[i].first, "key");
    PutText(image->szValue[i], contents.keys[i].second, "value");
  }
  if constexpr (std::is_same_v<Image, MlpResImageV2>) std::memcpy(image->fScale, contents.fScale.data(), sizeof image->fScale);

  Bytes file(kHeaderOffset + sizeof(Image));
  std::memcpy(file.data() + kPrefixHeaderSize, &kHeaderOffset, sizeof kHeaderOffset);
  std::memcpy(file.data() + kPrefixMagic, kModelMagic, sizeof kModelMagic);
  std::memcpy(file.data() + kHeaderOffset, image.get(), sizeof(Image));
  for (const Variable& variable : contents.variables) PutData(variable, &file);
  const uint64_t size = file.size();
  std::memcpy(file.data() + kPrefixFileSize, &size, sizeof size);
  return file;
}

}  // namespace

Shape ShapeOfType(const std::string& network_type) {
  if (network_type == "MLP_RES_RNNCNNPAD28") return Shape::kV2;
  if (network_type == "MLP_RES_RNN" || network_type == "MLP_RES_RNN_CTC") return Shape::kV1;
  return Shape::kV3;
}

const Variable* FindVariable(const ModelContents& contents, const std::string& name) {
  for (const Variable& variable : contents.variables) {
    if (variable.name == name) return &variable;
  }
  return nullptr;
}

Variable* FindVariable(ModelContents& contents, const std::string& name) {
  return const_cast<Variable*>(FindVariable(static_cast<const ModelContents&>(contents), name));
}

Bytes WriteModel(const ModelContents& contents) {
  switch (contents.shape) {
    case Shape::kV1:
      return Write<MlpResImageV1>(contents);
    case Shape::kV2:
      return Write<MlpResImageV2>(contents);
    default:
      return Write<MlpResImageV3>(contents);
  }
}

}  // namespace TSEG::modelfile
