// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

#include "wvad/byte_source.h"
#include "wvad/earlier_files.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/output.h"
#include "wvad/provenance.h"
#include "wvad/recording_files.h"
#include "wvad/report_json.h"
#include "wvad/resume.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// The code of a recording that an earlier run was through with, by its index: all of it was heard and all that it lists is there. None for
// any other. Throws Failure(kOutput) where it came about in another way than `ways`, and where it is no index at all: it is somebody else's
// then.
std::optional<ExitCode> CodeOfWhole(const OutputFolder& folder, const std::string& input, const std::string& path,
                                    const std::vector<std::string>& ways) {
  if (LookAt(path).kind != FileKind::kFile || SizeOf(path) == 0) return std::nullopt;
  std::ifstream in(PathOf(path), std::ios::binary);
  const Json index = Json::parse(in, nullptr, false);
  if (!index.is_object() || !index.contains("source")) throw NotBegunSo(path);
  // One that broke off counts, too: its files would be replaced by others.
  if (index.contains("made_by")) CheckSameWay(path, JsonText(index["made_by"]), ways);
  if (index.contains("stopped_by") && !index["stopped_by"].is_string()) throw NotBegunSo(path);
  if (!index.contains("heard") || index.value("stopped_by", "") == kInterruptedReason) return std::nullopt;
  if (IsRecordingNewer(input, path) || (index.contains("source_bytes") && index["source_bytes"] != SizeOfRecording(input)))
    return std::nullopt;
  const std::vector<std::string> names = SavedFiles(folder, input, index);
  const bool whole = std::all_of(names.begin(), names.end(),
                                 [&](const std::string& name) { return LookAt(folder.Path(input, name)).kind == FileKind::kFile; });
  if (!whole) return std::nullopt;
  return index.contains("damage") ? ExitCode::kNotAudio : ExitCode::kSuccess;
}

// Whether `file` has been written to since the index at `path`, whole or begun, listed it.
bool IsNewerThanIndex(const std::string& file, const std::string& path) {
  const std::string indexes[] = {path, NameOfPart(path)};
  return std::none_of(std::begin(indexes), std::end(indexes),
                      [&](const std::string& index) { return LookAt(index).kind == FileKind::kFile && !IsNewer(file, index); });
}

// Throws Failure(kOutput) where a recording has numbered files that no earlier run can have saved: those are listed, but perhaps for the
// last one of a run that was killed, and nobody has written to them since.
void CheckOurs(const OutputFolder& folder, const std::vector<std::string>& inputs) {
  for (const auto& [input, pieces] : folder.PiecesThere(inputs)) {
    const std::string index = folder.Path(input, folder.File(input));
    const std::vector<std::string> listed = FilesOfEarlierRuns(folder, input, index);
    const std::set<std::string> earlier(listed.begin(), listed.end());
    const auto next = static_cast<int64_t>(earlier.size()) + 1;
    for (const auto& [number, name] : pieces) {
      const std::string file = folder.Path(input, name);
      if (number > next && earlier.count(name) == 0) throw Failure(ExitCode::kOutput, ExistsAlready(file));
      if (earlier.count(name) > 0 && IsNewerThanIndex(file, index))
        throw Failure(ExitCode::kOutput, file + ": has been written to since its index was; --resume leaves it alone");
    }
  }
}

// Throws Failure(kOutput) where the index at `path` lists files of another kind than this run makes.
void CheckKind(const OutputFolder& folder, const std::string& input, const std::string& path) {
  for (const std::string& name : FilesOfEarlierRuns(folder, input, path)) {
    int64_t number = 0;
    std::string ending;
    if (folder.IsNumbered(input, name, &number, &ending) && name != folder.Numbered(input, number))
      throw Failure(ExitCode::kOutput, path + ": lists " + name + "; --resume goes on with files of the same kind");
  }
}

// The code of a recording that an earlier run was through with, none for any other. What cannot be gone on with throws Failure(kOutput);
// with `replace` it counts as not begun.
std::optional<ExitCode> CodeOfThrough(const OutputFolder& folder, const std::string& input, const std::string& path,
                                      const std::vector<std::string>& ways, bool replace) {
  try {
    CheckSameRecording(input, path);
    CheckKind(folder, input, path);
    return CodeOfWhole(folder, input, path, ways);
  } catch (const Failure& failure) {
    if (!replace || failure.code() != ExitCode::kOutput) throw;
    return std::nullopt;
  }
}

}  // namespace

