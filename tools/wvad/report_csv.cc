// SPDX-License-Identifier: Apache-2.0
//
// CSV: a heading and a row a sentence. What befell a file has no place here.
#include <string>

#include "wvad/report_json.h"
#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

class Csv : public TextReport {
 public:
  Csv(Output& output, const ReportShape& shape) : TextReport(output), shape_(shape) {
    output_.Write(std::string("file,") + (shape_.channels ? "channel," : "") + ("begin,end,duration,vol,trig,eg") +
                  (shape_.saved ? ",saved\n" : "\n"));
  }

  void BeginFile(const std::string& name) override { name_ = CsvField(name); }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    output_.Write(name_ + "," + (shape_.channels ? std::to_string(sentence.channel) + "," : "") + Fixed(begin, 2) + "," + Fixed(end, 2) +
                  "," + Fixed(end - begin, 2) + "," + (sentence.vol ? Fixed(*sentence.vol, 1) : "") + "," +
                  (sentence.trig ? (*sentence.trig ? "true" : "false") : "") + "," + (sentence.eg ? Fixed(*sentence.eg, 2) : "") +
                  (shape_.saved ? "," + CsvField(sentence.saved_as) : "") + "\n");
  }
  void EndFile(const FileEnd&) override {}
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 private:
  ReportShape shape_;
  std::string name_;
};

}  // namespace

std::unique_ptr<Report> MakeCsv(Output& output, const ReportShape& shape) { return std::make_unique<Csv>(output, shape); }

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
  std::string field = "\"";
  for (const char c : text) field += c == '"' ? std::string("\"\"") : std::string(1, c);
  return field + '"';
}

}  // namespace TSEG::tool
