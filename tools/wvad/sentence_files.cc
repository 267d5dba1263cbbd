// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_files.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "wvad/failure.h"
#include "wvad/output.h"
#include "wvad/provenance.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// The numbered files of this recording that the index `path` lists. An index that is none lists nothing.
std::vector<std::string> ListedFiles(const OutputFolder& folder, const std::string& input, const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const Json index = Json::parse(in, nullptr, false);
  std::vector<std::string> names;
  if (!index.is_object() || !index.contains("sentences") || !index["sentences"].is_array()) return names;
  for (const Json& row : index["sentences"]) {
    if (!row.is_object() || !row.contains("file") || !row["file"].is_string()) continue;
    const std::string name = row["file"].get<std::string>();
    int64_t number = 0;
    std::string ending;
    const bool ours = name.find('/') == std::string::npos && folder.IsNumbered(input, name, &number, &ending);
    if (ours) names.push_back(name);
  }
  return names;
}

}  // namespace

SentenceFiles::SentenceFiles(const OutputFolder& folder, SentenceFormat format, std::unique_ptr<Report> next, bool notes)
    : folder_(folder), format_(std::move(format)), next_(std::move(next)), notes_(notes) {}

void SentenceFiles::BeginFile(const std::string& name) {
  input_ = name;
  count_ = 0;
  const std::string path = folder_.Path(folder_.File(name));
  left_over_ = folder_.rules().replace() ? ListedFiles(folder_, name, path) : std::vector<std::string>();
  index_ = std::make_unique<NewFile>(path, folder_.rules());
  Json head;
  head["source"] = name;
  head.update(format_.about);
  const std::string text = JsonText(head);
  index_->Write(text.substr(0, text.size() - 1) + ",\n\"sentences\":[");
  WithIndexOnFailure([&] {
    if (next_) next_->BeginFile(name);
  });
}

void SentenceFiles::Add(const Sentence& sentence, int rate_hz) {
  Sentence told = {sentence.begin_sample, sentence.end_sample, sentence.vol, sentence.trig, sentence.eg, {}, {}, sentence.channel};
  WithIndexOnFailure([&] {
    told.saved_as = folder_.Path(Save(sentence, rate_hz));
    if (next_) next_->Add(told, rate_hz);
  });
}

void SentenceFiles::WithIndexOnFailure(const std::function<void()>& work) {
  try {
    work();
  } catch (const Failure& failure) {
    // The index of what was saved until now is worth having, if there is room for it.
    try {
      FailFile(failure.what());
    } catch (const Failure&) {
      index_.reset();
    }
    throw;
  }
}

std::string SentenceFiles::Save(const Sentence& sentence, int rate_hz) {
  const std::string name = folder_.Numbered(input_, count_ + 1);
  WriteNewFile(folder_.Path(name), folder_.rules(), format_.encode(sentence));
  ++count_;
  Json row;
  row["file"] = name;
  Json members = ToJson(sentence, rate_hz);
  for (const char* key : {"begin", "end", "duration"}) row[key] = members[key];
  row[format_.unit] = sentence.data.size() / format_.unit_bytes;
  row.update(members);
  index_->Write(std::string(count_ == 1 ? "\n  " : ",\n  ") + JsonText(row));
  return name;
}

void SentenceFiles::EndFile(const FileEnd& end) {
  CloseIndex(ToJson(end));
  if (end.reason != kInterruptedReason) RemoveLeftOvers();
  if (next_) next_->EndFile(end);
  if (count_ == 0 && notes_) std::fprintf(stderr, "wvad: %s: note: no sentences found\n", input_.c_str());
}

void SentenceFiles::FailFile(const std::string& message) {
  Json json;
  json["error"] = message;
  CloseIndex(json);
  if (next_) next_->FailFile(message);
}

void SentenceFiles::RefuseFile(const std::string& name, const std::string& message) {
  if (next_) next_->RefuseFile(name, message);
}

void SentenceFiles::End() {
  if (next_) next_->End();
}

void SentenceFiles::CloseIndex(const Json& json) {
  index_->Write("],\n" + JsonText(json).substr(1) + "\n");
  index_->Publish();
  index_.reset();
}

void SentenceFiles::RemoveLeftOvers() {
  for (const std::string& name : left_over_) {
    int64_t number = 0;
    std::string ending;
    folder_.IsNumbered(input_, name, &number, &ending);
    if (number <= count_ && name == folder_.Numbered(input_, number)) continue;
    if (folder_.rules().InputAt(LookAt(folder_.Path(name)))) continue;
    std::error_code ignored;
    std::filesystem::remove(folder_.Path(name), ignored);
  }
}

ExitCode SaveSentences(const SaveOptions& options, Handout handout, OutputSuffixes suffixes,
                       const std::function<void(SentenceFormat& format, int rate_hz)>& describe) {
  OutputFolder folder(options.folder, options.input.files, std::move(suffixes), FilesOfEngine(options.engine));
  Output output("", folder.rules());
  SentenceTask task;
  task.handout = handout;
  task.keep_away = [&](const std::string& path) { folder.KeepForDebugText(path, options.input.files); };
  task.make_report = [&](int rate_hz) {
    SentenceFormat format;
    format.about["model"] = options.engine.model;
    format.about["sample_rate"] = rate_hz;
    describe(format, rate_hz);
    format.about["made_by"] = ProvenanceOfRun(options);
    folder.Make();
    std::unique_ptr<Report> told;
    if (!options.quiet) told = options.format->make(output, {options.input.files.size() > 1, true, true, options.input.channel == "all"});
    return std::make_unique<SentenceFiles>(folder, std::move(format), std::move(told), !options.quiet);
  };
  return RunSentences(options, task).code;
}

}  // namespace TSEG::tool
