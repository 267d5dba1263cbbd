// SPDX-License-Identifier: Apache-2.0
//
// TextGrids of Praat, long or short: of the text counts what stands by itself as a number, in double quotes (two of them are one inside),
// or in angle brackets; the words of the long form are for people. Every interval of an interval tier whose label is not blank is speech;
// points are passed over.
#include <algorithm>
#include <charconv>
#include <string_view>

#include "wvad/compare/annotation.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

class Tokens {
 public:
  explicit Tokens(std::string_view text) : rest_(text) {}

  double Number() {
    for (;;) {
      const std::string_view word = Word();
      double number = 0;
      const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
      if (error == std::errc() && end == word.data() + word.size()) return number;
      if (word[0] == '"') Refuse("a text where a number is expected");
    }
  }
  std::string Text() {
    for (;;) {
      const std::string_view word = Word();
      if (word[0] == '"') return Unquoted(word);
    }
  }
  int64_t Time() { return Microseconds(Number()); }
  size_t Count() {
    const double number = Number();
    if (!(number >= 0 && number <= 1e9)) Refuse("a count that is none");
    return static_cast<size_t>(number);
  }
  [[noreturn]] static void Refuse(const std::string& reason) { throw Failure(ExitCode::kNotAudio, "no TextGrid: " + reason); }

 private:
  // The next word, or text with its quotes; never empty.
  std::string_view Word() {
    const size_t begin = rest_.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) Refuse("it ends too early");
    rest_.remove_prefix(begin);
    size_t end = std::min(rest_.find_first_of(" \t\r\n"), rest_.size());
    if (rest_[0] == '"') {
      end = 1;
      while (end < rest_.size() && (rest_[end] != '"' || (end + 1 < rest_.size() && rest_[end + 1] == '"')))
        end += rest_[end] == '"' ? 2U : 1U;
      if (end >= rest_.size()) Refuse("a text that is not closed");
      ++end;
    }
    const std::string_view word = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return word;
  }
  static std::string Unquoted(std::string_view word) {
    std::string text;
    for (size_t i = 1; i + 1 < word.size(); ++i) {
      text += word[i];
      if (word[i] == '"') ++i;
    }
    return text;
  }

  std::string_view rest_;
};

void ReadTier(Tokens& tokens, AnnotatedRecording& recording) {
  const std::string kind = tokens.Text();
  tokens.Text();  // name
  tokens.Time();
  tokens.Time();
  const size_t count = tokens.Count();
  for (size_t i = 0; i < count; ++i) {
    const int64_t begin_us = tokens.Time();
    const int64_t end_us = kind == "IntervalTier" ? tokens.Time() : begin_us;
    const std::string label = tokens.Text();
    if (label.find_first_not_of(" \t\r\n") != std::string::npos) recording.speech.push_back(SpanOf(begin_us, end_us));
  }
}

}  // namespace

Annotation ReadTextGrid(const std::string& text, const std::string& id) {
  Tokens tokens(text);
  if (tokens.Text().compare(0, 10, "ooTextFile") != 0 || tokens.Text() != "TextGrid") Tokens::Refuse("it does not begin as one (UTF-8)");
  Annotation annotation;
  AnnotatedRecording& recording = annotation[id];
  tokens.Time();
  recording.length_us = tokens.Time();
  for (size_t tiers = tokens.Count(); tiers > 0; --tiers) ReadTier(tokens, recording);
  return annotation;
}

}  // namespace TSEG::tool
