// SPDX-License-Identifier: Apache-2.0
//
// Captions for people to fill in: SubRip (SRT) and WebVTT, without words or each with the same. A caption of one channel of several begins
// with its number, as those of several speakers do.
#include <algorithm>

#include "wvad/failure.h"
#include "wvad/forms/forms.h"
#include "wvad/forms/line_report.h"
#include "wvad/recording_name.h"

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

// WebVTT has marks of its own.
std::string AsVttText(const std::string& text) {
  std::string plain;
  for (const char c : text) plain += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
  return plain;
}

LineForm Captions(const char* head, char point, const ReportShape& shape) {
  const auto caption = [point, words = point == '.' ? AsVttText(shape.details.caption) : shape.details.caption](const Line& line) {
    const std::string channel = line.sentence.channel > 0 ? "[" + std::to_string(line.sentence.channel) + "] " : "";
    return std::to_string(line.number) + "\n" + Clock(line.begin_ms(), point) + " --> " + Clock(line.end_ms(), point) + "\n" +
           (channel.empty() || words != kEmptyCaption ? channel + words : channel) + "\n\n";
  };
  return {head, caption};
}

// A comment must not hold the arrow: in JSON, the ">" of a name may as well be written by its number.
std::string VttNote(const std::string& text) {
  std::string safe;
  for (const char c : text) safe += c == '>' ? std::string("\\u003e") : std::string(1, c);
  return "NOTE " + safe + "\n\n";
}

}  // namespace

std::unique_ptr<Report> MakeSrt(Output& output, const ReportShape& shape) {
  return std::make_unique<LineReport>(output, shape, Captions("", ',', shape));
}

std::unique_ptr<Report> MakeVtt(Output& output, const ReportShape& shape) {
  LineForm form = Captions("WEBVTT\n\n", '.', shape);
  form.comment = VttNote;
  return std::make_unique<LineReport>(output, shape, form);
}

void CheckCaption(const std::string& words, const std::vector<const ReportFormat*>& formats) {
  const bool control = std::any_of(words.begin(), words.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
  if (control || words.find("-->") != std::string::npos || !IsUtf8(words))
    throw Failure(ExitCode::kUsage, "--caption: expected words in one line, in UTF-8 and without -->");
  const bool used =
      std::any_of(formats.begin(), formats.end(), [](const ReportFormat* row) { return row->make == MakeSrt || row->make == MakeVtt; });
  if (words != kEmptyCaption && !used) throw Failure(ExitCode::kUsage, "--caption: goes with the forms srt and vtt");
}

}  // namespace TSEG::tool
