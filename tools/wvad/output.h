// SPDX-License-Identifier: Apache-2.0
//
// Where a command writes what it has to say: standard output, a descriptor, a pipe, a device, or a file. The first four get every piece at
// once; a file appears when it is whole (new_file.h).
#ifndef WVAD_WVAD_OUTPUT_H_
#define WVAD_WVAD_OUTPUT_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "wvad/new_file.h"
#include "wvad/output_rules.h"

namespace TSEG::tool {

class Output {
 public:
  // `path`: empty or "-" for standard output; /dev/stdout, /dev/fd/3 and their like are the descriptors that this process has. Throws
  // Failure(kOutput) where it cannot be opened or the rules forbid it, and Failure(kInterrupted) if opening a pipe is.
  Output(const std::string& path, const OutputRules& rules);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // What is written from here on is to begin as the file `there` does that it will replace: a run that goes on finds rows again. Where the
  // first `sure` bytes are others, somebody has worked on them, and writing throws Failure(kOutput) before they are replaced. Where those
  // behind them are, a note says so, unless `quiet`.
  void BeginsWith(std::string there, size_t sure, bool quiet);
  // Throws Failure(kOutput) where it cannot be written.
  void Write(std::string_view text);
  // The file appears. Call once, at the end; without it no file does. Of an interrupted run that has not come as far as the rows that are
  // there, none does.
  void Close();
  // The same for a run that was interrupted: a file of this name that is there already stays.
  void CloseInterrupted();
  bool is_terminal() const;
  // Columns of a terminal, kAnyWidth for anything else.
  size_t width() const;

 private:
  void FindAgain(std::string_view text);
  [[noreturn]] void RefuseOtherRows() const;
  size_t LineOfFirstOther() const;

  std::string name_;
  std::string there_;  // that it begins with
  size_t sure_ = 0;
  size_t found_again_ = 0;  // of `there_`
  bool differs_ = false;    // behind that
  bool quiet_ = false;
  std::unique_ptr<NewFile> file_;  // of an ordinary file
  int descriptor_ = -1;            // of everything else
  bool own_ = false;               // the descriptor has to be closed
};

// Whether there is something at `path`, in the place of which an interrupted run puts no part of another; it says so.
bool StaysAsItWas(const std::string& path);
// Whether an Output of this path would be an ordinary file, which appears when it is whole.
bool IsForFile(const std::string& path);
// Throws what the constructor would throw by the rules, and opens nothing: for before any work.
void CheckOutput(const std::string& path, const OutputRules& rules);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OUTPUT_H_
