// SPDX-License-Identifier: Apache-2.0
#include "wvad/help_formatter.h"

#include <algorithm>
#include <utility>

#include "wvad/wrapped.h"

namespace TSEG::tool {
namespace {

constexpr size_t kNarrowest = 20;
constexpr size_t kWidest = 110;
constexpr size_t kInner = 2;  // what --help-all puts before the lines of a command

}  // namespace

HelpFormatter::HelpFormatter(size_t width)
    : width_(std::clamp(width, kNarrowest, kWidest) - kInner), column_(std::clamp<size_t>(width_ * 3 / 10, 8, 28)) {}

std::string HelpFormatter::Row(const std::string& head, const std::string& words) const {
  constexpr size_t kHeadGoesOn = 6;
  const std::string names = Wrapped("  " + head, width_, kHeadGoesOn);
  if (words.empty()) return names + "\n";
  const bool beside = Columns(names) + 2 <= column_;
  const std::string begin = beside ? std::string(column_ - Columns(names), ' ') : "\n" + std::string(column_, ' ');
  // The words behind a column of blanks, which stand for the names.
  const std::string block = Wrapped(std::string(column_, '.') + words, width_, column_);
  return names + begin + block.substr(column_) + "\n";
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool is_positional) const {
  return Row(make_option_name(option, is_positional) + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  return Row(command->get_display_name(true), command->get_description());
}

std::string HelpFormatter::make_description(const CLI::App* app) const { return Filled(CLI::Formatter::make_description(app), width_); }

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const {
  return Filled(CLI::Formatter::make_usage(app, std::move(name)), width_);
}

std::string HelpFormatter::make_footer(const CLI::App* app) const { return Filled(CLI::Formatter::make_footer(app), width_); }

}  // namespace TSEG::tool
