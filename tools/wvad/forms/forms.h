// SPDX-License-Identifier: Apache-2.0
//
// The makers of the forms of this folder, one file each, for the table in report_formats.cc.
#ifndef WVAD_WVAD_FORMS_FORMS_H_
#define WVAD_WVAD_FORMS_FORMS_H_

#include <memory>
#include <string>
#include <vector>

#include "wvad/output.h"
#include "wvad/report.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {

std::unique_ptr<Report> MakeRttm(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeCtm(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeStm(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeUem(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeLabels(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeTextGrid(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeEaf(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeSrt(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeVtt(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeFfconcat(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeEdl(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeLhotseRecordings(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeLhotseSupervisions(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeKaldiSegments(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeKaldiWavScp(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeKaldiUtt2spk(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakePrintf(Output& output, const ReportShape& shape);

// Throws Failure(kUsage) for words that no caption can hold, and for such without a form that has captions.
void CheckCaption(const std::string& words, const std::vector<const ReportFormat*>& formats);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FORMS_FORMS_H_
