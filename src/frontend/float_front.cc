// SPDX-License-Identifier: Apache-2.0
//
// The front-end object behind the handle: the PCM ring, the rings of computed frames, the running mean and the schedule by which records
// leave, and the parameters by name.
//
// Frames are computed as soon as their window is in the ring; a record leaves when the schedule says that the mean has seen enough frames.
#include "frontend/float_front.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "base/wrap.h"
#include "buffers/aligned_buffer.h"
#include "frontend/pitch_tracker.h"
#include "frontend/signal_process.h"
#include "log/log.h"

namespace TSEG {
namespace {

constexpr int64_t kPcmRing = 409600;  // samples
constexpr int32_t kFrameRing = 512;   // frames
// Where a stream is read as it is written, the ring begins anew after this many samples, so that it stays in the caches. What is left
// unread by then is moved, if it is no more than this.
constexpr int64_t kRewindAt = 8192, kRewindMost = 2048;

// Means of the training data, 24 values and then 40.
constexpr float kPrior[kFbAll] = {
    12.7679f, 15.2438f, 16.3531f, 16.6335f, 16.985f,  16.9471f, 16.7052f, 16.573f,  16.5736f, 16.6315f, 16.7731f, 16.8877f, 16.8624f,
    16.9402f, 17.2092f, 17.3814f, 17.4227f, 17.5321f, 17.5661f, 17.4341f, 17.2026f, 17.0581f, 16.9743f, 16.4931f, 11.6815f, 13.5452f,
    14.9119f, 15.9341f, 16.4669f, 16.5415f, 16.7907f, 17.0542f, 17.1188f, 17.1551f, 17.0064f, 16.9834f, 16.936f,  16.8797f, 16.882f,
    16.8426f, 16.8879f, 16.959f,  17.0436f, 17.0664f, 17.0521f, 17.0532f, 17.1112f, 17.2322f, 17.3862f, 17.4828f, 17.5104f, 17.5903f,
    17.7387f, 17.849f,  17.9076f, 17.9291f, 17.7642f, 17.4981f, 17.3111f, 17.1013f, 16.9407f, 16.8299f, 16.4944f, 15.364f};

// When records leave: none up to nStart frames, nRelease of them by nMid, all by nFull.
struct CmnSchedule {
  int32_t nStart, nMid, nFull, nRelease;
  float fPriorWeight;
};
constexpr CmnSchedule kSchedules[] = {
    {100, 150, 200, 50, 0.6f},                // default
    {-1, -1, -1, -1, 0.0f},                   // no mean removal, no delay
    {50, 100, 150, 25, 0.6f},                 // faster
    {25, 75, 100, 25, 0.6f},                  // fastest
    {999999, 999999, 999999, 999999, 0.0f}};  // mean of the whole utterance: all frames wait for the flush

// Names in the order in which they are searched. The search stops before the last, which is therefore unknown.
constexpr const char* kParamNames[] = {"wffpl_param_normal_none",    "wffpl_param_normal_count", "wffpl_param_special_none",
                                       "wffpl_param_cmn_type",       "wffpl_param_SampleRate",   "wffpl_param_k4_energy",
                                       "wffpl_param_ispitch_enable", "wffpl_param_special_count"};
constexpr size_t kParamsSearched = 7;

int FailNullHandle(const char* function, const char* what) {
  WVAD_LOG_ERROR("%s | %s handle is NULL. %s = %d", function, what, "ORVAFE_ERRID_ERROR", static_cast<int>(ORVAFE_ERRID_ERROR));
  return ORVAFE_ERRID_ERROR;
}

int32_t Decimal(const char* text) { return Low32(std::strtoll(text, nullptr, 10)); }

}  // namespace

class FloatFront final : public CSignalProcess {
 public:
  FloatFront();

  void Reset(bool new_session);
  void BeginReady(int32_t frames) { nReadyFrames = frames; }
  int SetParameter(const char* param, const char* value);
  int AppendData(const int16_t* samples, int count);
  int GetFeature(StaticFeatureFB* record, bool flush);

 private:
  static constexpr int kMostAtOnce = 800 + (kFramesAtOnce - 1) * 160;

  int64_t Fill() const;
  void Rewind();
  bool ComputeNext();
  bool Deliver(StaticFeatureFB* record, bool flush);
  int64_t Allowance(int32_t seen, bool flush) const;
  void SetMean(int32_t seen, float* mean) const;
  bool SetRate(int rate);

