// SPDX-License-Identifier: Apache-2.0
//
// A list for ffmpeg's demuxer "concat": the sentences one behind the other, each a stretch of its recording.
#include "wvad/forms/forms.h"
#include "wvad/forms/line_report.h"
#include "wvad/recording_name.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

// In single quotes, as ffmpeg and the shell take it: only the quote itself has to be written outside of them.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string ConcatLines(const Line& line) {
  const std::string channel = line.sentence.channel > 0 ? HashComment("channel " + std::to_string(line.sentence.channel)) : "";
  return channel + "file " + Quoted(AbsolutePath(line.file)) + "\ninpoint " + Fixed(line.begin(), 3) + "\noutpoint " +
         Fixed(line.end(), 3) + "\n";
}

}  // namespace

std::unique_ptr<Report> MakeFfconcat(Output& output, const ReportShape& shape) {
  return std::make_unique<LineReport>(output, shape, LineForm{"ffconcat version 1.0\n", ConcatLines, HashComment});
}

}  // namespace TSEG::tool
