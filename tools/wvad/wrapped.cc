// SPDX-License-Identifier: Apache-2.0
#include "wvad/wrapped.h"

#include <algorithm>

namespace TSEG::tool {
namespace {

bool GoesOn(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

std::string_view WithoutBlanksBefore(std::string_view text) { return text.substr(std::min(text.find_first_not_of(' '), text.size())); }

std::string_view WithoutBlanksBehind(std::string_view text) {
  const size_t last = text.find_last_not_of(' ');
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

// How many bytes of `text` go into a line of `columns`: to a blank, else behind a separator, else to the first place behind them. Never
// none.
size_t BreakOf(std::string_view text, size_t columns) {
  const size_t fits = Cut(text, columns).size();
  const size_t word = text.find_first_not_of(' ');
  const size_t blank = text.rfind(' ', fits);
  if (blank != std::string_view::npos && blank > word) return blank;
  const size_t separator = fits == 0 ? std::string_view::npos : text.find_last_of("|,", fits - 1);
  if (separator != std::string_view::npos && separator > word) return separator + 1;
  const size_t behind = text.find_first_of(" |,", std::max(fits, word));
  if (behind == std::string_view::npos) return text.size();
  return text[behind] == ' ' ? behind : behind + 1;
}

}  // namespace

size_t Columns(std::string_view text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !GoesOn(c); }));
}

std::string_view Cut(std::string_view text, size_t columns) {
  size_t end = 0;
  for (size_t seen = 0; end < text.size(); ++end) {
    if (!GoesOn(text[end]) && seen++ == columns) break;
  }
  return text.substr(0, end);
}

std::string Wrapped(std::string_view line, size_t width, size_t indent) {
  std::string text;
  size_t room = width;
  while (Columns(line) > room) {
    const size_t end = BreakOf(line, room);
    const std::string_view rest = WithoutBlanksBefore(line.substr(end));
    if (rest.empty()) break;
    text += std::string(WithoutBlanksBehind(line.substr(0, end))) + "\n" + std::string(indent, ' ');
    line = rest;
    room = width - std::min(width, indent);
  }
  return text + std::string(line);
}

std::string Filled(std::string_view text, size_t width) {
  constexpr size_t kFurtherIn = 4;
  std::string filled;
  std::string paragraph;
  const auto close = [&] {
    if (!paragraph.empty()) filled += Wrapped(paragraph, width, 0) + "\n";
    paragraph.clear();
  };
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line[0] != ' ') {
      paragraph += (paragraph.empty() ? "" : " ") + std::string(line);
      if (line.back() == ':') close();
      continue;
    }
    close();
    filled += Wrapped(line, width, line.find_first_not_of(' ') + kFurtherIn) + "\n";
  }
  close();
  return filled;
}

}  // namespace TSEG::tool
