// SPDX-License-Identifier: Apache-2.0
#include "wvad/report.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "wvad/failure.h"
#include "wvad/report_json.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string Padded(const std::string& text, size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

// A report in one output.
class TextReport : public Report {
 public:
  explicit TextReport(Output& output) : output_(output) {}
  bool on_terminal() const override { return output_.is_terminal(); }

 protected:
  Output& output_;
};

class Table : public TextReport {
 public:
  Table(Output& output, bool several, bool summary, bool saved) : TextReport(output), several_(several), summary_(summary), saved_(saved) {}

  void BeginFile(const std::string& name) override {
    std::string text;
    if (several_) text = (first_ ? "" : "\n") + name + "\n";
    first_ = false;
    count_ = 0;
    speech_ = 0;
    output_.Write(text + "     begin       end  duration     vol      eg" + (saved_ ? "  saved as\n" : "\n"));
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    ++count_;
    speech_ += end - begin;
    output_.Write(Padded(Fixed(begin, 2), 10) + Padded(Fixed(end, 2), 10) + Padded(Fixed(end - begin, 2), 10) +
                  Padded(sentence.vol ? Fixed(*sentence.vol, 1) : "-", 8) + Padded(sentence.eg ? Fixed(*sentence.eg, 2) : "-", 8) +
                  (saved_ ? "  " + sentence.saved_as + "\n" : "\n"));
  }
  void EndFile(const FileEnd& end) override {
    std::string text;
    if (end.endpoint) text += "stopped at " + Fixed(Seconds(end.samples, end.rate_hz), 2) + " s: " + end.reason + "\n";
    if (summary_) {
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
  static std::string QualityTable(const FileEnd& end) {
    std::string text = "      from        to       snr            cur\n";
    const auto add = [&text](const std::optional<Measures::Value>& value, size_t width) {
      text += Padded(value ? value->text : "-", width) + (value ? (value->bad ? "  bad" : "  ok ") : "     ");
    };
    for (const SessionQuality& quality : end.quality) {
      const Measures measures = MeasuresOf(quality);
      text +=
          Padded(Fixed(Seconds(quality.begin_sample, end.rate_hz), 2), 10) + Padded(Fixed(Seconds(quality.end_sample, end.rate_hz), 2), 10);
      add(measures.snr, 10);
      add(measures.cur, 10);
      while (text.back() == ' ') text.pop_back();
      text += '\n';
    }
    return text;
  }

  bool several_;
  bool summary_;
  bool saved_;
  bool first_ = true;
  int64_t count_ = 0;
  double speech_ = 0;
};

// One document: {"files":[{"file":...,"sentences":[...],...}]}, written piece by piece.
class JsonDocument : public TextReport {
 public:
  explicit JsonDocument(Output& output) : TextReport(output) { output_.Write("{\"files\":["); }

  void BeginFile(const std::string& name) override {
    output_.Write(std::string(first_file_ ? "\n" : ",\n") + "{\"file\":" + JsonText(name) + ",\"sentences\":[");
    first_file_ = false;
    first_sentence_ = true;
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    output_.Write(std::string(first_sentence_ ? "\n  " : ",\n  ") + JsonText(ToJson(sentence, rate_hz)));
    first_sentence_ = false;
  }
  void EndFile(const FileEnd& end) override { Finish(ToJson(end)); }
  void FailFile(const std::string& message) override {
    Json json;
    json["error"] = message;
    Finish(json);
  }
  void RefuseFile(const std::string& name, const std::string& message) override {
    BeginFile(name);
    FailFile(message);
  }
  void End() override { output_.Write("\n]}\n"); }

 private:
  // Closes the list of sentences and puts the members of `json` behind it.
  void Finish(const Json& json) { output_.Write("]," + JsonText(json).substr(1)); }

  bool first_file_ = true;
  bool first_sentence_ = true;
};

// One object a line: each sentence with its file, and one closing line a file.
class JsonLines : public TextReport {
 public:
  explicit JsonLines(Output& output) : TextReport(output) {}

  void BeginFile(const std::string& name) override { name_ = name; }
  void Add(const Sentence& sentence, int rate_hz) override { Line("sentence", ToJson(sentence, rate_hz)); }
  void EndFile(const FileEnd& end) override { Line("end", ToJson(end)); }
  void FailFile(const std::string& message) override {
    Json json;
    json["error"] = message;
    Line("end", json);
  }
  void RefuseFile(const std::string& name, const std::string& message) override {
    BeginFile(name);
    FailFile(message);
  }
  void End() override {}

 private:
  void Line(const char* event, const Json& members) {
    Json json;
    json["event"] = event;
    json["file"] = name_;
    json.update(members);
    output_.Write(JsonText(json) + "\n");
  }

  std::string name_;
};

class Csv : public TextReport {
 public:
  Csv(Output& output, bool saved) : TextReport(output), saved_(saved) {
    output_.Write(std::string("file,begin,end,duration,vol,trig,eg") + (saved ? ",saved\n" : "\n"));
  }

  void BeginFile(const std::string& name) override { name_ = CsvField(name); }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    output_.Write(name_ + "," + Fixed(begin, 2) + "," + Fixed(end, 2) + "," + Fixed(end - begin, 2) + "," +
                  (sentence.vol ? Fixed(*sentence.vol, 1) : "") + "," + (sentence.trig ? (*sentence.trig ? "true" : "false") : "") + "," +
                  (sentence.eg ? Fixed(*sentence.eg, 2) : "") + (saved_ ? "," + CsvField(sentence.saved_as) : "") + "\n");
  }
  void EndFile(const FileEnd&) override {}
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 private:
  bool saved_;
  std::string name_;
};

}  // namespace

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
  std::string field = "\"";
  for (const char c : text) field += c == '"' ? std::string("\"\"") : std::string(1, c);
  return field + '"';
}

Output::Output(const std::string& path) : path_(path), file_(path.empty() ? stdout : std::fopen(path.c_str(), "wb")) {
  if (file_ == nullptr) Fail(errno);
}

Output::~Output() {
  if (file_ != nullptr && file_ != stdout) std::fclose(file_);
}

void Output::Write(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), file_) != text.size() || std::fflush(file_) != 0) Fail(errno);
}

void Output::Close() {
  std::FILE* file = file_;
  const bool bad = std::fflush(file) != 0;
  const int error = errno;
  if (file != stdout) {
    file_ = nullptr;
    if (std::fclose(file) != 0) Fail(errno);
  }
  if (bad) Fail(error);
}

bool Output::is_terminal() const { return file_ == stdout && IsTerminal(STDOUT_FILENO); }

void Output::Fail(int error) const {
  throw Failure(ExitCode::kOutput,
                (path_.empty() ? std::string("standard output") : path_) + ": cannot be written: " + std::strerror(error));
}

std::unique_ptr<Report> MakeReport(const std::string& format, Output& output, bool several, bool summary, bool saved) {
  if (format == "json") return std::make_unique<JsonDocument>(output);
  if (format == "jsonl") return std::make_unique<JsonLines>(output);
  if (format == "csv") return std::make_unique<Csv>(output, saved);
  return std::make_unique<Table>(output, several, summary, saved);
}

}  // namespace TSEG::tool
