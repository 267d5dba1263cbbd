// SPDX-License-Identifier: Apache-2.0
//
// The built DLLs as a client has them: a copy in a folder of its own, loaded by its path, its functions taken by their names and by their
// ordinals, and the files around it found and written through backslashes.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/energy_model.h"
#include "support/temp_folder.h"
#include "wvad.h"
#include "wvad_stream.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;

class Dll {
 public:
  explicit Dll(const std::string& path) : handle_(::LoadLibraryA(path.c_str())) {}
  ~Dll() {
    if (handle_ != nullptr) ::FreeLibrary(handle_);
  }
  Dll(const Dll&) = delete;
  Dll& operator=(const Dll&) = delete;
  bool loaded() const { return handle_ != nullptr; }
  // A name, or MAKEINTRESOURCEA of an ordinal; null where there is none.
  void* Find(const char* name) const { return reinterpret_cast<void*>(::GetProcAddress(handle_, name)); }
  template <typename Type>
  Type* Function(const char* name) const {
    return reinterpret_cast<Type*>(Find(name));
  }

 private:
  HMODULE handle_;
};

// In the order of their ordinals, from 1.
constexpr const char* kNames[] = {"wVadInitialize",     "wVadUninitialize", "wVadSetParameter", "wVadGetParameter",
                                  "wVadCreateInst",     "wVadDestroyInst",  "wVadStart",        "wVadStop",
                                  "wVadAudioWrite",     "wVadAudioRead",    "wVadQueryEPInfo",  "wVADResourceAdd",
                                  "wVADResourceDelete", "wVadReset",        "wVadGetResult",    "wVadGetSilLen"};

class DllTest : public ::testing::Test {
 protected:
  DllTest() : previous_(fs::current_path()) {
    fs::create_directories(folder_.file("lib/vad"));
    fs::copy_file(WVAD_DLL, folder_.file("lib/wvad.dll"));
    modelfile::WriteFileBytes(folder_.file("lib/vad/energy.bin"), modelfile::WriteModel(testing_support::EnergyModel()));
    folder_.write("w_tseg.cfg", "[vad]\nwvad_param_model_path = vad\\\nwvad_param_model_name = energy.bin\n");
    fs::current_path(folder_.path());
  }
  ~DllTest() override { fs::current_path(previous_); }

  std::string Library() const { return folder_.path() + "\\lib\\wvad.dll"; }

  testing_support::TempFolder folder_;
  fs::path previous_;
};

TEST_F(DllTest, EveryFunctionHasItsNameAndItsOrdinal) {
  const Dll dll(Library());
  ASSERT_TRUE(dll.loaded()) << ::GetLastError();
  int ordinal = 0;
  for (const char* name : kNames) {
    ++ordinal;
    ASSERT_NE(dll.Find(name), nullptr) << name;
    EXPECT_EQ(dll.Find(name), dll.Find(MAKEINTRESOURCEA(ordinal))) << name;
  }
  EXPECT_EQ(dll.Find(MAKEINTRESOURCEA(ordinal + 1)), nullptr);
}

