// SPDX-License-Identifier: Apache-2.0
//
// `wvad compare`: segments against a reference, both read from files or folders.
#ifndef WVAD_WVAD_COMPARE_COMPARE_COMMAND_H_
#define WVAD_WVAD_COMPARE_COMPARE_COMMAND_H_

#include <string>

#include "wvad/compare/annotation.h"
#include "wvad/compare/compare_report.h"
#include "wvad/exit_codes.h"

namespace TSEG::tool {

struct CompareOptions {
  std::string reference;
  std::string found;
  const AnnotationForm* reference_form = nullptr;  // null: by the ending
  const AnnotationForm* found_form = nullptr;
  std::string uem;  // the regions that are scored; empty: all of each recording
  double collar_s = 0;
  const CompareFormat* format = CompareFormats().data();
  std::string output;
  bool force = false;
  bool quiet = false;
};

ExitCode RunCompare(const CompareOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPARE_COMPARE_COMMAND_H_
