// SPDX-License-Identifier: Apache-2.0
#include "wvad/live/capture_module.h"

#include <wvad.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/shown.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

std::string Listed(const std::vector<const CaptureDevice*>& devices) {
  std::string list;
  for (const CaptureDevice* device : devices)
    list += (list.empty() ? "" : ", ") + std::to_string(device->number) + " \"" + Shown(device->name) + "\"";
  return list;
}

const CaptureModule* Load(std::string* reason) {
  *reason = "its part lib/wvad/portaudio.so is not installed";
  const std::string program = ProgramFolder();
  // Beside the library, as it is installed, and as it lies in a build folder.
  for (const std::string& folder : {program + "/" + WVAD_MODULES_FROM_PROGRAM, program + "/../lib/wvad"}) {
    const std::string file = folder + "/portaudio.so";
    std::error_code ignored;
    if (!std::filesystem::exists(PathOf(file), ignored)) continue;
    const auto entry = reinterpret_cast<CaptureModuleEntry>(LoadSymbol(file, kCaptureModuleEntry, reason));
    const CaptureModule* module = entry != nullptr ? entry() : nullptr;
    if (module != nullptr && std::strcmp(module->version, WVAD_VERSION) == 0) return module;
    if (module != nullptr) *reason = file + " is of version " + module->version;
  }
  return nullptr;
}

}  // namespace

const CaptureModule& TheCaptureModule() {
  static std::string reason;
  static const CaptureModule* const module = Load(&reason);
  if (module == nullptr) {
    throw Failure(ExitCode::kNoFile, "PortAudio is needed for a microphone (" + reason +
                                         "); the way round is: arecord -q -f S16_LE -r 16000 -t raw | wvad segment -");
  }
  return *module;
}

const CaptureDevice& ChooseDevice(const std::vector<CaptureDevice>& devices, const std::string& wanted) {
  if (devices.empty()) {
    throw Failure(ExitCode::kNoFile, "there is no microphone: the sound system shows this user no device that can be listened to");
  }
  std::vector<const CaptureDevice*> fitting;
  for (const CaptureDevice& device : devices) {
    if (wanted.empty() ? device.is_default : std::to_string(device.number) == wanted || device.name == wanted) return device;
    if (Lower(device.name).find(Lower(wanted)) != std::string::npos) fitting.push_back(&device);
  }
  if (wanted.empty()) return devices.front();
  if (fitting.size() == 1) return *fitting.front();
  if (fitting.size() > 1) throw Failure(ExitCode::kNoFile, "--device " + wanted + ": may be any of " + Listed(fitting));
  for (const CaptureDevice& device : devices) fitting.push_back(&device);
  throw Failure(ExitCode::kNoFile, "--device " + wanted + ": there is no such microphone; there are " + Listed(fitting));
}

}  // namespace TSEG::tool
