// SPDX-License-Identifier: Apache-2.0
//
// Forms that need the whole of a recording before they can say anything of it: its length, the count of its sentences, their order. The
// sentences of one recording are held until then.
#ifndef WVAD_WVAD_FORMS_DOCUMENT_REPORT_H_
#define WVAD_WVAD_FORMS_DOCUMENT_REPORT_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "wvad/text_report.h"

namespace TSEG::tool {

// A recording that is through. No sentence reaches beyond its end.
struct HeardRecording {
  std::string name;                 // as it was given
  std::string id;                   // RecordingId of it
  std::vector<Sentence> sentences;  // by channel, then by time; at the rate of `end`
  FileEnd end;

  double begin_s(const Sentence& sentence) const { return static_cast<double>(sentence.begin_sample) / end.rate_hz; }
  double end_s(const Sentence& sentence) const { return static_cast<double>(sentence.end_sample) / end.rate_hz; }
  // The length of the recording in seconds: its own where that is known and it was not broken off by the user, else what was heard of it.
  // Nothing is known of what nobody listened to.
  double length_s() const;
  // The channels that have sentences of their own, {0} where they are not told apart.
  std::vector<int> lanes() const;
};

class DocumentReport : public TextReport {
 public:
  // `write` may throw Failure where the form cannot hold the recording.
  using WriteDocument = std::function<std::string(const HeardRecording&, const ReportShape&)>;
  DocumentReport(Output& output, const ReportShape& shape, WriteDocument write, std::string head = "");
  void BeginFile(const std::string& name) override;
  void Add(const Sentence& sentence, int rate_hz) override;
  void EndFile(const FileEnd& end) override;

 protected:
  ReportShape shape_;
  HeardRecording recording_;
  WriteDocument write_;
};

// Forms of NIST: a line a sentence, by channel and time, comments behind ";;".
using WriteLine = std::string (*)(const HeardRecording& recording, const Sentence& sentence);
std::unique_ptr<Report> MakeNistDocument(Output& output, const ReportShape& shape, WriteLine line);

// "1", or the channel of the sentence.
std::string ChannelOf(const Sentence& sentence);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FORMS_DOCUMENT_REPORT_H_
