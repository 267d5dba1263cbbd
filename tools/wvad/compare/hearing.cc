// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/hearing.h"

#include <string_view>

#include "wvad/recording_name.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::json;

// Comments of the forms of lines begin so.
bool TakePrefix(std::string_view& line) {
  for (const std::string_view prefix : {";; ", "# ", "NOTE "}) {
    if (line.substr(0, prefix.size()) != prefix) continue;
    line.remove_prefix(prefix.size());
    return true;
  }
  return false;
}

std::string TextOf(const Json& told, const char* key) {
  return told.contains(key) && told[key].is_string() ? Shown(told[key].get<std::string>()) : "";
}

}  // namespace

void TakeHearing(const Json& told, AnnotatedRecording& recording) {
  if (!told.contains("whole") || told["whole"] != false) return;
  std::string words = "it was not heard whole";
  const std::string stopped_by = TextOf(told, "stopped_by"), damage = TextOf(told, "damage");
  // "end of audio" is where a damaged one ends too.
  if (damage.empty() && told.contains("heard") && told["heard"].is_number()) {
    words = "it was heard for " + told["heard"].dump() + " s" + (stopped_by.empty() ? "" : " (" + stopped_by + ")");
  }
  recording.not_heard = words + (damage.empty() ? "" : " (" + damage + ")");
}

void TakeHearingOfComments(const std::string& text, Annotation& annotation) {
  ForEachLine(text, [&](const std::string& whole_line) {
    std::string_view line = whole_line;
    if (!TakePrefix(line) || line.empty() || line[0] != '{') return;
    const Json told = Json::parse(line, nullptr, false);
    if (!told.is_object() || !told.contains("file") || !told["file"].is_string()) return;
    const auto recording = annotation.find(RecordingId(told["file"].get<std::string>()));
    if (recording != annotation.end()) TakeHearing(told, recording->second);
  });
}

}  // namespace TSEG::tool
