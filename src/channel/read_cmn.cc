// SPDX-License-Identifier: Apache-2.0
//
// ReadCmn: release schedule and means. The prior means let the first frames of a session leave before their own mean is known.
#include "channel/read_cmn.h"

#include <algorithm>
#include <cstring>

namespace TSEG {
namespace {

constexpr int kBank24At = 0;   // first index of the bank of 24 within a feature frame
constexpr int kBank40At = 75;  // and of the bank of 40

constexpr float kPrior24[24] = {12.7679f, 15.2438f, 16.3531f, 16.6335f, 16.9850f, 16.9471f, 16.7052f, 16.5730f,
                                16.5736f, 16.6315f, 16.7731f, 16.8877f, 16.8624f, 16.9402f, 17.2092f, 17.3814f,
                                17.4227f, 17.5321f, 17.5661f, 17.4341f, 17.2026f, 17.0581f, 16.9743f, 16.4931f};

constexpr float kPrior40[40] = {11.6815f,   13.54525f,  14.911875f, 15.934075f, 16.46695f,  16.541475f, 16.790674f, 17.0542f,
                                17.118826f, 17.1551f,   17.006426f, 16.98345f,  16.936026f, 16.87975f,  16.88195f,  16.84265f,
                                16.8879f,   16.95895f,  17.04355f,  17.066425f, 17.0521f,   17.05315f,  17.111151f, 17.2322f,
                                17.38615f,  17.482775f, 17.5104f,   17.59035f,  17.7387f,   17.849026f, 17.90765f,  17.929075f,
                                17.7642f,   17.49805f,  17.311075f, 17.1013f,   16.9407f,   16.829876f, 16.494425f, 15.364f};

void MixMeans(const float* prior, const float* sum, int n, float a, float b, float count, float* mean) {
  for (int i = 0; i < n; ++i) {
    const float own = b * sum[i] / count;
    mean[i] = a * prior[i] + own;
  }
}

void PlainMeans(const float* sum, int n, float count, float* mean) {
  for (int i = 0; i < n; ++i) mean[i] = sum[i] / count;
}

}  // namespace

ReadCmn::ReadCmn() { reset(); }

void ReadCmn::setup(int32_t type) {
  switch (type) {
    case 1:
      bEnable = 0;
      return;
    case 2:
      nFirst = 50, nSecond = 100, nThird = 150, nLag = 25, fPriorWeight = 0.6f;
      return;
    case 3:
      nFirst = 25, nSecond = 75, nThird = 100, nLag = 25, fPriorWeight = 0.6f;
      return;
    case 4:  // frames wait until a sentence closes, and then only the sums count
      nFirst = nSecond = nThird = nLag = 999999, fPriorWeight = 0.0f;
      return;
    default:
      nFirst = 100, nSecond = 150, nThird = 200, nLag = 50, fPriorWeight = 0.6f;
      return;
  }
}

void ReadCmn::reset() {
  bEnable = 1;
  nLastFrame = -1;
  nCount = 0;
  nDone = 0;
  pending.clear();
  setup(0);
  std::copy(std::begin(kPrior24), std::end(kPrior24), prior24);
  std::copy(std::begin(kPrior40), std::end(kPrior40), prior40);
  std::fill(std::begin(sum24), std::end(sum24), 0.0f);
  std::fill(std::begin(sum40), std::end(sum40), 0.0f);
  ready.clear();
  taken.clear();
}

void ReadCmn::clearMeans() {
  std::fill(std::begin(prior24), std::end(prior24), 0.0f);
  std::fill(std::begin(prior40), std::end(prior40), 0.0f);
  std::fill(std::begin(sum24), std::end(sum24), 0.0f);
  std::fill(std::begin(sum40), std::end(sum40), 0.0f);
}

void ReadCmn::process(FrameFeaContainer& frames, int32_t from, int32_t to, bool bFlush) {
  // Only this function adds to the sums: once a call is as good as once a frame.
  if (bEnable == 0 && (from < to || bFlush)) clearMeans();
  for (int32_t f = from; f < to; ++f) addFrame(frames, f);
  if (bFlush) release(frames, nCount);
}

void ReadCmn::addFrame(FrameFeaContainer& frames, int32_t f) {
  if (bEnable != 0) {
    if (const float* fea = frames.getFea(f)) {
      for (int i = 0; i < 24; ++i) sum24[i] += fea[kBank24At + i];
      for (int i = 0; i < 40; ++i) sum40[i] += fea[kBank40At + i];
    }
  }
  ++nCount;
  nLastFrame = f;
  pending.push_back(f);
  release(frames, releaseLimit());
}

// How many of the frames taken in may have left by now.
int32_t ReadCmn::releaseLimit() const {
  if (bEnable == 0) return nCount;
  if (nCount <= nFirst) return -1;
  if (nCount <= nSecond) return (nCount - nFirst) * nLag / (nSecond - nFirst);
  if (nCount <= nThird) return (nThird - nLag) * (nCount - nSecond) / (nThird - nSecond) + nLag;
  return nCount;
}

void ReadCmn::release(FrameFeaContainer& frames, int32_t limit) {
  if (nDone >= limit) return;
  float mean24[24], mean40[40];
  const float count = static_cast<float>(nCount);
  if (nCount < nThird) {
    const float a = static_cast<float>(nThird - nCount) * fPriorWeight / static_cast<float>(nThird);
    const float b = 1.0f - a;
    MixMeans(prior24, sum24, 24, a, b, count, mean24);
    MixMeans(prior40, sum40, 40, a, b, count, mean40);
  } else {
    PlainMeans(sum24, 24, count, mean24);
    PlainMeans(sum40, 40, count, mean40);
  }
  while (nDone < limit) {
    const int32_t f = pending.front();
    pending.pop_front();
    if (bEnable != 0) {  // otherwise the means are zero, and so is what they would change
      if (float* fea = frames.getFea(f)) {
        for (int i = 0; i < 24; ++i) fea[kBank24At + i] -= mean24[i];
        for (int i = 0; i < 40; ++i) fea[kBank40At + i] -= mean40[i];
      }
    }
    ready.push_back(f);
    ++nDone;
  }
}

void ReadCmn::takeReady(FrameIndexQueue& out) {
  if (out.empty()) {
    out.clear();
    out.swap(ready);
  } else {
    for (; !ready.empty(); ready.pop_front()) out.push_back(ready.front());
  }
}

}  // namespace TSEG
