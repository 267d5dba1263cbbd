// SPDX-License-Identifier: Apache-2.0
//
// CFG_VAD: the file "w_tseg.cfg", and the strict conversions of the parameter functions.
//
// The file and the interface convert differently on purpose: a value of the file that does not parse becomes 0, one of the interface that
// does not parse whole is refused by an exception, which the caller of the library gets.
#include "params/cfg_vad.h"

#include <boost/lexical_cast.hpp>
#include <cstring>
#include <optional>
#include <type_traits>

#include "base/config_file.h"
#include "log/log.h"
#include "platform/platform.h"
#include "params/param_table.h"

namespace TSEG {
namespace {

constexpr const char* kCfgFile = "w_tseg.cfg";
constexpr const char* kCfgSection = "vad";
constexpr size_t kMaxValueChars = 256;

void TakeFromFile(CFG_VAD* cfg, const ParamField& field, const std::string& value) {
  std::visit(
      [&](auto member) {
        using Field = std::remove_reference_t<decltype(cfg->*member)>;
        if constexpr (std::is_same_v<Field, int32_t>) {
          cfg->*member = ConfigInt(value);
        } else if constexpr (std::is_same_v<Field, bool>) {
          cfg->*member = ConfigBool(value);
        } else if constexpr (std::is_same_v<Field, float>) {
          cfg->*member = ConfigFloat(value);
        } else {
          cfg->*member = ConfigString(value);
        }
      },
      field);
}

}  // namespace

void CFG_VAD::init() {
  if (platform::KindOfPath(kCfgFile) != platform::PathKind::kFile) {
    WVAD_LOG_CRIT("%s | Couldn't find cfg_file: %s", "CFG_VAD::init", kCfgFile);
    return;
  }
  const std::optional<std::string> text = platform::ReadWholeFile(kCfgFile);
  if (!text) return;
  const ConfigSection section = ConfigSection::Parse(*text, kCfgSection);
  // Keys are compared with their case here and without it below: a key in the wrong case warns and still takes effect.
  for (const ConfigEntry& entry : section.entries()) {
    if (FindParam(entry.key.c_str(), 0, kParamNormalCount - 1) < 0) {
      WVAD_LOG_WARN("%s | para not suitable for normal operation, param = %s", "CFG_VAD::init", entry.key.c_str());
    }
  }
  for (int i = 0; i < kParamNormalCount; ++i) {
    if (const std::string* value = section.find_set(ParamName(i))) TakeFromFile(this, ParamFieldAt(i), *value);
  }
  if (const std::string* value = section.find_set(ParamName(kParamNormalCountName))) wvad_param_normal_count = ConfigInt(*value);
}

bool CFG_VAD::set_para_value(const char* name, const char* value) {
  const int position = FindParam(name, 0, kParamNormalCount - 1);
  if (position <= 0) {
    WVAD_LOG_INFO("%s | para not suitable for normal operation, param = %s", "CFG_VAD::set_para_value", name);
    return false;
  }
  if (strnlen(value, kMaxValueChars + 1) > kMaxValueChars) {
    WVAD_FAIL(0, "false", "WVADAPI wVadSetParameter | param length is too long");
    return false;
  }
  std::visit(
      [&](auto member) {
        using Field = std::remove_reference_t<decltype(this->*member)>;
        if constexpr (std::is_same_v<Field, std::string>) {
          this->*member = value;
        } else {
          this->*member = boost::lexical_cast<Field>(value);
        }
      },
      ParamFieldAt(position));
  return true;
}

bool CFG_VAD::get_para_value(const char* name, char* value, unsigned nLen) {
  const int position = FindParam(name, 1, kParamNormalCount - 1);
  if (position < 0) {
    WVAD_LOG_INFO("%s | para not suitable for normal operation, param = %s", "CFG_VAD::get_para_value", name);
    return false;
  }
  const std::string text = std::visit([&](auto member) { return boost::lexical_cast<std::string>(this->*member); }, ParamFieldAt(position));
  const size_t needed = text.size() + 1;
  if (needed > nLen) {
    WVAD_FAIL(0, "false", "%s | err, param = %s, need buff = %d", "CFG_VAD::get_para_value", name, static_cast<int>(needed));
    return false;
  }
  if (!text.empty()) std::memcpy(value, text.c_str(), needed);
  return true;
}

}  // namespace TSEG
