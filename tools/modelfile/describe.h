// SPDX-License-Identifier: Apache-2.0
//
// What a model file holds, for people and for programs: header, variables with shapes and value ranges, keys, shifts or scales, sections.
#ifndef WVAD_MODELFILE_DESCRIBE_H_
#define WVAD_MODELFILE_DESCRIBE_H_

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "modelfile/modelfile.h"

namespace TSEG::modelfile {

struct VariableInfo {
  std::string name, dtype;
  int32_t inner = 0, outer = 0;
  int64_t padded_inner = 0, padded_outer = 0;  // as they stand in memory
  uint64_t offset = 0;                         // in the data block
  double min = 0, max = 0, rms = 0;            // over the finite values
  uint64_t not_finite = 0;
  int32_t nShift16 = 0, nAux16 = 0, nShift8 = 0, nAux8 = 0;
};

struct ModelInfo {
  uint64_t file_bytes = 0;
  bool is_container = false;
  // A plain model, or a section of a container that is one.
  std::string network_type;
  int32_t type_code = 18;
  Shape shape = Shape::kV3;
  uint32_t header_offset = 0;
  uint64_t data_offset = 0, data_bytes = 0;
  std::vector<VariableInfo> variables;
  std::vector<std::pair<std::string, std::string>> keys;
  std::vector<float> scales;  // V2 alone
  // A container.
  struct SectionInfo {
    uint32_t kind = 0;
    uint64_t bytes = 0;
    std::string problem;           // why a model section cannot be described, or empty
    std::vector<ModelInfo> model;  // one for a model section
  };
  std::vector<SectionInfo> sections;
};

// Throw std::runtime_error for a file that is no model or is damaged.
ModelInfo Inspect(const Bytes& file);
ModelInfo InspectFile(const std::string& path);

nlohmann::ordered_json ToJson(const ModelInfo& info);
std::string ToText(const ModelInfo& info);

}  // namespace TSEG::modelfile

#endif  // WVAD_MODELFILE_DESCRIBE_H_
