// SPDX-License-Identifier: Apache-2.0
//
// What values the engine's parameters may have. The engine takes any number; the program refuses what makes no sense, and says what does.
#ifndef WVAD_WVAD_PARAMETER_TABLE_H_
#define WVAD_WVAD_PARAMETER_TABLE_H_

#include <span>
#include <string>
#include <string_view>

namespace TSEG::tool {

enum class ValueKind { kBool, kWhole, kDecimal, kRate, kText };

struct ParameterRow {
  std::string_view name;
  ValueKind kind;
  double least;
  double most;
  std::string_view unit;  // of the range, in words; may be empty
};

// All that can be set, by --set or in the sections "vad" and "kel" of a configuration.
std::span<const ParameterRow> ParameterTable();
// Null for a name that is none.
const ParameterRow* FindParameter(std::string_view name);

// How a value is written: a configuration also takes true and false, and numbers in hexadecimal (0x) and octal (0).
enum class Writing { kSetting, kConfiguration };

// Throws Failure(kBadParameter) that names the parameter and says what it takes.
void CheckValue(const ParameterRow& row, const std::string& value, Writing writing);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PARAMETER_TABLE_H_
