// SPDX-License-Identifier: Apache-2.0
//
// Forms in which each sentence is a line (or a few) that stands by itself, so that it goes out as soon as it is known.
#ifndef WVAD_WVAD_FORMS_LINE_REPORT_H_
#define WVAD_WVAD_FORMS_LINE_REPORT_H_

#include <cstdint>
#include <functional>
#include <string>

#include "wvad/text_report.h"

namespace TSEG::tool {

// A sentence where it stands.
struct Line {
  const std::string& file;  // the recording's name as it was given
  std::string id;           // RecordingId of it
  int64_t number;           // of the sentence, from 1 in each recording
  int rate_hz;              // of its sample numbers
  const Sentence& sentence;

  double begin() const { return static_cast<double>(sentence.begin_sample) / rate_hz; }
  double end() const { return static_cast<double>(sentence.end_sample) / rate_hz; }
  int64_t begin_ms() const { return Milliseconds(sentence.begin_sample); }
  int64_t end_ms() const { return Milliseconds(sentence.end_sample); }
  int channel() const { return sentence.channel > 0 ? sentence.channel : 1; }

 private:
  int64_t Milliseconds(int64_t samples) const { return (samples * 1000 + rate_hz / 2) / rate_hz; }
};

struct LineForm {
  std::string head;                                           // before everything
  std::function<std::string(const Line&)> line;               // of a sentence, line breaks included
  std::string (*comment)(const std::string& text) = nullptr;  // one line of text, without "-->" and line breaks; null: the form has none
};

class LineReport : public TextReport {
 public:
  LineReport(Output& output, const ReportShape& shape, LineForm form);
  void BeginFile(const std::string& name) override;
  void Add(const Sentence& sentence, int rate_hz) override;
  void EndFile(const FileEnd& end) override;

 private:
  LineForm form_;
  std::string provenance_;  // empty: nothing is said of it
  std::string name_;
  int64_t number_ = 0;
};

// A comment in the form of NIST's text files, and one behind "#".
std::string SemicolonComment(const std::string& text);
std::string HashComment(const std::string& text);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FORMS_LINE_REPORT_H_
