// SPDX-License-Identifier: Apache-2.0
//
// What the program asks the file system: what lies under a name, and bytes into a descriptor.
//
// A name is a std::string everywhere in the program: the very bytes where the system's names are bytes, in UTF-8 or not, and UTF-8 where
// they are wider. The C++ library reads a std::string in the code page instead, so that every name goes to it and its streams by PathOf and
// comes back by NameOf.
#ifndef WVAD_WVAD_FILE_SYSTEM_H_
#define WVAD_WVAD_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TSEG::tool {

std::filesystem::path PathOf(const std::string& name);
std::string NameOf(const std::filesystem::path& path);
// The same with slashes between folders, whatever divides them in names of the system.
std::string SlashedNameOf(const std::filesystem::path& path);

enum class FileKind { kNone, kFile, kFolder, kSpecial, kDanglingLink };

// What lies under a name, links followed. Two names of one file have the same device and inode, however they are spelt.
struct FileLook {
  FileKind kind = FileKind::kNone;  // kNone also where it may not be looked at
  uint64_t device = 0;
  uint64_t inode = 0;

  bool Same(const FileLook& other) const { return kind == other.kind && device == other.device && inode == other.inode; }
};
FileLook LookAt(const std::string& path);
FileLook LookAtDescriptor(int descriptor);

// 0 for what is no ordinary file.
uint64_t SizeOf(const std::string& path);

// Whether the file `path` has been written to behind the file `than`, by their times; false where one of both is no ordinary file.
bool IsNewer(const std::string& path, const std::string& than);

// Whether `text` matches the shell's `pattern` (*, ?, [a-z]); * does not match a slash, nor a dot at the begin of a name.
bool MatchesPattern(const std::string& pattern, const std::string& text);

// What a name of the command line stands for: itself, or, where shells leave patterns (*, ?) to programs, the names that match it, sorted;
// itself too where none does.
std::vector<std::string> NamesOf(const std::string& argument);

// What divides folders in paths. Found names may be compared by FoldedName alone: two names of one file are equal in it where the file
// system takes letters of either case for one; elsewhere it is the name.
inline constexpr const char* kSeparators = std::filesystem::path::preferred_separator == '/' ? "/" : "/\\";
inline bool IsSeparator(char c) { return c == '/' || c == static_cast<char>(std::filesystem::path::preferred_separator); }
std::string FoldedName(const std::string& path);
// Whether a name can end with a return, or that belongs to the end of a line in a list of names.
inline constexpr bool kNamesMayHoldReturns = std::filesystem::path::preferred_separator == '/';

// The descriptor of this process that a path such as /dev/stdout, /dev/fd/3 or /proc/self/fd/3 means; none for any other path.
std::optional<int> DescriptorNamed(const std::string& path);

// Opens for reading: a file, a pipe (at once, whether or not somebody writes to it), a device. Gives -1 and sets errno.
int OpenForReading(const std::string& path);
// Up to `count` bytes from where the descriptor stands, waiting for the first of them whatever the descriptor's mode; 0 at the end, and
// where the run is interrupted or reading has been stopped. -1 with errno on failure.
long ReadSome(int descriptor, void* out, size_t count);
// Up to `count` bytes from `offset` of an ordinary file; 0 at its end, -1 with errno on failure.
long ReadSomeAt(int descriptor, uint64_t offset, void* out, size_t count);
// The length of an ordinary file, and where its descriptor stands.
uint64_t LengthOf(int descriptor);
uint64_t PositionOf(int descriptor);

// Makes an empty file where nothing is yet. 0, or the error's number, EEXIST where something is, even a link that leads nowhere.
int MakeEmptyFile(const std::string& path);
// Opens something that is no ordinary file for writing. Gives -1 and sets errno.
int OpenSpecial(const std::string& path);
void CloseDescriptor(int descriptor);

// Writes all of it, waiting where the descriptor makes it wait. 0, or the error's number.
int WriteAll(int descriptor, std::string_view bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FILE_SYSTEM_H_
