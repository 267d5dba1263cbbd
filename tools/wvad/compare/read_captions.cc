// SPDX-License-Identifier: Apache-2.0
//
// Captions, SubRip or WebVTT: every "00:01:02,500 --> 00:01:04,000" is a stretch of speech; hours may be missing, and the point be a comma.
#include <algorithm>

#include "wvad/compare/annotation.h"
#include "wvad/failure.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

int64_t ParseClock(std::string text) {
  if (std::count(text.begin(), text.end(), ':') > 2)
    throw Failure(ExitCode::kNotAudio, "\"" + Shown(text) + "\" is no time of hours, minutes and seconds");
  std::replace(text.begin(), text.end(), ',', '.');
  int64_t us = 0;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(':', begin), text.size());
    // Hours and minutes are bounded as seconds are.
    us = Microseconds(static_cast<double>(us) / 1e6 * 60) + ParseSeconds(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return us;
}

}  // namespace

Annotation ReadCaptions(const std::string& text, const std::string& id) {
  constexpr std::string_view kArrow = " --> ";
  Annotation annotation;
  AnnotatedRecording& recording = annotation[id];
  ForEachLine(text, [&](const std::string& line) {
    const size_t arrow = line.find(kArrow);
    if (arrow == std::string::npos) return;
    const int64_t begin_us = ParseClock(line.substr(0, arrow));
    const std::string end = line.substr(arrow + kArrow.size());
    recording.speech.push_back(SpanOf(begin_us, ParseClock(end.substr(0, end.find(' ')))));
  });
  return annotation;
}

}  // namespace TSEG::tool
