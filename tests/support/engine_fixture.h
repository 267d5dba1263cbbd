// SPDX-License-Identifier: Apache-2.0
//
// EngineTest: a test that runs the engine through its exported functions in a folder of its own, with its own configuration and log.
//
// The log is captured first, so that every line that a call writes can be looked at; the engine finds it open and uses it.
#ifndef WVAD_SUPPORT_ENGINE_FIXTURE_H_
#define WVAD_SUPPORT_ENGINE_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "api/process_engine.h"
#include "support/engine_surroundings.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"
#include "wvad.h"

namespace TSEG::testing_support {

inline std::string DataFile(const std::string& name) { return std::string(WVAD_TEST_DATA_DIR) + "/" + name; }

inline std::vector<int16_t> ReadPcm(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<int16_t> samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
  return samples;
}

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // What an earlier test of this process configured would still hold.
    ProcessEngine().defaults() = CFG_VAD();
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    ASSERT_TRUE(capture_.opened());
  }

  void TearDown() override {
    if (inst_ != nullptr) wVadDestroyInst(inst_);
    wVadUninitialize();
    std::filesystem::current_path(previous_);
  }

  // Writes "w_tseg.cfg" with the model at `model` (an absolute path) and `extra` entries in the section "vad".
  void Configure(const std::string& model, const std::string& extra = "") { ConfigureEngine(folder_, model, extra); }

  // Brings the engine up on a model of the test data.
  void Up(const std::string& model = "models/dnn.bin", const std::string& extra = "") {
    Configure(DataFile(model), extra);
    ASSERT_EQ(wVadInitialize(nullptr), 0) << Log();
  }

  // The same, with an instance in inst_.
  void UpWithInstance(const std::string& model = "models/dnn.bin", const std::string& extra = "") {
    Up(model, extra);
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
  }

  // A copy of a model of the test data with gain control on in its table, and reads from the gain-controlled side if `reads` is set; gives
  // its path, or an empty text for a model without such a table.
  std::string WithGainControl(const std::string& model, bool reads) {
    std::ifstream in(DataFile(model), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // Rows 5 and 6 of the names, 16 bytes each; the values stand 512 bytes behind. The table stands at another place in each header shape.
    const size_t names = bytes.find(std::string("5\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0006", 17));
    if (names == std::string::npos) return "";
    bytes[names + 512] = '1';
    if (reads) bytes[names + 16 + 512] = '1';
    return folder_.write("agc.bin", bytes);
  }

  int Set(const char* name, const char* value) { return wVadSetParameter(inst_, name, value); }

  std::string Get(const char* name) {
    char text[2048] = "untouched";
    EXPECT_EQ(wVadGetParameter(inst_, name, text, sizeof(text)), 0) << name;
    return text;
  }

  int Write(const int16_t* samples, size_t n, uint32_t status) {
    WVadAudioSample audio = {};
    audio.pData = const_cast<int16_t*>(samples);
    audio.len = static_cast<uint32_t>(n * 2);
    audio.status = status;
    return wVadAudioWrite(inst_, &audio);
  }

  int WriteSilence(size_t n, uint32_t status) {
    const std::vector<int16_t> zeros(n);
    return Write(zeros.data(), n, status);
  }

  // Writes all samples in pieces of `piece_bytes`, the last one marked as such; gives the codes.
  std::vector<int> WriteAll(const std::vector<int16_t>& samples, size_t piece_bytes) {
    std::vector<int> codes;
    for (size_t at = 0; at < samples.size(); at += piece_bytes / 2) {
      const size_t n = std::min(piece_bytes / 2, samples.size() - at);
      codes.push_back(Write(samples.data() + at, n, at + n == samples.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE));
    }
    return codes;
  }

  std::vector<int> Endpoints() {
    std::vector<int> out(4096);
    out.resize(static_cast<size_t>(wVadQueryEPInfo(inst_, out.data(), static_cast<int>(out.size()))));
    return out;
  }

  std::vector<std::string> Results() {
    WVadResult* list = nullptr;
    EXPECT_EQ(wVadGetResult(inst_, &list), 0);
    std::vector<std::string> texts;
    for (int i = 0; list != nullptr && i < list->nCount; ++i) {
      texts.push_back(std::string(list->pItems[i].pName) + " " + list->pItems[i].pKey + " " + list->pItems[i].pText);
    }
    return texts;
  }

  // Brings the engine up anew, on another model of the test data and without a log.
  void UpQuiet(const std::string& model, const std::string& extra = "") {
    wVadUninitialize();
    PutLogger(folder_, kNoLog);
    Up(model, extra);
  }
  // The capture once more, after what is tested has closed the log.
  void Recapture() { capture_.Open(); }

  // Everything logged so far, one message a line.
  std::string Log() const { return capture_.Text(); }
  bool Logged(const std::string& line) const { return CountLogged(line) != 0; }
  size_t CountLogged(const std::string& line) const { return static_cast<size_t>(capture_.CountLines(line)); }
  // The two lines of a failed check.
  bool LoggedFailure(const std::string& line, const std::string& name, int code) const { return capture_.Failures(line, name, code) != 0; }

  TempFolder folder_;
  WVADInst inst_ = nullptr;

 private:
  LogCapture capture_;
  std::filesystem::path previous_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_ENGINE_FIXTURE_H_
