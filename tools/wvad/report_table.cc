// SPDX-License-Identifier: Apache-2.0
//
// The table for people: a line a sentence, sums and measures below.
#include <optional>
#include <string>

#include "wvad/report_json.h"
#include "wvad/shown.h"
#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

std::string Padded(const std::string& text, size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

class Table : public TextReport {
 public:
  Table(Output& output, const ReportShape& shape) : TextReport(output), shape_(shape) {}

  void BeginFile(const std::string& name) override {
    std::string text;
    if (shape_.several) text = (first_ ? "" : "\n") + Shown(name) + "\n";
    first_ = false;
    count_ = 0;
    speech_ = 0;
    output_.Write(text + (shape_.channels ? "  channel" : "") + "     begin       end  duration     vol      eg" +
                  (shape_.saved ? "  saved as\n" : "\n"));
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    ++count_;
    speech_ += end - begin;
    output_.Write(Channel(sentence.channel) + Padded(Fixed(begin, 2), 10) + Padded(Fixed(end, 2), 10) + Padded(Fixed(end - begin, 2), 10) +
                  Padded(sentence.vol ? Fixed(*sentence.vol, 1) : "-", 8) + Padded(sentence.eg ? Fixed(*sentence.eg, 2) : "-", 8) +
                  (shape_.saved ? "  " + Shown(sentence.saved_as) + "\n" : "\n"));
  }
  void EndFile(const FileEnd& end) override {
    std::string text;
    if (end.endpoint) text += "stopped at " + Fixed(Seconds(end.samples, end.rate_hz), 2) + " s: " + end.reason + "\n";
    if (shape_.summary) {
      text += std::to_string(count_) + (count_ == 1 ? " sentence, " : " sentences, ") + Fixed(speech_, 2) + " s of speech in " +
              Fixed(Seconds(end.samples, end.rate_hz), 2) + " s\n";
      for (const OtherResult& other : end.others) text += other.key + ": " + other.text + "\n";
    }
    if (!end.quality.empty()) text += QualityTable(end);
    if (!text.empty()) output_.Write(text);
  }
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 private:
  std::string Channel(int channel) const { return shape_.channels ? Padded(std::to_string(channel), 9) : ""; }

  std::string QualityTable(const FileEnd& end) const {
    std::string text = std::string(shape_.channels ? "  channel" : "") + "      from        to       snr            cur\n";
    const auto add = [&text](const std::optional<Measures::Value>& value, size_t width) {
      text += Padded(value ? value->text : "-", width) + (value ? (value->bad ? "  bad" : "  ok ") : "     ");
    };
    for (const SessionQuality& quality : end.quality) {
      const Measures measures = MeasuresOf(quality);
      text += Channel(quality.channel) + Padded(Fixed(Seconds(quality.begin_sample, end.rate_hz), 2), 10) +
              Padded(Fixed(Seconds(quality.end_sample, end.rate_hz), 2), 10);
      add(measures.snr, 10);
      add(measures.cur, 10);
      while (text.back() == ' ') text.pop_back();
      text += '\n';
    }
    return text;
  }

  ReportShape shape_;
  bool first_ = true;
  int64_t count_ = 0;
  double speech_ = 0;
};

}  // namespace

std::unique_ptr<Report> MakeTable(Output& output, const ReportShape& shape) { return std::make_unique<Table>(output, shape); }

}  // namespace TSEG::tool
