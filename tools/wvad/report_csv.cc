// SPDX-License-Identifier: Apache-2.0
//
// CSV, and the same with tabs: a heading and a row a sentence, and one for a file that failed, with nothing but its name, the error and the
// exit code. A field that holds the separator stands in quotes in both, as spreadsheets, Python's csv and R read it.
#include <string>
#include <vector>

#include "wvad/report_json.h"
#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

class Separated : public TextReport {
 public:
  Separated(Output& output, const ReportShape& shape, char separator) : TextReport(output), shape_(shape), separator_(separator) {
    Row({"file"}, "channel", {"begin", "end", "duration", "vol", "trig", "eg"}, "saved", {"error", "code"});
  }

  void BeginFile(const std::string& name) override { name_ = name; }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    Row({name_}, std::to_string(sentence.channel),
        {Fixed(begin, 2), Fixed(end, 2), Fixed(end - begin, 2), sentence.vol ? Fixed(*sentence.vol, 1) : "",
         sentence.trig ? (*sentence.trig ? "true" : "false") : "", sentence.eg ? Fixed(*sentence.eg, 2) : ""},
        sentence.saved_as, {"", ""});
  }
  void EndFile(const FileEnd&) override {}
  void Fail(const Failure& failure) override {
    Row({name_}, "", std::vector<std::string>(6), "", {failure.what(), std::to_string(static_cast<int>(failure.code()))});
  }
  void Refuse(const std::string& name, const Failure& failure) override {
    BeginFile(name);
    Fail(failure);
  }

 private:
  // Channel and saved file where they are told.
  void Row(std::vector<std::string> fields, const std::string& channel, const std::vector<std::string>& values, const std::string& saved,
           const std::vector<std::string>& failure) {
    if (shape_.channels) fields.push_back(channel);
    fields.insert(fields.end(), values.begin(), values.end());
    if (shape_.saved) fields.push_back(saved);
    fields.insert(fields.end(), failure.begin(), failure.end());
    std::string row;
    for (const std::string& field : fields) row += SeparatedField(field, separator_) + separator_;
    row.back() = '\n';
    output_.Write(row);
  }

  ReportShape shape_;
  char separator_;
  std::string name_;
};

}  // namespace

std::unique_ptr<Report> MakeCsv(Output& output, const ReportShape& shape) { return std::make_unique<Separated>(output, shape, ','); }

std::unique_ptr<Report> MakeTsv(Output& output, const ReportShape& shape) { return std::make_unique<Separated>(output, shape, '\t'); }

std::string SeparatedField(const std::string& text, char separator) {
  if (text.find_first_of("\"\n\r") == std::string::npos && text.find(separator) == std::string::npos) return text;
  std::string field = "\"";
  for (const char c : text) field += c == '"' ? std::string("\"\"") : std::string(1, c);
  return field + '"';
}

std::string CsvField(const std::string& text) { return SeparatedField(text, ','); }

}  // namespace TSEG::tool
