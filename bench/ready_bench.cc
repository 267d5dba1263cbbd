// SPDX-License-Identifier: Apache-2.0
//
// What a process pays before its first audio: a client of the shared library alone, which brings the engine up, starts a session and writes
// a second of sound.
//
//   wvad_ready_bench MODEL
//
// Prints one line: milliseconds of processor time until the engine is up, until a session is ready and until the second has been written,
// and KiB of the process's memory, those of the libraries in it, before and at its peak. ready.sh runs it many times and counts its
// instructions.
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "wvad.h"
#include "wvad/path_from_anywhere.h"

namespace {

double Milliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

long PeakKiB() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void Need(int code, const char* call) {
  if (code == 0) return;
  std::fprintf(stderr, "%s answers %d\n", call, code);
  std::exit(1);
}

// The configuration, and a logger that writes nothing, in a folder of its own, which becomes the current one.
std::string EnterFolder(const std::string& model) {
  std::string folder = (std::filesystem::temp_directory_path() / "wvad_ready_XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) Need(-1, "mkdtemp");
  const size_t name = model.rfind('/') + 1;
  std::filesystem::current_path(folder);
  std::ofstream("w_tseg.cfg") << "[vad]\nwvad_param_model_path = " << TSEG::tool::PathFromAnywhere(model.substr(0, name))
                              << "\nwvad_param_model_name = " << model.substr(name) << "\n";
  std::ofstream("tseg.cfu") << "[logger]\noutput=0\n";
  return folder;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s MODEL\n", argv[0]);
    return 2;
  }
  const std::string folder = EnterFolder(std::filesystem::absolute(argv[1]).string());
  std::vector<int16_t> second(16000);
  for (size_t i = 0; i < second.size(); ++i) second[i] = static_cast<int16_t>((i * i) % 4001) - 2000;

  const long before = PeakKiB();
  const double begin = Milliseconds();
  Need(wVadInitialize(nullptr), "wVadInitialize");
  const double up = Milliseconds();
  WVADInst inst = nullptr;
  Need(wVadCreateInst(&inst), "wVadCreateInst");
  Need(wVadStart(inst), "wVadStart");
  const double ready = Milliseconds();
  WVadAudioSample piece = {};
  piece.pData = second.data();
  piece.len = static_cast<uint32_t>(second.size() * 2);
  piece.status = WVAD_WRITE_CONTINUE;
  Need(wVadAudioWrite(inst, &piece), "wVadAudioWrite");
  const double written = Milliseconds();
  std::printf("up_ms %.2f ready_ms %.2f second_ms %.2f before_KiB %ld peak_KiB %ld\n", up - begin, ready - begin, written - begin, before,
              PeakKiB());
  Need(wVadDestroyInst(inst), "wVadDestroyInst");
  Need(wVadUninitialize(), "wVadUninitialize");
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
  return 0;
}
