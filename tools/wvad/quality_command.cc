// SPDX-License-Identifier: Apache-2.0
#include "wvad/quality_command.h"

namespace TSEG::tool {

ExitCode RunQuality(const QualityOptions& options) {
  SentenceTask task;
  task.quality = true;
  return ReportSentences(options, task);
}

}  // namespace TSEG::tool
