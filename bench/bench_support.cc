// SPDX-License-Identifier: Apache-2.0
#include "bench_support.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/engine_surroundings.h"
#include "support/temp_folder.h"

namespace TSEG::bench {
namespace {

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

std::vector<int16_t> MakeAudio(int rate_hz, int seconds) {
  std::vector<int16_t> out(static_cast<size_t>(rate_hz) * static_cast<size_t>(seconds));
  uint32_t state = 12345;
  const auto uniform = [&state] {
    state = state * 1664525u + 1013904223u;
    return static_cast<double>(state >> 8) / 16777216.0;
  };
  size_t at = 0;
  while (at < out.size()) {
    const size_t voiced = static_cast<size_t>((0.6 + uniform()) * rate_hz);
    const size_t pause = static_cast<size_t>((0.4 + uniform()) * rate_hz);
    const double base = 90.0 + 160.0 * uniform();
    double phase = 0;
    for (size_t i = 0; i < voiced + pause && at < out.size(); ++i, ++at) {
      double x = 60.0 * (uniform() - 0.5);
      if (i < voiced) {
        const double t = static_cast<double>(i) / rate_hz;
        phase += 2.0 * 3.14159265358979 * base * (1.0 + 0.1 * std::sin(5.0 * t)) / rate_hz;
        const double envelope = 3000.0 * (0.6 + 0.4 * std::sin(20.0 * t));
        for (int h = 1; h <= 12; ++h) x += envelope / h * std::sin(phase * h);
      }
      out[at] = static_cast<int16_t>(std::lround(std::fmax(-32768.0, std::fmin(32767.0, x))));
    }
  }
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
