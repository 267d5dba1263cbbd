// SPDX-License-Identifier: Apache-2.0
//
// Where a command that writes several files puts them, and how they are called: STEM-SUFFIX or STEM.ENDING, where the stem is the
// recording's file name without its ending ("stdin" for standard input). The files of what was found below a folder lie as far below this
// one, DIR/sub/talk.srt for IN/sub/talk.mp3. Everything that can be known to go wrong is found before any work: two recordings of one stem,
// files that are there already, outputs that would fall on an input.
#ifndef WVAD_WVAD_OUTPUT_FOLDER_H_
#define WVAD_WVAD_OUTPUT_FOLDER_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "wvad/file_list.h"
#include "wvad/output_rules.h"

namespace TSEG::tool {

struct FolderOptions {
  std::string folder = ".";
  std::string prefix;  // instead of the stem, for a single recording; empty for none
  bool force = false;  // files may be replaced
};

// What is written for each recording: one file STEM-`name`, if that is not empty, STEM-0001`numbered` and so on, if that is not, and a file
// STEM with each of the endings. And the names of what is written once.
struct OutputSuffixes {
  std::string name = {};
  std::string numbered = {};
  std::vector<std::string> endings = {};
  std::vector<std::string> of_run = {};
};

class OutputFolder {
 public:
  // `inputs` are the recordings, `walked` says which of them were found in folders, `also_read` what else the run reads. Throws Failure:
  // kUsage (two recordings of one stem, a prefix that is none or for several recordings), kOutput (something is there, or is read).
  OutputFolder(const FolderOptions& options, const std::vector<std::string>& inputs, OutputSuffixes suffixes,
               const std::vector<std::string>& also_read = {}, WalkedFiles walked = {});

  // From here on `path`, which is there, counts as read: the engine writes into it. Throws Failure(kOutput) where a file of `inputs` would
  // be called like it.
  void KeepForDebugText(const std::string& path, const std::vector<std::string>& inputs);

  // Makes the folder of the recording's files and those above it. Throws Failure(kOutput).
  void Make(const std::string& input) const;

  // Names within the folder of the recording's files, and the whole path of such a name, and of one of the run.
  std::string File(const std::string& input) const;
  std::string WithEnding(const std::string& input, const std::string& ending) const;
  std::string Numbered(const std::string& input, int64_t number) const;
  std::string Path(const std::string& input, const std::string& name) const;
  std::string PathOfRun(const std::string& name) const;
  // Whether `name` is a numbered file of this recording, of whatever ending; gives its number and what follows it.
  bool IsNumbered(const std::string& input, const std::string& name, int64_t* number, std::string* ending) const;

  // The numbered files that are there under names which may be written, by their numbers; of recordings that have none, nothing.
  using Pieces = std::map<std::string, std::map<int64_t, std::string>>;
  Pieces PiecesThere(const std::vector<std::string>& inputs) const;

  // What every file in the folder keeps to.
  const OutputRules& rules() const { return rules_; }

 private:
  std::string Stem(const std::string& input) const;
  std::string FolderOf(const std::string& input) const;
  // What is written for it whatever is found in it.
  std::vector<std::string> FilesOf(const std::string& input) const;
  void CheckFree(const std::string& path) const;
  void CheckNames(const std::vector<std::string>& inputs) const;
  void CheckPieces(const std::vector<std::string>& inputs) const;
  void CheckInputs(const std::vector<std::string>& inputs) const;
  void CheckInputAt(const std::string& path, const std::vector<std::string>& of_folder) const;

  FolderOptions options_;
  OutputSuffixes suffixes_;
  OutputRules rules_;
  WalkedFiles walked_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OUTPUT_FOLDER_H_
