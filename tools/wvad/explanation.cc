// SPDX-License-Identifier: Apache-2.0
#include "wvad/explanation.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "wvad/report_json.h"
#include "wvad/wrapped.h"

namespace TSEG::tool {
namespace {

using Part = ExplainedStretch::Part;

const NumberedSentence* SentenceAt(int64_t frame, const std::vector<NumberedSentence>& sentences) {
  for (const NumberedSentence& sentence : sentences) {
    if (frame >= sentence.begin && frame < sentence.end) return &sentence;
  }
  return nullptr;
}

Part PartOf(int64_t frame, const NumberedSentence* sentence) {
  if (sentence == nullptr) return Part::kNone;
  if (frame < sentence->speech_begin) return Part::kBefore;
  return frame < sentence->speech_end ? Part::kInside : Part::kBehind;
}

void Widen(FrameValues* stretch, const TraceRow& row) {
  stretch->last = row;
  for (const auto member : {&TraceRow::probability, &TraceRow::energy, &TraceRow::floor}) {
    stretch->least.*member = std::min(stretch->least.*member, row.*member);
    stretch->most.*member = std::max(stretch->most.*member, row.*member);
  }
}

std::string Verdict(const TraceRow& row) {
  if (row.statements == 0) return "not decided";
  return row.says(Statement::kCountsAsSpeech) ? "speech" : "silence";
}

constexpr const char* kNotDecided = "the audio ends within the window of this frame";

std::string Times(int64_t begin, int64_t end) {
  return Fixed(static_cast<double>(begin) / 100, 2) + " to " + Fixed(static_cast<double>(end) / 100, 2) + " s";
}

std::string PartWords(Part part) {
  if (part == Part::kBefore) return ", in its margin before the speech (wvad_param_nFrameStartMargin)";
  return part == Part::kBehind ? ", in its margin behind the speech (wvad_param_nFrameEndMargin)" : "";
}

std::string SentenceWords(const ExplainedStretch& stretch) {
  if (stretch.sentence == nullptr) return "in none";
  const NumberedSentence& sentence = *stretch.sentence;
  return "number " + std::to_string(sentence.number) + ", " + Times(sentence.begin, sentence.end) + PartWords(stretch.part);
}

// A topic and what is told of it beside it, in lines of `width`.
std::string Line(std::string_view topic, const std::string& words, size_t width) {
  constexpr size_t kColumn = 13;
  const std::string head = "  " + std::string(topic);
  return Wrapped(head + std::string(kColumn - std::min(kColumn - 1, head.size()), ' ') + words, width, kColumn) + "\n";
}

// The digits that a number of single precision is worth.
double Digits(double value) { return std::round(value * 1e5) / 1e5; }

nlohmann::ordered_json Range(float least, float most) {
  return {{"least", Digits(static_cast<double>(least))}, {"most", Digits(static_cast<double>(most))}};
}

}  // namespace

std::vector<ExplainedStretch> Explain(const FrameRange& range, const std::vector<TraceRow>& rows,
                                      const std::vector<NumberedSentence>& sentences) {
  std::vector<ExplainedStretch> found;
  for (int64_t frame = range.first; frame <= range.last; ++frame) {
    const TraceRow& row = rows[static_cast<size_t>(frame - range.first)];
    const NumberedSentence* sentence = SentenceAt(frame, sentences);
    const Part part = PartOf(frame, sentence);
    ExplainedStretch* open = found.empty() ? nullptr : &found.back();
    if (open != nullptr && open->values.first.statements == row.statements && open->sentence == sentence && open->part == part) {
      Widen(&open->values, row);
      open->last = frame;
    } else {
      found.push_back({frame, frame, {row, row, row, row}, sentence, part});
    }
  }
  return found;
}

std::string ToText(const ExplainedStretch& stretch, const RunFacts& facts, size_t width) {
  const TraceRow& row = stretch.values.first;
  std::string text = Times(stretch.first, stretch.last + 1) + ": " + Verdict(row) + "\n";
  for (const StatementRow& statement : StatementTable()) {
    if (row.says(statement.statement) && statement.topic != "verdict")
      text += Line(statement.topic, Words(statement, facts, stretch.values), width);
  }
  if (row.statements == 0) text += Line("window", kNotDecided, width);
  return text + Line("sentence", SentenceWords(stretch), width);
}

nlohmann::ordered_json ToJson(const ExplainedStretch& stretch, const RunFacts& facts) {
  const FrameValues& values = stretch.values;
  nlohmann::ordered_json json = {{"begin", static_cast<double>(stretch.first) / 100},
                                 {"end", static_cast<double>(stretch.last + 1) / 100},
                                 {"verdict", Verdict(values.first)}};
  if (values.first.statements != 0) {
    json["probability"] = Range(values.least.probability, values.most.probability);
    json["threshold"] = Digits(facts.threshold);
    json["energy"] = Range(values.least.energy, values.most.energy);
    json["floor"] = Range(values.least.floor, values.most.floor);
  }
  json["because"] = nlohmann::ordered_json::array();
  for (const StatementRow& statement : StatementTable()) {
    if (!values.first.says(statement.statement) || statement.topic == "verdict") continue;
    json["because"].push_back({{"key", statement.key}, {"topic", statement.topic}, {"words", Words(statement, facts, values)}});
  }
  if (values.first.statements == 0) json["because"].push_back({{"key", "not_decided"}, {"topic", "window"}, {"words", kNotDecided}});
  json["sentence"] = nullptr;
  if (stretch.sentence != nullptr) {
    const NumberedSentence& sentence = *stretch.sentence;
    constexpr const char* kParts[] = {"", "margin before", "speech", "margin behind"};
    json["sentence"] = {{"number", sentence.number},
                        {"begin", static_cast<double>(sentence.begin) / 100},
                        {"end", static_cast<double>(sentence.end) / 100},
                        {"part", kParts[static_cast<int>(stretch.part)]}};
  }
  return json;
}

}  // namespace TSEG::tool
