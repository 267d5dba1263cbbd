// SPDX-License-Identifier: Apache-2.0
//
// The parameters of the audio-quality component: the table of their keys, a set of values, and the component that holds the default set.
//
// No locks: the default set is written while the component starts.
#ifndef WVAD_QUALITY_KEL_CONFIG_H_
#define WVAD_QUALITY_KEL_CONFIG_H_

#include <cstdint>

namespace TSEG {

// Rows of the table of keys: the normal ones, then the special ones. The `_none` and `_count` rows are markers.
enum KelParam : int {
  kKelNormalNone = 0,
  kKelSampleRate,
  kKelSnrThreshold,
  kKelCurThreshold,
  kKelNormalCount,
  kKelSpecialNone,
  kKelSid,
  kKelSpecialCount,
  kKelParamRows
};
// The key of `row`, and the row of `key` in [first, last] or -1: exact and case-sensitive.
const char* KelParamName(int row);
int FindKelParam(const char* key, int first, int last);

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

// One component: whether it is up, and the parameters that its instances are made from.
struct KelEngine {
  bool bInit = false;
  CFG_KEL defaults;
};

}  // namespace TSEG

#endif  // WVAD_QUALITY_KEL_CONFIG_H_
