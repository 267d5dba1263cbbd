// SPDX-License-Identifier: Apache-2.0
//
// Rotation: when, onto which name, how many are kept, and what a failure leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "log/log.h"
#include "log/log_impl.h"
#include "log_fixture.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

class LogRotation : public LogTest {
 protected:
  LogRotation() {
    cfg.nStyle = kStyleNewline;
    cfg.nMaxSize = 65536;
  }
  // A line that fills the file up to the limit exactly.
  static std::string Filling() { return std::string(65535, 'x'); }
  std::vector<std::string> Files() const { return platform::ListFiles(folder.path()); }
};

TEST_F(LogRotation, LineThatReachesTheLimitStays) {
  Open();
  logger.log_msg_i(nullptr, kLogErr, kStyleNone, Filling().c_str());
  logger.log_msg_i(nullptr, kLogErr, kStyleNone, "y");
  EXPECT_EQ(Text().size(), 65536u);
  EXPECT_THAT(Files(), UnorderedElementsAre("w.log"));
}

TEST_F(LogRotation, LineThatWouldPassTheLimitIsTheFirstOfTheNewFile) {
  Open();
  logger.log_msg_i(nullptr, kLogErr, kStyleNone, Filling().c_str());
  logger.log(kLogErr, "y");
  EXPECT_EQ(Text(), "y\n");
  EXPECT_EQ(Text("w_2016-05-04_12-30-05.log"), Filling());
}

TEST_F(LogRotation, HeadAndTailStandOnBothSides) {
  cfg.bHead = true;
  Open();
  logger.log_msg_i(nullptr, kLogErr, kStyleNone, Filling().c_str());
  EXPECT_THAT(Text("w_2016-05-04_12-30-05.log"), HasSubstr("\tA title Continue-Time: 2016-05-04 12:30:05\n"));
  EXPECT_THAT(Text(), HasSubstr("\tContinued-Time :    2016-05-04 12:30:05\n"));
  EXPECT_THAT(Text(), Not(HasSubstr("Created")));
  EXPECT_TRUE(Text().ends_with(Filling()));
}

TEST_F(LogRotation, SecondOneWithinASecondCoversTheFirst) {
  Open();
  logger.log(kLogErr, "one");
  logger.backup();
  logger.log(kLogErr, "two");
  logger.backup();
  EXPECT_THAT(Files(), UnorderedElementsAre("w.log", "w_2016-05-04_12-30-05.log"));
  EXPECT_EQ(Text("w_2016-05-04_12-30-05.log"), "two\n");
  EXPECT_EQ(Text(), "");
}

TEST_F(LogRotation, OverwriteSimplyEmptiesTheFile) {
  cfg.bOverwrite = true;
  Open();
  logger.log_msg_i(nullptr, kLogErr, kStyleNone, Filling().c_str());
  logger.log(kLogErr, "y");
  EXPECT_EQ(Text(), "y\n");
  EXPECT_THAT(Files(), UnorderedElementsAre("w.log"));
}

TEST_F(LogRotation, StemEndsAtTheLastDotOfThePath) {
  struct {
    const char* file;
    const char* backup;
  } const rows[] = {{"/v/w_tseg.log", "/v/w_tseg_2016-05-04_12-30-05.log"},
                    {"/v/a.b.txt", "/v/a.b_2016-05-04_12-30-05.log"},
                    {"/v/nodot", "/v/nodot_2016-05-04_12-30-05.log"},
                    {"/v.d/nodot", "/v_2016-05-04_12-30-05.log"},
                    {"../log/w_tseg.log", "../log/w_tseg_2016-05-04_12-30-05.log"}};
  for (const auto& row : rows) {
    RecordingDevice device;
    const LogParts parts{&device, nullptr};
    cfg.szFile = row.file;
    cfg.nMaxCount = 0;
    logger.open(cfg, nullptr, &parts);
    logger.backup();
    ASSERT_EQ(device.backups.size(), 1u);
    EXPECT_EQ(device.backups[0], row.backup);
    logger.close();
  }
}

TEST_F(LogRotation, PathWithoutADotKeepsItAllAsTheStem) {
  cfg.szFile = folder.file("nodot");
  if (folder.path().find('.') != std::string::npos) GTEST_SKIP() << "the temporary folder itself has a dot";
  Open();
  logger.log(kLogErr, "x");
  logger.backup();
  EXPECT_THAT(Files(), UnorderedElementsAre("nodot", "nodot_2016-05-04_12-30-05.log"));
}

TEST_F(LogRotation, OldestGoesWhenThereAreEnough) {
  cfg.nMaxCount = 2;
  folder.write("w_2015-01-02_00-00-00.log", "");
  folder.write("w_2014-12-31_00-00-00.log", "");
  folder.write("w_2015-01-01_00-00-00.log", "");
  folder.write("other_2000-01-01_00-00-00.log", "");
  folder.write("w_2000.txt", "");
  folder.write("w2000.log", "");
  Open();
  logger.backup();  // one goes although three are beyond the count
  EXPECT_THAT(Files(), UnorderedElementsAre("w.log", "w_2015-01-02_00-00-00.log", "w_2015-01-01_00-00-00.log", "w_2016-05-04_12-30-05.log",
                                            "other_2000-01-01_00-00-00.log", "w_2000.txt", "w2000.log"));
}

TEST_F(LogRotation, FewerThanTheCountAllStay) {
  cfg.nMaxCount = 3;
  folder.write("w_2015-01-02_00-00-00.log", "");
  folder.write("w_2014-12-31_00-00-00.log", "");
  Open();
  logger.backup();
  EXPECT_EQ(Files().size(), 4u);
}

TEST_F(LogRotation, CountOfZeroOrLessDeletesNothing) {
  for (const int count : {0, -5}) {
    cfg.nMaxCount = count;
    Open();
    for (int i = 0; i < 5; ++i) {
      logger.backup();
      FakeTime::Pass(1000);
    }
    logger.close();
  }
  EXPECT_EQ(Files().size(), 11u);
}

TEST_F(LogRotation, FailedCopyLeavesTheFileAndWritingGoesOn) {
  fs::create_directory(folder.file("w_2016-05-04_12-30-05.log"));
  Open();
  logger.log_msg_i(nullptr, kLogErr, kStyleNone, Filling().c_str());
  logger.log(kLogErr, "y");
  EXPECT_EQ(Text(), Filling() + "y\n");
  EXPECT_NE(logger.backup(), 0);
  FakeTime::Pass(1000);  // another name, which works
  logger.log(kLogErr, "z");
  EXPECT_EQ(Text(), "z\n");
  EXPECT_EQ(Text("w_2016-05-04_12-30-06.log"), Filling() + "y\n");
}

TEST_F(LogRotation, SizeIsTheFilesOwnWhenItIsOpened) {
  folder.write("w.log", std::string(65000, 'o') + "\n");
  Open();
  logger.log(kLogErr, std::string(600, 'x').c_str());
  EXPECT_EQ(Text(), std::string(600, 'x') + "\n");
  EXPECT_EQ(Text("w_2016-05-04_12-30-05.log").size(), 65001u);
}

TEST_F(LogRotation, WithoutADeviceThereIsNothingToRotate) {
  cfg.nOutput = kLogToConsole;
  Open();
  EXPECT_EQ(logger.backup(), -1);
}

}  // namespace
}  // namespace TSEG
