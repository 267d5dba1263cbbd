// SPDX-License-Identifier: Apache-2.0
//
// The rules of the edge stage and of the two variants of the sentence stage.
//
// Margins and gaps come from the configuration unchecked, so sums with them wrap instead of overflowing.
#include "decision/endpoint_detector.h"

#include <algorithm>

#include "base/wrap.h"

namespace TSEG {
namespace {

constexpr int32_t kRingSize = 20;
// A run of fewer frames is a click, whatever the configuration says.
constexpr int32_t kClickFrames = 10;
// Shortest run that the sliding variant looks at when it falls.
constexpr int32_t kSlideRunFrames = 20;

int32_t StartMargin(const EndpointDetector& d) { return d.pCfg->wvad_param_nFrameStartMargin; }
int32_t EndMargin(const EndpointDetector& d) { return d.pCfg->wvad_param_nFrameEndMargin; }
int32_t SearchGap(const EndpointDetector& d) { return d.pCfg->wvad_param_nStartSearchWinGap; }

// A sentence that started at frame `start` is confirmed at frame `frame`.
void MarkBegin(EndpointDetector* d, int32_t start, int32_t frame) {
  d->nBeginFrame = std::max(WrapSub32(start, StartMargin(*d)), d->nFloor);
  if (d->nFirstBegin < 0) d->nFirstBegin = std::max(start, d->nFloor);
  if (d->pCfg->wvad_param_isVadDegOn) d->nTraceBegin = std::max(start, d->nFloor);
  d->nEndFrame = frame;
  d->nFloor = frame;
  d->nSilFrames = 0;
  d->nState = 1;
}

EndpointResult Begin(EndpointDetector* d, int32_t start, int32_t frame) {
  MarkBegin(d, start, frame);
  d->bPending = 0;
  return EP_RESULT_BEGIN;
}

// In silence the floor follows the current frame at the distance of the start margin; a later begin does not reach behind it.
void RaiseFloor(EndpointDetector* d, int32_t frame) { d->nFloor = std::max(d->nFloor, WrapSub32(frame, StartMargin(*d))); }

// Inside a sentence the floor is the last speech frame.
EndpointResult Extend(EndpointDetector* d, int32_t frame) {
  d->nFloor = frame;
  d->nEndFrame = frame;
  return EP_RESULT_NONE;
}

bool PendingTooOld(const EndpointDetector& d, int32_t frame) { return WrapSub32(frame, d.nPendEnd) >= SearchGap(d); }

void DropStalePending(EndpointDetector* d, int32_t frame) {
  if (d->bPending && (d->nFloor > d->nPendBegin || PendingTooOld(*d, frame))) d->bPending = 0;
}

void SetPending(EndpointDetector* d, int32_t frame) {
  d->bPending = 1;
  d->nPendBegin = d->nRiseFrame;
  d->nPendEnd = frame;
}

EndpointResult OnSilence(EndpointDetector* d, int32_t frame, int32_t gap) {
  if (d->nState == 1) {
    const int32_t silent = WrapSub32(frame, d->nFloor);
    if (silent >= gap) {
      MarkEnd(d, frame);
      d->bPending = 0;
      return EP_RESULT_END;
    }
    if (silent <= EndMargin(*d)) d->nEndFrame = frame;
    return EP_RESULT_NONE;
  }
  if (PendingTooOld(*d, frame)) d->bPending = 0;
  if (d->bPending) {
    // The floor stays under the waiting run, and the silence count stands still.
    d->nFloor = std::max(d->nFloor, WrapSub32(d->nPendBegin, StartMargin(*d)));
    return EP_RESULT_NONE;
  }
  if (d->nState == 2) d->nSilFrames = WrapAdd32(d->nSilFrames, 1);
  RaiseFloor(d, frame);
  return EP_RESULT_NONE;
}

EndpointResult OnRise(EndpointDetector* d, int32_t frame) {
  d->nRiseFrame = frame;
  return EP_RESULT_NONE;
}

EndpointResult PlainFall(EndpointDetector* d, int32_t frame) {
  d->nFallFrame = frame;
  if (d->nState == 1) return Extend(d, frame);
  const int32_t run = WrapSub32(frame, d->nRiseFrame);
  EndpointResult result = EP_RESULT_NONE;
  if (run < kClickFrames) {
    RaiseFloor(d, frame);
  } else if (run < d->pCfg->wvad_param_vad_StartPointJudgeWinLen) {
    SetPending(d, frame);
  } else {
    result = Begin(d, d->nRiseFrame, frame);
  }
  DropStalePending(d, frame);
  return result;
}

EndpointResult PlainSpeech(EndpointDetector* d, int32_t frame) {
  const int32_t proof = d->pCfg->wvad_param_vad_StartPointJudgeWinLen;
  if (d->nState == 1) return Extend(d, frame);
  if (d->bPending) {
    if (WrapSub32(frame, d->nPendBegin) >= proof) return Begin(d, d->nPendBegin, frame);
    DropStalePending(d, frame);
  } else if (WrapSub32(frame, d->nRiseFrame) >= proof) {
    return Begin(d, d->nRiseFrame, frame);
  }
  return EP_RESULT_NONE;
}

int32_t RingCount(const EndpointDetector& d) {
  int32_t n = 0;
  for (const uint8_t place : d.ring) n += place;
  return n;
}

// The walk starts at the current place and keeps the last zero that it meets, which is the newest one behind the current frame, or the
// current frame itself when no other is zero.
int32_t CountBack(const EndpointDetector& d) {
  int32_t last_zero = -1;
  for (int32_t i = 0; i < kRingSize; ++i) {
    const int32_t place = (d.nRingPos + i) % kRingSize;
    if (d.ring[place] == 0) last_zero = place;
  }
  if (last_zero < 0) return 0;
  return last_zero > d.nRingPos ? last_zero - d.nRingPos : last_zero - d.nRingPos + kRingSize;
}

EndpointResult SlideBegin(EndpointDetector* d, int32_t frame) {
  const int32_t back = CountBack(*d);
  return Begin(d, d->nRiseFrame > back ? d->nRiseFrame - back : 0, frame);
}

EndpointResult SlideFall(EndpointDetector* d, int32_t frame) {
  d->nFallFrame = frame;
  if (d->nState == 1) return Extend(d, frame);
  const int32_t run = WrapSub32(frame, d->nRiseFrame);
  EndpointResult result = EP_RESULT_NONE;
  if (run < kClickFrames) {
    RaiseFloor(d, frame);
  } else if (run >= kSlideRunFrames) {
    if (RingCount(*d) < d->nWinThreshold) {
      SetPending(d, frame);
    } else {
      result = SlideBegin(d, frame);
    }
  }
  DropStalePending(d, frame);
  return result;
}

EndpointResult SlideSpeech(EndpointDetector* d, int32_t frame) {
  d->ring[d->nRingPos] = 1;
  if (d->nState == 1) return Extend(d, frame);
  // The rise of the last run is what counts here, even when a pending run lies before it.
  if (RingCount(*d) >= d->nWinThreshold) return SlideBegin(d, frame);
  DropStalePending(d, frame);
  return EP_RESULT_NONE;
}

EndpointResult PlainStage(EndpointDetector* d, EdgeEvent event, int32_t frame, int32_t gap) {
  switch (event) {
    case EP_EVENT_SILENCE:
      return OnSilence(d, frame, gap);
    case EP_EVENT_RISE:
      return OnRise(d, frame);
    case EP_EVENT_FALL:
      return PlainFall(d, frame);
    case EP_EVENT_SPEECH:
      return PlainSpeech(d, frame);
  }
  return EP_RESULT_NONE;
}

EndpointResult SlideStage(EndpointDetector* d, EdgeEvent event, int32_t frame, int32_t gap) {
  switch (event) {
    case EP_EVENT_SILENCE:
      return OnSilence(d, frame, gap);
    case EP_EVENT_RISE:
      return OnRise(d, frame);
    case EP_EVENT_FALL:
      return SlideFall(d, frame);
    case EP_EVENT_SPEECH:
      return SlideSpeech(d, frame);
  }
  return EP_RESULT_NONE;
}

}  // namespace

EdgeEvent EndpointEdgeStage(EndpointDetector* detector, float score) {
  const bool speech = score >= 0.0f;
  const bool was_speech = detector->nEdgeState == 2;
  detector->nEdgeState = speech ? 2 : 1;
  if (was_speech) return speech ? EP_EVENT_SPEECH : EP_EVENT_FALL;
  return speech ? EP_EVENT_RISE : EP_EVENT_SILENCE;
}

EndpointResult EndpointSentenceStage(EndpointDetector* detector, EdgeEvent event, int32_t frame, int32_t gap) {
  if (!detector->pCfg->wvad_param_isPostProcessWinSlideOn) return PlainStage(detector, event, frame, gap);
  detector->nWinThreshold = std::min(detector->pCfg->wvad_param_nPostProcessWinSlide_Threshold, kRingSize);
  detector->ring[detector->nRingPos] = 0;
  const EndpointResult result = SlideStage(detector, event, frame, gap);
  detector->nRingPos = (detector->nRingPos + 1) % kRingSize;
  return result;
}

EndpointResult EndpointStep(EndpointDetector* detector, float score, int32_t frame, int32_t gap) {
  return EndpointSentenceStage(detector, EndpointEdgeStage(detector, score), frame, gap);
}

int32_t MarkEnd(EndpointDetector* detector, int32_t frame) {
  const int32_t end = std::min(frame, WrapAdd32(detector->nFloor, EndMargin(*detector)));
  const int32_t last_speech = std::min(frame, detector->nFloor);
  if (detector->nLastEnd < last_speech) detector->nLastEnd = last_speech;
  if (detector->pCfg->wvad_param_isVadDegOn) detector->nTraceEnd = last_speech;
  detector->nSilFrames = WrapAdd32(WrapSub32(frame, detector->nFloor), 1);
  detector->nEndFrame = end;
  detector->nFloor = end;
  detector->nState = 2;
  detector->nEdgeState = 1;  // speech that goes on shows up as a new rise
  return end;
}

}  // namespace TSEG
