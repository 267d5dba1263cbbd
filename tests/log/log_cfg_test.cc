// SPDX-License-Identifier: Apache-2.0
//
// The log configuration: defaults, keys, words, and where the file is looked for.
#include "log/log_cfg.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "log/log_cfg_heap_reg.h"
#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

// A configuration overlaid with `text` as the section "logger".
Log_Cfg_T Loaded(const std::string& text, int mode = 0) {
  const testing_support::TempFolder folder;
  const std::string path = folder.write("x.cfu", "[logger]\n" + text);
  Log_Cfg_T cfg("f.log", "T", mode);
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", path.c_str()), 0);
  return cfg;
}

TEST(LogCfg, HasItsDefaults) {
  const Log_Cfg_T cfg("f.log", "T", 0);
  EXPECT_STREQ(cfg.file(), "f.log");
  EXPECT_STREQ(cfg.title(), "T");
  EXPECT_STREQ(cfg.cfg_path(), "");
  EXPECT_STREQ(cfg.locale(), ".ACP");
  EXPECT_EQ(cfg.maxsize(), 10485760u);
  EXPECT_FALSE(cfg.overwrite());
  EXPECT_EQ(cfg.output(), 1u);
  EXPECT_EQ(cfg.level(), 7u);
  EXPECT_EQ(cfg.style(), 255u);
  EXPECT_EQ(cfg.subjects(), 0xFFFFFFFFu);
  EXPECT_FALSE(cfg.flush());
  EXPECT_EQ(cfg.maxcount(), 20);
  EXPECT_EQ(cfg.mode(), 0);
  EXPECT_TRUE(cfg.head());
  EXPECT_EQ(cfg.reserved(), 0);
  EXPECT_EQ(cfg.console_level(), 7u);
  EXPECT_EQ(cfg.charset(), 0);
  EXPECT_EQ(cfg.start_time(), 0);
  EXPECT_EQ(cfg.start_tick(), 0u);
  EXPECT_TRUE(cfg.filter.include.empty());
  EXPECT_TRUE(cfg.filter.exclude.empty());
}

TEST(LogCfg, GeneralDefaultsServeWhereNothingIsNamed) {
  const Log_Cfg_T cfg;
  EXPECT_STREQ(cfg.file(), "orva.log");
  EXPECT_STREQ(cfg.title(), "Running Information");
}

TEST(LogCfg, BinaryModesHaveNoPrefixByDefault) {
  EXPECT_EQ(Log_Cfg_T("f", "T", 0).style(), 255u);
  EXPECT_EQ(Log_Cfg_T("f", "T", 1).style(), 256u);
  EXPECT_EQ(Log_Cfg_T("f", "T", 2).style(), 255u);
  EXPECT_EQ(Log_Cfg_T("f", "T", 3).style(), 256u);
}

TEST(LogCfg, DefaultStyleBelongsToTheCallersModeNotToTheKey) {
  EXPECT_EQ(Loaded("mode = 1\n").style(), 255u);
  EXPECT_EQ(Loaded("mode = 0\n", 3).style(), 256u);
}

TEST(LogCfg, EveryKeyIsRead) {
  const Log_Cfg_T cfg = Loaded(
      "file = /tmp/other.log\ntitle = Other title\noutput = 3\nlevel = 15\nstyle = 61\nconsole_level = 2\nsubjects = 0x5\n"
      "maxsize = 0x20000\nmaxcount = -1\noverwrite = 1\nflush = 2\nhead = 0\nmode = 2\ncharset = 2\nlocale = skip\n"
      "include = one;two,three\nexclude = \"four;five\"\n");
  EXPECT_STREQ(cfg.file(), "/tmp/other.log");
  EXPECT_STREQ(cfg.title(), "Other title");
  EXPECT_EQ(cfg.output(), 3u);
  EXPECT_EQ(cfg.level(), 15u);
  EXPECT_EQ(cfg.style(), 61u);
  EXPECT_EQ(cfg.console_level(), 2u);
  EXPECT_EQ(cfg.subjects(), 5u);
  EXPECT_EQ(cfg.maxsize(), 131072u);
  EXPECT_EQ(cfg.maxcount(), -1);
  EXPECT_TRUE(cfg.overwrite());
  EXPECT_TRUE(cfg.flush());
  EXPECT_FALSE(cfg.head());
  EXPECT_EQ(cfg.mode(), 2);
  EXPECT_EQ(cfg.charset(), 2);
  EXPECT_STREQ(cfg.locale(), "skip");
  EXPECT_EQ(cfg.filter.include, (std::vector<std::string>{"one", "two", "three"}));
  EXPECT_EQ(cfg.filter.exclude, (std::vector<std::string>{"four", "five"}));
}

