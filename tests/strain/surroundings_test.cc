// SPDX-License-Identifier: Apache-2.0
//
// The engine's surroundings change while it runs: the log folder is removed, the disk is full, a configuration file is rewritten, the
// current folder vanishes. No session may lose a result by it.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "strain/strain_support.h"
#include "support/eventually.h"
#include "support/file_size_limit.h"

namespace TSEG::testing_support {
namespace {

namespace fs = std::filesystem;

class SurroundingsTest : public StrainTest {
 protected:
  // Everything that a session can write beside the log.
  const std::vector<std::pair<std::string, std::string>> kAllOutputs = {
      {"wvad_param_isVadDegOn", "1"}, {"wvad_param_isDebugWatch", "1"}, {"VAD_PARAM_SID", "strain"}};
  // What a session gives on a quiet machine.
  Outcome Expected(const char* model) {
    UpQuiet(model, "wvad_param_bKelOn = 1");
    Outcome outcome = RunSession(SessionAudio(), 1600);
    EXPECT_TRUE(AllZero(outcome.codes));
    EXPECT_FALSE(outcome.endpoints.empty());
    wVadUninitialize();
    if (srlog_exists()) srlog_close();
    return outcome;
  }
  void UpWithLog(const char* model, const std::string& log) {
    PutLogger(folder_, log);
    Up(model, "wvad_param_bKelOn = 1");
  }
  static void ExpectSame(const Outcome& got, const Outcome& expected, const char* model) {
    // The additional parameters are additional calls.
    EXPECT_TRUE(AllZero(got.codes)) << model;
    EXPECT_EQ(got.endpoints, expected.endpoints) << model;
    EXPECT_EQ(got.results, expected.results) << model;
    EXPECT_EQ(got.statuses, expected.statuses) << model;
    EXPECT_TRUE(got.read == expected.read) << model;
  }
};

TEST_F(SurroundingsTest, LogFolderRemovedWhileRunning) {
  for (const char* model : kModels) {
    const Outcome expected = Expected(model);
    UpWithLog(model, "file=" + folder_.file("log/own.log") + "\nlevel=all\nflush=1\nmaxsize=65536\n");
    ExpectSame(RunSession(SessionAudio(), 1600), expected, model);
    ASSERT_TRUE(fs::exists(folder_.file("log/own.log")));
    fs::remove_all(folder_.file("log"));
    // Long enough to pass the size at which the file would rotate.
    for (int i = 0; i < 3; ++i) ExpectSame(RunSession(SessionAudio(), 1600), expected, model);
    EXPECT_EQ(wVadUninitialize(), 0);
    if (srlog_exists()) srlog_close();
  }
}

TEST_F(SurroundingsTest, FullDisk) {
  // A device that answers every write with "no space left".
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  for (const char* model : kModels) {
    const Outcome expected = Expected(model);
    UpWithLog(model, "file=/dev/full\nlevel=all\nflush=1\n");
    auto parameters = kAllOutputs;
    parameters.emplace_back("wvad_param_debug_log_filename", "/dev/full");
    ExpectSame(RunSession(SessionAudio(), 1600, parameters), expected, model);
    EXPECT_EQ(wVadUninitialize(), 0);
    if (srlog_exists()) srlog_close();
  }
}

TEST_F(SurroundingsTest, FilesThatMayNotGrow) {
  const Outcome expected = Expected("models/dnn.bin");
  // Of this test's processes only the child gets the limit, which cannot be lifted again.
  EXPECT_EXIT(
      {
        UpWithLog("models/dnn.bin", "file=" + folder_.file("log/own.log") + "\nlevel=all\nflush=1\n");
        LimitFileSize(4096);
        bool good = true;
        for (int i = 0; i < 2; ++i) {
          const Outcome got = RunSession(SessionAudio(), 1600, kAllOutputs);
          good = good && AllZero(got.codes) && got.endpoints == expected.endpoints && got.results == expected.results &&
                 got.read == expected.read;
        }
        good = good && wVadUninitialize() == 0 && fs::file_size(folder_.file("log/own.log")) == 4096;
        ::_exit(good ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(SurroundingsTest, CurrentFolderVanishesWhileRunning) {
  for (const char* model : kModels) {
    const Outcome expected = Expected(model);
    UpWithLog(model, "file=" + folder_.file("log/own.log") + "\nlevel=all\n");
    fs::create_directory(folder_.file("gone"));
    fs::current_path(folder_.file("gone"));
    fs::remove(folder_.file("gone"));
    ExpectSame(RunSession(SessionAudio(), 1600, kAllOutputs), expected, model);
    EXPECT_EQ(wVadUninitialize(), 0);
    // A start finds no configuration there; what an earlier one said still holds, so it comes up.
    if (srlog_exists()) srlog_close();
    EXPECT_EQ(wVadInitialize(nullptr), 0);
    fs::current_path(folder_.path());
    EXPECT_EQ(wVadUninitialize(), 0);
    if (srlog_exists()) srlog_close();
  }
}

TEST_F(SurroundingsTest, ConfigurationOfTheEngineRewrittenWhileRunning) {
  for (const char* model : kModels) {
    const Outcome expected = Expected(model);
    UpWithLog(model, "output=0\n");
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
    for (const char* text : {"[vad]\nwvad_param_vad_threshold = 3\nwvad_param_model_name = none\n", "", "\xFF\x00\x01[[[==\n"}) {
      folder_.write("w_tseg.cfg", text);
      ExpectSame(RunSession(SessionAudio(), 1600), expected, model);
    }
    fs::remove(folder_.file("w_tseg.cfg"));
    ExpectSame(RunSession(SessionAudio(), 1600), expected, model);
    EXPECT_EQ(wVadDestroyInst(inst_), 0);
    inst_ = nullptr;
    EXPECT_EQ(wVadUninitialize(), 0);
    if (srlog_exists()) srlog_close();
  }
}

// The logger looks at its configuration with the first line after more than ten seconds. Waits until a look has taken one of the texts, and
// for three sessions more: one of them at least began after it.
TEST_F(SurroundingsTest, ConfigurationOfTheLogRewrittenWhileThreadsRun) {
  const Outcome expected = Expected("models/lstm40.bin");
  UpWithLog("models/lstm40.bin", "file=" + folder_.file("log/own.log") + "\nlevel=all\nstyle=16\n");
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  std::atomic<int> differences{0};
  std::atomic<int> sessions{0};
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&] {
      while (!done) {
        const Outcome got = RunSession(SessionAudio(), 1600);
        if (!(got == expected)) ++differences;
        ++sessions;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    });
  }
  // Levels, styles and outputs of all kinds in turn; none of them has the level that the logger came up with.
  auto rewrite = [this, edits = 0]() mutable {
    const char* const kTexts[] = {"level=none\n", "level=127\nstyle=255\n", "\x01\xFF", "output=0\n", "level=2\nstyle=16\nflush=1\n"};
    const std::string next = folder_.write("next.cfu", std::string("[logger]\n") + kTexts[edits++ % 5]);
    fs::rename(next, folder_.file("logger.cfu"));
  };
  EXPECT_TRUE(log_enabled(kLogTrc));
  EXPECT_TRUE(Eventually([&] {
    rewrite();
    return !log_enabled(kLogTrc);
  }));
  const int before = sessions;
  EXPECT_TRUE(Eventually([&] {
    rewrite();
    return sessions >= before + 3;
  }));
  done = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(differences, 0);
  EXPECT_EQ(wVadUninitialize(), 0);
}

}  // namespace
}  // namespace TSEG::testing_support
