// SPDX-License-Identifier: Apache-2.0
//
// The line forms of NIST, words between blanks, comments behind ";" or "#"; and the labels of Audacity, which are as plain.
#include <sstream>

#include "wvad/compare/annotation.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// Calls `take` with the words of each line that has at least `fewest` and is no comment.
void ForEachRow(const std::string& text, size_t fewest, const std::function<void(const std::vector<std::string>&)>& take) {
  ForEachLine(text, [&](const std::string& line) {
    const std::vector<std::string> words = Words(line);
    if (words.empty() || words[0][0] == ';' || words[0][0] == '#') return;
    if (words.size() < fewest) {
      throw Failure(ExitCode::kNotAudio, "expected " + std::to_string(fewest) + " words or more, found " + std::to_string(words.size()));
    }
    take(words);
  });
}

Span FromLength(const std::string& begin, const std::string& length) {
  const int64_t begin_us = ParseSeconds(begin);
  return {begin_us, begin_us + ParseSeconds(length)};
}

Span FromEnd(const std::string& begin, const std::string& end) { return SpanOf(ParseSeconds(begin), ParseSeconds(end)); }

}  // namespace

// Of the kinds of objects, SPEAKER and SPEECH are stretches of speech.
Annotation ReadRttm(const std::string& text, const std::string&) {
  Annotation annotation;
  ForEachRow(text, 5, [&](const std::vector<std::string>& words) {
    AnnotatedRecording& recording = annotation[words[1]];
    if (words[0] == "SPEAKER" || words[0] == "SPEECH") recording.speech.push_back(FromLength(words[3], words[4]));
  });
  return annotation;
}

Annotation ReadCtm(const std::string& text, const std::string&) {
  Annotation annotation;
  ForEachRow(text, 5,
             [&](const std::vector<std::string>& words) { annotation[words[0]].speech.push_back(FromLength(words[2], words[3])); });
  return annotation;
}

// The speaker "inter_segment_gap" stands for what is not scored.
Annotation ReadStm(const std::string& text, const std::string&) {
  Annotation annotation;
  ForEachRow(text, 5, [&](const std::vector<std::string>& words) {
    AnnotatedRecording& recording = annotation[words[0]];
    if (words[2] != "inter_segment_gap") recording.speech.push_back(FromEnd(words[3], words[4]));
  });
  return annotation;
}

Annotation ReadUem(const std::string& text, const std::string&) {
  Annotation annotation;
  ForEachRow(text, 4, [&](const std::vector<std::string>& words) { annotation[words[0]].speech.push_back(FromEnd(words[2], words[3])); });
  return annotation;
}

// A line that begins with a backslash has the frequencies of the label before it.
Annotation ReadLabels(const std::string& text, const std::string& id) {
  Annotation annotation;
  AnnotatedRecording& recording = annotation[id];
  ForEachLine(text, [&](const std::string& line) {
    const std::vector<std::string> words = Words(line);
    if (words.empty() || words[0] == "\\") return;
    if (words.size() < 2) throw Failure(ExitCode::kNotAudio, "expected begin, end and label between tabs");
    recording.speech.push_back(FromEnd(words[0], words[1]));
  });
  return annotation;
}

}  // namespace TSEG::tool
