// SPDX-License-Identifier: Apache-2.0
#include "wvad/recorded_report.h"

#include <utility>

namespace TSEG::tool {

void RecordedReport::HearWith(const HeardWith& with) {
  told_.emplace_back([with](Report& report) { report.HearWith(with); });
}

void RecordedReport::BeginFile(const std::string& name) {
  told_.emplace_back([name](Report& report) { report.BeginFile(name); });
}

void RecordedReport::Add(const Sentence& sentence, int rate_hz) {
  Sentence kept = {sentence.begin_sample, sentence.end_sample, sentence.vol, sentence.trig, sentence.eg, {},
                   sentence.saved_as,     sentence.channel};
  told_.emplace_back([kept = std::move(kept), rate_hz](Report& report) { report.Add(kept, rate_hz); });
}

void RecordedReport::EndFile(const FileEnd& end) {
  told_.emplace_back([end](Report& report) { report.EndFile(end); });
}

void RecordedReport::FailFile(const std::string& message) {
  told_.emplace_back([message](Report& report) { report.FailFile(message); });
}

void RecordedReport::RefuseFile(const std::string& name, const std::string& message) {
  told_.emplace_back([name, message](Report& report) { report.RefuseFile(name, message); });
}

void RecordedReport::Fail(const Failure& failure) {
  told_.emplace_back([failure](Report& report) { report.Fail(failure); });
}

void RecordedReport::Refuse(const std::string& name, const Failure& failure) {
  told_.emplace_back([name, failure](Report& report) { report.Refuse(name, failure); });
}

void RecordedReport::Say(const std::string& line) {
  told_.emplace_back([line](Report& report) { report.Say(line); });
}

void RecordedReport::End() {}

void RecordedReport::Replay(Report& report) {
  for (const auto& tell : told_) tell(report);
  told_.clear();
}

}  // namespace TSEG::tool
