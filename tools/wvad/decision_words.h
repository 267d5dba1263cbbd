// SPDX-License-Identifier: Apache-2.0
//
// The words for what the engine decided: one table for `wvad explain` and for the page of `wvad report`, so that both say the same.
//
// A text has places in braces for the numbers of its frame: {probability}, {threshold}, {energy}, {floor}, and {count} and {need} in
// seconds, {frames} and {wanted} being the same in frames. The parameters that a statement rests on stand in its text by their names.
#ifndef WVAD_WVAD_DECISION_WORDS_H_
#define WVAD_WVAD_DECISION_WORDS_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "wvad/decision_trace.h"

namespace TSEG::tool {

struct StatementRow {
  Statement statement;
  std::string_view key;    // for programs
  std::string_view topic;  // what it is about: "network", "hold-over", "energy", "length", "verdict", "detector"
  std::string_view words;
};

constexpr size_t kStatements = static_cast<size_t>(Statement::kCount);

// What the statements of one run are filled in with.
struct RunFacts {
  double threshold = 0;         // wvad_param_vad_threshold
  bool adaptive_floor = false;  // wvad_param_k4_energy
};

// One row for each statement, in their order.
std::span<const StatementRow> StatementTable();

// The text of a statement, with places, under these facts: it names the floor that is in force.
std::string TextOf(const StatementRow& row, const RunFacts& facts);

// The same with its places filled in for the frames `first` and `last` of a stretch and those between, whose extremes are `least` and
// `most`. One frame is a stretch too.
struct FrameValues {
  TraceRow first, last, least, most;
};
std::string Words(const StatementRow& row, const RunFacts& facts, const FrameValues& stretch);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_DECISION_WORDS_H_
