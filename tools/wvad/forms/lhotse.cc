// SPDX-License-Identifier: Apache-2.0
//
// The manifests of Lhotse, as lines of JSON: recordings, and supervisions, one for each sentence, whose words are for others to add.
// Channels count from 0 there; a sentence that was heard in the mean of several belongs to all of them.
#include <nlohmann/json.hpp>

#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/input.h"
#include "wvad/provenance.h"
#include "wvad/recording_name.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

Json Channels(int count) {
  Json channels = Json::array();
  for (int i = 0; i < std::max(count, 1); ++i) channels.push_back(i);
  return channels;
}

Json ChannelsHeard(const Sentence& sentence, const HeardRecording& recording, const std::string& chosen) {
  if (sentence.channel > 0) return sentence.channel - 1;
  if (const std::optional<int> number = ParseInt(chosen)) return *number - 1;
  return recording.end.recording.channels > 1 ? Channels(recording.end.recording.channels) : Json(0);
}

Json Milliseconds(double seconds) { return Json::parse(Fixed(seconds, 3)); }

std::string RecordingLine(const HeardRecording& recording, const ReportShape&) {
  const RecordingFacts& facts = recording.end.recording;
  const int rate_hz = facts.rate_hz > 0 ? facts.rate_hz : recording.end.rate_hz;
  const int64_t frames = facts.frames >= 0 ? facts.frames : recording.end.samples * rate_hz / recording.end.rate_hz;
  Json source;
  source["type"] = "file";
  source["channels"] = Channels(facts.channels);
  source["source"] = AbsolutePath(recording.name);
  Json json;
  json["id"] = recording.id;
  json["sources"] = Json::array({source});
  json["sampling_rate"] = rate_hz;
  json["num_samples"] = frames;
  json["duration"] = Seconds(frames, rate_hz);
  json["channel_ids"] = Channels(facts.channels);
  return JsonText(json) + "\n";
}

std::string SupervisionLines(const HeardRecording& recording, const ReportShape& shape) {
  std::string text;
  for (size_t i = 0; i < recording.sentences.size(); ++i) {
    const Sentence& sentence = recording.sentences[i];
    const double begin = recording.begin_s(sentence);
    Json json;
    json["id"] = recording.id + "-" + std::to_string(i + 1);
    json["recording_id"] = recording.id;
    json["start"] = Milliseconds(begin);
    json["duration"] = Milliseconds(recording.end_s(sentence) - begin);
    json["channel"] = ChannelsHeard(sentence, recording, shape.details.channel);
    const std::string& made_by = MadeBy(recording.end, shape.details.provenance);
    if (!made_by.empty()) json["custom"]["made_by"] = Json::parse(made_by);
    text += JsonText(json) + "\n";
  }
  return text;
}

}  // namespace

std::unique_ptr<Report> MakeLhotseRecordings(Output& output, const ReportShape& shape) {
  return std::make_unique<DocumentReport>(output, shape, RecordingLine);
}

std::unique_ptr<Report> MakeLhotseSupervisions(Output& output, const ReportShape& shape) {
  return std::make_unique<DocumentReport>(output, shape, SupervisionLines);
}

}  // namespace TSEG::tool
