// SPDX-License-Identifier: Apache-2.0
//
// The program's exit codes, in one table. --help prints it; the manual page and docs/cli.md are held against it. Scripts depend on the
// numbers: rows are added at the end alone.
#ifndef WVAD_WVAD_EXIT_CODES_H_
#define WVAD_WVAD_EXIT_CODES_H_

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>

namespace TSEG::tool {

enum class ExitCode : int {
  kSuccess,
  kInternal,
  kUsage,
  kNoFile,
  kNotAudio,
  kBadRate,
  kBadParameter,
  kBadModel,
  kOutput,
  kEngine,
  kInterrupted
};

struct ExitCodeRow {
  ExitCode code;
  const char* meaning;
};

inline constexpr ExitCodeRow kExitCodes[] = {
    {ExitCode::kSuccess, "all files done"},
    {ExitCode::kInternal, "internal error, memory exhausted"},
    {ExitCode::kUsage, "the command line makes no sense"},
    {ExitCode::kNoFile, "an input is missing or cannot be opened"},
    {ExitCode::kNotAudio, "an input is not audio, or damaged"},
    {ExitCode::kBadRate, "a sample rate or channel that cannot be served"},
    {ExitCode::kBadParameter, "a bad parameter (--set, --config)"},
    {ExitCode::kBadModel, "the model is missing or unusable"},
    {ExitCode::kOutput, "the output cannot be written, or would replace something (--force)"},
    {ExitCode::kEngine, "the engine refused to go on"},
    {ExitCode::kInterrupted, "interrupted; what was found until then has been printed or saved, but for files that only appear whole"},
};

// A code is the number of its row.
constexpr bool CodesCountTheRows() {
  for (size_t i = 0; i < std::size(kExitCodes); ++i) {
    if (static_cast<size_t>(kExitCodes[i].code) != i) return false;
  }
  return true;
}
static_assert(CodesCountTheRows());

// The code of this number, none where the program has no such one.
constexpr std::optional<ExitCode> ExitCodeOf(int64_t number) {
  if (number < 0 || number >= static_cast<int64_t>(std::size(kExitCodes))) return std::nullopt;
  return kExitCodes[number].code;
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_EXIT_CODES_H_
