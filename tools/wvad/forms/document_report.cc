// SPDX-License-Identifier: Apache-2.0
#include "wvad/forms/document_report.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "wvad/forms/line_report.h"
#include "wvad/provenance.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {

double HeardRecording::length_s() const {
  if (end.reason != kInterruptedReason && end.recording.frames >= 0 && end.recording.rate_hz > 0) {
    return static_cast<double>(end.recording.frames) / end.recording.rate_hz;
  }
  return static_cast<double>(end.samples) / end.rate_hz;
}

std::vector<int> HeardRecording::lanes() const {
  std::vector<int> lanes;
  for (const Sentence& sentence : sentences) {
    if (lanes.empty() || lanes.back() != sentence.channel) lanes.push_back(sentence.channel);
  }
  return lanes.empty() ? std::vector<int>{0} : lanes;
}

DocumentReport::DocumentReport(Output& output, const ReportShape& shape, WriteDocument write, std::string head)
    : TextReport(output), shape_(shape), write_(std::move(write)) {
  if (!head.empty()) output_.Write(head);
}

void DocumentReport::BeginFile(const std::string& name) { recording_ = {name, RecordingId(name), {}, {}}; }

void DocumentReport::Add(const Sentence& sentence, int) { recording_.sentences.push_back(sentence); }

void DocumentReport::EndFile(const FileEnd& end) {
  recording_.end = end;
  std::vector<Sentence>& sentences = recording_.sentences;
  std::stable_sort(sentences.begin(), sentences.end(), [](const Sentence& a, const Sentence& b) {
    return std::tie(a.channel, a.begin_sample) < std::tie(b.channel, b.begin_sample);
  });
  // The last sentence ends with a whole frame of the engine, which may lie behind the recording's last sample.
  const RecordingFacts& facts = end.recording;
  const int64_t last = facts.frames >= 0 && facts.rate_hz > 0 ? facts.frames * end.rate_hz / facts.rate_hz : end.samples;
  for (Sentence& sentence : sentences) sentence.end_sample = std::max(sentence.begin_sample, std::min(sentence.end_sample, last));
  output_.Write(write_(recording_, shape_));
}

std::unique_ptr<Report> MakeNistDocument(Output& output, const ReportShape& shape, WriteLine line) {
  const std::string& provenance = shape.details.provenance;
  return std::make_unique<DocumentReport>(
      output, shape,
      [line](const HeardRecording& recording, const ReportShape& told) {
        std::string text;
        for (const Sentence& sentence : recording.sentences) text += line(recording, sentence) + "\n";
        if (!told.details.provenance.empty())
          text += SemicolonComment(ProvenanceLine(recording.name, recording.end, told.details.provenance));
        return text;
      },
      provenance.empty() ? "" : SemicolonComment(provenance));
}

std::string ChannelOf(const Sentence& sentence) { return std::to_string(std::max(sentence.channel, 1)); }

}  // namespace TSEG::tool
