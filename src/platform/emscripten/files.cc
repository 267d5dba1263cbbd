// SPDX-License-Identifier: Apache-2.0
//
// WebAssembly in a page or in a program of JavaScript has no files: every path names nothing, whatever is asked of it, no settings are kept
// anywhere, and models come as bytes from whoever runs this code.
#include <algorithm>
#include <boost/interprocess/exceptions.hpp>
#include <cerrno>

#include "platform/platform.h"

namespace TSEG::platform {

PathKind KindOfPath(const std::string&) { return PathKind::kMissing; }
bool IsReadable(const std::string&) { return false; }
std::optional<uint64_t> FileSize(const std::string&) { return std::nullopt; }
int64_t ModificationTime(const std::string&) { return 0; }
std::optional<std::string> ReadWholeFile(const std::string&) { return std::nullopt; }
bool MakeFolders(const std::string&) { return false; }
bool CopyFileOver(const std::string&, const std::string&) { return false; }
bool RemoveFile(const std::string&) { return false; }
std::vector<std::string> ListFiles(const std::string&) { return {}; }

std::string NormaliseSeparators(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

bool IsAbsolutePath(const std::string& path) { return !path.empty() && path.front() == '/'; }

std::string ModuleFolder() { return "./"; }
std::string ModuleFileName() { return {}; }
std::string ExecutableFileName() { return {}; }
std::optional<std::string> ModuleFileVersion() { return std::nullopt; }
std::optional<std::string> ExecutableFileVersion() { return std::nullopt; }
std::optional<std::string> ProfileValue(const std::string&, const std::string&, const std::string&) { return std::nullopt; }
std::optional<std::string> RegistryValue(const std::string&, const std::string&) { return std::nullopt; }

struct AppendFile::Impl {};

AppendFile::AppendFile() = default;
AppendFile::~AppendFile() = default;
int AppendFile::Open(const std::string&, bool) { return EROFS; }
void AppendFile::Close() {}
bool AppendFile::is_open() const { return false; }
int AppendFile::Write(const char*, size_t) { return EBADF; }
int AppendFile::Truncate() { return EBADF; }
uint64_t AppendFile::Size() const { return 0; }
int AppendFile::LastByte() const { return -1; }

struct FileMapping::Impl {};

FileMapping::FileMapping(const std::string&) { throw boost::interprocess::interprocess_exception("there are no files here"); }
FileMapping::~FileMapping() = default;
const void* FileMapping::data() const { return nullptr; }
uint64_t FileMapping::size() const { return 0; }

}  // namespace TSEG::platform
