// SPDX-License-Identifier: Apache-2.0
//
// What the program asks of the operating system beyond the C++ library: its arguments, terminals, its own path, signals, private folders,
// the current folder. System calls stand behind this header, file_system.h, new_file.h and temporary_file.h alone: in system.cc,
// file_system.cc, new_part.cc and temporary_file.cc for POSIX, in windows/ for Windows.
#ifndef WVAD_WVAD_SYSTEM_H_
#define WVAD_WVAD_SYSTEM_H_

#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace TSEG::tool {

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

// What the program was called with, in UTF-8 where the system knows names as characters, and else in its bytes.
std::vector<std::string> Arguments(int argc, char** argv);
// The environment's variable `name` in the same way; empty where there is none.
std::string Variable(const char* name);

// The date of a time in UTC; false for one that has none.
bool DateOf(std::time_t seconds, std::tm* date);

bool IsTerminal(int descriptor);
// Columns of the terminal on standard error, 80 if it does not say.
int TerminalWidth();
// Columns for text that people read: what COLUMNS says, else those of the terminal on standard output or error, else 80.
int TextWidth();
// What kind of terminal there is, as TERM says or the console itself; empty where nothing is known, "dumb" for one without escape
// sequences.
std::string TerminalKind();
// The folder of the running program, without a trailing separator; empty if the system does not tell.
std::string ProgramFolder();
// The absolute path of a file by a way from the program's folder.
std::string PathFromProgram(const std::string& absolute);
// Lets `file`, an absolute path, be read under the free name `place` too: by a link, or by a copy where users may make no links.
std::error_code PlaceFile(const std::string& file, const std::string& place);
// Puts something under each of the three standard descriptors that was closed, so that no file of the program's comes to lie there: reading
// or writing there goes on failing. Before anything else is done: it makes a console ready too.
void HoldStandardDescriptors();
// A broken pipe on output, or a file that may not grow further, shall be an error code of the write, not the end of the process.
void IgnoreSignalsOfWriting();
// From here on the first interrupt (Ctrl-C), request to end or loss of the terminal does not end the process but is remembered, so that the
// work can be closed in order; a read that waits returns. The second one removes what is doomed and ends the process.
void RememberInterrupts();
bool Interrupted();
// From here on no thread waits for input any more, as if interrupted: for a run that several threads work on and that has failed.
void StopReading();
bool ReadingStopped();

// While it lives, the file `path` goes if a signal ends the process (not even this helps against SIGKILL). Up to 64 live at once; further
// ones, and paths longer than the system takes, are not doomed.
class DoomedFile {
 public:
  explicit DoomedFile(const std::string& path);
  ~DoomedFile();
  DoomedFile(const DoomedFile&) = delete;
  DoomedFile& operator=(const DoomedFile&) = delete;

 private:
  int slot_ = -1;
};

// What a shared object shows under `name`, loaded for the life of the process. Null with the reason if it cannot be loaded or has no such
// name.
void* LoadSymbol(const std::string& file, const char* name, std::string* reason);

// Whether `act` ends without ending its process, tried in a process of its own: for code of others that may give up (assert). Call before
// there are threads.
bool EndsWell(const std::function<void()>& act);

// Whether this process may open `count` more files at once.
bool CanOpen(int count);

// A folder that only this user can look into (on Windows: in a place that is this user's), removed with its contents at the end. Throws
// Failure if there is no place for one.
class PrivateFolder {
 public:
  PrivateFolder();
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  const std::string& path() const { return path_; }  // absolute, no trailing separator

 private:
  std::string path_;
};

// Makes `folder` the current folder for the life of the object. The way back is held open, so it works when the folder that was current
// has been deleted meanwhile. Where the way back cannot be held (no right to search that folder), no relative path could have been used
// before either, and the root becomes current.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::string& folder);
  ~CurrentFolder();
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;

 private:
  struct WayBack;
  std::unique_ptr<WayBack> way_back_;
};

// While it lives, what the process writes to standard output goes to standard error: results alone belong on standard output.
class OutputToError {
 public:
  OutputToError();
  ~OutputToError();
  OutputToError(const OutputToError&) = delete;
  OutputToError& operator=(const OutputToError&) = delete;

 private:
  int saved_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SYSTEM_H_
