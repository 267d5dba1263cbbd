// SPDX-License-Identifier: Apache-2.0
//
// A shared library that tells where it believes to lie.
#include "platform/platform.h"

extern "C" __attribute__((visibility("default"))) const char* ProbeModuleFolder() {
  static const std::string folder = TSEG::platform::ModuleFolder();
  return folder.c_str();
}

extern "C" __attribute__((visibility("default"))) const char* ProbeModuleFileName() {
  static const std::string name = TSEG::platform::ModuleFileName();
  return name.c_str();
}
