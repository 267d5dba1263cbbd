// SPDX-License-Identifier: Apache-2.0
//
// The surroundings of the program on Windows (system.h): its arguments and variables as UTF-8, its own place, folders, temporary files.
#include "wvad/system.h"

#include <windows.h>
// Behind windows.h, on which it rests.
#include <shellapi.h>

#include <filesystem>
#include <system_error>

#include "platform/platform.h"
#include "platform/windows/error_number.h"
#include "platform/windows/wide_text.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/windows/temporary_place.h"

namespace TSEG::tool {
namespace {

using platform::Utf8;
using platform::Wide;

std::wstring CurrentPath() {
  std::wstring path(::GetCurrentDirectoryW(0, nullptr), L'\0');
  const unsigned long length = ::GetCurrentDirectoryW(static_cast<unsigned long>(path.size()), path.data());
  return length < path.size() ? path.substr(0, length) : std::wstring();
}

bool OnOneDrive(const std::string& one, const std::string& other) {
  const auto drive = [](const std::string& path) { return PathOf(path).root_name().native(); };
  return ::CompareStringOrdinal(drive(one).c_str(), -1, drive(other).c_str(), -1, TRUE) == CSTR_EQUAL;
}

}  // namespace

std::vector<std::string> Arguments(int, char**) {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 0; words != nullptr && i < count; ++i) arguments.push_back(Utf8(words[i]));
  ::LocalFree(words);
  return arguments;
}

std::string Variable(const char* name) {
  const wchar_t* value = ::_wgetenv(Wide(name).c_str());
  return value != nullptr ? Utf8(value) : std::string();
}

bool DateOf(std::time_t seconds, std::tm* date) { return ::gmtime_s(date, &seconds) == 0; }

std::string ProgramFolder() {
  std::string folder = platform::ModuleFolder();
  folder.pop_back();
  return folder;
}

// Folders' names lead up and down as they are written here, links or not.
std::string PathFromProgram(const std::string& absolute) {
  return SlashedNameOf(PathOf(absolute).lexically_relative(PathOf(ProgramFolder())));
}

std::error_code PlaceFile(const std::string& file, const std::string& place) {
  // A link would take a right that few users have.
  if (::CopyFileW(Wide(file).c_str(), Wide(place).c_str(), TRUE) == 0) return {platform::LastErrorNumber(), std::generic_category()};
  ::SetFileAttributesW(Wide(place).c_str(), FILE_ATTRIBUTE_NORMAL);  // one that may only be read would stay when its folder goes
  return {};
}

void* LoadSymbol(const std::string& file, const char* name, std::string* reason) {
  const HMODULE module = ::LoadLibraryExW(Wide(file).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  void* symbol = module != nullptr ? reinterpret_cast<void*>(::GetProcAddress(module, name)) : nullptr;
  if (symbol == nullptr) *reason = file + " cannot be loaded (error " + std::to_string(::GetLastError()) + ")";
  return symbol;
}

// Nothing that it is asked for comes with this system, and there are no processes that begin as a copy.
bool EndsWell(const std::function<void()>& act) {
  act();
  return true;
}

// Here nothing but memory limits it.
bool CanOpen(int) { return true; }

// The engine reaches files by a way from its own folder, which leads to no other drive.
PrivateFolder::PrivateFolder() {
  const std::string program = ProgramFolder();
  const std::string usual = FolderForTemporary();
  for (const std::string& parent : {usual, program + "\\"}) {
    if (parent.empty() || !OnOneDrive(parent, program)) continue;
    path_ = parent + NameForTemporary();
    if (::CreateDirectoryW(Wide(path_).c_str(), nullptr) != 0) return;
  }
  throw Failure(ExitCode::kOutput, "no temporary folder can be made in " + usual + " on the drive of this program, or in " + program +
                                       "; let TMP name a folder on that drive");
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(PathOf(path_), ignored);
}

struct CurrentFolder::WayBack {
  std::wstring path;
};

CurrentFolder::CurrentFolder(const std::string& folder) : way_back_(std::make_unique<WayBack>(WayBack{CurrentPath()})) {
  if (::SetCurrentDirectoryW(Wide(folder).c_str()) == 0) throw Failure(ExitCode::kOutput, "cannot enter " + folder);
}

CurrentFolder::~CurrentFolder() { ::SetCurrentDirectoryW(way_back_->path.c_str()); }

}  // namespace TSEG::tool
