// SPDX-License-Identifier: Apache-2.0
#include "bench_support.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "blocks/audio_input.h"
#include "support/engine_surroundings.h"
#include "support/temp_folder.h"

namespace TSEG::bench {
namespace {

constexpr int kRate = 16000;

[[noreturn]] void Give(const std::string& line) {
  std::fprintf(stderr, "%s\n", line.c_str());
  std::exit(1);
}

uint64_t StatusField(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::strtoull(line.c_str() + std::string(field).size(), nullptr, 10) * 1024;
  }
  return 0;
}

double Seconds(clockid_t clock) {
  timespec now = {};
  ::clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

double ThreadSeconds() { return Seconds(CLOCK_THREAD_CPUTIME_ID); }
double ProcessSeconds() { return Seconds(CLOCK_PROCESS_CPUTIME_ID); }

std::vector<int16_t> SpeechAudio(int seconds) {
  std::vector<int16_t> reading;
  std::string error;
  if (!blocks::ReadAudio(WVAD_BENCH_READING, kRate, &reading, &error)) Give(WVAD_BENCH_READING ": " + error);
  std::vector<int16_t> out(static_cast<size_t>(kRate) * static_cast<size_t>(seconds));
  for (size_t i = 0; i < out.size(); ++i) out[i] = reading[i % reading.size()];
  return out;
}

double BringUp(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path model = fs::absolute(path);
  const testing_support::TempFolder folder;
  testing_support::ConfigureEngine(folder, model.string());
  testing_support::PutLogger(folder, testing_support::kNoLog);
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  const double begin = ThreadSeconds();
  const int code = wVadInitialize(nullptr);
  const double took = ThreadSeconds() - begin;
  fs::current_path(before);
  if (code != 0) Give("wVadInitialize answers " + std::to_string(code) + " for " + path);
  return took;
}

WVADInst StartInstance() {
  WVADInst inst = nullptr;
  int code = wVadCreateInst(&inst);
  if (code == 0) code = wVadSetParameter(inst, "wvad_param_nReadType", "1");
  if (code == 0) code = wVadSetParameter(inst, "wvad_param_nSpeechTailMS", "2000000000");
  if (code == 0) code = wVadSetParameter(inst, "wvad_param_nResponseTimeOut", "2000000000");
  if (code == 0) code = wVadStart(inst);
  if (code != 0) Give("no session, code " + std::to_string(code));
  return inst;
}

void WriteAndRead(WVADInst inst, const int16_t* samples, size_t n, bool read) {
  WVadAudioSample piece = {};
  piece.pData = const_cast<int16_t*>(samples);
  piece.len = static_cast<uint32_t>(n * 2);
  piece.status = WVAD_WRITE_CONTINUE;
  const int code = wVadAudioWrite(inst, &piece);
  if (code != 0) Give("wVadAudioWrite answers " + std::to_string(code));
  if (!read) return;
  for (;;) {
    WVadAudioSample out = {};
    if (wVadAudioRead(inst, &out) != 0 || out.status == WVAD_READ_NONE || out.status == WVAD_READ_OVER) return;
    if (out.status == WVAD_READ_GOON && out.len == 0) return;
  }
}

uint64_t PeakMemory() { return StatusField("VmHWM:"); }
uint64_t CurrentMemory() { return StatusField("VmRSS:"); }

}  // namespace TSEG::bench
