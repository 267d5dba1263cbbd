// SPDX-License-Identifier: Apache-2.0
//
// What `wvad listen` tells of a live stream, event by event as it is known: a table for people and CSV of its sentences, and JSON lines of
// everything. Times are seconds since listening began.
#ifndef WVAD_WVAD_LIVE_LIVE_REPORT_H_
#define WVAD_WVAD_LIVE_LIVE_REPORT_H_

#include <wvad_stream.h>

#include <memory>
#include <span>
#include <string>

namespace TSEG::tool {

class LiveReport {
 public:
  virtual ~LiveReport() = default;
  // Each of these gives the text that is to be printed, whole lines, often none.
  virtual std::string Begin() = 0;
  virtual std::string Take(const wvad_event& event, int rate_hz) = 0;
};

struct LiveFormat {
  const char* name;
  const char* words;
  const char* ending;  // of files
  // `summary`: the table closes with its sums.
  std::unique_ptr<LiveReport> (*make)(bool summary);
};
// The first one is the default.
std::span<const LiveFormat> LiveFormats();
// The one that the file `path` asks for by its ending, null for any other ending.
const LiveFormat* LiveFormatOfEnding(const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_LIVE_LIVE_REPORT_H_
