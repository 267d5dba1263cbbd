// SPDX-License-Identifier: Apache-2.0
//
// The layout of `--help`: names of options in a column, what they do beside it, in lines that fit the terminal.
#ifndef WVAD_WVAD_HELP_FORMATTER_H_
#define WVAD_WVAD_HELP_FORMATTER_H_

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>

namespace TSEG::tool {

class HelpFormatter : public CLI::Formatter {
 public:
  // Lines have up to `width` columns, but no more than can be read with ease.
  explicit HelpFormatter(size_t width);

  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;

 private:
  std::string Row(const std::string& head, const std::string& words) const;

  size_t width_;
  size_t column_;  // where words begin
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_HELP_FORMATTER_H_
