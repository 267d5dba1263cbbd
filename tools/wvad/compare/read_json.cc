// SPDX-License-Identifier: Apache-2.0
//
// The JSON that `wvad segment` writes, as a document and as lines, the rows of `python -m wvad corpus`, and the supervisions of Lhotse.
#include <nlohmann/json.hpp>

#include "wvad/compare/annotation.h"
#include "wvad/compare/hearing.h"
#include "wvad/failure.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::json;

Json Parsed(const std::string& text) {
  Json json = Json::parse(text, nullptr, false);
  if (json.is_discarded()) throw Failure(ExitCode::kNotAudio, "no JSON");
  return json;
}

// A member of one kind, or a refusal that names it.
template <typename Value>
Value Get(const Json& json, const char* key) {
  try {
    return json.at(key).get<Value>();
  } catch (const Json::exception&) {
    throw Failure(ExitCode::kNotAudio, std::string("expected a member \"") + key + "\"");
  }
}

Span SpanOfSentence(const Json& json) { return SpanOf(Microseconds(Get<double>(json, "begin")), Microseconds(Get<double>(json, "end"))); }

// Documents of others may have members of this name, with something else in them.
bool IsOurs(const Json& document) {
  if (!document.is_object() || !document.contains("files") || !document["files"].is_array()) return false;
  const Json& files = document["files"];
  return files.empty() || files[0].is_object();
}

void TakeLength(const Json& json, AnnotatedRecording& recording) {
  if (!json.contains("recording") || !json["recording"].is_object()) return;
  const Json& facts = json["recording"];
  if (facts.contains("length") && facts["length"].is_number()) recording.length_us = Microseconds(facts["length"].get<double>());
}

// A row of a corpus: a recording, or a piece of one in the times of all of it.
void ReadRow(const Json& row, Annotation& annotation) {
  AnnotatedRecording& recording = RecordingNamed(annotation, Get<std::string>(row, "file"));
  if (!row.contains("sentences")) return;  // it could not be heard
  for (const Json& sentence : Get<Json::array_t>(row, "sentences")) recording.speech.push_back(SpanOfSentence(sentence));
  if (!row.contains("offset")) recording.length_us = Microseconds(Get<double>(row, "duration"));
}

void ReadObject(const Json& json, Annotation& annotation) {
  if (json.contains("wvad") && json.contains("recordings_sha256")) return;  // a corpus's first row, of what made it
  if (json.contains("file") && (json.contains("sentences") || json.contains("error")) && !json.contains("event")) {
    ReadRow(json, annotation);
    return;
  }
  if (json.contains("recording_id")) {
    const int64_t begin_us = Microseconds(Get<double>(json, "start"));
    annotation[Get<std::string>(json, "recording_id")].speech.push_back({begin_us, begin_us + Microseconds(Get<double>(json, "duration"))});
    return;
  }
  if (!json.contains("event")) throw NoAnnotation("expected a member \"event\"");
  const auto event = Get<std::string>(json, "event");
  AnnotatedRecording& recording = RecordingNamed(annotation, Get<std::string>(json, "file"));
  if (event == "sentence") recording.speech.push_back(SpanOfSentence(json));
  if (event == "end") {
    TakeLength(json, recording);
    TakeHearing(json, recording);
  }
}

}  // namespace

Annotation ReadJson(const std::string& text, const std::string&) {
  Annotation annotation;
  const Json document = Parsed(text);
  if (!IsOurs(document)) throw NoAnnotation("expected a member \"files\" with the recordings");
  for (const Json& file : document["files"]) {
    AnnotatedRecording& recording = RecordingNamed(annotation, Get<std::string>(file, "file"));
    for (const Json& sentence : Get<Json::array_t>(file, "sentences")) recording.speech.push_back(SpanOfSentence(sentence));
    TakeLength(file, recording);
    TakeHearing(file, recording);
  }
  return annotation;
}

Annotation ReadJsonLines(const std::string& text, const std::string&) {
  Annotation annotation;
  ForEachLine(text, [&](const std::string& line) {
    if (!line.empty()) ReadObject(Parsed(line), annotation);
  });
  return annotation;
}

}  // namespace TSEG::tool
