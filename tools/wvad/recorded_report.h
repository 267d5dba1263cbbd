// SPDX-License-Identifier: Apache-2.0
//
// A report that keeps what it is told until it can be told to another one: for recordings whose turn has not come.
#ifndef WVAD_WVAD_RECORDED_REPORT_H_
#define WVAD_WVAD_RECORDED_REPORT_H_

#include <functional>
#include <string>
#include <vector>

#include "wvad/report.h"

namespace TSEG::tool {

class RecordedReport : public Report {
 public:
  void HearWith(const HeardWith& with) override;
  void BeginFile(const std::string& name) override;
  // What was handed out of a sentence is not kept: it may be long, and whoever saves it has done so.
  void Add(const Sentence& sentence, int rate_hz) override;
  void EndFile(const FileEnd& end) override;
  void FailFile(const std::string& message) override;
  void RefuseFile(const std::string& name, const std::string& message) override;
  void Fail(const Failure& failure) override;
  void Refuse(const std::string& name, const Failure& failure) override;
  void Say(const std::string& line) override;
  void End() override;

  // Tells everything to `report`, once.
  void Replay(Report& report);

 private:
  std::vector<std::function<void(Report& report)>> told_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RECORDED_REPORT_H_
