// SPDX-License-Identifier: Apache-2.0
//
// Front: a front end for the length of a test, with its parameters set and its records read in one go.
#ifndef WVAD_TESTS_FRONTEND_FLOAT_FRONT_FIXTURE_H_
#define WVAD_TESTS_FRONTEND_FLOAT_FRONT_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "frontend/float_front.h"

namespace TSEG::testing_support {

class Front {
 public:
  Front() { EXPECT_EQ(ORVAFloatFrontCreate(&handle), 0); }
  Front(const char* cmn_type, bool pitch, int rate = 16000) : Front() {
    set("wffpl_param_cmn_type", cmn_type);
    set("wffpl_param_ispitch_enable", pitch ? "1" : "0");
    set("wffpl_param_SampleRate", std::to_string(rate).c_str());
    ORVAFloatFrontReset(handle, 1);
  }
  ~Front() { ORVAFloatFrontDestroy(handle); }
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  int set(const char* param, const char* value) { return ORVAFloatFrontSetParameter(handle, param, value); }
  int append(const std::vector<int16_t>& pcm) { return ORVAFloatFrontAppendData(handle, pcm.data(), static_cast<int>(pcm.size())); }
  // Reads records until none comes; `last` takes the code that ended it.
  std::vector<StaticFeatureFB> read(bool flush, int* last = nullptr) {
    std::vector<StaticFeatureFB> records;
    StaticFeatureFB record;
    int code;
    while ((code = ORVAFloatFrontGetFeature(handle, &record, flush ? 1 : 0)) == 0) records.push_back(record);
    if (last != nullptr) *last = code;
    return records;
  }

  FrontHandle handle = nullptr;
};

// PCM for exactly `frames` frames from the start of a session at 16 kHz.
inline size_t SamplesFor(size_t frames) { return 800 + (frames - 1) * 160; }

inline bool SameRaw(const StaticFeatureFB& a, const StaticFeatureFB& b) {
  return std::memcmp(a.afFb24, b.afFb24, sizeof a.afFb24) == 0 && std::memcmp(a.afFb40, b.afFb40, sizeof a.afFb40) == 0 &&
         a.fPitch == b.fPitch && a.fPitchAux == b.fPitchAux && a.fEnergy == b.fEnergy;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_FRONTEND_FLOAT_FRONT_FIXTURE_H_
