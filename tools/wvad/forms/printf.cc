// SPDX-License-Identifier: Apache-2.0
#include "wvad/forms/printf.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>

#include "wvad/failure.h"
#include "wvad/forms/forms.h"
#include "wvad/named_rows.h"
#include "wvad/recording_name.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

constexpr int kMostDecimals = 9;

using Number = std::optional<double>;

constexpr PrintfField kFields[] = {
    {"begin", "seconds", 2, [](const Line& line) -> Number { return line.begin(); }, nullptr},
    {"end", "seconds", 2, [](const Line& line) -> Number { return line.end(); }, nullptr},
    {"length", "seconds", 2, [](const Line& line) -> Number { return line.end() - line.begin(); }, nullptr},
    {"number", "of the sentence in its recording, from 1", -1, nullptr, [](const Line& line) { return std::to_string(line.number); }},
    {"channel", "from 1; 0 for the mean of all", -1, nullptr, [](const Line& line) { return std::to_string(line.sentence.channel); }},
    {"file", "as it was given", -1, nullptr, [](const Line& line) { return line.file; }},
    {"path", "absolute", -1, nullptr, [](const Line& line) { return line.file == "-" ? line.file : AbsolutePath(line.file); }},
    {"id", "the file's name without its ending", -1, nullptr, [](const Line& line) { return line.id; }},
    {"level", "eg", 2, [](const Line& line) -> Number { return line.sentence.eg; }, nullptr},
    {"vol", "as in the table", 1, [](const Line& line) -> Number { return line.sentence.vol; }, nullptr},
    {"trig", "true or false", -1, nullptr,
     [](const Line& line) {
       return std::string(!line.sentence.trig ? "-" : *line.sentence.trig ? "true" : "false");
     }},
};

[[noreturn]] void Refuse(const std::string& reason) { throw Failure(ExitCode::kUsage, "--printf: " + reason); }

// Takes what stands behind a backslash; `at` is its place.
char TakeEscape(const std::string& format, size_t* at) {
  if (*at >= format.size()) Refuse("ends with a single backslash");
  const char letter = format[(*at)++];
  if (letter == 'x') {
    unsigned value = 0;
    const char* first = format.data() + *at;
    const char* last = first + std::min<size_t>(2, format.size() - *at);
    const auto [end, error] = std::from_chars(first, last, value, 16);
    if (error != std::errc() || end != first + 2) Refuse("\\x wants two hexadecimal digits");
    *at += 2;
    return static_cast<char>(value);
  }
  constexpr std::string_view kLetters = "ntr0\\\"'";
  constexpr std::string_view kCharacters("\n\t\r\0\\\"'", 7);
  const size_t place = kLetters.find(letter);
  if (place == std::string_view::npos) Refuse(std::string("there is no escape \\") + letter + "; choose \\n, \\t, \\r, \\0, \\\\ or \\xHH");
  return kCharacters[place];
}

}  // namespace

std::span<const PrintfField> PrintfFields() { return kFields; }

PrintfFormat::PrintfFormat(const std::string& format) {
  pieces_.emplace_back();
  for (size_t at = 0; at < format.size();) {
    const char c = format[at++];
    const bool doubled = at < format.size() && format[at] == c;
    if (c == '\\') {
      pieces_.back().text += TakeEscape(format, &at);
    } else if ((c == '{' || c == '}') && doubled) {
      pieces_.back().text += c;
      ++at;
    } else if (c == '{') {
      Piece field = TakeField(format, &at);
      pieces_.back().field = field.field;
      pieces_.back().decimals = field.decimals;
      pieces_.emplace_back();
    } else if (c == '}') {
      Refuse("a } that closes nothing; }} prints one");
    } else {
      pieces_.back().text += c;
    }
  }
}

// `at` is the place behind the brace that opens it.
PrintfFormat::Piece PrintfFormat::TakeField(const std::string& format, size_t* at) const {
  const size_t close = format.find('}', *at);
  if (close == std::string::npos) Refuse("a { that is not closed; {{ prints one");
  const std::string inside = format.substr(*at, close - *at);
  *at = close + 1;
  const size_t colon = inside.find(':');
  Piece piece;
  piece.field = FindRow(PrintfFields(), inside.substr(0, colon));
  if (piece.field == nullptr) {
    Refuse("there is no field " + inside.substr(0, colon) + "; choose " + NamesOf(PrintfFields(), ", ", " or "));
  }
  piece.decimals = piece.field->decimals;
  if (colon == std::string::npos) return piece;
  const char* last = inside.data() + inside.size();
  const auto [end, error] = std::from_chars(inside.data() + colon + 1, last, piece.decimals);
  if (error != std::errc() || end != last || piece.decimals < 0 || piece.decimals > kMostDecimals) {
    Refuse("{" + inside + "}: expected a number of decimals from 0 to 9 behind the colon");
  }
  if (piece.field->decimals < 0) Refuse("{" + inside + "}: only decimal numbers have decimals");
  return piece;
}

std::string PrintfFormat::Print(const Line& line) const {
  std::string text;
  for (const Piece& piece : pieces_) {
    text += piece.text;
    if (piece.field == nullptr) continue;
    if (piece.field->text != nullptr) {
      text += piece.field->text(line);
    } else {
      const Number number = piece.field->number(line);
      text += number ? Fixed(*number, piece.decimals) : "-";
    }
  }
  return text;
}

std::unique_ptr<Report> MakePrintf(Output& output, const ReportShape& shape) {
  const PrintfFormat format(shape.details.printf);
  return std::make_unique<LineReport>(output, shape, LineForm{"", [format](const Line& line) { return format.Print(line); }});
}

}  // namespace TSEG::tool
