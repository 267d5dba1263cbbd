// SPDX-License-Identifier: Apache-2.0
//
// Reading a log configuration key by key.
#include "log/log_cfg_heap_reg.h"

#include <optional>

#include "platform/platform.h"

namespace TSEG {
namespace {

// Takes the number of a key that exists and is not empty. Base is detected: 0x10 is 16 and 010 is 8.
bool ReadNumber(const Log_Cfg_Heap_Reg& storage, const char* key, int32_t* number, std::string* text = nullptr) {
  const std::string value = storage.read(key);
  if (value.empty()) return false;
  *number = ConfigInt(value);
  if (text != nullptr) *text = value;
  return true;
}

void ReadText(const Log_Cfg_Heap_Reg& storage, const char* key, std::string* text) {
  std::string value = storage.read(key);
  if (!value.empty()) *text = std::move(value);
}

// A level may be a number, or a word where the number reads as 0. A word that is not known leaves that 0.
bool ReadLevel(const Log_Cfg_Heap_Reg& storage, const char* key, SharedWord<uint32_t>* level) {
  int32_t number = 0;
  std::string text;
  if (!ReadNumber(storage, key, &number, &text)) return false;
  uint32_t mask = static_cast<uint32_t>(number);
  if (mask == 0) LogLevelOfWord(text, &mask);
  *level = mask;
  return true;
}

void ReadStyle(const Log_Cfg_Heap_Reg& storage, SharedWord<uint32_t>* style) {
  int32_t number = 0;
  std::string text;
  if (!ReadNumber(storage, "style", &number, &text)) return;
  uint32_t mask = static_cast<uint32_t>(number);
  LogStyleOfWord(text, &mask);
  *style = mask;
}

void ReadKeys(const Log_Cfg_Heap_Reg& storage, Log_Cfg_T& cfg) {
  int32_t n = 0;
  if (ReadNumber(storage, "output", &n)) cfg.nOutput = static_cast<uint32_t>(n);
  if (ReadNumber(storage, "subjects", &n)) cfg.nSubjects = static_cast<uint32_t>(n);
  if (ReadNumber(storage, "maxsize", &n)) cfg.nMaxSize = static_cast<uint32_t>(n);
  if (ReadNumber(storage, "overwrite", &n)) cfg.bOverwrite = n != 0;
  if (ReadNumber(storage, "flush", &n)) cfg.bFlush = n != 0;
  if (ReadNumber(storage, "maxcount", &n)) cfg.nMaxCount = n;
  if (ReadNumber(storage, "mode", &n) && n >= 0 && n <= 3) cfg.nMode = n;
  if (ReadNumber(storage, "head", &n)) cfg.bHead = n != 0;
  ReadText(storage, "locale", &cfg.szLocale);
  if (ReadNumber(storage, "charset", &n) && n >= 0 && n <= 2) cfg.nCharset = n;
  const bool has_level = ReadLevel(storage, "level", &cfg.nLevel);
  ReadStyle(storage, &cfg.nStyle);
  if (!ReadLevel(storage, "console_level", &cfg.nConsoleLevel) && has_level) cfg.nConsoleLevel = cfg.nLevel;
  ReadText(storage, "title", &cfg.szTitle);
  ReadText(storage, "file", &cfg.szFile);
  std::string list;
  ReadText(storage, "include", &list);
  if (!list.empty()) cfg.filter.include = SplitLogList(list);
  list.clear();
  ReadText(storage, "exclude", &list);
  if (!list.empty()) cfg.filter.exclude = SplitLogList(list);
}

}  // namespace

std::string AbsoluteLogPath(const char* path) {
  std::string normal = platform::NormaliseSeparators(path);
  return platform::IsAbsolutePath(normal) ? normal : platform::ModuleFolder() + normal;
}

int Log_Cfg_Heap_Reg::open(const char* path, const char* section) {
  path_ = path != nullptr ? path : "";
  name_ = section != nullptr ? section : "";
  section_ = ConfigSection();
  if (path_.empty()) return platform::RegistryValue(name_, "").has_value() ? 0 : -1;
  const std::optional<std::string> text = platform::ReadWholeFile(path_);
  if (text.has_value()) section_ = ConfigSection::Parse(*text, name_);
  return 0;
}

std::string Log_Cfg_Heap_Reg::read(const char* key) const {
  if (path_.empty()) return platform::RegistryValue(name_, key).value_or(std::string());
  std::optional<std::string> value = platform::ProfileValue(path_, name_, key);
  if (!value.has_value()) {
    const std::string* found = section_.find(key);
    value = found != nullptr ? *found : std::string();
  }
  return value->substr(0, kValueLimit - 1);
}

int Log_Cfg_Heap_Reg::load(Log_Cfg_T& cfg, const char* section, const char* path) {
  if (section != nullptr) cfg.szSection = section;
  if (path != nullptr && path[0] != '\0') cfg.szCfgPath = AbsoluteLogPath(path);
  Log_Cfg_Heap_Reg storage;
  // The time is taken before the text: a change in between is then seen at the next look, not lost.
  cfg.nCfgTime = platform::ModificationTime(cfg.szCfgPath);
  const int result = storage.open(cfg.cfg_path(), cfg.szSection.c_str());
  if (result == 0) ReadKeys(storage, cfg);
  if (cfg.nMaxSize < Log_Cfg_T::kLowestMaxSize) cfg.nMaxSize = Log_Cfg_T::kLowestMaxSize;
  return result;
}

}  // namespace TSEG
