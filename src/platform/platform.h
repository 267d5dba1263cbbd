// SPDX-License-Identifier: Apache-2.0
//
// Everything that the engine asks of the operating system, and the only header that declares it. This is the reference: what is said here
// holds on every system, and src/platform/<system>/ implements it (docs/porting.md).
//
// Unless a function says otherwise:
//
// - Paths are bytes in UTF-8. A system whose paths are bytes takes them as they are, whatever their encoding; one whose paths are something
//   else converts, bytes that are not UTF-8 from the encoding of the process where it has one, and a path that does not convert names
//   nothing. No path holds a zero byte. An empty one names nothing. Relative paths start at the current folder of the moment.
// - An error number is one of <cerrno>; 0 is success. A system with other numbers translates them.
// - Free functions may be called from every thread at any time. An object is used by one thread at a time.
// - Nothing but ShowMessage waits for another process, a device or the user, and nothing raises a signal or ends the process.
// - No file operation is atomic towards other processes: between two calls, and within one, a file may change.
// - Nothing is thrown but std::bad_alloc. A function without a stated failure cannot fail.
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

// What stands at `path`, links followed. What cannot be looked at is missing, a link to nothing too. Everything that is not a folder is a
// file: devices and pipes too.
PathKind KindOfPath(const std::string& path);
// Whether this process could open `path`, which is no folder, for reading just now.
bool IsReadable(const std::string& path);
// Size in bytes, links followed; nothing for a folder or if it cannot be told.
std::optional<uint64_t> FileSize(const std::string& path);
// When the content was changed last, in nanoseconds since 1970-01-01 UTC as fine as the file system keeps it; 0 if it cannot be told.
int64_t ModificationTime(const std::string& path);
// The whole file, byte by byte; nothing for a folder or if it cannot be read to its end. Of what has no length (a pipe, a device) what is
// there without waiting, up to 2^20 bytes.
std::optional<std::string> ReadWholeFile(const std::string& path);
// Makes the folder `path` and each missing one above it, with the rights that the user gives by default. True if all of them are there in
// the end, whoever made them; false if one could not be made, and those above it stay.
bool MakeFolders(const std::string& path);
// Makes `to` a copy of the plain file `from`: its bytes and, if `to` is new, its rights as far as the user gives such by default. False
// with `to` untouched if either cannot be opened or both are one file by whatever names; false without `to` if the copy broke off.
bool CopyFileOver(const std::string& from, const std::string& to);
// Takes the name `path` of a file away, a link itself and not its target. False if it still stands or was not there.
bool RemoveFile(const std::string& path);
// Names (not paths) of the plain files in `folder` and of the links to such, in no order; empty if it cannot be listed.
std::vector<std::string> ListFiles(const std::string& folder);
// `path` with both "/" and "\\" turned into the system's separator. Pure.
std::string NormaliseSeparators(std::string path);
// Whether `path`, with the system's separators, means the same in every current folder. Pure.
bool IsAbsolutePath(const std::string& path);

// The absolute path of the folder of the file that holds this code (the library, or the program it was linked into), with a separator
// behind it; "./" if it cannot be told. Found at the first call and kept: where a library was loaded by a relative name, only the current
// folder of then leads to it.
std::string ModuleFolder();
// File name (not path) of that file, and of the running executable; empty if it cannot be told.
std::string ModuleFileName();
std::string ExecutableFileName();
// The version that each of the two files states in itself, empty if it states none; nothing on a system whose files do not state any.
std::optional<std::string> ModuleFileVersion();
std::optional<std::string> ExecutableFileVersion();