// A burst from 1 to 2 s in 4 s: the sentence from 0.70 to 2.20 s (support/energy_model.h).
TEST_F(DllTest, SessionByOrdinalsFindsTheSentence) {
  const Dll dll(Library());
  ASSERT_TRUE(dll.loaded()) << ::GetLastError();
  const auto by_ordinal = [&](int ordinal) { return MAKEINTRESOURCEA(ordinal); };
  ASSERT_EQ(dll.Function<decltype(wVadInitialize)>(by_ordinal(1))(nullptr), 0) << folder_.read("log/w_tseg.log");
  WVADInst inst = nullptr;
  ASSERT_EQ(dll.Function<decltype(wVadCreateInst)>(by_ordinal(5))(&inst), 0);
  EXPECT_EQ(dll.Function<decltype(wVadSetParameter)>(by_ordinal(3))(inst, "wvad_param_unknown", "40"), WVAD_ERROR_INVALID_PARA);
  ASSERT_EQ(dll.Function<decltype(wVadStart)>(by_ordinal(7))(inst), 0);
  std::vector<int16_t> audio = testing_support::Bursts(4.0, {{1.0, 2.0}});
  WVadAudioSample piece{audio.data(), static_cast<uint32_t>(audio.size() * sizeof(int16_t)), nullptr, WVAD_WRITE_LAST, 0};
  ASSERT_EQ(dll.Function<decltype(wVadAudioWrite)>(by_ordinal(9))(inst, &piece), 0);
  std::vector<std::pair<uint32_t, int32_t>> borders;
  for (uint32_t status = WVAD_READ_NONE; status != WVAD_READ_OVER;) {
    WVadAudioSample out{};
    ASSERT_EQ(dll.Function<decltype(wVadAudioRead)>(by_ordinal(10))(inst, &out), 0);
    status = out.status;
    if (status == WVAD_READ_BEGIN || status == WVAD_READ_END) borders.emplace_back(status, out.nFrame);
  }
  EXPECT_EQ(borders, (std::vector<std::pair<uint32_t, int32_t>>{{WVAD_READ_BEGIN, 70}, {WVAD_READ_END, 220}}));
  EXPECT_EQ(dll.Function<decltype(wVadStop)>(by_ordinal(8))(inst), 0);
  EXPECT_EQ(dll.Function<decltype(wVadDestroyInst)>(by_ordinal(6))(inst), 0);
  EXPECT_EQ(dll.Function<decltype(wVadUninitialize)>(by_ordinal(2))(), 0);
}

TEST_F(DllTest, LogLiesBesideTheLibrarysFolderAndNamesItsVersion) {
  {
    const Dll dll(Library());
    ASSERT_TRUE(dll.loaded()) << ::GetLastError();
    ASSERT_EQ(dll.Function<decltype(wVadInitialize)>("wVadInitialize")(nullptr), 0);
    dll.Function<decltype(wVadUninitialize)>("wVadUninitialize")();
  }
  const std::string log = folder_.read("log/w_tseg.log");
  EXPECT_NE(log.find("\tModule:      wvad.dll " WVAD_VERSION "\n"), std::string::npos) << log;
  EXPECT_NE(log.find("TSEGEngine Initialized OK."), std::string::npos) << log;
}

TEST_F(DllTest, LogConfigurationBesideTheLibraryMayUseBackslashes) {
  folder_.write("lib/tseg.cfu", "[logger]\nfile=..\\elsewhere\\deep\\own.log\nhead=0\nstyle=16\n");
  {
    const Dll dll(Library());
    ASSERT_TRUE(dll.loaded()) << ::GetLastError();
    ASSERT_EQ(dll.Function<decltype(wVadInitialize)>("wVadInitialize")(nullptr), 0);
    dll.Function<decltype(wVadUninitialize)>("wVadUninitialize")();
  }
  EXPECT_TRUE(folder_.read("elsewhere/deep/own.log").ends_with("\nTSEGEngine Initialized OK.\n")) << folder_.read("elsewhere/deep/own.log");
  EXPECT_FALSE(fs::exists(folder_.file("log")));
}

TEST(StreamDll, OpensABundledModelBesideItself) {
  const Dll dll(WVAD_STREAM_DLL);
  ASSERT_TRUE(dll.loaded()) << ::GetLastError();
  wvad_model* model = nullptr;
  ASSERT_EQ(dll.Function<decltype(wvad_model_open_bundled)>("wvad_model_open_bundled")(nullptr, &model), WVAD_OK)
      << dll.Function<decltype(wvad_last_error)>("wvad_last_error")();
  wvad_model_info info{};
  info.size = sizeof info;
  EXPECT_EQ(dll.Function<decltype(wvad_model_get_info)>("wvad_model_get_info")(model, &info), WVAD_OK);
  EXPECT_STREQ(info.kind, "lstm_fb75");
  EXPECT_EQ(dll.Function<decltype(wvad_model_close)>("wvad_model_close")(&model), WVAD_OK);
}

}  // namespace
}  // namespace TSEG
