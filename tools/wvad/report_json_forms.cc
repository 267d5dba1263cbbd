// SPDX-License-Identifier: Apache-2.0
//
// JSON as one document, valid when the run ends, and as lines.
#include <nlohmann/json.hpp>
#include <string>

#include "wvad/provenance.h"
#include "wvad/report_json.h"
#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// One document: {"files":[{"file":...,"sentences":[...],...}]}, written piece by piece.
class JsonDocument : public TextReport {
 public:
  JsonDocument(Output& output, const ReportShape& shape) : TextReport(output), provenance_(shape.details.provenance) {
    output_.Write("{\"files\":[");
  }

  void BeginFile(const std::string& name) override {
    output_.Write(std::string(first_file_ ? "\n" : ",\n") + "{\"file\":" + JsonText(name) + ",\"sentences\":[");
    first_file_ = false;
    first_sentence_ = true;
  }
  void Add(const Sentence& sentence, int rate_hz) override {
    output_.Write(std::string(first_sentence_ ? "\n  " : ",\n  ") + JsonText(ToJson(sentence, rate_hz)));
    first_sentence_ = false;
  }
  void EndFile(const FileEnd& end) override {
    Json json = ToJson(end);
    json.update(OwnMembers(end, provenance_));
    Finish(json);
  }
  void FailFile(const std::string& message) override {
    Json json;
    json["error"] = message;
    Finish(json);
  }
  void Fail(const Failure& failure) override { Finish(ToJson(failure)); }
  void Refuse(const std::string& name, const Failure& failure) override {
    BeginFile(name);
    Fail(failure);
  }
  void RefuseFile(const std::string& name, const std::string& message) override {
    BeginFile(name);
    FailFile(message);
  }
  void End() override { output_.Write("\n]" + (provenance_.empty() ? "" : ",\n\"made_by\":" + provenance_) + "}\n"); }

 private:
  // Closes the list of sentences and puts the members of `json` behind it.
  void Finish(const Json& json) { output_.Write("]," + JsonText(json).substr(1)); }

  std::string provenance_;
  bool first_file_ = true;
  bool first_sentence_ = true;
};

// One object a line: each sentence with its file, and one closing line a file.
class JsonLines : public TextReport {
 public:
  JsonLines(Output& output, const ReportShape& shape) : TextReport(output), provenance_(shape.details.provenance) {}

  void BeginFile(const std::string& name) override { name_ = name; }
  void Add(const Sentence& sentence, int rate_hz) override { Line("sentence", ToJson(sentence, rate_hz)); }
  void EndFile(const FileEnd& end) override {
    Json json = ToJson(end);
    if (const std::string& made_by = MadeBy(end, provenance_); !made_by.empty()) json["made_by"] = Json::parse(made_by);
    Line("end", json);
  }
  void FailFile(const std::string& message) override {
    Json json;
    json["error"] = message;
    Line("end", json);
  }
  void Fail(const Failure& failure) override { Line("end", ToJson(failure)); }
  void Refuse(const std::string& name, const Failure& failure) override {
    BeginFile(name);
    Fail(failure);
  }
  void RefuseFile(const std::string& name, const std::string& message) override {
    BeginFile(name);
    FailFile(message);
  }

 private:
  void Line(const char* event, const Json& members) {
    Json json;
    json["event"] = event;
    json["file"] = name_;
    json.update(members);
    output_.Write(JsonText(json) + "\n");
  }

  std::string provenance_;
  std::string name_;
};

}  // namespace

std::unique_ptr<Report> MakeJsonDocument(Output& output, const ReportShape& shape) { return std::make_unique<JsonDocument>(output, shape); }

std::unique_ptr<Report> MakeJsonLines(Output& output, const ReportShape& shape) { return std::make_unique<JsonLines>(output, shape); }

}  // namespace TSEG::tool
