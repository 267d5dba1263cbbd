// SPDX-License-Identifier: Apache-2.0
//
// Microphones, and what the program and its part on PortAudio know of each other. That part is a shared object of its own,
// lib/wvad/portaudio.so, which is loaded when something is to be listened to, so that the program starts and runs without a sound system.
//
// Both sides are built together; the version says so.
#ifndef WVAD_WVAD_LIVE_CAPTURE_MODULE_H_
#define WVAD_WVAD_LIVE_CAPTURE_MODULE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace TSEG::tool {

struct CaptureDevice {
  int number = 0;  // that the sound system counts it by
  std::string name;
  std::string system;  // that it is reached through, such as ALSA or JACK
  int channels = 0;    // at most
  int rate_hz = 0;     // its usual one
  bool is_default = false;
};

// A device that is open and running.
class Capture {
 public:
  virtual ~Capture() = default;
  virtual int rate_hz() const = 0;
  virtual int channels() const = 0;
  // Up to `count` frames into `out` [count x channels], 1.0 being full scale; waits for the first of them for about `wait_ms` and gives 0
  // where none has come. Throws Failure(kNoFile) where the device is gone.
  virtual size_t Read(float* out, size_t count, int wait_ms) = 0;
  // How often sound was lost because it was not fetched in time.
  virtual int64_t losses() const = 0;
};

struct CaptureModule {
  const char* version;  // WVAD_VERSION
  // What can be listened to, in the order of the numbers. Throws Failure(kNoFile) where the sound system cannot be reached.
  std::vector<CaptureDevice> (*devices)();
  // 0 for the device's usual rate; `channels` at most as it has. Throws Failure: kNoFile where it cannot be opened, kBadRate.
  std::unique_ptr<Capture> (*open)(const CaptureDevice& device, int rate_hz, int channels);
};

// The one name that the shared object shows.
constexpr const char* kCaptureModuleEntry = "WVadCaptureModule";
using CaptureModuleEntry = const CaptureModule* (*)();

// The loaded part. Throws Failure(kNoFile) where it is not installed or cannot be loaded.
const CaptureModule& TheCaptureModule();

// The device that `wanted` names: its number, its name, or a part of its name that no other has, in letters of either case; empty for the
// system's default, else the first. Throws Failure(kNoFile) with what there is.
const CaptureDevice& ChooseDevice(const std::vector<CaptureDevice>& devices, const std::string& wanted);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_LIVE_CAPTURE_MODULE_H_
