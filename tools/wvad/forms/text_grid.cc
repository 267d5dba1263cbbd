// SPDX-License-Identifier: Apache-2.0
//
// A TextGrid of Praat in its long form: a tier of intervals a channel, which cover the whole recording; those of sentences say "speech",
// the others nothing.
#include "wvad/failure.h"
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

struct Interval {
  std::string begin;
  std::string end;
  bool speech;
};

// Times become text first, so that one interval ends where the next begins.
std::vector<Interval> IntervalsOf(const HeardRecording& recording, int lane, const std::string& length) {
  std::vector<Interval> intervals;
  std::string last = Fixed(0, 6);
  const auto add = [&](const std::string& end, bool speech) {
    if (end == last) return;
    intervals.push_back({last, end, speech});
    last = end;
  };
  for (const Sentence& sentence : recording.sentences) {
    if (sentence.channel != lane) continue;
    add(Fixed(recording.begin_s(sentence), 6), false);
    add(Fixed(recording.end_s(sentence), 6), true);
  }
  add(length, false);
  return intervals;
}

std::string Tier(size_t number, const std::string& name, const std::string& length, const std::vector<Interval>& intervals) {
  std::string text = "    item [" + std::to_string(number) + "]:\n        class = \"IntervalTier\" \n        name = \"" + name +
                     "\" \n        xmin = 0 \n        xmax = " + length +
                     " \n        intervals: size = " + std::to_string(intervals.size()) + " \n";
  for (size_t i = 0; i < intervals.size(); ++i) {
    text += "        intervals [" + std::to_string(i + 1) + "]:\n            xmin = " + intervals[i].begin +
            " \n            xmax = " + intervals[i].end + " \n            text = \"" + (intervals[i].speech ? "speech" : "") + "\" \n";
  }
  return text;
}

std::string TextGrid(const HeardRecording& recording, const ReportShape&) {
  const std::string length = Fixed(recording.length_s(), 6);
  if (length == Fixed(0, 6)) throw Failure(ExitCode::kNotAudio, recording.name + ": a TextGrid of no length is none");
  const std::vector<int> lanes = recording.lanes();
  std::string text = "File type = \"ooTextFile\"\nObject class = \"TextGrid\"\n\nxmin = 0 \nxmax = " + length +
                     " \ntiers? <exists> \nsize = " + std::to_string(lanes.size()) + " \nitem []: \n";
  for (size_t i = 0; i < lanes.size(); ++i) {
    const std::string name = lanes[i] > 0 ? "speech " + std::to_string(lanes[i]) : "speech";
    text += Tier(i + 1, name, length, IntervalsOf(recording, lanes[i], length));
  }
  return text;
}

}  // namespace

std::unique_ptr<Report> MakeTextGrid(Output& output, const ReportShape& shape) {
  return std::make_unique<DocumentReport>(output, shape, TextGrid);
}

}  // namespace TSEG::tool
