// SPDX-License-Identifier: Apache-2.0
#include "wvad/split_command.h"

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "wvad/sentence_files.h"
#include "wvad/sound_writer.h"

namespace TSEG::tool {

ExitCode RunSplit(const SplitOptions& options) {
  const OutputFolder folder(options.folder, options.input.files, {"split.json", "." + options.audio});
  Output output("");
  SentenceTask task;
  task.handout = Handout::kPcm;
  task.make_report = [&](int rate_hz) {
    SentenceFormat format;
    format.encode = [audio = options.audio, rate_hz](const Sentence& sentence) {
      std::vector<int16_t> samples(sentence.data.size() / sizeof(int16_t));
      if (!samples.empty()) std::memcpy(samples.data(), sentence.data.data(), samples.size() * sizeof(int16_t));
      return EncodeSound(samples.data(), samples.size(), rate_hz, audio);
    };
    format.unit = "samples";
    format.unit_bytes = sizeof(int16_t);
    format.about["model"] = options.engine.model;
    format.about["sample_rate"] = rate_hz;
    folder.Make();
    std::unique_ptr<Report> told;
    if (!options.quiet) told = MakeReport(options.format, output, options.input.files.size() > 1, true, true);
    return std::make_unique<SentenceFiles>(folder, std::move(format), std::move(told), !options.quiet);
  };
  const ExitCode result = RunSentences(options, task);
  output.Close();
  return result;
}

}  // namespace TSEG::tool