// A file that is written at its end. Each Write goes to the system at once, so that nothing stays behind in this process and others see a
// line as soon as it was written. A full disk, a size limit, or a reader that went away or does not read gives an error.
class AppendFile {
 public:
  AppendFile();
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;
  // Makes the file if it is missing; `truncate` empties it. Closes what was open before, also on failure. Others may read, write and remove
  // it meanwhile; processes that this one starts do not inherit it. An error number.
  int Open(const std::string& path, bool truncate);
  void Close();
  bool is_open() const;
  // Writes all of `bytes` behind the last byte, wherever that is by now: what several processes write at once stands one behind the other
  // as long as each call is served in one piece, as on a local disk. After an error a part may have been written. An error number, EBADF if
  // nothing is open.
  int Write(const char* bytes, size_t length);
  // Empties the file. An error number, EBADF if nothing is open.
  int Truncate();
  // The length in bytes by now; 0 if nothing is open or it cannot be told.
  uint64_t Size() const;
  // The last byte, 0 to 255; -1 if the file is empty, nothing is open or it cannot be read.
  int LastByte() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// A plain file of at least one byte, mapped read-only for the life of the object; the path may go meanwhile. What others write into it may
// be seen or not. One that they make shorter may end the process when its end is read.
class FileMapping {
 public:
  // Throws boost::interprocess::interprocess_exception, whose text is the system's or says what `path` is instead.
  explicit FileMapping(const std::string& path);
  ~FileMapping();
  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;
  // The first byte, at an address that is a multiple of 4096.
  const void* data() const;
  uint64_t size() const;
  // What has been read of the file by now leaves the memory of this process, and comes back as it is read again. A hint, which a system may
  // ignore.
  void ForgetPages() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// ---- Memory

// `bytes` of memory, at least 1, all zero, in pages that nothing else lies in; null if there is none. Begins at a multiple of 4096. A page
// takes memory once it is touched.
void* TakePages(size_t bytes);
// Gives back to the system, at once and whole, what TakePages gave for these `bytes`.
void GiveBackPages(void* pages, size_t bytes);

// ---- The processor

// The words in which the system tells a program about a processor that does not tell itself: on 64-bit ARM the bits that Linux calls HWCAP
// and HWCAP2. On a processor that tells itself they are of no use; both are 0 on a system that has no such words.
struct ProcessorWords {
  uint64_t first = 0;
  uint64_t second = 0;
};
ProcessorWords WordsOfProcessor();

// ---- Settings that the system reads itself

// The value of `key` in `section` of the text file `path`, which is absolute, up to 1023 characters; empty if there is none. Nothing on a
// system without a reader for such files.
std::optional<std::string> ProfileValue(const std::string& path, const std::string& section, const std::string& key);
// The value `name` of the registry's key `key` for the whole machine: a text, or a 32-bit number in decimal; empty if there is none or it
// is of another type. Nothing if the key cannot be opened, or on a system without a registry.
std::optional<std::string> RegistryValue(const std::string& key, const std::string& name);

// ---- Time

// Milliseconds of a clock that never goes back and goes on while the machine sleeps; its beginning is anywhere. 32 bits, wrapping.
uint32_t TickCount();
// The same without the wrap.
uint64_t TickCount64();
// A counter that never goes back, finer than a microsecond, for the length of what happens in one process; it may stand still while the
// machine sleeps. False and 0 if it cannot be read.
bool PerformanceCounter(int64_t* counter);
// Its counts per second, above 0, the same in every call.
int64_t PerformanceFrequency();
// Seconds since 1970-01-01 UTC, of the clock that the user sets: it may jump both ways.
int64_t WallClockSeconds();
// Waits at least `ms` milliseconds of time in which the machine is awake; a signal does not cut it short.
void SleepMilliseconds(unsigned ms);
// strftime, in the language of the process, on the local time of `seconds` since 1970-01-01 UTC; empty if it does not fit 255 bytes.
std::string FormatLocalTime(int64_t seconds, const char* format);
// The same into `buffer` of `size` bytes, closed by a zero, without allocation; gives the length, 0 if it does not fit.
size_t FormatLocalTime(int64_t seconds, const char* format, char* buffer, size_t size);

// ---- Processes and threads

// Numbers by which the system's own tools know this process and this thread; no other one that lives has them.
uint32_t ProcessId();
uint32_t ThreadId();

// A mutex that the processes of one user share by its name; other users have others of that name. Two objects of one name exclude each
// other inside one process too. It is free again when its holder ends, however that ends. Guards the log: it never blocks for good, and
// where the system refuses it, work goes on without it.
class NamedMutex {
 public:
  NamedMutex();
  ~NamedMutex();  // closes
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;
  // `name`: letters, digits, '-' and '_'; others count as '_'. Closes what was open before. An error number; after an error the object
  // stands for itself alone.
  int Open(const std::string& name);
  // Lets go and forgets the name.
  void Close();
  // Waits until it is held, at most about two seconds; whether it is. True at once where nothing is open. Not recursive.
  bool Acquire();
  // Lets go, on the thread that acquired it; nothing happens where it is not held.
  void Release();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// ---- Outputs outside of files

// One line to where a debugger shows such, standard error on a system without one. What would have to wait is dropped.
void WriteDebugger(const std::string& line);
// A notice to the user: a window where the system shows such to the user of this process, who closes it; elsewhere as above.
void ShowMessage(const std::string& caption, const std::string& line, bool is_error);
// Gives a process whose standard output leads nowhere a console, and standard output into it. Whether there is a new one, which
// CloseConsole takes away again; false where output leads somewhere already.
bool OpenConsole();
void CloseConsole();

// ---- The end

// Ends the process by a store to address zero, as an invalid access and with the traces that the system keeps of such; in any
// case, also where a handler returns. Flush what must be seen before.
[[noreturn]] void FaultAtZero();

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_PLATFORM_H_
