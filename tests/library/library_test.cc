// SPDX-License-Identifier: Apache-2.0
//
// What the built library does with the files around it: its log, its log configuration, its model file, its sections of the
// configuration.
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "library/library_fixture.h"
#include "modelfile/modelfile.h"
#include "nn/cpu_features.h"
#include "support/eventually.h"
#include "wvad.h"

namespace TSEG::testing_support {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

constexpr const char* kRule = "=============================================================\n";
constexpr const char* kTime = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";
constexpr const char* kQuiet = "head = 0\nstyle = 20\n";  // level and newline

std::string Text(const modelfile::Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

TEST_F(LibraryTest, LogLiesInTheFolderBesideThatOfTheLibrary) {
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Down(), 0);
  char pid[64];
  std::snprintf(pid, sizeof pid, "\tPID: %d \\(0x%04x\\)", ::getpid(), static_cast<unsigned>(::getpid()));
  const std::string stamp = "\\[[0-9]{2}/[0-9]{2}/[0-9]{2}-[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{3}\\]";
  char ids[64];
  std::snprintf(ids, sizeof ids, "\\[Px%04x\\]\\[Tx%04x\\] ", static_cast<unsigned>(::getpid()), static_cast<unsigned>(::gettid()));
  EXPECT_THAT(Log(),
              MatchesRegex(std::string(kRule) + "\tOrvaLIN log file\n\tSubject :    Tseg Logging\n\tCreated-Time :    " + kTime +
                           "\n\tApplication: wvad_library_test " WVAD_VERSION "\n\tModule:      libwvad.so " WVAD_VERSION "\n" + pid +
                           " Version: " WVAD_VERSION "\n" + kRule + stamp + "\\[WAN\\]" + ids +
                           "parse_float_res_new_headerV3 \\| map is not short\n" + stamp + "\\[CRT\\]" + ids +
                           "TSEGEngine Initialized OK\\.\n" + kRule + "\tTseg Logging End-Time: " + kTime + "\n" + pid + "\n" + kRule));
}

TEST_F(LibraryTest, SecondRunContinuesTheFile) {
  ConfigureLog(kQuiet);
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Down(), 0);
  const std::string first = Log();
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Down(), 0);
  EXPECT_EQ(Log(), first + first);
}

TEST_F(LibraryTest, EveryLineOfAStartAndAStopInItsOrder) {
  ConfigureLog(std::string("level = all\n") + kQuiet);
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Down(), 0);
  const std::string model = folder_.file("lib/vad/m.bin");
  const std::string bytes = ReadBytes(model);
  int sum = 0;
  for (size_t at = 0; at < bytes.size(); at += 4096) sum += static_cast<signed char>(bytes[at]);
  EXPECT_THAT(Lines(), ElementsAre("[VBS] WVADInitialize | srlog_open succeed!",     //
                                   "[TRC] TSEG::wVadInitialize | enter.",            //
                                   "[VBS] Res_mgr | srlog_inst has been created!!",  //
                                   "[TRC] TSEG::Res_mgr::Res_mgr | enter.",          //
                                   "[VBS] Res_mgr::Res_mgr | srlog_open succeed!",   //
                                   "[TRC] TSEG::Res_mgr::Res_mgr | leave.",          //
                                   "[TRC] TSEG::Res_mgr::Res_add | enter.",          //
                                   "[INF] ResAdd begin: szResType = MLP nResID = 10000, szResURI = " + model,
                                   "[INF] preload res to memory..." + model + " : " + std::to_string(bytes.size()),
                                   "[INF] successed to map file -> 10000 : checkSum = " + std::to_string(sum),
                                   "[WAN] parse_float_res_new_headerV3 | map is not short",  //
                                   "[INF] Gpu DNN res not created.",                         //
                                   "[INF] ResAdd success: szResType = MLP nResID = 10000, szResURI = " + model,
                                   "[TRC] TSEG::Res_mgr::Res_addingSet_del | enter.",      //
                                   "[TRC] TSEG::Res_mgr::Res_addingSet_del | leave.",      //
                                   "[TRC] TSEG::Res_mgr::Res_add | leave.",                //
                                   "[CRT] TSEGEngine Initialized OK.",                     //
                                   "[TRC] TSEG::wVadInitialize | leave.",                  //
                                   "[TRC] TSEG::wVadUninitialize | enter.",                //
                                   "[INF] ResDelete: szResType = MLP nResID = 10000",      //
                                   "[TRC] TSEG::Res_mgr::Res_deletingSet_erase | enter.",  //
                                   "[TRC] TSEG::Res_mgr::Res_deletingSet_erase | leave.",  //
                                   "[TRC] TSEG::Res_mgr::~Res_mgr | enter.",               //
                                   "[TRC] TSEG::Res_mgr::~Res_mgr | leave.",               //
                                   "[VBS] WVADUninitialize | srlog_close succeed!"));
}

