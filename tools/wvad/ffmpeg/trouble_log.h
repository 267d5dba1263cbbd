// SPDX-License-Identifier: Apache-2.0
//
// What FFmpeg's libraries would print on standard error goes here instead: nothing of it reaches the user as it stands, but that there was
// something tells of damage that no return code tells of.
//
// The libraries call their log from the thread that called them, as long as decoders have no threads of their own; each thread has the log
// of the source that it works on.
#ifndef WVAD_WVAD_FFMPEG_TROUBLE_LOG_H_
#define WVAD_WVAD_FFMPEG_TROUBLE_LOG_H_

#include <string>

namespace TSEG::tool {

struct TroubleLog {
  std::string first;        // line of the level "error" or worse
  std::string refused;      // a protocol that was not opened
  bool truncated = false;   // a container said that its file ends too early
  bool piece_lost = false;  // one that a list of pieces names was not there
};

// While it lives, this thread's lines go to `log`.
class TroubleScope {
 public:
  explicit TroubleScope(TroubleLog* log);
  ~TroubleScope();
  TroubleScope(const TroubleScope&) = delete;
  TroubleScope& operator=(const TroubleScope&) = delete;

 private:
  TroubleLog* before_;
};

// From here on FFmpeg's libraries print nothing in this process. May be called more than once.
void CatchTroubles();

// The words for an FFmpeg error code.
std::string ErrorText(int code);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FFMPEG_TROUBLE_LOG_H_
