// SPDX-License-Identifier: Apache-2.0
//
// What the engine decided on each 10 ms of a recording, on the recording's clock: the sessions of a Recording tell it themselves, frame by
// frame, and nothing is decided a second time here.
//
// Row n is what became of the 10 ms that begin at 10 n ms. Where a renewed session hears the last seconds once more, the rows of the
// earlier one stand as far as its sentences do.
#ifndef WVAD_WVAD_DECISION_TRACE_H_
#define WVAD_WVAD_DECISION_TRACE_H_

#include <cstdint>
#include <functional>

#include "decision/decision_observer.h"

namespace TSEG::tool {

// What can be said of a frame, each a bit of TraceRow::statements and a row of StatementTable() (decision_words.h), in the order in which
// it is told.
enum class Statement : uint8_t {
  kScoreIsSpeech,
  kScoreIsSilence,
  kScoreIsNone,
  kHeldOver,
  kAboveFloor,
  kBelowFloor,
  kSpliced,
  kCountsAsSpeech,
  kCountsAsSilence,
  kNoSentence,
  kWaitsForSpeech,
  kWaitsForWindow,
  kRunWaits,
  kRunDropped,
  kBegins,
  kInSpeech,
  kInSilence,
  kGapIsShort,
  kEnds,
  kCount
};

constexpr uint32_t Bit(Statement statement) { return 1U << static_cast<unsigned>(statement); }

struct TraceRow {
  float probability = 0;    // of speech; what the threshold is held against
  float energy = 0;         // natural logarithm of the window's energy; with the adaptive floor the unit of that floor
  float floor = 0;          // in the same unit
  uint16_t count = 0;       // frames: of the speech or silence that is being counted
  uint16_t need = 0;        // frames: of how many something follows
  uint32_t statements = 0;  // bits; 0 for a frame that was never decided on

  bool says(Statement statement) const { return (statements & Bit(statement)) != 0; }
};

class DecisionTrace : public DecisionObserver {
 public:
  // Where the frames of the present session belong.
  struct Place {
    int64_t session_start = 0;  // the sample that is frame 0
    int64_t taken_from = 0;     // the first sample whose decisions are this session's affair
  };
  using Sink = std::function<void(int64_t row, const TraceRow&)>;

  DecisionTrace(int rate_hz, std::function<Place()> place, Sink sink)
      : frame_samples_(rate_hz / 100), place_(std::move(place)), sink_(std::move(sink)) {}

  void OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) override;

 private:
  int64_t frame_samples_;
  std::function<Place()> place_;
  Sink sink_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_DECISION_TRACE_H_
