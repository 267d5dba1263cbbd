// SPDX-License-Identifier: Apache-2.0
//
// Captions without words, for people to fill in: SubRip (SRT) and WebVTT. A caption of one channel of several begins with its number, as
// those of several speakers do.
#include "wvad/forms/forms.h"
#include "wvad/forms/line_report.h"

namespace TSEG::tool {
namespace {

std::string Digits(int64_t number, size_t width) {
  const std::string text = std::to_string(number);
  return text.size() >= width ? text : std::string(width - text.size(), '0') + text;
}

// "01:02:03,456"; hours take as many digits as they need.
std::string Clock(int64_t ms, char point) {
  return Digits(ms / 3600000, 2) + ":" + Digits(ms / 60000 % 60, 2) + ":" + Digits(ms / 1000 % 60, 2) + point + Digits(ms % 1000, 3);
}

// `empty` stands for the words of a caption that has none.
std::string Caption(const Line& line, char point, const char* empty) {
  const std::string words = line.sentence.channel > 0 ? "[" + std::to_string(line.sentence.channel) + "] \n" : empty;
  return std::to_string(line.number) + "\n" + Clock(line.begin_ms(), point) + " --> " + Clock(line.end_ms(), point) + "\n" + words + "\n";
}

// Readers of SubRip drop a caption without any text, so an empty one holds a blank.
std::string SrtCaption(const Line& line) { return Caption(line, ',', " \n"); }
std::string VttCaption(const Line& line) { return Caption(line, '.', ""); }

// A comment must not hold the arrow: in JSON, the ">" of a name may as well be written by its number.
std::string VttNote(const std::string& text) {
  std::string safe;
  for (const char c : text) safe += c == '>' ? std::string("\\u003e") : std::string(1, c);
  return "NOTE " + safe + "\n\n";
}

}  // namespace

std::unique_ptr<Report> MakeSrt(Output& output, const ReportShape& shape) {
  return std::make_unique<LineReport>(output, shape, LineForm{"", SrtCaption});
}

std::unique_ptr<Report> MakeVtt(Output& output, const ReportShape& shape) {
  return std::make_unique<LineReport>(output, shape, LineForm{"WEBVTT\n\n", VttCaption, VttNote});
}

}  // namespace TSEG::tool
