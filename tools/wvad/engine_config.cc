// SPDX-License-Identifier: Apache-2.0
#include "wvad/engine_config.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <string_view>

#include "wvad/byte_source.h"
#include "wvad/failure.h"
#include "wvad/messages.h"
#include "wvad/parameter_table.h"
#include "wvad/parameters.h"

namespace TSEG::tool {
namespace {

// Sections whose entries are not in the table of parameters, with their keys.
struct Section {
  std::string_view name;
  std::array<std::string_view, 2> keys;
};
constexpr Section kSections[] = {
    {"resmgr", {"wresMgr_param_is_calc_md5", ""}}, {"heterogeneous", {"device", "device_id"}}, {"numa", {"bind_stragy", ""}}};

std::string Trimmed(std::string_view text) {
  const auto blank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return std::string(text);
}

std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

std::string Unquoted(const std::string& value) {
  if (value.empty() || (value[0] != '"' && value[0] != '\'')) return value;
  const bool closed = value.size() > 1 && value.back() == value[0];
  return value.substr(1, value.size() - (closed ? 2 : 1));
}

std::string ReadText(const std::string& path) {
  constexpr size_t kMost = 1 << 20;
  std::string text = ReadWhole(path, kMost + 1);
  if (text.size() > kMost) throw Failure(ExitCode::kBadParameter, path + ": too long for a configuration (at most 1 MiB)");
  const bool binary =
      std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' && std::isspace(c) == 0; });
  if (binary) throw Failure(ExitCode::kBadParameter, path + ": this is no text, so no configuration");
  return text;
}

class Checker {
 public:
  explicit Checker(bool endpoint) : endpoint_(endpoint) {}

  void Line(const std::string& line) {
    if (line.empty() || line[0] == '#' || line[0] == ';') return;
    if (line[0] == '[') {
      Open(line);
      return;
    }
    const size_t equals = line.find('=');
    if (equals == std::string::npos) throw Failure(ExitCode::kBadParameter, "expected name = value, [section] or a comment");
    Entry(Trimmed(line.substr(0, equals)), Unquoted(Trimmed(line.substr(equals + 1))));
  }
  const std::string& passed_over() const { return passed_over_; }

 private:
  void Open(const std::string& line) {
    if (line.back() != ']') throw Failure(ExitCode::kBadParameter, "a section that is not closed by ]");
    section_ = Folded(Trimmed(line.substr(1, line.size() - 2)));
    const bool known = section_ == "vad" || section_ == "kel" || Other() != nullptr;
    if (!known) throw Failure(ExitCode::kBadParameter, "there is no section \"" + section_ + "\" (vad, kel, resMgr, heterogeneous, numa)");
  }
  const Section* Other() const {
    for (const Section& row : kSections) {
      if (row.name == section_) return &row;
    }
    return nullptr;
  }
  void Entry(const std::string& name, const std::string& value) {
    if (section_.empty()) throw Failure(ExitCode::kBadParameter, "stands before any section, so that nobody reads it");
    if (const Section* other = Other()) {
      if (name.empty() || std::find(other->keys.begin(), other->keys.end(), name) == other->keys.end()) Unknown(name);
      return;
    }
    const ParameterRow* row = FindParameter(name);
    const bool of_quality = name.compare(0, 5, "wkel_") == 0;
    const bool normal = name.compare(0, 11, "wvad_param_") == 0 && name != "wvad_param_readtype";
    if (row == nullptr || (section_ == "kel" ? !of_quality : !of_quality && !normal)) Unknown(name);
    if (IsOfModelOption(name)) {
      passed_over_ += (passed_over_.empty() ? "" : ", ") + name;
      return;
    }
    CheckSettable(name, endpoint_);
    CheckValue(*row, value, Writing::kConfiguration);
    CheckWatches(name, value);
  }
  [[noreturn]] void Unknown(const std::string& name) const {
    throw Failure(ExitCode::kBadParameter, name + ": there is no such parameter in section \"" + section_ + "\"");
  }

  bool endpoint_;
  std::string section_;
  std::string passed_over_;
};

}  // namespace

std::string ReadConfiguration(const std::string& path, bool endpoint, bool quiet) {
  if (path.empty()) return {};
  std::string text;
  try {
    text = ReadText(path);
  } catch (const Failure& failure) {
    if (failure.code() == ExitCode::kInterrupted) throw;
    throw Failure(ExitCode::kBadParameter, failure.what());
  }
  Checker checker(endpoint);
  int number = 0;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    ++number;
    try {
      checker.Line(Trimmed(std::string_view(text).substr(begin, end - begin)));
    } catch (const Failure& failure) {
      throw Failure(ExitCode::kBadParameter, path + ", line " + std::to_string(number) + ": " + failure.what());
    }
    begin = end + 1;
  }
  if (!checker.passed_over().empty() && !quiet) {
    SayNote(path + ": note: " + checker.passed_over() + " has no effect; --model chooses the model");
  }
  return text;
}

}  // namespace TSEG::tool
