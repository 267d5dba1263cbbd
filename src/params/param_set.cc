// SPDX-License-Identifier: Apache-2.0
#include "params/param_set.h"

#include "platform/platform.h"

namespace TSEG::param_set {
namespace {

constexpr const char* kCfgFile = "w_tseg.cfg";
constexpr size_t kMaxValueChars = 256;

}  // namespace

std::optional<ConfigSection> ReadSection(const char* owner, const char* section, LogLevel level) {
  if (platform::KindOfPath(kCfgFile) != platform::PathKind::kFile) {
    constexpr const char* kLine = "%s::init | Couldn't find cfg_file: %s";
    if (level == kLogCrt) {
      WVAD_LOG_CRIT(kLine, owner, kCfgFile);
    } else {
      WVAD_LOG_INFO(kLine, owner, kCfgFile);
    }
    return std::nullopt;
  }
  const std::optional<std::string> text = platform::ReadWholeFile(kCfgFile);
  if (!text) return std::nullopt;
  return ConfigSection::Parse(*text, section);
}

void WarnOfKey(const char* owner, const char* key) {
  WVAD_LOG_WARN("%s::init | para not suitable for normal operation, param = %s", owner, key);
}

void TellNotSuitable(const char* owner, const char* act, const char* name) {
  WVAD_LOG_INFO("%s::%s | para not suitable for normal operation, param = %s", owner, act, name == nullptr ? "" : name);
}

bool HasValidLength(const char* value) {
  if (strnlen(value, kMaxValueChars + 1) <= kMaxValueChars) return true;
  WVAD_FAIL(0, "false", "WVADAPI wVadSetParameter | param length is too long");
  return false;
}

bool GiveText(const char* owner, const char* name, const std::string& text, char* value, unsigned n_bytes) {
  const size_t needed = text.size() + 1;
  if (needed > n_bytes) {
    WVAD_FAIL(0, "false", "%s::get_para_value | err, param = %s, need buff = %d", owner, name, static_cast<int>(needed));
    return false;
  }
  if (!text.empty()) std::memcpy(value, text.c_str(), needed);
  return true;
}

}  // namespace TSEG::param_set
