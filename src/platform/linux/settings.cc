// SPDX-License-Identifier: Apache-2.0
//
// What other systems keep for a program and this one does not: settings with a reader of the system's own, and versions in files.
#include "platform/platform.h"

namespace TSEG::platform {

std::optional<std::string> ProfileValue(const std::string& /*path*/, const std::string& /*section*/, const std::string& /*key*/) {
  return std::nullopt;
}

std::optional<std::string> RegistryValue(const std::string& /*key*/, const std::string& /*name*/) { return std::nullopt; }

std::optional<std::string> ModuleFileVersion() { return std::nullopt; }

std::optional<std::string> ExecutableFileVersion() { return std::nullopt; }

}  // namespace TSEG::platform
