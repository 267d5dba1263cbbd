// SPDX-License-Identifier: Apache-2.0
//
// The measures: frames of 30 ms every 20 ms out of the byte stream, their power and clipping, and "snr" and "cur" of a session.
//
// Frame sums are single precision, rounded at every addition, in ring order. No failure but the one code of ComputeCur; allocation failures
// pass on.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/number_text.h"
#include "base/wrap.h"
#include "log/log.h"
#include "quality/kel_inst.h"

namespace TSEG {
namespace {

constexpr int kNoFrames = 15020;
constexpr int kClipLevel = 32760;
constexpr float kClipFramesAllowed = 4.0f;
constexpr size_t kLeastBufferBytes = 960;
constexpr int64_t kNearOverflow = 2147482048;
constexpr int kBins = 100;
// Shares of the frames below which the quiet and the loud end lie.
constexpr double kLowShare = 0.15;
constexpr double kHighShare = 0.8000099999997474;

int16_t SampleAt(const uint8_t* bytes, int32_t i) {
  int16_t x;
  std::memcpy(&x, bytes + 2 * static_cast<size_t>(i), sizeof x);
  return x;
}

float FramePowerDb(const uint8_t* bytes, int32_t samples) {
  float sum = 0;
  for (int32_t i = 0; i < samples; ++i) {
    const int32_t x = SampleAt(bytes, i);
    sum += static_cast<float>(x * x);
  }
  const float mean = sum / static_cast<float>(samples);
  const float power = mean + 1e-5f;
  const float decades = static_cast<float>(std::log10(static_cast<double>(power)));
  return decades * 10.0f;
}

bool IsClipped(const uint8_t* bytes, int32_t samples) {
  for (int32_t i = 0; i < samples; ++i) {
    const int x = SampleAt(bytes, i);
    if (x >= kClipLevel || x <= -kClipLevel) return true;
  }
  return false;
}

// A share of the frames' powers by value. The powers are sorted, so a bin is a run of them: its size and its middle value are all that is
// kept.
struct Histogram {
  int count[kBins] = {};
  float median[kBins] = {};
};

// Sorts the ascending values [first, last) into bins of width `w` above `lowest`. The edge of the bins is added up in single precision, and
// a value whose walk would pass `limit` or the last bin is dropped, as are all greater ones.
Histogram MakeHistogram(const float* first, const float* last, float lowest, float highest, float w) {
  Histogram bins;
  const double limit = static_cast<double>(highest) + static_cast<double>(w) / 5.0;
  float edge = static_cast<float>(static_cast<double>(lowest) + static_cast<double>(w));
  int bin = 0;
  const float* begin_of_bin = first;
  const auto close_bin = [&](const float* end) {
    bins.count[bin] = static_cast<int>(end - begin_of_bin);
    bins.median[bin] = end > begin_of_bin ? begin_of_bin[(end - begin_of_bin) / 2] : 0.0f;
    begin_of_bin = end;
  };
  const float* value = first;
  for (; value != last && !(static_cast<double>(edge) > limit); ++value) {
    bool dropped = false;
    while (*value > edge && !(static_cast<double>(w) < 1e-5)) {
      const float next = static_cast<float>(static_cast<double>(edge) + static_cast<double>(w));
      if (bin == kBins - 1 || static_cast<double>(next) > limit) {
        dropped = true;
        break;
      }
      close_bin(value);
      edge = next;
      ++bin;
    }
    if (dropped) break;
  }
  close_bin(value);
  return bins;
}

}  // namespace

void KelInst::ClearMeasures() {
  bSnrReady = 0;
  nLastFramePos = 0;
  nSentCurBytesPos = 0;
  vecFrameDb.clear();
}

void KelInst::GetLoopBufferData(const uint8_t* data, uint32_t n) {
  const int64_t rate = pCfg->sampleRate;
  const int32_t frame = WrapMul32(pCfg->sampleRate, 6) / 100;
  const int32_t hop = WrapMul32(pCfg->sampleRate, 4) / 100;
  if (frame < 2 || hop < 1) {
    // A rate without a whole sample in a frame, or one that wraps here, has nothing to measure.
    nSentCurBytesPos += n;
    return;
  }
  const size_t size = std::max(kLeastBufferBytes, static_cast<size_t>(frame));
  if (loopBuffer.size() < size) loopBuffer.resize(size);

  uint32_t taken = 0;
  while (taken < n) {
    // Bytes until this frame is complete: the first needs its whole length, each further one a hop.
    const int64_t place = nSentCurBytesPos % frame;
    const int64_t stop = (nLastFramePos + hop) % frame;
    const int64_t missing = nSentCurBytesPos < frame ? frame - nSentCurBytesPos : (stop > place ? stop - place : stop - place + frame);
    const int64_t take = std::min(missing, static_cast<int64_t>(n - taken));
    const size_t up_to_end = static_cast<size_t>(std::min(take, frame - place));
    const size_t from_start = static_cast<size_t>(take) - up_to_end;
    std::memcpy(loopBuffer.data() + place, data + taken, up_to_end);
    if (from_start > 0) std::memcpy(loopBuffer.data(), data + taken + up_to_end, from_start);
    taken += static_cast<uint32_t>(take);
    nSentCurBytesPos += take;
    if (take < missing) break;
    nLastFramePos = nSentCurBytesPos;
    vecFrameDb.push_back(FramePowerDb(loopBuffer.data(), frame / 2));
    if (IsClipped(loopBuffer.data(), frame / 2)) fClipFrames += 1.0f;
    fAllFrames += 1.0f;
  }

  if (nSentCurBytesPos % (rate * 1200) == 0) {
    WVAD_LOG_CRIT("%s | audio time = %d min.", "TSEG::KelInst::GetLoopBufferData", static_cast<int>(nSentCurBytesPos / (rate * 120)));
    if (nSentCurBytesPos >= kNearOverflow) {
      WVAD_LOG_CRIT("%s | nSentCurBytesPos = %d, is near to overfloat.", "TSEG::KelInst::GetLoopBufferData", Low32(nSentCurBytesPos));
    }
  }
}

void KelInst::ComputeSnr() {
  // A count of bytes against a rate in samples: the limit stands for 0.35 s.
  if (0.7 * static_cast<double>(pCfg->sampleRate) > static_cast<double>(nSentCurBytesPos)) return;
  bSnrReady = 1;
  std::sort(vecFrameDb.begin(), vecFrameDb.end());

  const size_t size = vecFrameDb.size();
  const size_t trim = static_cast<size_t>(static_cast<float>(size) * 0.02f);
  const float* first = vecFrameDb.data() + trim;
  const float* last = vecFrameDb.data() + (size - trim);
  float lowest = 1000.0f;
  float highest = -1000.0f;
  for (const float* x = first; x != last; ++x) {
    lowest = std::min(lowest, *x);
    highest = std::max(highest, *x);
  }
  const float w = static_cast<float>((static_cast<double>(highest) - static_cast<double>(lowest)) / 100.0);
  const Histogram bins = MakeHistogram(first, last, lowest, highest, w);

  float cum[kBins];
  float sum = 0;
  for (int i = 0; i < kBins; ++i) {
    sum += static_cast<float>(bins.count[i]);
    cum[i] = sum;
  }
  const auto first_above = [&](double share) {
    for (int i = 0; i < kBins; ++i) {
      if (static_cast<double>(cum[i] / sum) > share && bins.median[i] != 0.0f) return bins.median[i];
    }
    return 0.0f;
  };
  const float low = first_above(kLowShare);
  const float high = first_above(kHighShare);
  const float snr = static_cast<float>(static_cast<double>(high) - static_cast<double>(low) - 2.5);
  std::snprintf(szSnr, sizeof szSnr, "\"ws\":[{\"snr\":%.24s,\"trig\":%s}]", FixedText(snr, 3).c_str(),
                pCfg->snr_threshold > snr ? "true" : "false");
}

int KelInst::ComputeCur() {
  float cur = 0;
  bool trig = false;
  if (fClipFrames > kClipFramesAllowed) {
    if (fAllFrames == 0.0f) return kNoFrames;
    cur = fClipFrames / fAllFrames;
    trig = !(pCfg->cur_threshold > cur);
  }
  std::snprintf(szCur, sizeof szCur, "\"ws\":[{\"cur\":%.24s,\"trig\":%s}]", FixedText(cur, 3).c_str(), trig ? "true" : "false");
  fClipFrames = 0;
  fAllFrames = 0;
  return 0;
}

}  // namespace TSEG
