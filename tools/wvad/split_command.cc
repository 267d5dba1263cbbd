// SPDX-License-Identifier: Apache-2.0
#include "wvad/split_command.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace TSEG::tool {

ExitCode RunSplit(const SplitOptions& options) {
  SentenceFormat format;
  format.encode = [kind = options.audio](const Sentence& sentence, int rate_hz) {
    std::vector<int16_t> samples(sentence.data.size() / sizeof(int16_t));
    if (!samples.empty()) std::memcpy(samples.data(), sentence.data.data(), samples.size() * sizeof(int16_t));
    return EncodeSound(samples.data(), samples.size(), rate_hz, *kind);
  };
  format.unit = "samples";
  format.unit_bytes = sizeof(int16_t);
  return SaveSentences(options, Handout::kPcm, {"split.json", std::string(".") + options.audio->name}, format);
}

}  // namespace TSEG::tool
