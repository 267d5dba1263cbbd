// SPDX-License-Identifier: Apache-2.0
//
// PageTrack: all that a page shows of one model under one set of parameters.
#ifndef WVAD_WVAD_PAGE_TRACK_H_
#define WVAD_WVAD_PAGE_TRACK_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "wvad/explanation.h"
#include "wvad/recording.h"
#include "wvad/sentence_level.h"
#include "wvad/traced_run.h"

namespace TSEG::tool {

struct PageTrack {
  std::string model;                  // as it was asked for
  std::string checksum;               // of its file, SHA-256
  std::vector<std::string> settings;  // as they were asked for
  std::vector<ParameterInForce> parameters;
  RunFacts facts;
  std::vector<TraceRow> rows;
  std::vector<Sentence> sentences;
  std::vector<NumberedSentence> numbered;  // the same, in frames
  std::vector<SentenceLevel> levels;       // and how loud each is
  std::vector<int64_t> renewals;           // samples
};

// Lets `samples`, whose frames have `powers`, through the engine that `options` ask for, in pieces of `piece_samples`. `heard` is told the
// number of samples after each; the work ends early where the run is interrupted.
PageTrack MakeTrack(const EngineOptions& options, TracedEngine& engine, const std::vector<int16_t>& samples,
                    const std::vector<float>& powers, size_t piece_samples, const std::function<void(int64_t)>& heard);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PAGE_TRACK_H_
