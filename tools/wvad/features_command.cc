// SPDX-License-Identifier: Apache-2.0
#include "wvad/features_command.h"

#include <string>

#include "blocks/npy_file.h"
#include "wvad/sentence_engine.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// What stands in the columns of an array, as half-open ranges.
Json Columns() {
  struct Range {
    const char* name;
    int first, end;
  };
  constexpr Range kRanges[] = {{"24 filter-bank values", 0, 24},
                               {"their first differences", 24, 48},
                               {"their second differences", 48, 72},
                               {"first difference of the pitch value", 72, 73},
                               {"second difference of the pitch value", 73, 74},
                               {"pitch aux value", 74, 75},
                               {"40 filter-bank values", 75, 115}};
  Json columns = Json::array();
  for (const Range& range : kRanges) {
    Json row;
    row["name"] = range.name;
    row["from"] = range.first;
    row["to"] = range.end;
    columns.push_back(row);
  }
  return columns;
}

}  // namespace

ExitCode RunFeatures(const FeaturesOptions& options) {
  constexpr size_t kFrameBytes = kFeatureFloats * sizeof(float);
  SentenceFormat format;
  format.encode = [](const Sentence& sentence, int) {
    const size_t frames = sentence.data.size() / kFrameBytes;
    std::string bytes = blocks::NpyHeader(frames, kFeatureFloats, false);
    bytes.append(reinterpret_cast<const char*>(sentence.data.data()), frames * kFrameBytes);
    return bytes;
  };
  format.unit = "frames";
  format.unit_bytes = kFrameBytes;
  format.about["frame_ms"] = 10;
  format.about["columns"] = Columns();
  return SaveSentences(options, Handout::kFeatures, {"features.json", ".npy"}, format);
}

}  // namespace TSEG::tool
