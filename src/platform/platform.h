// SPDX-License-Identifier: Apache-2.0
//
// Everything that the engine asks of the operating system, and the only header that declares it. src/platform/linux/ implements it; a
// further system is a further folder with the same functions.
//
// Paths are UTF-8 bytes as the system takes them. Functions without a stated failure cannot fail.
#ifndef WVAD_PLATFORM_PLATFORM_H_
#define WVAD_PLATFORM_PLATFORM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TSEG::platform {

// ---- Files and paths

enum class PathKind { kMissing, kFile, kDirectory };

// What stands at `path`, links followed. A path that cannot be looked at is missing. Everything that is not a folder is kFile.
PathKind KindOfPath(const std::string& path);
// Whether `path` can be opened for reading.
bool IsReadable(const std::string& path);
// Size in bytes, or nothing if it cannot be told.
std::optional<uint64_t> FileSize(const std::string& path);
// Modification time in nanoseconds since the epoch, 0 if the file does not exist.
int64_t ModificationTime(const std::string& path);
// The whole file, or nothing if it cannot be read.
std::optional<std::string> ReadWholeFile(const std::string& path);
// Makes the folder `path` and each missing one above it. False if one could not be made.
bool MakeFolders(const std::string& path);
bool CopyFileOver(const std::string& from, const std::string& to);
bool RemoveFile(const std::string& path);
// Names (not paths) of the plain files in `folder`, unsorted; empty if it cannot be listed.
std::vector<std::string> ListFiles(const std::string& folder);
// `path` with both "/" and "\\" turned into the system's separator.
std::string NormaliseSeparators(std::string path);
bool IsAbsolutePath(const std::string& path);

// The folder of the file that holds this code (the library, or the program it was linked into), with its trailing separator.
std::string ModuleFolder();
// File name (not path) of that file, and of the running executable.
std::string ModuleFileName();
std::string ExecutableFileName();

// A file that is written at its end, one block at a time: each Write goes to the system at once, so nothing waits in the process. Opening
// never waits (a pipe without a reader is no file to write), and a full disk, a size limit or a vanished reader gives an error, never a
// signal. Not safe for several threads at once.
class AppendFile {
 public:
  AppendFile() = default;
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;
  // Makes the file if it is missing; `truncate` empties it. 0, or the system's error. Closes what was open before.
  int Open(const std::string& path, bool truncate);
  void Close();
  bool is_open() const { return descriptor_ >= 0; }
  // Writes behind the last byte, wherever that is by now. 0, or the system's error.
  int Write(const char* bytes, size_t length);
  int Truncate();
  // The length in bytes; 0 if nothing is open or it cannot be told.
  uint64_t Size() const;
  // The last byte, or -1 of an empty file.
  int LastByte() const;

 private:
  int descriptor_ = -1;
};

// A whole file mapped read-only for the life of the object.
class FileMapping {
 public:
  // Maps `path`. A failure leaves as boost::interprocess::interprocess_exception.
  explicit FileMapping(const std::string& path);
  ~FileMapping();
  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;
  const void* data() const;
  uint64_t size() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// ---- Time

// Milliseconds of a steady clock, 32 bits, wrapping.
uint32_t TickCount();
// The same without the wrap.
uint64_t TickCount64();
// Steady high-resolution counter and its ticks per second. False and 0 if it cannot be read.
bool PerformanceCounter(int64_t* counter);
int64_t PerformanceFrequency();
// Wall clock, seconds since the epoch.
int64_t WallClockSeconds();
void SleepMilliseconds(unsigned ms);
// strftime on the local time of `seconds`.
std::string FormatLocalTime(int64_t seconds, const char* format);
// The same into `buffer` of `size` bytes, without allocation; gives the length, 0 if it does not fit.
size_t FormatLocalTime(int64_t seconds, const char* format, char* buffer, size_t size);

// ---- Processes and threads

uint32_t ProcessId();
uint32_t ThreadId();

// A mutex shared by the processes of one user by its name, gone with the process. An advisory lock in the per-user temporary folder; where
// it cannot be made, it stands for itself alone and Acquire succeeds at once.
class NamedMutex {
 public:
  NamedMutex();
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;
  int Open(const std::string& name);  // 0, or the system's error
  void Close();
  void Acquire();  // waits a bounded time, so that a stuck process cannot block logging for good
  void Release();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// ---- Outputs outside of files

void WriteDebugger(const std::string& line);                                           // standard error, one line, never waits
void ShowMessage(const std::string& caption, const std::string& line, bool is_error);  // standard error, one line, never waits

// ---- Processor

struct CpuidWords {
  uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};
// One CPUID query; all zero on a processor without it.
CpuidWords Cpuid(uint32_t leaf, uint32_t subleaf);
// Whether the system saves the 256-bit registers (needed beside the AVX2 bit before AVX2 code may run).
bool OsSavesYmm();

// Ends the process by a store to address zero, on purpose. Flush what must be seen before.
[[noreturn]] void FaultAtZero();

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_PLATFORM_H_
