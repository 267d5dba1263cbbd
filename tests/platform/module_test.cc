// SPDX-License-Identifier: Apache-2.0
//
// Where the code lies, linked into this program and in a shared library of its own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

TEST(Module, LinkedIntoAProgramLiesWhereTheProgramLies) {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_EQ(platform::ModuleFolder(), program.parent_path().string() + "/");
  EXPECT_EQ(platform::ModuleFileName(), program.filename().string());
  EXPECT_EQ(platform::ExecutableFileName(), program.filename().string());
}

class LoadedModule {
 public:
  explicit LoadedModule(const std::string& name) : handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {}
  ~LoadedModule() {
    if (handle_ != nullptr) dlclose(handle_);
  }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;
  bool loaded() const { return handle_ != nullptr; }
  std::string Ask(const char* function) const { return reinterpret_cast<const char* (*)()>(dlsym(handle_, function))(); }

 private:
  void* handle_;
};

TEST(Module, InASharedLibraryLiesWhereTheLibraryLies) {
  const std::filesystem::path library = WVAD_MODULE_PROBE;
  const LoadedModule module(library.string());
  ASSERT_TRUE(module.loaded()) << dlerror();
  EXPECT_EQ(module.Ask("ProbeModuleFolder"), library.parent_path().string() + "/");
  EXPECT_EQ(module.Ask("ProbeModuleFileName"), library.filename().string());
}

TEST(Module, LoadedByARelativeNameIsFoundAllTheSame) {
  const testing_support::TempFolder folder;
  const std::filesystem::path copy = folder.file("probe_copy.so");
  std::filesystem::copy_file(WVAD_MODULE_PROBE, copy);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  {
    const LoadedModule module("./probe_copy.so");
    ASSERT_TRUE(module.loaded()) << dlerror();
    EXPECT_EQ(module.Ask("ProbeModuleFolder"), std::filesystem::canonical(folder.path()).string() + "/");
    EXPECT_EQ(module.Ask("ProbeModuleFileName"), "probe_copy.so");
  }
  std::filesystem::current_path(before);
}

TEST(Module, LoadedThroughALinkLiesWhereItsFileLies) {
  const testing_support::TempFolder folder;
  const std::filesystem::path far = folder.file("far");
  std::filesystem::create_directory(far);
  std::filesystem::copy_file(WVAD_MODULE_PROBE, far / "probe_far.so");
  std::filesystem::create_symlink(far / "probe_far.so", folder.file("probe_link.so"));
  const LoadedModule module(folder.file("probe_link.so"));
  ASSERT_TRUE(module.loaded()) << dlerror();
  EXPECT_EQ(module.Ask("ProbeModuleFolder"), std::filesystem::canonical(far).string() + "/");
}

TEST(Module, LoadedByARelativeNameIsFoundWhereverTheCurrentFolderGoes) {
  const testing_support::TempFolder folder;
  std::filesystem::copy_file(WVAD_MODULE_PROBE, folder.file("probe_moved.so"));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  const LoadedModule module("./probe_moved.so");
  std::filesystem::current_path(before);
  ASSERT_TRUE(module.loaded()) << dlerror();
  EXPECT_EQ(module.Ask("ProbeModuleFolder"), std::filesystem::canonical(folder.path()).string() + "/");
}

}  // namespace
}  // namespace TSEG
