// SPDX-License-Identifier: Apache-2.0
//
// `wvad quality`: recordings in; out come what the audio-quality component measures of each ("snr", "cur") and the values of each sentence.
#ifndef WVAD_WVAD_QUALITY_COMMAND_H_
#define WVAD_WVAD_QUALITY_COMMAND_H_

#include "wvad/report_sentences.h"

namespace TSEG::tool {

using QualityOptions = ReportOptions;  // `format` has room for measures

// As RunSegment.
ExitCode RunQuality(const QualityOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_QUALITY_COMMAND_H_
