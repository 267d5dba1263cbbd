// SPDX-License-Identifier: Apache-2.0
//
// The configuration file is looked at while the process runs: how often, and what a change changes.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "log/log.h"
#include "log/log_cfg_heap_reg.h"
#include "log/log_impl.h"
#include "log_fixture.h"

namespace TSEG {
namespace {

class LogReload : public LogTest {
 protected:
  // Opens with the section `text`, over the fixture's values.
  void OpenWith(const std::string& text) {
    Edit(text);
    Log_Cfg_Heap_Reg::load(cfg, "logger", folder.file("x.cfu").c_str());
    Open();
  }
  // Writes the file and makes sure that its time differs.
  void Edit(const std::string& text) {
    folder.write("x.cfu", "[logger]\n" + text);
    static int edits = 0;
    const auto some_time = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1) + std::chrono::seconds(++edits);
    std::filesystem::last_write_time(folder.file("x.cfu"), some_time);
  }
  // Any message makes the logger look.
  void Look() { logger.log(kLogSpk, "dropped"); }
};

TEST_F(LogReload, ChangedLevelIsTakenAfterMoreThanTenSeconds) {
  OpenWith("level = 2\n");
  Edit("level = 8\n");
  FakeTime::wall += 10;
  Look();
  EXPECT_EQ(logger.cfg().level(), 2u);
  FakeTime::wall += 1;
  Look();
  EXPECT_EQ(logger.cfg().level(), 8u);
}

TEST_F(LogReload, TakesOutputLevelStyleAndFlushAlone) {
  OpenWith("output = 1\nlevel = 2\nstyle = 16\nmaxsize = 70000\nconsole_level = 1\n");
  Edit(
      "output = 3\nlevel = 8\nstyle = 4\nflush = 1\nmaxsize = 1000000\nconsole_level = 4\nmaxcount = 1\noverwrite = 1\nhead = 1\nmode = 3\n"
      "charset = 2\nsubjects = 0\ntitle = New\nfile = /tmp/new.log\nlocale = empty\ninclude = a\nexclude = b\n");
  FakeTime::wall += 11;
  Look();
  const Log_Cfg_T& now = logger.cfg();
  EXPECT_EQ(now.output(), 3u);
  EXPECT_EQ(now.level(), 8u);
  EXPECT_EQ(now.style(), 4u);
  EXPECT_TRUE(now.flush());
  EXPECT_EQ(now.console_level(), 8u);  // the level, whatever the key says
  EXPECT_EQ(now.maxsize(), 70000u);
  EXPECT_EQ(now.maxcount(), 20);
  EXPECT_FALSE(now.overwrite());
  EXPECT_FALSE(now.head());
  EXPECT_EQ(now.mode(), 0);
  EXPECT_EQ(now.charset(), 0);
  EXPECT_EQ(now.subjects(), 0xFFFFFFFFu);
  EXPECT_STREQ(now.title(), "A title");
  EXPECT_EQ(now.file(), folder.file("w.log"));
  EXPECT_STREQ(now.locale(), "skip");
  EXPECT_TRUE(now.filter.include.empty());
  EXPECT_TRUE(now.filter.exclude.empty());
}

TEST_F(LogReload, MessageOfANewlyEnabledLevelIsWrittenAtOnce) {
  OpenWith("level = 2\nstyle = 16\n");
  Edit("level = 8\nstyle = 16\n");
  FakeTime::wall += 11;
  logger.log(kLogInf, "enabled by this very look");
  EXPECT_EQ(Text(), "enabled by this very look\n");
}

TEST_F(LogReload, UnchangedFileIsNotReadAgain) {
  OpenWith("level = 2\n");
  const auto time = std::filesystem::last_write_time(folder.file("x.cfu"));
  folder.write("x.cfu", "[logger]\nlevel = 8\n");
  std::filesystem::last_write_time(folder.file("x.cfu"), time);
  FakeTime::wall += 11;
  Look();
  EXPECT_EQ(logger.cfg().level(), 2u);
}

TEST_F(LogReload, LookThatFindsNoChangeStartsTheTenSecondsAgain) {
  OpenWith("level = 2\n");
  FakeTime::wall += 11;
  Look();
  Edit("level = 8\n");
  FakeTime::wall += 9;
  Look();
  EXPECT_EQ(logger.cfg().level(), 2u);
  FakeTime::wall += 2;
  Look();
  EXPECT_EQ(logger.cfg().level(), 8u);
}

TEST_F(LogReload, ClockThatRanBackwardsIsNoTime) {
  OpenWith("level = 2\n");
  Edit("level = 8\n");
  FakeTime::wall -= 100000;
  Look();
  EXPECT_EQ(logger.cfg().level(), 2u);
}

TEST_F(LogReload, FileThatWentAwayBringsTheDefaultsBack) {
  OpenWith("level = 255\nstyle = 16\noutput = 3\nflush = 1\n");
  std::filesystem::remove(folder.file("x.cfu"));
  FakeTime::wall += 11;
  ::testing::internal::CaptureStdout();
  Look();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(logger.cfg().level(), 7u);
  EXPECT_EQ(logger.cfg().style(), 255u);
  EXPECT_EQ(logger.cfg().output(), 1u);
  EXPECT_FALSE(logger.cfg().flush());
}

TEST_F(LogReload, FileThatAppearsIsTaken) {
  Log_Cfg_Heap_Reg::load(cfg, "logger", folder.file("x.cfu").c_str());
  Open();
  Edit("level = 32\n");
  FakeTime::wall += 11;
  Look();
  EXPECT_EQ(logger.cfg().level(), 32u);
}

TEST_F(LogReload, ReadsTheSameSectionAgain) {
  folder.write("x.cfu", "[mine]\nlevel = 1\n[logger]\nlevel = 2\n");
  Log_Cfg_Heap_Reg::load(cfg, "mine", folder.file("x.cfu").c_str());
  Open();
  EXPECT_EQ(logger.cfg().level(), 1u);
  folder.write("x.cfu", "[mine]\nlevel = 3\n[logger]\nlevel = 4\n");
  std::filesystem::last_write_time(folder.file("x.cfu"), std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
  FakeTime::wall += 11;
  Look();
  EXPECT_EQ(logger.cfg().level(), 3u);
}

TEST_F(LogReload, WithoutAFileNothingIsEverReloaded) {
  cfg.nLevel = 63u;
  Open();
  FakeTime::wall += 1000;
  Look();
  EXPECT_EQ(logger.cfg().level(), 63u);
}

TEST_F(LogReload, OpenCanNameTheSource) {
  Edit("level = 9\n");
  cfg.szSection = "logger";
  logger.open(cfg, folder.file("x.cfu").c_str(), nullptr);
  EXPECT_EQ(logger.cfg().cfg_path(), folder.file("x.cfu"));
  FakeTime::wall += 11;
  Look();
  EXPECT_EQ(logger.cfg().level(), 9u);
}

}  // namespace
}  // namespace TSEG