TEST_F(LibraryTest, FileOfTheLogIsRelativeToTheLibraryAndMayHaveEitherSeparator) {
  for (const char* file : {"../elsewhere/a.log", "..\\elsewhere\\a.log"}) {
    ConfigureLog(std::string("file = ") + file + "\n" + kQuiet);
    std::filesystem::remove_all(folder_.file("elsewhere"));
    ASSERT_EQ(Up(), 0);
    ASSERT_EQ(Down(), 0);
    EXPECT_THAT(folder_.read("elsewhere/a.log"), HasSubstr("[CRT] TSEGEngine Initialized OK.\n")) << file;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_.file("log")));
}

TEST_F(LibraryTest, FullFileIsKeptUnderItsTimeAndANewOneBegins) {
  ConfigureLog(std::string("maxsize = 1000\n") + kQuiet);
  ASSERT_EQ(Up(), 0);
  const std::string pair =
      "[ERR] WVADAPI wVadInitialize | g_bInit != Null\n[ERR] Error! The error string is -> WVAD_ERROR_ALREADY_INIT = 14001\n";
  // 65536 bytes is the least that a file may be set to.
  const size_t before = Log().size();
  const size_t fitting = (65536 - before) / pair.size();
  for (size_t i = 0; i < fitting; ++i) ASSERT_EQ(Up(), 14001);
  EXPECT_EQ(LogFiles().size(), 1u);
  EXPECT_EQ(Log().size(), before + fitting * pair.size());
  ASSERT_EQ(Up(), 14001);
  ASSERT_EQ(Up(), 14001);
  EXPECT_EQ(LogFiles().size(), 2u);
  EXPECT_THAT(LogFiles(), Contains(MatchesRegex("w_tseg_[0-9]{4}-[0-9]{2}-[0-9]{2}_[0-9]{2}-[0-9]{2}-[0-9]{2}\\.log")));
  EXPECT_TRUE(Log().ends_with(pair));
  EXPECT_LE(Log().size(), 2 * pair.size());
}

// Waits for the logger's next look at its file, which comes with the first line after more than ten seconds: lines are made until one looks
// as the new file has it.
TEST_F(LibraryTest, LevelStyleAndOutputFollowTheFileAndTheRestDoesNot) {
  ConfigureLog(std::string("level = low\n") + kQuiet);
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Up(), 14001);
  EXPECT_THAT(Log(), HasSubstr("[ERR] WVADAPI"));
  ConfigureLog("level = 2\nstyle = none\noutput = 1\nfile = ../log/new.log\n");
  EXPECT_TRUE(Eventually([this] {
    const size_t before = Log().size();
    EXPECT_EQ(Up(), 14001);
    return Log().substr(before) ==
           "WVADAPI wVadInitialize | g_bInit != NullError! The error string is -> WVAD_ERROR_ALREADY_INIT = 14001\n";
  }));
  EXPECT_THAT(LogFiles(), ElementsAre("w_tseg.log"));
}

