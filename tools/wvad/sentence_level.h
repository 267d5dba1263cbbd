// SPDX-License-Identifier: Apache-2.0
//
// How loud the speech of a sentence is, and how far it stands above what lies around it.
#ifndef WVAD_WVAD_SENTENCE_LEVEL_H_
#define WVAD_WVAD_SENTENCE_LEVEL_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "wvad/explanation.h"

namespace TSEG::tool {

// Mean power of the samples of each 10 ms, full scale being 1. A last piece that is shorter counts too.
std::vector<float> FramePowers(const std::vector<int16_t>& samples, int rate_hz);

struct SentenceLevel {
  double level_db = 0;           // mean power of its frames from first to last speech, of full scale
  std::optional<double> snr_db;  // of that power less the noise to the noise; none without noise (digital silence)
};

// The noise is the mean power of the frames of no sentence within 2 s before and behind; where fewer than 20 lie there, that of the
// quietest tenth of the sentence's own. One entry for each sentence; they are in order.
std::vector<SentenceLevel> LevelsOf(const std::vector<NumberedSentence>& sentences, const std::vector<float>& powers);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SENTENCE_LEVEL_H_