TEST(LogCfg, EmptyAndMissingKeysLeaveTheirFields) {
  const Log_Cfg_T cfg = Loaded("output =\nmaxcount=\ntitle=\nfile=\nstyle=\"\"\nlocale=\nlevel=\n");
  EXPECT_EQ(cfg.output(), 1u);
  EXPECT_EQ(cfg.maxcount(), 20);
  EXPECT_STREQ(cfg.title(), "T");
  EXPECT_STREQ(cfg.file(), "f.log");
  EXPECT_EQ(cfg.style(), 255u);
  EXPECT_STREQ(cfg.locale(), ".ACP");
  EXPECT_EQ(cfg.level(), 7u);
}

TEST(LogCfg, LevelWords) {
  struct {
    const char* word;
    uint32_t mask;
  } const rows[] = {{"low", 7},
                    {"warning", 7},
                    {"normal", 15},
                    {"medium", 15},
                    {"info", 15},
                    {"detail", 63},
                    {"debug", 63},
                    {"all", 0xFFFFFFFFu},
                    {"full", 0xFFFFFFFFu},
                    {"none", 0},
                    {"ALL", 0xFFFFFFFFu},
                    {"Medium", 15},
                    {"\"full\"", 0xFFFFFFFFu},
                    {"0x1F", 31},
                    {"-1", 0xFFFFFFFFu},
                    {"0", 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(Loaded("level = " + std::string(row.word)).level(), row.mask) << row.word;
    EXPECT_EQ(Loaded("console_level = " + std::string(row.word)).console_level(), row.mask) << row.word;
  }
}

TEST(LogCfg, UnknownLevelWordIsTheZeroThatItReadsAs) {
  for (const char* word : {"loud", "all,full", "low,", "al", "allfull"})
    EXPECT_EQ(Loaded("level = " + std::string(word)).level(), 0u) << word;
}

TEST(LogCfg, StyleWords) {
  struct {
    const char* word;
    uint32_t mask;
  } const rows[] = {{"short", 61}, {"simple", 61}, {"long", 126}, {"normal", 126}, {"all", 255}, {"full", 255},
                    {"none", 256}, {"None", 256},  {"20", 20},    {"0x14", 20},    {"odd", 0},   {"0", 0}};
  for (const auto& row : rows) EXPECT_EQ(Loaded("style = " + std::string(row.word)).style(), row.mask) << row.word;
}

TEST(LogCfg, ConsoleFollowsTheLevelUnlessItHasItsOwn) {
  EXPECT_EQ(Loaded("level = debug\n").console_level(), 63u);
  EXPECT_EQ(Loaded("level = debug\nconsole_level = 1\n").console_level(), 1u);
  EXPECT_EQ(Loaded("output = 2\n").console_level(), 7u);
  EXPECT_EQ(Loaded("level = debug\nconsole_level =\n").console_level(), 63u);
}

TEST(LogCfg, SmallMaxSizeIsRaised) {
  EXPECT_EQ(Loaded("maxsize = 1000\n").maxsize(), 65536u);
  EXPECT_EQ(Loaded("maxsize = 65535\n").maxsize(), 65536u);
  EXPECT_EQ(Loaded("maxsize = 65537\n").maxsize(), 65537u);
  EXPECT_EQ(Loaded("maxsize = -1\n").maxsize(), 0xFFFFFFFFu);
  EXPECT_EQ(Loaded("maxsize = 4294967295\n").maxsize(), 0xFFFFFFFFu);
}

TEST(LogCfg, ModeAndTextFormOutsideTheirRangeAreIgnored) {
  EXPECT_EQ(Loaded("charset = 3\n").charset(), 0);
  EXPECT_EQ(Loaded("charset = -1\n").charset(), 0);
  EXPECT_EQ(Loaded("mode = 4\n").mode(), 0);
  EXPECT_EQ(Loaded("mode = -1\n", 2).mode(), 2);
}

TEST(LogCfg, ValueIsTakenUpTo1023Characters) {
  EXPECT_EQ(std::string(Loaded("title = " + std::string(3000, 't')).title()), std::string(1023, 't'));
}

TEST(LogCfg, FirstOfTwoEntriesCounts) { EXPECT_EQ(Loaded("level = 3\nlevel = 4\n").level(), 3u); }

TEST(LogCfg, OtherSectionsAreNotRead) {
  const testing_support::TempFolder folder;
  const std::string path = folder.write("x.cfu", "level=1\n[other]\nlevel=2\n[LOGGER]\nlevel=9\n");
  Log_Cfg_T cfg("f.log", "T", 0);
  Log_Cfg_Heap_Reg::load(cfg, "logger", path.c_str());
  EXPECT_EQ(cfg.level(), 9u);
}

TEST(LogCfg, MissingFileLeavesTheDefaultsAndIsNoFailure) {
  const testing_support::TempFolder folder;
  Log_Cfg_T cfg("f.log", "T", 0);
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", folder.file("none.cfu").c_str()), 0);
  EXPECT_EQ(cfg.level(), 7u);
  EXPECT_EQ(cfg.nCfgTime, 0);
  EXPECT_EQ(cfg.cfg_path(), folder.file("none.cfu"));
}

TEST(LogCfg, WithoutAnyPathThereIsNoRegistryToRead) {
  Log_Cfg_T cfg("f.log", "T", 0);
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", nullptr), -1);
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", ""), -1);
  EXPECT_EQ(cfg.level(), 7u);
}

TEST(LogCfg, WithoutAPathTheOneHeldIsReadAgain) {
  const testing_support::TempFolder folder;
  const std::string path = folder.write("x.cfu", "[logger]\nlevel=1\n");
  Log_Cfg_T cfg("f.log", "T", 0);
  Log_Cfg_Heap_Reg::load(cfg, "logger", path.c_str());
  folder.write("x.cfu", "[logger]\nlevel=2\n");
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", nullptr), 0);
  EXPECT_EQ(cfg.level(), 2u);
  EXPECT_EQ(cfg.cfg_path(), path);
}

TEST(LogCfg, RelativePathIsTakenFromTheModulesFolder) {
  const testing_support::TempFolder folder;
  folder.write("x.cfu", "[logger]\nlevel=5\n");
  const std::string from_module = std::filesystem::relative(folder.path(), platform::ModuleFolder()).string() + "/x.cfu";
  std::string with_backslashes = from_module;
  for (char& c : with_backslashes) c = c == '/' ? '\\' : c;
  for (const std::string& path : {from_module, with_backslashes}) {
    Log_Cfg_T cfg("f.log", "T", 0);
    EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", path.c_str()), 0);
    EXPECT_EQ(cfg.cfg_path(), platform::ModuleFolder() + from_module);
    EXPECT_EQ(cfg.level(), 5u) << path;
  }
}

TEST(LogCfg, TakesTheTimeOfTheFile) {
  const testing_support::TempFolder folder;
  const std::string path = folder.write("x.cfu", "[logger]\n");
  Log_Cfg_T cfg("f.log", "T", 0);
  Log_Cfg_Heap_Reg::load(cfg, "logger", path.c_str());
  EXPECT_EQ(cfg.nCfgTime, platform::ModificationTime(path));
  EXPECT_NE(cfg.nCfgTime, 0);
}

}  // namespace
}  // namespace TSEG
