// SPDX-License-Identifier: Apache-2.0
//
// Interrupts on Windows (system.h): Ctrl-C, Ctrl-Break, a console that is closed, the end of the session. They come on a thread of their
// own; of those that end the process in any case the system waits for the answer, some seconds.
#include <array>
#include <atomic>
#include <mutex>

#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

std::atomic<bool> interrupted = false;
std::atomic<bool> reading_stopped = false;

struct Doomed {
  std::mutex mutex;
  std::array<std::wstring, 64> paths;  // empty: free
};

Doomed& TheDoomed() {
  static Doomed doomed;
  return doomed;
}

void RemoveDoomed() {
  Doomed& doomed = TheDoomed();
  const std::lock_guard lock(doomed.mutex);
  for (const std::wstring& path : doomed.paths) {
    if (!path.empty()) ::DeleteFileW(path.c_str());
  }
}

int __stdcall OnInterrupt(unsigned long kind) {
  const bool ends_anyway = kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT;
  if (interrupted.exchange(true)) {
    RemoveDoomed();
    return FALSE;  // the next handler ends the process
  }
  if (ends_anyway) ::Sleep(INFINITE);  // the work closes meanwhile, and the process with it
  return TRUE;
}

}  // namespace

// A broken pipe is an error code of the write here anyway.
void IgnoreSignalsOfWriting() {}

void RememberInterrupts() {
  TheDoomed();
  ::SetConsoleCtrlHandler(OnInterrupt, TRUE);
}

bool Interrupted() { return interrupted; }

void StopReading() { reading_stopped = true; }

bool ReadingStopped() { return reading_stopped || Interrupted(); }

DoomedFile::DoomedFile(const std::string& path) {
  Doomed& doomed = TheDoomed();
  const std::lock_guard lock(doomed.mutex);
  for (size_t i = 0; i < doomed.paths.size() && slot_ < 0; ++i) {
    if (doomed.paths[i].empty()) slot_ = static_cast<int>(i);
  }
  if (slot_ >= 0) doomed.paths[static_cast<size_t>(slot_)] = platform::Wide(path);
}

DoomedFile::~DoomedFile() {
  if (slot_ < 0) return;
  Doomed& doomed = TheDoomed();
  const std::lock_guard lock(doomed.mutex);
  doomed.paths[static_cast<size_t>(slot_)].clear();
}

}  // namespace TSEG::tool