TEST_F(LibraryTest, ConsoleIsStandardOutputWithALevelOfItsOwn) {
  ConfigureLog(std::string("output = 2\nconsole_level = 4\n") + kQuiet);
  CaptureStdout();
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Down(), 0);
  EXPECT_EQ(GetCapturedStdout(), "[WAN] parse_float_res_new_headerV3 | map is not short\n");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("log")));
}

TEST_F(LibraryTest, WordsOfTheListsDropAndPassLines) {
  ConfigureLog(std::string("exclude = string is;map\n") + kQuiet);
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Up(), 14001);
  ASSERT_EQ(Down(), 0);
  EXPECT_EQ(Log(), "[CRT] TSEGEngine Initialized OK.\n[ERR] WVADAPI wVadInitialize | g_bInit != Null\n");
  std::filesystem::remove_all(folder_.file("log"));
  ConfigureLog(std::string("include = nobody,OK.\n") + kQuiet);
  ASSERT_EQ(Up(), 0);
  ASSERT_EQ(Up(), 14001);
  ASSERT_EQ(Down(), 0);
  EXPECT_EQ(Log(), "[CRT] TSEGEngine Initialized OK.\n");
}

TEST_F(LibraryTest, ContainersAndDamagedFilesGiveTheirCodes) {
  const std::string model = ReadBytes(WVAD_TEST_DATA_DIR "/models/dnn.bin");
  const modelfile::Bytes bytes(model.begin(), model.end());
  const modelfile::Bytes words = {1, 0, 0, 0};
  std::string other_type = model;
  other_type.replace(384 + 16, 20, std::string("MLP_RES_DNN_GENERAL\0", 20));
  const struct {
    const char* name;
    std::string file;
    int code;
  } kRows[] = {
      {"a container holds no settings", Text(modelfile::WriteContainer({{2, words}})), 30007},
      {"skipped sections alone", Text(modelfile::WriteContainer({{0, words}})), 30007},
      {"a section of an unknown kind", Text(modelfile::WriteContainer({{3, words}, {2, words}})), 30002},
      {"a model in a section", Text(modelfile::WriteContainer({{1, bytes}})), 30011},
      {"an old record in a section", Text(modelfile::WriteContainer({{1, modelfile::Bytes(1136)}})), 30005},
      {"a type without a network", other_type, 30011},
      {"no byte", "", 30002},
      {"a few bytes", "no model at all", 30002},
      {"the last byte missing", model.substr(0, model.size() - 1), 30002},
      {"bytes behind the end", model + "more", 0},
  };
  ConfigureLog(kQuiet);
  for (const auto& row : kRows) {
    Model(row.file);
    EXPECT_EQ(Up(), row.code) << row.name;
    const std::string code = std::to_string(row.code);
    if (row.code == 30007) {
      EXPECT_TRUE(
          Log().ends_with("[ERR] WVADInitialize | wVADResourceAdd model too old, ret = 30007\n"
                          "[ERR] Error! The error string is -> ret = 30007\n"))
          << row.name;
    } else if (row.code != 0) {
      EXPECT_TRUE(Log().ends_with("[ERR] Res_mgr::Res_add | loader->load error: resID=10000 szResURI = " + folder_.file("lib/vad/m.bin") +
                                  "\n[ERR] Error! The error string is -> ret = " + code +
                                  "\n[ERR] WVADInitialize | wVADResourceAdd model file failed, ret = " + code +
                                  "\n[ERR] Error! The error string is -> ret = " + code + "\n"))
          << row.name << "\n"
          << Log();
    }
  }
}

