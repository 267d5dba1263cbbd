// SPDX-License-Identifier: Apache-2.0
//
// Gathers what there is to know of a file. Ranges are over the finite values; the others are counted.
#include "modelfile/describe.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "res/header_parser.h"

namespace TSEG::modelfile {
namespace {

VariableInfo Describe(const Variable& variable, uint64_t offset) {
  VariableInfo info;
  info.name = variable.name;
  info.dtype = variable.dtype;
  info.inner = variable.inner;
  info.outer = variable.outer;
  info.padded_inner = PaddedDim(variable.inner);
  info.padded_outer = PaddedDim(variable.outer);
  info.offset = offset;
  info.nShift16 = variable.nShift16;
  info.nAux16 = variable.nAux16;
  info.nShift8 = variable.nShift8;
  info.nAux8 = variable.nAux8;
  double squares = 0;
  uint64_t finite = 0;
  for (const double x : variable.data) {
    if (!std::isfinite(x)) {
      ++info.not_finite;
      continue;
    }
    info.min = finite == 0 ? x : std::min(info.min, x);
    info.max = finite == 0 ? x : std::max(info.max, x);
    squares += x * x;
    ++finite;
  }
  if (finite > 0) info.rms = std::sqrt(squares / static_cast<double>(finite));
  return info;
}

uint64_t ElementBytes(const std::string& dtype) {
  for (const MlpDataTypeRow& row : kMlpDataTypes) {
    if (dtype == row.name) return static_cast<uint64_t>(row.bytes);
  }
  return 0;
}

uint64_t HeaderBytes(Shape shape) {
  switch (shape) {
    case Shape::kV1:
      return sizeof(MlpResImageV1);
    case Shape::kV2:
      return sizeof(MlpResImageV2);
    default:
      return sizeof(MlpResImageV3);
  }
}

ModelInfo InspectPlain(const Bytes& file) {
  const ModelContents contents = ReadModel(file);
  ModelInfo info;
  info.file_bytes = file.size();
  info.network_type = contents.network_type;
  char type[kHeaderTypeBytes + 1] = {};
  std::memcpy(type, contents.network_type.data(), std::min(contents.network_type.size(), sizeof type - 1));
  info.type_code = NetworkTypeCode(type);
  info.shape = contents.shape;
  info.header_offset = *ByteView(file.data(), file.size()).u16(kPrefixHeaderSize);
  info.data_offset = info.header_offset + HeaderBytes(contents.shape);
  for (const Variable& variable : contents.variables) {
    info.variables.push_back(Describe(variable, info.data_bytes));
    info.data_bytes += variable.data.size() * ElementBytes(variable.dtype);
  }
  info.keys = contents.keys;
  if (contents.shape == Shape::kV2) info.scales.assign(contents.fScale.begin(), contents.fScale.end());
  return info;
}

}  // namespace

ModelInfo Inspect(const Bytes& file) {
  if (!IsContainer(file)) return InspectPlain(file);
  ModelInfo info;
  info.file_bytes = file.size();
  info.is_container = true;
  for (const Section& section : ReadContainer(file)) {
    ModelInfo::SectionInfo described;
    described.kind = section.kind;
    described.bytes = section.bytes.size();
    if (section.kind == kSectionModel) {
      try {
        described.model.push_back(InspectPlain(section.bytes));
      } catch (const std::runtime_error& failure) {
        described.problem = failure.what();
      }
    }
    info.sections.push_back(std::move(described));
  }
  return info;
}

ModelInfo InspectFile(const std::string& path) {
  const Bytes bytes = ReadFileBytes(path);
  try {
    return Inspect(bytes);
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(path + ": " + failure.what());
  }
}

}  // namespace TSEG::modelfile
