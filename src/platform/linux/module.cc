// SPDX-License-Identifier: Apache-2.0
//
// Where this code lies: the file that the loader took it from, which is the shared library, or the program when it was linked into one.
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "platform/platform.h"

namespace TSEG::platform {
namespace {

std::string ReadLink(const char* path) {
  std::array<char, 4096> target;
  const ssize_t length = ::readlink(path, target.data(), target.size());
  return length > 0 ? std::string(target.data(), static_cast<size_t>(length)) : std::string();
}

// The full name of `path`, links resolved, or `path` itself where it cannot be told.
std::string FullName(const char* path) {
  char* full = ::realpath(path, nullptr);
  std::string name = full != nullptr ? full : path;
  std::free(full);
  return name;
}

std::string FindModulePath() {
  Dl_info info{};
  link_map* map = nullptr;
  if (::dladdr1(reinterpret_cast<const void*>(&FindModulePath), &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) return {};
  // The program itself has no name in the loader's list; what was given to start it may be relative, or anything.
  const bool is_program = map == nullptr || map->l_name == nullptr || map->l_name[0] == '\0';
  if (is_program) {
    std::string program = ReadLink("/proc/self/exe");
    if (!program.empty()) return program;
    return info.dli_fname != nullptr ? FullName(info.dli_fname) : std::string();
  }
  return map->l_name[0] == '/' ? std::string(map->l_name) : FullName(map->l_name);
}

// The full name of the file that the code at `address` was mapped from: by whatever link the loader came to it, and wherever the current
// folder has gone since. Empty where the system does not tell, or where the file has been removed meanwhile.
std::string MappedFile(const void* address) {
  const auto place = reinterpret_cast<uintptr_t>(address);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    uintptr_t begin = 0;
    uintptr_t end = 0;
    int name = 0;
    if (std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " %*s %*s %*s %*s %n", &begin, &end, &name) != 2 || place < begin ||
        place >= end) {
      continue;
    }
    const std::string file = line.substr(static_cast<size_t>(name));
    return ::access(file.c_str(), F_OK) == 0 ? file : std::string();
  }
  return {};
}

// Found once: a library that was loaded by a relative name can only be found while the current folder is still the one of then.
const std::string& ModulePath() {
  static const std::string path = FindModulePath();
  return path;
}

// Where its companions lie: beside the file itself, not beside a link to it.
std::string FindModuleFolder() {
  std::string path = MappedFile(reinterpret_cast<const void*>(&FindModulePath));
  if (path.empty()) path = ModulePath();
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string("./") : path.substr(0, slash + 1);
}

std::string NamePart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

std::string ModuleFolder() {
  static const std::string folder = FindModuleFolder();
  return folder;
}

std::string ModuleFileName() { return NamePart(ModulePath()); }

std::string ExecutableFileName() { return NamePart(ReadLink("/proc/self/exe")); }

}  // namespace TSEG::platform