  CPitchTracker tracker;
  // The part of the ring that no audio has reached yet costs no memory.
  AlignedBuffer<int16_t> pPcm{kPcmRing};
  int64_t nReadPos = 0, nWritePos = 0;
  int64_t nBaseFrames = 0;  // frames of earlier resets without a new session
  int32_t nRate = 16000;    // as set, even if refused
  int32_t nWindow = 800;    // samples taken from the ring per frame: the tracker's window
  int32_t nHop = 160;       // samples advanced per frame
  uint8_t bPitch = 0;
  AlignedBuffer<float> pEnergy{kFrameRing};
  AlignedBuffer<float> pBanks{static_cast<size_t>(kFrameRing) * kFbAll};
  float afPrior[kFbAll];
  alignas(64) float afSum[kFbAll] = {};
  int32_t nFramesOut = 0, nFramesDone = 0;
  AlignedBuffer<int16_t> pFrameSamples{kMostAtOnce};  // a frame and those ahead of it, where the ring's end cuts them
  AlignedBuffer<float> pPitchRing{kFrameRing}, pAuxRing{kFrameRing};
  int32_t nCmnStart = kSchedules[0].nStart, nCmnMid = kSchedules[0].nMid, nCmnFull = kSchedules[0].nFull;
  int32_t nCmnRelease = kSchedules[0].nRelease;
  float fPriorWeight = kSchedules[0].fPriorWeight;  // of afPrior at 0 frames
  int32_t nCmnType = 0;
  int32_t nReadyFrames = 0;  // above 0: frames leave at once, and afPrior counts as so many
};

FloatFront::FloatFront() { std::memcpy(afPrior, kPrior, sizeof afPrior); }

void FloatFront::Reset(bool new_session) {
  if (new_session) {
    nBaseFrames = 0;
    nReadyFrames = 0;
    if (nFramesDone > 200) std::memcpy(afPrior, kPrior, sizeof afPrior);
    std::memset(afSum, 0, sizeof afSum);
  } else {
    nBaseFrames += nFramesDone;
  }
  nReadPos = nWritePos = 0;
  ForgetFramesAhead();
  nFramesOut = nFramesDone = 0;
  tracker.Reset();
  BuildBanks();
}

int FloatFront::SetParameter(const char* param, const char* value) {
  size_t index = 0;
  while (index < kParamsSearched && std::strcmp(param, kParamNames[index]) != 0) ++index;
  if (index == kParamsSearched) {
    WVAD_LOG_ERROR("ORVAFloatFrontSetParameter | invalid para , param = %s, value = %s", param, value);
    return LogErrorLine("ORVAFE_ERRID_ERROR", ORVAFE_ERRID_ERROR);
  }
  const int32_t number = Decimal(value);
  bool taken = true;
  switch (index) {
    case 3:
      nCmnType = number;
      taken = number >= 0 && number <= 4;
      if (taken) {
        const CmnSchedule& schedule = kSchedules[number];
        nCmnStart = schedule.nStart;
        nCmnMid = schedule.nMid;
        nCmnFull = schedule.nFull;
        nCmnRelease = schedule.nRelease;
        fPriorWeight = schedule.fPriorWeight;
      }
      break;
    case 4:
      if (!SetRate(number)) {
        WVAD_LOG_ERROR("ORVAFloatFrontSetParameter | invalid SampleRate ,SampleRate = %s", value);
        return LogErrorLine("ORVAFE_ERRID_ERROR", ORVAFE_ERRID_ERROR);
      }
      break;
    case 5:
      if (number != 0) bK4Energy = 1;  // there is no way back: it is one for the life of the front end
      ForgetFramesAhead();
      break;
    case 6:
      bPitch = number != 0;
      break;
    default:
      taken = false;
  }
  if (taken) return kFrontOk;
  WVAD_LOG_ERROR("ORVAFloatFrontSetParameter | err param = %s, value = %s, ret = %d", param, value, static_cast<int>(ORVAFE_ERRID_ERROR));
  return ORVAFE_ERRID_ERROR;
}

bool FloatFront::SetRate(int rate) {
  nRate = rate;
  if (rate != 16000 && rate != 8000 && rate != 6000) return false;
  nWindow = rate / 20;
  nHop = rate / 100;
  tracker.SetPitchSampleRate(rate);
  SetFrameRate(rate);
  return true;
}

int64_t FloatFront::Fill() const {
  const int64_t fill = nWritePos - nReadPos;
  return fill < 0 ? fill + kPcmRing : fill;
}

void FloatFront::Rewind() {
  const int64_t left = nWritePos - nReadPos;
  if (nReadPos < kRewindAt || left < 0 || left > kRewindMost) return;
  std::memcpy(pPcm.data(), pPcm.data() + nReadPos, static_cast<size_t>(left) * sizeof(int16_t));
  nReadPos = 0;
  nWritePos = left;
}

int FloatFront::AppendData(const int16_t* samples, int count) {
  Rewind();
  if (Fill() + count >= kPcmRing) {
    WVAD_LOG_ERROR("ORVAFloatFrontAppendData | PCMBUFFER is full!");
    return LogErrorLine("ORVAFE_ERRID_BUFFERFULL", ORVAFE_ERRID_BUFFERFULL);
  }
  int64_t left = count;
  if (nWritePos + left > kPcmRing) {
    const int64_t to_end = kPcmRing - nWritePos;
    std::memcpy(pPcm.data() + nWritePos, samples, static_cast<size_t>(to_end) * sizeof(int16_t));
    samples += to_end;
    left -= to_end;
    nWritePos = 0;
  }
  std::memcpy(pPcm.data() + nWritePos, samples, static_cast<size_t>(left) * sizeof(int16_t));
  nWritePos += left;
  return kFrontOk;
}

bool FloatFront::ComputeNext() {
  // Energy and banks look at the first half of the window, the pitch tracker alone at all of it.
  const int32_t half = nWindow / 2;
  const int32_t needed = nReadyFrames > 0 && !bPitch ? half : nWindow;
  const int64_t fill = Fill();
  if (fill < needed) return false;
  const int32_t ahead = static_cast<int32_t>(std::min<int64_t>(kFramesAtOnce - 1, (fill - half) / nHop));
  const int64_t wanted = std::max(needed, half + ahead * nHop);
  const int64_t to_end = kPcmRing - nReadPos;
  const int16_t* samples = pPcm.data() + nReadPos;
  if (to_end < wanted) {
    std::memcpy(pFrameSamples.data(), samples, static_cast<size_t>(to_end) * sizeof(int16_t));
    std::memcpy(pFrameSamples.data() + to_end, pPcm.data(), static_cast<size_t>(wanted - to_end) * sizeof(int16_t));
    samples = pFrameSamples.data();
  }
  nReadPos += nHop;
  if (nReadPos > kPcmRing) nReadPos -= kPcmRing;

  const size_t slot = static_cast<size_t>(nFramesDone % kFrameRing);
  float* banks = pBanks.data() + slot * kFbAll;
  pEnergy[slot] = ComputeFrame(samples, ahead, banks);
  for (int i = 0; i < kFbAll; ++i) afSum[i] += banks[i];
  if (bPitch) {
    tracker.Process(samples);
    pPitchRing[slot] = static_cast<float>(tracker.nF0) * 0.05f;
    pAuxRing[slot] = tracker.fCorr * 80.0f;
  }
  ++nFramesDone;
  return true;
}

int FloatFront::GetFeature(StaticFeatureFB* record, bool flush) {
  if (Deliver(record, flush)) return kFrontOk;
  while (ComputeNext()) {
    if (Deliver(record, flush)) return kFrontOk;
  }
  return nFramesDone == nFramesOut ? kFrontNone : kFrontPending;
}

int64_t FloatFront::Allowance(int32_t seen, bool flush) const {
  if (flush) return seen;
  if (nReadyFrames > 0 && nCmnType != 4) return seen;
  if (seen <= nCmnStart) return -1;
  if (seen > nCmnFull) return seen;
  const int64_t release = nCmnRelease;
  if (seen > nCmnMid) return (nCmnFull - release) * (seen - nCmnMid) / (nCmnFull - nCmnMid) + release;
  return (seen - nCmnStart) * release / (nCmnMid - nCmnStart);
}

void FloatFront::SetMean(int32_t seen, float* mean) const {
  const float count = static_cast<float>(seen);
  if (nCmnType == 1) {
    for (int i = 0; i < kFbAll; ++i) mean[i] = 0.0f;
  } else if (nReadyFrames > 0 && nCmnType != 4) {
    const float ready = static_cast<float>(nReadyFrames);
    for (int i = 0; i < kFbAll; ++i) mean[i] = (afPrior[i] * ready + afSum[i]) / (ready + count);
  } else if (seen >= nCmnFull) {
    for (int i = 0; i < kFbAll; ++i) mean[i] = afSum[i] / count;
  } else {
    const float w = static_cast<float>(nCmnFull - seen) * fPriorWeight / static_cast<float>(nCmnFull);
    for (int i = 0; i < kFbAll; ++i) mean[i] = afSum[i] * (1.0f - w) / count + afPrior[i] * w;
  }
}

bool FloatFront::Deliver(StaticFeatureFB* record, bool flush) {
  const int32_t seen = WrapAdd32(nFramesDone, Low32(nBaseFrames));
  if (Allowance(seen, flush) <= nFramesOut + nBaseFrames) return false;

  float mean[kFbAll];
  SetMean(seen, mean);
  const size_t slot = static_cast<size_t>(nFramesOut % kFrameRing);
  const float* banks = pBanks.data() + slot * kFbAll;
  std::memcpy(record->afFb24, banks, sizeof record->afFb24);
  std::memcpy(record->afFb40, banks + kFb24, sizeof record->afFb40);
  record->fEnergy = pEnergy[slot];
  for (int i = 0; i < kFb24; ++i) record->afFb24Cmn[i] = banks[i] - mean[i];
  for (int i = 0; i < kFb40; ++i) record->afFb40Cmn[i] = banks[kFb24 + i] - mean[kFb24 + i];
  record->fPitch = bPitch ? pPitchRing[slot] : 0.0f;
  record->fPitchAux = bPitch ? pAuxRing[slot] : 0.0f;
  ++nFramesOut;
  return true;
}

int ORVAFloatFrontCreate(FrontHandle* out) {
  if (out == nullptr) return FailNullHandle("ORVAFloatFrontCreate", "FrontHandle");
  std::unique_ptr<FloatFront> front;
  {
    std::lock_guard<std::mutex> lock(FrontEndLock());
    front = std::make_unique<FloatFront>();
  }
  front->Reset(false);
  *out = front.release();
  return kFrontOk;
}

void ORVAFloatFrontDestroy(FrontHandle handle) {
  if (handle == nullptr) return;
  std::lock_guard<std::mutex> lock(FrontEndLock());
  delete handle;
}

void ORVAFloatFrontReset(FrontHandle handle, int bNewSession) {
  PerfTimer timer("TSEG::ORVAFloatFrontReset");
  if (handle != nullptr) handle->Reset(bNewSession != 0);
  timer.Finish();
}

void ORVAFloatFrontBeginReady(FrontHandle handle, int32_t frames) {
  if (handle != nullptr) handle->BeginReady(frames);
}

int ORVAFloatFrontSetParameter(FrontHandle handle, const char* param, const char* value) {
  if (handle == nullptr) return FailNullHandle("ORVAFloatFrontSetParameter", "FrontHandle");
  if (param == nullptr) return FailNullHandle("ORVAFloatFrontSetParameter", "param");
  if (value == nullptr) return FailNullHandle("ORVAFloatFrontSetParameter", "value");
  return handle->SetParameter(param, value);
}

int ORVAFloatFrontAppendData(FrontHandle handle, const int16_t* samples, int count) {
  if (handle == nullptr) return FailNullHandle("ORVAFloatFrontAppendData", "FrontHandle");
  if (samples == nullptr && count > 0) return FailNullHandle("ORVAFloatFrontAppendData", "samples");
  if (count < 0) {
    WVAD_LOG_ERROR("ORVAFloatFrontAppendData | count is negative. %s = %d", "ORVAFE_ERRID_ERROR", static_cast<int>(ORVAFE_ERRID_ERROR));
    return ORVAFE_ERRID_ERROR;
  }
  if (count == 0) return kFrontOk;
  return handle->AppendData(samples, count);
}

int ORVAFloatFrontGetFeature(FrontHandle handle, StaticFeatureFB* record, int bFlush) {
  if (handle == nullptr || record == nullptr) return ORVAFE_ERRID_ERROR;
  return handle->GetFeature(record, bFlush != 0);
}

}  // namespace TSEG
