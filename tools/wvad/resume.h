// SPDX-License-Identifier: Apache-2.0
//
// What an earlier run with the same recordings has left of its result, if it was stopped: the rows of the recordings that it was through
// with are kept as they stand, and the work goes on behind them, so that the result is that of a run that was never stopped.
//
//   FILE             of a run that was interrupted (code 10), or that is whole
//   FILE.wvad-part   of one that was killed
//
// JSON lines say where a recording ends; a recording whose last line is its "end" is through, unless it was interrupted. CSV does not: the
// last recording that has a row is heard once more, those before it are through. Its rows are found again then, but for what an interrupt
// makes otherwise than the end of a recording; where they are not, somebody has worked on them, and they stay (Output::BeginsWith).
#ifndef WVAD_WVAD_RESUME_H_
#define WVAD_WVAD_RESUME_H_

#include <cstddef>
#include <string>
#include <vector>

#include "wvad/exit_codes.h"
#include "wvad/failure.h"

namespace TSEG::tool {

struct Kept {
  std::string rows;                    // to stand before the new ones; without the heading of CSV
  size_t files = 0;                    // so many of the recordings, from the first on, are through
  ExitCode code = ExitCode::kSuccess;  // of the first of them that failed or was heard in part
  std::vector<std::string> failed;     // those that did, as they are named on the command line
  std::vector<std::string> made_by;    // how these results came about, each way once; none where they do not say
  std::string there;                   // `output` as it is there
  size_t sure = 0;                     // how much of that the new one has to begin with
};

// `format`: jsonl or csv. Nothing is kept where neither file is there. `ways`: how this run's results come about (ProvenancesOfRun). Throws
// Failure: kUsage for another format, kOutput for an `output` that holds something else than the begin of this run's result, results that
// came about in another way, or those of recordings that have been written to since. With `replace` nothing is kept of such an output,
// which is begun anew.
Kept KeepWhatIsThere(const std::string& output, const std::string& format, const std::vector<std::string>& files,
                     const std::vector<std::string>& ways, bool replace);

// One line on standard error for all recordings in `output` that failed in the run before, where any did: the code that this run ends with
// is theirs.
void SayFailedBefore(const std::string& output, const std::vector<std::string>& failed);

// A result that no run with these recordings can have written, as it stands.
Failure NotBegunSo(const std::string& path);

// The recording that the first row of a CSV file tells of; empty where it does not.
std::string RecordingOfCsv(const std::string& path);

// Throws Failure(kOutput) where results in `path` that came about as `made_by` says, JSON in one line, would be mixed with others.
void CheckSameWay(const std::string& path, const std::string& made_by, const std::vector<std::string>& ways);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RESUME_H_
