// SPDX-License-Identifier: Apache-2.0
#include "wvad/report_formats.h"

#include <algorithm>
#include <cstddef>

#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

// Those that have room for measures stand first.
constexpr ReportFormat kFormats[] = {
    {"table", "for people", true, MakeTable},
    {"json", "one document", true, MakeJsonDocument},
    {"jsonl", "one object a line", true, MakeJsonLines},
    {"csv", "one row a sentence", false, MakeCsv},
};

}  // namespace

std::span<const ReportFormat> ReportFormats() { return kFormats; }

std::span<const ReportFormat> MeasuringFormats() {
  const auto end = std::find_if(std::begin(kFormats), std::end(kFormats), [](const ReportFormat& format) { return !format.measures; });
  return ReportFormats().first(static_cast<size_t>(end - std::begin(kFormats)));
}

}  // namespace TSEG::tool
