// SPDX-License-Identifier: Apache-2.0
//
// Where the code lies, linked into this program and in a DLL of its own, and what version a file states.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

std::filesystem::path Program() {
  wchar_t path[1024];
  return std::wstring(path, ::GetModuleFileNameW(nullptr, path, 1024));
}

class LoadedModule {
 public:
  explicit LoadedModule(const std::filesystem::path& name) : handle_(::LoadLibraryW(name.c_str())) {}
  ~LoadedModule() {
    if (handle_ != nullptr) ::FreeLibrary(handle_);
  }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;
  bool loaded() const { return handle_ != nullptr; }
  std::string Ask(const char* function) const {
    return reinterpret_cast<const char* (*)()>(reinterpret_cast<void*>(::GetProcAddress(handle_, function)))();
  }

 private:
  HMODULE handle_;
};

TEST(Module, LinkedIntoAProgramLiesWhereTheProgramLies) {
  const std::filesystem::path program = Program();
  EXPECT_EQ(platform::ModuleFolder(), program.parent_path().string() + "\\");
  EXPECT_EQ(platform::ModuleFileName(), program.filename().string());
  EXPECT_EQ(platform::ExecutableFileName(), program.filename().string());
}

TEST(Module, InADllLiesWhereTheDllLies) {
  const testing_support::TempFolder folder;
  const std::filesystem::path copy = std::filesystem::path(folder.path()) / "probe_copy.dll";
  std::filesystem::copy_file(WVAD_MODULE_PROBE, copy);
  const LoadedModule module(copy);
  ASSERT_TRUE(module.loaded()) << ::GetLastError();
  EXPECT_EQ(module.Ask("ProbeModuleFolder"), std::filesystem::path(folder.path()).string() + "\\");
  EXPECT_EQ(module.Ask("ProbeModuleFileName"), "probe_copy.dll");
}

TEST(Module, LoadedByARelativeNameIsFoundWhereverTheCurrentFolderGoes) {
  const testing_support::TempFolder folder;
  std::filesystem::copy_file(WVAD_MODULE_PROBE, folder.file("probe_moved.dll"));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  const LoadedModule module(".\\probe_moved.dll");
  std::filesystem::current_path(before);
  ASSERT_TRUE(module.loaded()) << ::GetLastError();
  EXPECT_EQ(module.Ask("ProbeModuleFolder"), std::filesystem::path(folder.path()).string() + "\\");
}

TEST(Module, FolderOfOtherLettersIsUtf8) {
  const testing_support::TempFolder folder;
  const std::filesystem::path below = std::filesystem::path(folder.path()) / L"\u4E2D";
  std::filesystem::create_directory(below);
  std::filesystem::copy_file(WVAD_MODULE_PROBE, below / "probe_wide.dll");
  const LoadedModule module(below / "probe_wide.dll");
  ASSERT_TRUE(module.loaded()) << ::GetLastError();
  EXPECT_EQ(module.Ask("ProbeModuleFolder"), std::filesystem::path(folder.path()).string() + "\\\xE4\xB8\xAD\\");
}

TEST(Module, VersionIsWhatTheFileStates) {
  EXPECT_EQ(platform::ModuleFileVersion(), "");  // this program states none
  EXPECT_EQ(platform::ExecutableFileVersion(), "");
  const LoadedModule module(WVAD_MODULE_PROBE);
  ASSERT_TRUE(module.loaded()) << ::GetLastError();
  EXPECT_EQ(module.Ask("ProbeModuleFileVersion"), "7.8.9");
}

}  // namespace
}  // namespace TSEG
