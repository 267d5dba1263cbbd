// SPDX-License-Identifier: Apache-2.0
//
// What every output of the program keeps to: it never falls on a file that the run reads, by whatever name, and nothing that exists is
// replaced unless that was asked for.
#ifndef WVAD_WVAD_OUTPUT_RULES_H_
#define WVAD_WVAD_OUTPUT_RULES_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "wvad/file_system.h"

namespace TSEG::tool {

class OutputRules {
 public:
  // `inputs`: the paths that the run reads, "-" for standard input, and with lists of pieces those pieces. Those that are no ordinary files
  // cannot be lost.
  OutputRules(bool replace, const std::vector<std::string>& inputs);

  bool replace() const { return replace_; }
  // Throws Failure(kOutput) where `path` is a folder, a file that is read, or a file that is there and may not be replaced. Devices, pipes
  // and free names pass.
  void Check(const std::string& path) const;
  // Throws Failure(kOutput) where `path`, beside an output, is a file that is read, or what standard output or error are written to.
  void CheckPart(const std::string& path) const;
  // The same as Check for the file that an open descriptor, called `name`, writes to, which is there by its nature.
  void CheckDescriptor(int descriptor, const std::string& name) const;
  // From here on `path`, which is there, counts as an input too: the engine writes into it.
  void KeepForDebugText(const std::string& path);
  // The name of the input that this is; none if it is none.
  std::optional<std::string> InputAt(const FileLook& look) const;

 private:
  void AddPiecesOf(const std::string& list);

  bool replace_;
  std::vector<std::pair<FileLook, std::string>> inputs_;
};

// Throws Failure(kOutput) where `path` is a folder or is called like one, with a separator at its end, and a file is to be written.
// `instead`: the option that takes a folder, if there is one.
void RefuseFolder(const std::string& path, const std::string& instead = "");

// Says that `path` is there: every refusal to replace reads alike.
std::string ExistsAlready(const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OUTPUT_RULES_H_
