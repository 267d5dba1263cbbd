// SPDX-License-Identifier: Apache-2.0
//
// ParamSet: what the records of parameters share: a table of names and fields, the section of the configuration file that is read over a
// record, a field set from text and given as text. In what the records differ is written in their ParamSet.
//
// The position of a name in its table is its identity. Constant data, safe from any thread; the log lines are the only messages.
#ifndef WVAD_PARAMS_PARAM_SET_H_
#define WVAD_PARAMS_PARAM_SET_H_

#include <boost/lexical_cast.hpp>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "base/config_file.h"
#include "log/log.h"

namespace TSEG {

// A name and the field behind it, of which there is none behind the names that a caller handles itself.
template <typename Record>
struct ParamRow {
  const char* name;
  std::variant<std::monostate, int32_t Record::*, bool Record::*, float Record::*, std::string Record::*> field = std::monostate();
};

// The position of `name` in `rows` from `first` to `last`, exact and case-sensitive; -1 if it is not there.
template <typename Record>
constexpr int FindParamRow(const ParamRow<Record>* rows, std::string_view name, int first, int last) {
  for (int i = first; i <= last; ++i) {
    if (name == rows[i].name) return i;
  }
  return -1;
}

// The position of `name` in the table `kRows`; a name that is not there does not compile.
template <const auto& kRows>
consteval int ParamPosition(std::string_view name) {
  const int position = FindParamRow(kRows, name, 0, static_cast<int>(std::size(kRows)) - 1);
  return position >= 0 ? position : throw "no such parameter";
}

// What setting a field from a text does that is no value of the field's type as a whole.
enum class BadText {
  kThrows,      // boost::bad_lexical_cast
  kIsRefused,   // false, with the line of an unknown name
  kIsReadOver,  // takes what a file with that text would give
};

// The parts that do not depend on the record. `owner` is the name of its class, `act` that of the function.
namespace param_set {

// The section of "w_tseg.cfg" in the current folder; none, with a line at `level`, if there is no such file, and none if it is unreadable.
std::optional<ConfigSection> ReadSection(const char* owner, const char* section, LogLevel level);
void WarnOfKey(const char* owner, const char* key);
// The line of a name that cannot be set or read. A null `name` is written as an empty one.
void TellNotSuitable(const char* owner, const char* act, const char* name);
// Whether `value` has 256 characters at most; a failure report if it has more.
bool HasValidLength(const char* value);
// Copies `text` with its terminator; false, with a failure report, if `n_bytes` do not hold it. An empty text copies nothing.
bool GiveText(const char* owner, const char* name, const std::string& text, char* value, unsigned n_bytes);

}  // namespace param_set

template <typename Record>
struct ParamSet {
  const char* owner;                       // the class, as log lines name it
  const char* section;                     // of the configuration file
  std::span<const ParamRow<Record>> rows;  // the table
  int n_of_file;                           // rows whose names may stand in the file without a warning, from the first on
  int first_settable, last_settable;       // rows that can be set and given as text
  LogLevel missing_file_level;
  int32_t (*file_int)(const std::string&);  // how the file's integers are read
  BadText bad_text;

  // Reads the section over `record`, in the order of the table. Names are looked up without regard to case, the warning regards it: a key
  // in other letters is told and still read. Never fails: values that do not parse become 0 or false, empty ones leave the field.
  void Init(Record* record) const {
    const std::optional<ConfigSection> file = param_set::ReadSection(owner, section, missing_file_level);
    if (!file) return;
    for (const ConfigEntry& entry : file->entries()) {
      if (FindParamRow(rows.data(), entry.key.c_str(), 0, n_of_file - 1) < 0) param_set::WarnOfKey(owner, entry.key.c_str());
    }
    for (const ParamRow<Record>& row : rows) {
      if (const std::string* value = file->find_set(row.name)) TakeFromFile(record, row, *value);
    }
  }

  // Sets the field of `name` from `value`. False, with log lines, if it cannot be set, if the text is longer than 256 characters, and as
  // `bad_text` says.
  bool Set(Record* record, const char* name, const char* value) const {
    const int position = Settable(name, value);
    if (position < 0) {
      param_set::TellNotSuitable(owner, "set_para_value", name);
      return false;
    }
    if (!param_set::HasValidLength(value)) return false;
    const ParamRow<Record>& row = rows[static_cast<size_t>(position)];
    if (bad_text == BadText::kIsReadOver) {
      TakeFromFile(record, row, value);
      return true;
    }
    try {
      TakeWhole(record, row, value);
    } catch (const boost::bad_lexical_cast&) {
      if (bad_text == BadText::kThrows) throw;
      param_set::TellNotSuitable(owner, "set_para_value", name);
      return false;
    }
    return true;
  }

  // Gives the field of `name` as text, floats with nine digits, with its terminator. False, with log lines, if `name` cannot be read or
  // `n_bytes` do not hold it.
  bool Get(const Record& record, const char* name, char* value, unsigned n_bytes) const {
    const int position = Settable(name, value);
    if (position < 0) {
      param_set::TellNotSuitable(owner, "get_para_value", name);
      return false;
    }
    const std::string text = std::visit(
        [&](auto field) {
          if constexpr (std::is_same_v<decltype(field), std::monostate>) {
            return std::string();
          } else {
            return boost::lexical_cast<std::string>(record.*field);
          }
        },
        rows[static_cast<size_t>(position)].field);
    return param_set::GiveText(owner, name, text, value, n_bytes);
  }

 private:
  int Settable(const char* name, const char* value) const {
    return name != nullptr && value != nullptr ? FindParamRow(rows.data(), name, first_settable, last_settable) : -1;
  }

  void TakeFromFile(Record* record, const ParamRow<Record>& row, const std::string& value) const {
    if (const auto* number = std::get_if<int32_t Record::*>(&row.field)) record->** number = file_int(value);
    if (const auto* flag = std::get_if<bool Record::*>(&row.field)) record->** flag = ConfigBool(value);
    if (const auto* real = std::get_if<float Record::*>(&row.field)) record->** real = ConfigFloat(value);
    if (const auto* text = std::get_if<std::string Record::*>(&row.field)) record->** text = ConfigString(value);
  }

  static void TakeWhole(Record* record, const ParamRow<Record>& row, const char* value) {
    if (const auto* number = std::get_if<int32_t Record::*>(&row.field)) record->** number = boost::lexical_cast<int32_t>(value);
    if (const auto* flag = std::get_if<bool Record::*>(&row.field)) record->** flag = boost::lexical_cast<bool>(value);
    if (const auto* real = std::get_if<float Record::*>(&row.field)) record->** real = boost::lexical_cast<float>(value);
    if (const auto* text = std::get_if<std::string Record::*>(&row.field)) record->** text = value;
  }
};

}  // namespace TSEG

#endif  // WVAD_PARAMS_PARAM_SET_H_
