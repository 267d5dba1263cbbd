// SPDX-License-Identifier: Apache-2.0
#include "wvad/media_source.h"

#include <wvad.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "wvad/byte_order.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/hls_list.h"
#include "wvad/media_module.h"
#include "wvad/passed_on_source.h"
#include "wvad/piece_list.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// The module, or why there is none.
struct Loaded {
  const MediaModule* module = nullptr;
  std::string reason;
};

// For the program beside the library, as it is installed, and as it lies in a build folder. Where these decoders are in a library (a
// language's package) beside that: whatever runs it may have been installed together with another build's module.
std::vector<std::string> ModuleFolders() {
  if (platform::ModuleFileName() != platform::ExecutableFileName()) return {platform::ModuleFolder() + "wvad"};
  const std::string program = ProgramFolder();
  return {program + "/" + WVAD_MODULES_FROM_PROGRAM, program + "/../lib/wvad"};
}

Loaded Load() {
  Loaded loaded;
  loaded.reason = "its part lib/wvad/ffmpeg.so is not installed";
  for (const std::string& folder : ModuleFolders()) {
    const std::string file = folder + "/ffmpeg.so";
    std::error_code ignored;
    if (!std::filesystem::exists(PathOf(file), ignored)) continue;
    std::string reason;
    const auto entry = reinterpret_cast<MediaModuleEntry>(LoadSymbol(file, kMediaModuleEntry, &reason));
    const MediaModule* module = entry != nullptr ? entry() : nullptr;
    if (module != nullptr && std::strcmp(module->version, WVAD_VERSION) == 0) return {module, ""};
    loaded.reason = module != nullptr ? file + " is of version " + module->version : reason;
  }
  return loaded;
}

// Once a process: what is missing then stays missing.
const Loaded& TheModule() {
  static const Loaded loaded = Load();
  return loaded;
}

// As it can be pasted into a shell.
std::string Quoted(const std::string& name) {
  const auto plain = [](unsigned char c) { return std::isalnum(c) != 0 || std::strchr("/._-+:,@%", c) != nullptr; };
  if (!name.empty() && std::all_of(name.begin(), name.end(), plain)) return name;
  std::string quoted = "'";
  for (const char c : name) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

[[noreturn]] void NoDecoder(const std::string& name) {
  throw Failure(ExitCode::kNotAudio, name + ": FFmpeg's libraries are needed for it (" + TheModule().reason +
                                         "); the way round is: ffmpeg -i " + Quoted(name) + " -f wav - | wvad segment -");
}

// The boxes of MP4 and its kin say where the sound lies before it comes, unless they were written behind it, as phones do.
bool DescribesItselfFirst(ByteSource& bytes) {
  constexpr uint64_t kFurthest = 1 << 19;  // what a stream keeps
  std::array<unsigned char, 16> box{};
  for (uint64_t at = 0; at < kFurthest && bytes.ReadAt(at, box.data(), box.size()) == box.size();) {
    const auto is = [&box](const char* type) { return std::memcmp(box.data() + 4, type, 4) == 0; };
    if (is("moov") || is("moof")) return true;
    if (is("mdat")) return false;
    const uint64_t size = Big(box.data(), 4);
    if (size < 8) return false;
    at += size;
  }
  return false;
}

// Reads a stream to its end; true if it is one no more.
bool IsWhole(ByteSource& bytes, Container container) {
  if (bytes.length()) return true;
  if (container == Container::kForwardMedia || (container == Container::kBoxedMedia && DescribesItselfFirst(bytes))) return false;
  bytes.KeepAll();
  char last = 0;
  bytes.ReadAt(uint64_t{1} << 62, &last, 1);
  return true;
}

// A list of pieces that was not closed when it was opened, and may be by its end.
class OpenList : public PassedOnSource {
 public:
  OpenList(std::unique_ptr<AudioSource> source, std::string name) : PassedOnSource(std::move(source)), name_(std::move(name)) {}
  std::string damage() override {
    const std::string inner = PassedOnSource::damage();
    return inner.empty() && !IsClosed() ? "never closed: its list has no #EXT-X-ENDLIST; heard as far as it goes" : inner;
  }

 private:
  bool IsClosed() const {
    if (name_ == "-") return false;
    try {
      const std::optional<HlsList> list = ReadHlsList(*OpenBytes(name_));
      return list && list->closed;
    } catch (const Failure&) {
      return false;  // gone
    }
  }

  std::string name_;
};

bool IsMedia(Container container) {
  return container == Container::kMedia || container == Container::kForwardMedia || container == Container::kBoxedMedia;
}

}  // namespace

std::unique_ptr<AudioSource> OpenMedia(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                       const SourceOptions& options) {
  const MediaModule* module = TheModule().module;
  if (module == nullptr) {
    if (IsMedia(container)) NoDecoder(name);
    return nullptr;
  }
  if (name == "-" && IsHlsList(*bytes)) {
    throw Failure(ExitCode::kNotAudio, name +
                                           ": is a list of pieces (HLS), which are looked for beside it, and standard input lies nowhere; "
                                           "give the list itself by its name, or its address with --allow-network");
  }
  if (name != "-" && IsList(*bytes) && LeadsToItself(name)) throw Failure(ExitCode::kNotAudio, name + ": a list that leads to itself");
  const bool whole = IsWhole(*bytes, container);
  const std::optional<HlsList> list = whole ? ReadHlsList(*bytes) : std::nullopt;
  std::unique_ptr<AudioSource> source =
      module->open({name, options.track, options.allow_network, whole, ReadingStopped, list}, std::move(bytes));
  if (source != nullptr && list && !list->closed) return std::make_unique<OpenList>(std::move(source), name);
  if (source == nullptr && IsMedia(container)) throw Failure(ExitCode::kNotAudio, name + ": not an audio file that can be read");
  return source;
}

bool IsAddress(const std::string& name) {
  const size_t colon = name.find("://");
  if (colon == std::string::npos || colon == 0) return false;
  return std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(colon),
                     [](unsigned char c) { return std::isalnum(c) != 0 || c == '+' || c == '-' || c == '.'; });
}

std::unique_ptr<AudioSource> OpenAddress(const std::string& name, const SourceOptions& options) {
  if (!options.allow_network) throw Failure(ExitCode::kNoFile, name + ": is an address, which is opened with --allow-network only");
  const MediaModule* module = TheModule().module;
  if (module == nullptr) NoDecoder(name);
  std::unique_ptr<AudioSource> source = module->open({name, options.track, true, false, ReadingStopped}, nullptr);
  if (source == nullptr) throw Failure(ExitCode::kNotAudio, name + ": not audio that can be read");
  return source;
}

}  // namespace TSEG::tool
