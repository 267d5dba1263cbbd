// SPDX-License-Identifier: Apache-2.0
//
// CFG_KEL: the parameters of the audio-quality component, from the file and from text.
//
// The file and the interface convert differently, as those of the engine do: a value of the file that does not parse becomes 0, one of the
// interface that is not a number whole is refused.
#include "quality/kel_config.h"

#include <boost/lexical_cast.hpp>
#include <cstring>
#include <optional>
#include <string>

#include "base/config_file.h"
#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

constexpr const char* kCfgFile = "w_tseg.cfg";
constexpr const char* kCfgSection = "kel";
constexpr size_t kMaxValueChars = 256;

constexpr const char* kParamNames[kKelParamRows] = {"wkel_param_normal_none",   "wkel_param_sampleRate",   "wkel_param_snr_threshold",
                                                    "wkel_param_cur_threshold", "wkel_param_normal_count", "wkel_param_special_none",
                                                    "wkel_param_sid",           "wkel_param_special_count"};

void NotSuitable(const char* function, const char* key) {
  WVAD_LOG_INFO("%s | para not suitable for normal operation, param = %s", function, key);
}

}  // namespace

const char* KelParamName(int row) { return kParamNames[row]; }

int FindKelParam(const char* key, int first, int last) {
  for (int row = first; row <= last; ++row) {
    if (std::strcmp(key, kParamNames[row]) == 0) return row;
  }
  return -1;
}

void CFG_KEL::init() {
  if (platform::KindOfPath(kCfgFile) != platform::PathKind::kFile) {
    WVAD_LOG_CRIT("%s | Couldn't find cfg_file: %s", "CFG_KEL::init", kCfgFile);
    return;
  }
  const std::optional<std::string> text = platform::ReadWholeFile(kCfgFile);
  if (!text) return;
  const ConfigSection section = ConfigSection::Parse(*text, kCfgSection);
  for (const ConfigEntry& entry : section.entries()) {
    if (FindKelParam(entry.key.c_str(), 0, kKelParamRows - 1) < 0) {
      WVAD_LOG_WARN("%s | para not suitable for normal operation, param = %s", "CFG_KEL::init", entry.key.c_str());
    }
  }
  const auto take_int = [&](int row, int32_t* field) {
    if (const std::string* value = section.find_set(KelParamName(row))) *field = ConfigInt(*value);
  };
  const auto take_float = [&](int row, float* field) {
    if (const std::string* value = section.find_set(KelParamName(row))) *field = ConfigFloat(*value);
  };
  take_int(kKelNormalNone, &normal_none);
  take_int(kKelSampleRate, &sampleRate);
  take_float(kKelSnrThreshold, &snr_threshold);
  take_float(kKelCurThreshold, &cur_threshold);
  take_int(kKelNormalCount, &normal_count);
}

bool CFG_KEL::set_para_value(const char* key, const char* value) {
  const int row = FindKelParam(key, kKelNormalNone, kKelCurThreshold);
  if (row <= kKelNormalNone) {
    NotSuitable("CFG_KEL::set_para_value", key);
    return false;
  }
  if (strnlen(value, kMaxValueChars + 1) > kMaxValueChars) {
    WVAD_FAIL(0, "false", "WVADAPI wVadSetParameter | param length is too long");
    return false;
  }
  try {
    if (row == kKelSampleRate) {
      sampleRate = boost::lexical_cast<int32_t>(value);
    } else {
      (row == kKelSnrThreshold ? snr_threshold : cur_threshold) = boost::lexical_cast<float>(value);
    }
  } catch (const boost::bad_lexical_cast&) {
    // This component answers with codes alone: a text that is no number must not leave it as an exception.
    NotSuitable("CFG_KEL::set_para_value", key);
    return false;
  }
  return true;
}

bool CFG_KEL::get_para_value(const char* key, char* value, int nLen) const {
  const int row = FindKelParam(key, kKelNormalNone, kKelCurThreshold);
  if (row <= kKelNormalNone) {
    NotSuitable("CFG_KEL::get_para_value", key);
    return false;
  }
  const std::string text = row == kKelSampleRate     ? boost::lexical_cast<std::string>(sampleRate)
                           : row == kKelSnrThreshold ? boost::lexical_cast<std::string>(snr_threshold)
                                                     : boost::lexical_cast<std::string>(cur_threshold);
  const int need = static_cast<int>(text.size()) + 1;
  if (need > nLen) {
    WVAD_FAIL(0, "false", "%s | err, param = %s, need buff = %d", "CFG_KEL::get_para_value", key, need);
    return false;
  }
  std::memcpy(value, text.c_str(), static_cast<size_t>(need));
  return true;
}

}  // namespace TSEG