std::vector<std::string> FilesLeft(const FolderOptions& options, const std::vector<std::string>& inputs, const WalkedFiles& walked,
                                   const OutputSuffixes& suffixes, const std::vector<std::string>& ways, ExitCode* kept_code) {
  FolderOptions looked_at = options;
  looked_at.force = true;
  const OutputFolder folder(looked_at, inputs, suffixes, {}, walked);
  std::vector<std::string> left;
  std::vector<std::string> fresh;
  std::vector<std::string> failed;
  for (const std::string& input : inputs) {
    const std::string path = folder.Path(input, folder.File(input));
    if (const std::optional<ExitCode> code = CodeOfThrough(folder, input, path, ways, options.force)) {
      if (*kept_code == ExitCode::kSuccess) *kept_code = *code;
      if (*code != ExitCode::kSuccess) failed.push_back(input);
      continue;
    }
    left.push_back(input);
    if (LookAt(path).kind == FileKind::kNone && LookAt(NameOfPart(path)).kind == FileKind::kNone) fresh.push_back(input);
  }
  if (!options.force) CheckOurs(folder, left);
  // Where no earlier run has begun, what is there is somebody else's.
  const OutputFolder untouched(options, fresh, suffixes, {}, walked);
  SayFailedBefore(options.folder, failed);
  return left;
}

SentenceFiles::SentenceFiles(const OutputFolder& folder, SentenceFormat format, Report* next, bool notes, bool resumed)
    : folder_(folder), format_(std::move(format)), next_(next), notes_(notes), resumed_(resumed) {}

void SentenceFiles::HearWith(const HeardWith& with) {
  with_ = with;
  if (next_ != nullptr) next_->HearWith(with);
}

void SentenceFiles::BeginFile(const std::string& name) {
  input_ = name;
  count_ = 0;
  folder_.Make(name);
  const std::string path = folder_.Path(name, folder_.File(name));
  left_over_.clear();
  if (folder_.rules().replace()) {
    const std::vector<std::string> earlier = FilesOfEarlierRuns(folder_, name, path);
    left_over_.insert(earlier.begin(), earlier.end());
  }
  index_ = std::make_unique<NewFile>(path, folder_.rules());
  Json head;
  head["source"] = name;
  if (const uint64_t size = SizeOfRecording(name); size > 0) head["source_bytes"] = size;
  head["model"] = with_.model;
  head["sample_rate"] = with_.rate_hz;
  head.update(format_.about);
  if (!with_.made_by.empty()) head["made_by"] = Json::parse(with_.made_by);
  const std::string text = JsonText(head);
  index_->Write(text.substr(0, text.size() - 1) + ",\n\"sentences\":[");
  WithIndexOnFailure([&] {
    if (next_ != nullptr) next_->BeginFile(name);
  });
}

void SentenceFiles::Add(const Sentence& sentence, int rate_hz) {
  Sentence told = {sentence.begin_sample, sentence.end_sample, sentence.vol, sentence.trig, sentence.eg, {}, {}, sentence.channel};
  WithIndexOnFailure([&] {
    told.saved_as = folder_.Path(input_, Save(sentence, rate_hz));
    if (next_ != nullptr) next_->Add(told, rate_hz);
  });
}

void SentenceFiles::WithIndexOnFailure(const std::function<void()>& work) {
  try {
    work();
  } catch (const Failure& failure) {
    // The index of what was saved until now is worth having, if there is room for it.
    try {
      Fail(failure);
    } catch (const Failure&) {
      index_.reset();
    }
    throw;
  }
}

