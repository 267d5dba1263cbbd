// SPDX-License-Identifier: Apache-2.0
//
// The parameters of the audio-quality component: the table of their keys, a set of values, and the component that holds the default set.
//
// No locks: the default set is written while the component starts.
#ifndef WVAD_QUALITY_KEL_CONFIG_H_
#define WVAD_QUALITY_KEL_CONFIG_H_

#include <cstdint>
#include <iterator>

#include "params/param_set.h"

namespace TSEG {

class CFG_KEL {
 public:
  int32_t normal_none = 0;
  int32_t sampleRate = 16000;
  float snr_threshold = 4.5f;
  float cur_threshold = 0.08f;
  int32_t normal_count = 0;

  // Reads section "kel" of "w_tseg.cfg" in the current folder over this object. Never fails: bad values become 0.
  void init();
  // Sets one of the three values from its whole text. False, with its log line, for any other key, for a text of 257 characters or more,
  // and for a text that is not a number.
  bool set_para_value(const char* key, const char* value);
  // Gives one of the three values as text with its terminator. False, with its log line, for any other key and where `nLen` bytes do not
  // hold it.
  bool get_para_value(const char* key, char* value, int nLen) const;
};

// The table of keys: the normal ones, then the special ones, which the component handles itself. The `_none` and `_count` rows are markers.
inline constexpr ParamRow<CFG_KEL> kKelParams[] = {
    {"wkel_param_normal_none", &CFG_KEL::normal_none},
    {"wkel_param_sampleRate", &CFG_KEL::sampleRate},
    {"wkel_param_snr_threshold", &CFG_KEL::snr_threshold},
    {"wkel_param_cur_threshold", &CFG_KEL::cur_threshold},
    {"wkel_param_normal_count", &CFG_KEL::normal_count},
    {"wkel_param_special_none"},
    {"wkel_param_sid"},
    {"wkel_param_special_count"},
};

// Positions in the table that code speaks of.
enum KelParamAt : int {
  kKelNormalNone = ParamPosition<kKelParams>("wkel_param_normal_none"),
  kKelNormalCount = ParamPosition<kKelParams>("wkel_param_normal_count"),
  kKelSpecialNone = ParamPosition<kKelParams>("wkel_param_special_none"),
  kKelSid = ParamPosition<kKelParams>("wkel_param_sid"),
  kKelSpecialCount = ParamPosition<kKelParams>("wkel_param_special_count")
};

// The position of `key` in [first, last], exact and case-sensitive; -1 if it is not there.
constexpr int FindKelParam(const char* key, int first, int last) { return FindParamRow(kKelParams, key, first, last); }

// One component: whether it is up, and the parameters that its instances are made from.
struct KelEngine {
  bool up = false;
  CFG_KEL defaults;
};

}  // namespace TSEG

#endif  // WVAD_QUALITY_KEL_CONFIG_H_
