// SPDX-License-Identifier: Apache-2.0
//
// Names, conversions and messages of the settings. Unknown names in the file are told and passed over; lookups ignore case, the warning
// does not, so a key in other letters is told and still read.
#include "res/cfg_resmgr.h"

#include <cstdio>
#include <cstring>

#include "base/config_file.h"
#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

constexpr char kCfgFile[] = "w_tseg.cfg";
// The first five may stand in the file without a warning; the four in the middle may be set and read.
constexpr const char* kNames[] = {"wresMgr_param_normal_none",      "wresMgr_param_personal_timeThreshold",
                                  "wresMgr_param_is_calc_md5",      "wresMgr_param_resetUseNvidiaGPUAvailable",
                                  "wresMgr_param_PersonalLMWeight", "wresMgr_param_normal_count"};
constexpr size_t kWithoutWarning = 5;

// The row of `name` among 1 to 4, or 0.
size_t SettableRow(const char* name) {
  if (name == nullptr) return 0;
  for (size_t row = 1; row < kWithoutWarning; ++row) {
    if (std::strcmp(kNames[row], name) == 0) return row;
  }
  return 0;
}

void Store(CFG_RESMGR* cfg, size_t row, const std::string& value) {
  switch (row) {
    case 0:
      cfg->normal_none = ConfigDecimal(value);
      break;
    case 1:
      cfg->timeThreshold = ConfigFloat(value);
      break;
    case 2:
      cfg->is_calc_md5 = ConfigBool(value);
      break;
    case 3:
      cfg->resetUseNvidiaGPUAvailable = ConfigBool(value);
      break;
    case 4:
      cfg->PersonalLMWeight = ConfigFloat(value);
      break;
    default:
      cfg->normal_count = ConfigDecimal(value);
      break;
  }
}

// The shortest form of nine digits that gives the same single again.
std::string FloatText(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}

}  // namespace

void CFG_RESMGR::init() {
  if (platform::KindOfPath(kCfgFile) != platform::PathKind::kFile) {
    WVAD_LOG_INFO("%s | Couldn't find cfg_file: %s", "CFG_RESMGR::init", kCfgFile);
    return;
  }
  const ConfigSection section = ConfigSection::Parse(platform::ReadWholeFile(kCfgFile).value_or(std::string()), "resMgr");
  for (const ConfigEntry& entry : section.entries()) {
    bool known = false;
    for (size_t row = 0; row < kWithoutWarning; ++row) known = known || entry.key == kNames[row];
    if (!known) WVAD_LOG_WARN("%s | para not suitable for normal operation, param = %s", "CFG_RESMGR::init", entry.key.c_str());
  }
  for (size_t row = 0; row < std::size(kNames); ++row) {
    if (const std::string* value = section.find_set(kNames[row])) Store(this, row, *value);
  }
}

bool CFG_RESMGR::set_para_value(const char* name, const char* value) {
  const size_t row = SettableRow(name);
  if (row == 0 || value == nullptr) {
    WVAD_LOG_INFO("%s | para not suitable for normal operation, param = %s", "CFG_RESMGR::set_para_value", name == nullptr ? "" : name);
    return false;
  }
  if (std::strlen(value) > 256) {
    WVAD_FAIL(0, "false", "WVADAPI wVadSetParameter | param length is too long");
    return false;
  }
  Store(this, row, value);
  return true;
}

bool CFG_RESMGR::get_para_value(const char* name, char* value, unsigned nLen) const {
  const size_t row = SettableRow(name);
  if (row == 0 || value == nullptr) {
    WVAD_LOG_INFO("%s | para not suitable for normal operation, param = %s", "CFG_RESMGR::get_para_value", name == nullptr ? "" : name);
    return false;
  }
  std::string text;
  switch (row) {
    case 1:
      text = FloatText(timeThreshold);
      break;
    case 2:
      text = is_calc_md5 ? "1" : "0";
      break;
    case 3:
      text = resetUseNvidiaGPUAvailable ? "1" : "0";
      break;
    default:
      text = FloatText(PersonalLMWeight);
      break;
  }
  if (text.size() + 1 > nLen) {
    WVAD_FAIL(0, "false", "%s | err, param = %s, need buff = %d", "CFG_RESMGR::get_para_value", name, static_cast<int>(text.size() + 1));
    return false;
  }
  std::memcpy(value, text.c_str(), text.size() + 1);
  return true;
}

const CFG_RESMGR& DefaultCfgResMgr() {
  static const CFG_RESMGR defaults = [] {
    CFG_RESMGR cfg;
    cfg.init();
    return cfg;
  }();
  return defaults;
}

}  // namespace TSEG
