// SPDX-License-Identifier: Apache-2.0
//
// Diagnostics: what a session records for whoever debugs it: its name, the four watches, and its line of the debug text.
//
// Nothing here changes what a session answers. The score trace and the text grow with the session, where the debug text is on.
#ifndef WVAD_SESSION_DIAGNOSTICS_H_
#define WVAD_SESSION_DIAGNOSTICS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "channel/frame_history.h"
#include "dumps/debug_watch.h"
#include "params/cfg_vad.h"
#include "scoring/block_observer.h"

namespace TSEG {

struct Diagnostics : BlockObserver {
  Diagnostics();

  char szSid[1024] = "undefine ";  // unterminated where it is full
  std::vector<int32_t> mScore;     // pairs of score values times 1000
  std::string debugText;
  std::unique_ptr<DebugWatch> pWatchInput = std::make_unique<DebugWatch>("TsegInputWav", 2u);
  std::unique_ptr<DebugWatch> pWatchOutput = std::make_unique<DebugWatch>("TsegOutputWav", 4u);
  std::unique_ptr<DebugWatch> pWatch75x11 = std::make_unique<DebugWatch>("Tseg75x11", 4u);
  std::unique_ptr<DebugWatch> pWatch75x4 = std::make_unique<DebugWatch>("Tseg75x4", 4u);

  // The session's name, as far as it is one.
  std::string sid() const;
  // Names the session, and arms the watches under the last component of the name if `watches` is set.
  void SetSid(const char* text, bool watches);

  // Begins the session's line of the debug text.
  void BeginText();
  // The watches count from their first piece again.
  void Start(const CFG_VAD& cfg);
  // The finished line: what the decisions traced, then the scores and the energies in `eScore`.
  const std::string& CloseText(const FrameHistory<float>& eScore);
  // Writes or checks what the watches hold, and forgets trace and text.
  void End();

  void OnBlock(const float* block, int32_t floats) override;
};

}  // namespace TSEG

#endif  // WVAD_SESSION_DIAGNOSTICS_H_