std::string SentenceFiles::Save(const Sentence& sentence, int rate_hz) {
  const std::string name = folder_.Numbered(input_, count_ + 1);
  WriteOrFind(folder_.Path(input_, name), format_.encode(sentence, rate_hz), left_over_.count(name) > 0);
  left_over_.erase(name);
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

void SentenceFiles::WriteOrFind(const std::string& path, const std::string& bytes, bool listed) {
  if (resumed_ && !listed && LookAt(path).kind != FileKind::kNone) {
    // A run that is gone on with gives the same bytes again; one that was killed may not have come to list its last file.
    if (LookAt(path).kind == FileKind::kFile && ReadWhole(path, bytes.size() + 1) == bytes) return;
    throw Failure(ExitCode::kOutput, ExistsAlready(path));
  }
  WriteNewFile(path, folder_.rules(), bytes);
}

void SentenceFiles::EndFile(const FileEnd& end) {
  const bool through = end.reason != kInterruptedReason;
  CloseIndex(ToJson(end), through);
  if (through) RemoveLeftOvers();
  if (next_ != nullptr) next_->EndFile(end);
  TellLeftOvers();
  if (count_ == 0 && notes_) Say(input_ + ": note: no sentences found");
}

void SentenceFiles::FailFile(const std::string& message) { Fail(Failure(ExitCode::kInternal, message)); }

void SentenceFiles::RefuseFile(const std::string& name, const std::string& message) {
  if (next_ != nullptr) next_->RefuseFile(name, message);
}

void SentenceFiles::Fail(const Failure& failure) {
  CloseIndex(ToJson(failure), false);
  if (next_ != nullptr) next_->Fail(failure);
  TellLeftOvers();
}

void SentenceFiles::Refuse(const std::string& name, const Failure& failure) {
  if (next_ != nullptr) next_->Refuse(name, failure);
}

void SentenceFiles::Say(const std::string& line) {
  if (next_ != nullptr) {
    next_->Say(line);
  } else {
    Report::Say(line);
  }
}

void SentenceFiles::End() {
  if (next_ != nullptr) next_->End();
}

void SentenceFiles::CloseIndex(Json json, bool through) {
  if (!through) {
    KeepThoseThatAreThere();
    if (!left_over_.empty()) json["left_over"] = left_over_;
  }
  index_->Write("],\n" + JsonText(json).substr(1) + "\n");
  index_->Publish();
  index_.reset();
}

void SentenceFiles::KeepThoseThatAreThere() {
  const auto gone = [this](const std::string& name) {
    const FileLook look = LookAt(folder_.Path(input_, name));
    return look.kind != FileKind::kFile || folder_.rules().InputAt(look);
  };
  std::erase_if(left_over_, gone);
}

void SentenceFiles::RemoveLeftOvers() {
  KeepThoseThatAreThere();
  std::error_code ignored;
  for (const std::string& name : left_over_) std::filesystem::remove(PathOf(folder_.Path(input_, name)), ignored);
  left_over_.clear();
}

void SentenceFiles::TellLeftOvers() {
  if (left_over_.empty() || !notes_) return;
  const size_t more = left_over_.size() - 1;
  const std::string files = folder_.Path(input_, *left_over_.begin()) + (more == 0 ? " is" : " and " + std::to_string(more) + " more are");
  Say(input_ + ": note: " + files + " of an earlier run; one with --force that comes to its end removes them");
}

ExitCode SaveSentences(const SaveOptions& options, Handout handout, OutputSuffixes suffixes, const SentenceFormat& format) {
  const bool several = options.input.files.size() > 1;
  ExitCode kept_code = ExitCode::kSuccess;
  SaveOptions left = options;
  if (options.resume) {
    left.folder.force = true;
    left.input.files =
        FilesLeft(options.folder, options.input.files, options.input.walked, suffixes, ProvenancesOfRun(options), &kept_code);
    if (left.input.files.empty()) return kept_code;
  }
  OutputFolder folder(left.folder, options.input.files, std::move(suffixes), FilesBesideRecordings(options.engine, options.input.list.list),
                      options.input.walked);
  Output output("", folder.rules());
  SentenceTask task;
  task.handout = handout;
  task.keep_away = [&](const std::string& path) { folder.KeepForDebugText(path, options.input.files); };
  task.made_by = true;
  task.make_report = [&](const HeardWith&) -> std::unique_ptr<Report> {
    if (options.quiet) return nullptr;
    return options.format->make(output, {several, true, true, options.input.channel == "all"});
  };
  task.save = [&](Report* told) {
    return std::make_unique<SentenceFiles>(folder, format, told, !options.quiet, options.resume && !options.folder.force);
  };
  const ExitCode code = RunSentences(left, task).code;
  return kept_code != ExitCode::kSuccess ? kept_code : code;
}

}  // namespace TSEG::tool
