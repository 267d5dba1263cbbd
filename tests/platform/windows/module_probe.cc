// SPDX-License-Identifier: Apache-2.0
//
// A DLL that tells where it believes to lie, and which version it believes to be.
#include "platform/platform.h"

#define WVAD_PROBE extern "C" __declspec(dllexport)

WVAD_PROBE const char* ProbeModuleFolder() {
  static const std::string folder = TSEG::platform::ModuleFolder();
  return folder.c_str();
}

WVAD_PROBE const char* ProbeModuleFileName() {
  static const std::string name = TSEG::platform::ModuleFileName();
  return name.c_str();
}

WVAD_PROBE const char* ProbeModuleFileVersion() {
  static const std::string version = TSEG::platform::ModuleFileVersion().value_or("no versions");
  return version.c_str();
}
