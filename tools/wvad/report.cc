// SPDX-License-Identifier: Apache-2.0
#include "wvad/report.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <nlohmann/json.hpp>

#include "wvad/failure.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// Whatever the locale, which a log configuration may have changed: a comma in a number would be no JSON and no CSV.
std::string Fixed(double value, int digits) {
  char text[400];
  const std::to_chars_result result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits);
  return std::string(text, result.ptr);
}

std::string Padded(const std::string& text, size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

double Seconds(int64_t samples, int rate_hz) { return static_cast<double>(samples) / rate_hz; }

// File names need not be UTF-8; what is not becomes a replacement character.
std::string Text(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// A decimal number as it shall stand in JSON: hundredths exactly, not the nearest double's seventeen digits.
Json Hundredths(double value) { return Json::parse(Fixed(value, 2)); }

Json ToJson(const Sentence& sentence, int rate_hz) {
  Json json;
  const double begin = Seconds(sentence.begin_sample, rate_hz);
  const double end = Seconds(sentence.end_sample, rate_hz);
  json["begin"] = Hundredths(begin);
  json["end"] = Hundredths(end);
  json["duration"] = Hundredths(end - begin);
  json["vol"] = sentence.vol ? Json(*sentence.vol) : Json();
  json["trig"] = sentence.trig ? Json(*sentence.trig) : Json();
  json["eg"] = sentence.eg ? Json(*sentence.eg) : Json();
  return json;
}

Json ToJson(const FileEnd& end) {
  Json json;
  json["heard"] = Hundredths(Seconds(end.samples, end.rate_hz));
  json["stopped_by"] = end.reason;
  if (!end.others.empty()) {
    Json others = Json::array();
    for (const OtherResult& other : end.others) {
      Json row = Json::parse("{" + other.text + "}", nullptr, false);
      if (row.is_discarded()) continue;
      row["key"] = other.key;
      others.push_back(row);
    }
    json["results"] = others;
  }
  return json;
}

class Table : public Report {
 public:
  Table(Output& output, bool several, bool summary) : output_(output), several_(several), summary_(summary) {}

  void BeginFile(const std::string& name) override {
    std::string text;
    if (several_) text = (first_ ? "" : "\n") + name + "\n";
    first_ = false;
    count_ = 0;
    speech_ = 0;
    output_.Write(text + "     begin       end  duration     vol      eg\n");
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    ++count_;
    speech_ += end - begin;
    output_.Write(Padded(Fixed(begin, 2), 10) + Padded(Fixed(end, 2), 10) + Padded(Fixed(end - begin, 2), 10) +
                  Padded(sentence.vol ? Fixed(*sentence.vol, 1) : "-", 8) + Padded(sentence.eg ? Fixed(*sentence.eg, 2) : "-", 8) + "\n");
  }
  void EndFile(const FileEnd& end) override {
    std::string text;
    if (end.endpoint) text += "stopped at " + Fixed(Seconds(end.samples, end.rate_hz), 2) + " s: " + end.reason + "\n";
    if (summary_) {
      text += std::to_string(count_) + (count_ == 1 ? " sentence, " : " sentences, ") + Fixed(speech_, 2) + " s of speech in " +
              Fixed(Seconds(end.samples, end.rate_hz), 2) + " s\n";
      for (const OtherResult& other : end.others) text += other.key + ": " + other.text + "\n";
    }
    if (!text.empty()) output_.Write(text);
  }
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 private:
  Output& output_;
  bool several_;
  bool summary_;
  bool first_ = true;
  int64_t count_ = 0;
  double speech_ = 0;
};

// One document: {"files":[{"file":...,"sentences":[...],...}]}, written piece by piece.
class JsonDocument : public Report {
 public:
  explicit JsonDocument(Output& output) : output_(output) { output_.Write("{\"files\":["); }

  void BeginFile(const std::string& name) override {
    output_.Write(std::string(first_file_ ? "\n" : ",\n") + "{\"file\":" + Text(name) + ",\"sentences\":[");
    first_file_ = false;
    first_sentence_ = true;
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    output_.Write(std::string(first_sentence_ ? "\n  " : ",\n  ") + Text(ToJson(sentence, rate_hz)));
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
  void Finish(const Json& json) { output_.Write("]," + Text(json).substr(1)); }

  Output& output_;
  bool first_file_ = true;
  bool first_sentence_ = true;
};

// One object a line: each sentence with its file, and one closing line a file.
class JsonLines : public Report {
 public:
  explicit JsonLines(Output& output) : output_(output) {}

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
    output_.Write(Text(json) + "\n");
  }

  Output& output_;
  std::string name_;
};

class Csv : public Report {
 public:
  explicit Csv(Output& output) : output_(output) { output_.Write("file,begin,end,duration,vol,trig,eg\n"); }

  void BeginFile(const std::string& name) override {
    name_ = name;
    if (name.find_first_of(",\"\n\r") == std::string::npos) return;
    name_ = "\"";
    for (const char c : name) name_ += c == '"' ? std::string("\"\"") : std::string(1, c);
    name_ += '"';
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    const double begin = Seconds(sentence.begin_sample, rate_hz);
    const double end = Seconds(sentence.end_sample, rate_hz);
    output_.Write(name_ + "," + Fixed(begin, 2) + "," + Fixed(end, 2) + "," + Fixed(end - begin, 2) + "," +
                  (sentence.vol ? Fixed(*sentence.vol, 1) : "") + "," + (sentence.trig ? (*sentence.trig ? "true" : "false") : "") + "," +
                  (sentence.eg ? Fixed(*sentence.eg, 2) : "") + "\n");
  }
  void EndFile(const FileEnd&) override {}
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 private:
  Output& output_;
  std::string name_;
};

}  // namespace

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

std::unique_ptr<Report> MakeReport(const std::string& format, Output& output, bool several, bool summary) {
  if (format == "json") return std::make_unique<JsonDocument>(output);
  if (format == "jsonl") return std::make_unique<JsonLines>(output);
  if (format == "csv") return std::make_unique<Csv>(output);
  return std::make_unique<Table>(output, several, summary);
}

}  // namespace TSEG::tool
