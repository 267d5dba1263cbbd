// SPDX-License-Identifier: Apache-2.0
//
// KelRig: an audio-quality instance in a session of its own, with what it hands out as text.
#ifndef WVAD_TESTS_QUALITY_KEL_RIG_H_
#define WVAD_TESTS_QUALITY_KEL_RIG_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "quality/kel.h"
#include "quality/kel_inst.h"

namespace TSEG {

struct KelRig {
  KelEngine own;  // of a rig that is given none
  KelInst* inst = nullptr;

  explicit KelRig(KelEngine* engine = nullptr) {
    EXPECT_EQ(wKelCreate(engine != nullptr ? engine : &own, &inst), 0);
    EXPECT_EQ(wKelStart(inst), 0);
  }
  ~KelRig() { wKelDestroy(inst); }
  KelRig(const KelRig&) = delete;
  KelRig& operator=(const KelRig&) = delete;

  int WriteBytes(const void* data, size_t n, uint32_t status = 0) {
    WVadAudioSample audio = {};
    audio.pData = const_cast<void*>(data);
    audio.len = static_cast<uint32_t>(n);
    audio.status = status;
    return wKelAudioWrite(inst, &audio);
  }
  int Write(const std::vector<int16_t>& samples, uint32_t status = 0) { return WriteBytes(samples.data(), samples.size() * 2, status); }
  int Close() { return WriteBytes(nullptr, 0, 2); }

  // The delivered items as "key:text".
  std::vector<std::string> Results() {
    WVadResult* out = nullptr;
    EXPECT_EQ(wKelGetResult(inst, &out), 0);
    std::vector<std::string> items;
    if (out == nullptr) return items;
    EXPECT_EQ(out->nStatus, 0u);
    for (int i = 0; i < out->nCount; ++i) {
      EXPECT_STREQ(out->pItems[i].pName, "KEL");
      EXPECT_EQ(out->pItems[i].nWord, 0u);
      items.push_back(std::string(out->pItems[i].pKey) + ":" + out->pItems[i].pText);
    }
    return items;
  }
};

inline std::string SnrText(const char* value, bool trig) {
  return std::string("snr:\"ws\":[{\"snr\":") + value + ",\"trig\":" + (trig ? "true" : "false") + "}]";
}
inline std::string CurText(const char* value, bool trig) {
  return std::string("cur:\"ws\":[{\"cur\":") + value + ",\"trig\":" + (trig ? "true" : "false") + "}]";
}

// Samples of `frames` measured frames at 16000 Hz: 480 and 320 for each further one.
inline size_t SamplesOf(size_t frames) { return 480 + (frames - 1) * 320; }

}  // namespace TSEG

#endif  // WVAD_TESTS_QUALITY_KEL_RIG_H_