TEST_F(LibraryTest, ModelOfTheOldKindEndsTheProcess) {
  std::string model = ReadBytes(WVAD_TEST_DATA_DIR "/models/dnn.bin");
  model.replace(44, 7, "orvalon");
  Model(model);
  const std::string out = folder_.file("out.txt");
  EXPECT_EXIT(
      {
        std::signal(SIGSEGV, SIG_DFL);
        if (std::freopen(out.c_str(), "w", stdout) == nullptr) std::exit(0);
        Up();
      },
      ::testing::KilledBySignal(SIGSEGV), "");
  std::string expected;
  for (int i = 0; i < 10; ++i) expected += "VAD or acmod resource too old, not supported anymore.\nPlease update resource.\n";
  EXPECT_EQ(folder_.read("out.txt"), expected);
}

TEST_F(LibraryTest, FormOfTheModelIsTold) {
  if (!DetectedCpu().int8_form()) GTEST_SKIP() << "needs a processor with SSE4.1";
  ConfigureLog(std::string("level = info\n") + kQuiet);
  Model(ReadBytes(WVAD_TEST_DATA_DIR "/models/lstm40.bin"));
  ASSERT_EQ(Up(), 0);
  EXPECT_THAT(Lines(), Contains("[INF] the CPU support SSE4.1, load int8 res"));
  ASSERT_EQ(Down(), 0);
  Model(ReadBytes(WVAD_TEST_DATA_DIR "/models/lstm75.bin"));
  const size_t before = Log().size();
  ASSERT_EQ(Up(), 0);
  EXPECT_THAT(Log().substr(before), Not(HasSubstr("SSE4.1")));
}

// The three sections of the configuration are read once, so each row is a library of its own.
struct SectionRow {
  const char* name;
  const char* section;
  const char* line;     // null if none of the device
  const char* printed;  // on standard output
};

class LibrarySections : public LibraryTest, public ::testing::WithParamInterface<SectionRow> {};

TEST_P(LibrarySections, AreReadAtTheFirstStart) {
  Configure(GetParam().section);
  ConfigureLog(std::string("level = info\n") + kQuiet);
  CaptureStdout();
  EXPECT_EQ(Up(), 0);
  EXPECT_EQ(GetCapturedStdout(), GetParam().printed);
  if (GetParam().line != nullptr) {
    EXPECT_THAT(Lines(), Contains(GetParam().line)) << Log();
  } else {
    EXPECT_THAT(Log(), Not(HasSubstr("evice")));
  }
}

INSTANTIATE_TEST_SUITE_P(
    EachRow, LibrarySections,
    ::testing::Values(
        SectionRow{"NoSection", "", nullptr, ""}, SectionRow{"Device1", "[heterogeneous]\ndevice = 1\n", nullptr, ""},
        SectionRow{"Device4", "[heterogeneous]\ndevice = 4\n", nullptr, ""},
        SectionRow{"Device2", "[heterogeneous]\ndevice = 2\n", "[ERR] CPUSingleton::CPUSingleton | Unsupported device configuration", ""},
        SectionRow{"DeviceMinus1", "[heterogeneous]\ndevice = -1\n", "[ERR] CPUSingleton::CPUSingleton | Unsupported device configuration",
                   ""},
        SectionRow{"Device8", "[heterogeneous]\ndevice = 8\n", "[INF] Device Choice Must be 2^n,now use CPU Choice", ""},
        SectionRow{"Masks", "[numa]\nbind_stragy = mlpres:0x0|foo|bar:0x1z|ok:0x12\n", nullptr,
                   "parse_bing_stragy_str |Check bind value 0x0 error \nparse_bing_stragy_str |Check bind value foo error \n"
                   "parse_bing_stragy_str |Check bind value 0x1z error \n"},
        SectionRow{"Stranger", "[resMgr]\nwresMgr_param_normal_count = 1\n",
                   "[WAN] CFG_RESMGR::init | para not suitable for normal operation, param = wresMgr_param_normal_count", ""},
        SectionRow{"Reset", "[resMgr]\nwresMgr_param_resetUseNvidiaGPUAvailable = true\n", "[INF] Compute With CPU with DNN ", ""}),
    [](const ::testing::TestParamInfo<SectionRow>& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace TSEG::testing_support
