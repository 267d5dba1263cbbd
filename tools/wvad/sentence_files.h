// SPDX-License-Identifier: Apache-2.0
//
// A report that saves each sentence as a file of its own before it tells another report of it, and keeps an index of each recording:
//
//   DIR/talk-0001.wav  DIR/talk-0002.wav ...  DIR/talk-split.json
//
// The index is JSON: {"source":..., its "source_bytes" where it is a file (of a list with
// those of its pieces), what the command adds, "sentences":[{"file":..., begin, end,
// duration, the count of samples or frames, vol, trig, eg}, ...], "heard":..., "stopped_by":...}. It is written for every recording that
// could be opened, also one without sentences or one that broke off. With --force the files of earlier runs that the new one does not make
// (earlier_files.h) go when it is through; one that broke off leaves them, and its index lists them as "left_over", for the next run to
// remove.
#ifndef WVAD_WVAD_SENTENCE_FILES_H_
#define WVAD_WVAD_SENTENCE_FILES_H_

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "wvad/new_file.h"
#include "wvad/output_folder.h"
#include "wvad/report.h"
#include "wvad/report_formats.h"
#include "wvad/sentence_run.h"

namespace TSEG::tool {

// How a sentence becomes a file.
struct SentenceFormat {
  std::function<std::string(const Sentence&, int rate_hz)> encode;  // to the bytes of a file
  std::string unit;                                                 // of its data: "samples", "frames"
  size_t unit_bytes = 1;
  nlohmann::ordered_json about = nlohmann::ordered_json::object();  // members of the index behind those of the model
};

class SentenceFiles : public Report {
 public:
  // `next` may be null. `notes`: say where nothing was found. `resumed`: of the files that are there those alone are replaced that an
  // earlier run has listed.
  SentenceFiles(const OutputFolder& folder, SentenceFormat format, Report* next, bool notes, bool resumed);

  void HearWith(const HeardWith& with) override;
  void BeginFile(const std::string& name) override;
  void Add(const Sentence& sentence, int rate_hz) override;
  void EndFile(const FileEnd& end) override;
  void FailFile(const std::string& message) override;
  void RefuseFile(const std::string& name, const std::string& message) override;
  void Fail(const Failure& failure) override;
  void Refuse(const std::string& name, const Failure& failure) override;
  void Say(const std::string& line) override;
  void End() override;
  bool on_terminal() const override { return next_ && next_->on_terminal(); }

 private:
  // The order of numbered names.
  struct ByLength {
    bool operator()(const std::string& one, const std::string& other) const {
      return one.size() != other.size() ? one.size() < other.size() : one < other;
    }
  };

  // Does it; where it fails, the index is closed with the reason before the failure goes on.
  void WithIndexOnFailure(const std::function<void()>& work);
  std::string Save(const Sentence& sentence, int rate_hz);
  // Throws Failure(kOutput) where somebody else's file is there.
  void WriteOrFind(const std::string& path, const std::string& bytes, bool listed);
  // `through`: the recording's work has come to its end, and nothing of an earlier run will be left.
  void CloseIndex(nlohmann::ordered_json json, bool through);
  void KeepThoseThatAreThere();
  void RemoveLeftOvers();
  void TellLeftOvers();

  const OutputFolder& folder_;
  SentenceFormat format_;
  Report* next_;
  bool notes_, resumed_;
  HeardWith with_;
  std::string input_;
  int64_t count_ = 0;
  std::unique_ptr<NewFile> index_;
  std::set<std::string, ByLength> left_over_;  // of earlier runs, and not made anew until now
};

// What `split` and `features` have in common.
struct SaveOptions : SentenceOptions {
  FolderOptions folder;
  const ReportFormat* format = ReportFormats().data();  // of what is told on standard output; with `quiet` nothing is
};

// The recordings that an earlier run, which was stopped, was not through with: those without an index, those whose index tells of an
// interrupt or an error, those that have changed since (another size, or written to behind the index), and those of whose files one is
// missing. `kept_code`: that of the first of the others that was damaged. `ways` as
// in KeepWhatIsThere. Throws Failure(kOutput) where there are files and no index that they belong to, and where what is kept came about in
// another way.
std::vector<std::string> FilesLeft(const FolderOptions& options, const std::vector<std::string>& inputs, const WalkedFiles& walked,
                                   const OutputSuffixes& suffixes, const std::vector<std::string>& ways, ExitCode* kept_code);

// Works through all files and saves each sentence of them.
ExitCode SaveSentences(const SaveOptions& options, Handout handout, OutputSuffixes suffixes, const SentenceFormat& format);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SENTENCE_FILES_H_
