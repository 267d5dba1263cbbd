// SPDX-License-Identifier: Apache-2.0
//
// `wvad listen`: sentences from a microphone as they are spoken, through the stream library; and `wvad devices`: which microphones there
// are.
#ifndef WVAD_WVAD_LIVE_LISTEN_COMMAND_H_
#define WVAD_WVAD_LIVE_LISTEN_COMMAND_H_

#include <string>

#include "wvad/engine_options.h"
#include "wvad/exit_codes.h"
#include "wvad/live/capture_module.h"
#include "wvad/live/live_report.h"

namespace TSEG::tool {

struct ListenOptions {
  EngineOptions engine;  // `settings` and `config` are not looked at: the stream library has the plain ones alone
  std::string device;    // ChooseDevice
  int rate_hz = 0;       // asked of the device; 0 for its usual one
  int channel = 0;       // that is listened to, from 1; 0 for the mean of all
  int seconds = 0;       // to stop after; 0: at an interrupt
  const LiveFormat* format = LiveFormats().data();
  std::string output;  // empty: standard output
  bool force = false;  // `output` may be replaced
  bool quiet = false;
};

// Listens until an interrupt, which is its ordinary end: a sentence that goes on ends there and is told. Throws Failure, once what was
// heard until then has been told.
ExitCode RunListen(const ListenOptions& options, const CaptureModule& capture);

struct DevicesOptions {
  bool json = false;
};

// Prints the microphones on standard output. Throws Failure(kNoFile) where there are none.
ExitCode RunDevices(const DevicesOptions& options, const CaptureModule& capture);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_LIVE_LISTEN_COMMAND_H_
