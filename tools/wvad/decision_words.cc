// SPDX-License-Identifier: Apache-2.0
#include "wvad/decision_words.h"

#include <charconv>

#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

constexpr StatementRow kTable[] = {
    {Statement::kScoreIsSpeech, "speech_score", "network",
     "probability of speech {probability}, not below the threshold {threshold} (wvad_param_vad_threshold)"},
    {Statement::kScoreIsSilence, "silence_score", "network",
     "probability of speech {probability}, below the threshold {threshold} (wvad_param_vad_threshold)"},
    {Statement::kScoreIsNone, "no_score", "network", "gives no number here, which counts as silence"},
    {Statement::kHeldOver, "held_over", "hold-over", "held over: the first two frames behind a silent one count as silence"},
    {Statement::kAboveFloor, "above_floor", "energy", "{energy}, not below the energy floor {floor} (wvad_param_nEnergyThreshhood)"},
    {Statement::kBelowFloor, "below_floor", "energy",
     "silence: below the energy floor: {energy} under {floor} (wvad_param_nEnergyThreshhood)"},
    {Statement::kSpliced, "too_long", "length",
     "made silence, so that a sentence ends that comes up to its greatest length (wvad_param_nSpeechTimeOut)"},
    {Statement::kCountsAsSpeech, "speech", "verdict", "speech"},
    {Statement::kCountsAsSilence, "silence", "verdict", "silence"},
    {Statement::kNoSentence, "no_sentence", "detector", "no sentence is open"},
    {Statement::kWaitsForSpeech, "waits_for_speech", "detector",
     "waiting for {need} s of speech, {count} s so far (wvad_param_vad_StartPointJudgeWinLen)"},
    {Statement::kWaitsForWindow, "waits_for_window", "detector",
     "waiting for {wanted} frames of speech among the last 20, {frames} so far (wvad_param_nPostProcessWinSlide_Threshold)"},
    {Statement::kRunWaits, "run_waits", "detector",
     "a short run of speech waits for more, {count} of {need} s (wvad_param_nStartSearchWinGap)"},
    {Statement::kRunDropped, "run_dropped", "detector", "a run of {count} s of speech is dropped: too short for the begin of a sentence"},
    {Statement::kBegins, "begins", "detector",
     "a sentence begins: speech for long enough (wvad_param_vad_StartPointJudgeWinLen); its begin lies where that speech began, less the "
     "margin (wvad_param_nFrameStartMargin)"},
    {Statement::kInSpeech, "in_speech", "detector", "in a sentence"},
    {Statement::kInSilence, "in_silence", "detector", "in a sentence, {count} of {need} s of silence (wvad_param_nFrameGap)"},
    {Statement::kGapIsShort, "gap_is_short", "detector",
     "less silence is asked for, since the sentence is a long one (wvad_param_nFrameGapFriendyFirst, wvad_param_nFrameGapFriendySecond)"},
    {Statement::kEnds, "ends", "detector",
     "the sentence ends: {count} of {need} s of silence (wvad_param_nFrameGap); its end lies behind its last speech, with the margin "
     "(wvad_param_nFrameEndMargin)"},
};

constexpr bool TableIsInOrder() {
  for (size_t i = 0; i < std::size(kTable); ++i) {
    if (static_cast<size_t>(kTable[i].statement) != i) return false;
  }
  return std::size(kTable) == kStatements;
}
static_assert(TableIsInOrder());

constexpr std::string_view kFixedFloor = "(wvad_param_nEnergyThreshhood)";
constexpr std::string_view kAdaptiveFloor = "(adaptive, wvad_param_k4_energy)";

void Replace(std::string* text, std::string_view from, std::string_view to) {
  const size_t at = text->find(from);
  if (at != std::string::npos) text->replace(at, from.size(), to);
}

std::string Shortest(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, static_cast<float>(value)).ptr);
}

// "0.91 to 0.99", or one of them where both read alike.
std::string Range(double from, double to, int digits) {
  const std::string a = Fixed(from, digits);
  const std::string b = Fixed(to, digits);
  return a == b ? a : a + " to " + b;
}

}  // namespace

std::span<const StatementRow> StatementTable() { return kTable; }

std::string TextOf(const StatementRow& row, const RunFacts& facts) {
  std::string text(row.words);
  if (facts.adaptive_floor) Replace(&text, kFixedFloor, kAdaptiveFloor);
  return text;
}

std::string Words(const StatementRow& row, const RunFacts& facts, const FrameValues& stretch) {
  std::string text = TextOf(row, facts);
  const auto seconds = [](uint16_t from, uint16_t to) { return Range(from / 100.0, to / 100.0, 2); };
  const auto frames = [](uint16_t from, uint16_t to) { return Range(from, to, 0); };
  Replace(&text, "{probability}", Range(stretch.least.probability, stretch.most.probability, 4));
  Replace(&text, "{threshold}", Shortest(facts.threshold));
  Replace(&text, "{energy}", Range(stretch.least.energy, stretch.most.energy, 2));
  Replace(&text, "{floor}", Range(stretch.least.floor, stretch.most.floor, 2));
  Replace(&text, "{count}", seconds(stretch.first.count, stretch.last.count));
  Replace(&text, "{need}", seconds(stretch.first.need, stretch.last.need));
  Replace(&text, "{frames}", frames(stretch.first.count, stretch.last.count));
  Replace(&text, "{wanted}", frames(stretch.first.need, stretch.last.need));
  return text;
}

}  // namespace TSEG::tool
