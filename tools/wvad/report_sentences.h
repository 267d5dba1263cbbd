// SPDX-License-Identifier: Apache-2.0
//
// One report of all sentences of a run, in one form and one output: what `segment` and `quality` have in common.
#ifndef WVAD_WVAD_REPORT_SENTENCES_H_
#define WVAD_WVAD_REPORT_SENTENCES_H_

#include <string>

#include "wvad/report_formats.h"
#include "wvad/sentence_run.h"

namespace TSEG::tool {

struct ReportOptions : SentenceOptions {
  const ReportFormat* format = ReportFormats().data();
  std::string output;     // empty: standard output
  bool force = false;     // `output` may be replaced
  bool bare = false;      // nothing is said of how the results came about
  bool checksum = false;  // of each recording, with that
  FormDetails details;    // what was said of them on the command line
};
// What the report of these options tells; of the whole of it with what the first recording is heard with.
ReportShape ShapeOf(const ReportOptions& options, const HeardWith& first);
// The same with a report, which is written where no file could be opened only if it goes out piece by piece. Gives the code.
ExitCode ReportSentences(const ReportOptions& options, SentenceTask task);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_REPORT_SENTENCES_H_
