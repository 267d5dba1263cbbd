// SPDX-License-Identifier: Apache-2.0
//
// Model resource files as bytes: ModelContents is what such a file says; WriteModel and ReadModel turn it into bytes and back.
//
// What is written here is what the engine's reader takes: what is read back equals what was written. Errors leave as std::runtime_error
// with a message for people. Works inside of the engine's own format headers, so it links the static libraries.
#ifndef WVAD_MODELFILE_MODELFILE_H_
#define WVAD_MODELFILE_MODELFILE_H_

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace TSEG::modelfile {

using Bytes = std::vector<uint8_t>;

// The three shapes of the header.
enum class Shape { kV1, kV2, kV3 };

struct Variable {
  std::string name;             // at most 15 characters in V1, 63 otherwise
  std::string dtype = "float";  // double, float, int, short, ushort, uchar, char
  int32_t inner = 1;            // length of one stored row: the inputs of a weight matrix
  int32_t outer = 1;            // number of stored rows: the outputs of a weight matrix, the length of a vector
  std::vector<double> data;     // outer rows of inner values
  // V3: fixed-point shifts of the 16-bit and the 8-bit view, each with a second word. V1 has nShift8 alone.
  int32_t nShift16 = 0;
  int32_t nAux16 = 0;
  int32_t nShift8 = 0;
  int32_t nAux8 = 0;

  bool operator==(const Variable&) const = default;
};

struct ModelContents {
  Shape shape = Shape::kV3;
  std::string network_type;
  std::vector<Variable> variables;                        // in file order
  std::array<float, 16> fScale{};                         // V2: quantisation ranges
  std::vector<std::pair<std::string, std::string>> keys;  // in row order, at most 32 of at most 15 characters each

  bool operator==(const ModelContents&) const = default;
};

// The shape that the reader expects of a plain file of this network type.
Shape ShapeOfType(const std::string& network_type);
// The variable `name`, or null.
const Variable* FindVariable(const ModelContents& contents, const std::string& name);
Variable* FindVariable(ModelContents& contents, const std::string& name);

// The file for `contents`. What the format cannot hold is refused.
Bytes WriteModel(const ModelContents& contents);
// What a plain model file says. A damaged one is refused.
ModelContents ReadModel(const Bytes& file);

// A section of a container: kind 1 is a model, kind 2 a table of 32-bit words, kind 0 is skipped by readers.
struct Section {
  uint32_t kind = 0;
  Bytes bytes;

  bool operator==(const Section&) const = default;
};
Bytes WriteContainer(const std::vector<Section>& sections);
// Whether the file is a container with a size that is right.
bool IsContainer(const Bytes& file);
std::vector<Section> ReadContainer(const Bytes& file);

Bytes ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const Bytes& bytes);

}  // namespace TSEG::modelfile

#endif  // WVAD_MODELFILE_MODELFILE_H_
