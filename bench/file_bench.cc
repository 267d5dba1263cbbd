// SPDX-License-Identifier: Apache-2.0
//
// Whole sessions: how time and memory grow with the length of the audio, with the number of instances and with threads.
//
//   wvad_file_bench MODEL [--minutes M] [--instances N] [--threads T] [--no-read]
//
// Prints one line: audio seconds, wall seconds, microseconds per 10 ms frame, memory of an instance before audio, peak memory. Under
// callgrind the difference of two runs of different --minutes gives the instructions per frame (see instructions.sh).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "bench_support.h"

int main(int argc, char** argv) {
  using namespace TSEG::bench;
  std::string model;
  double minutes = 1;
  int instances = 1;
  int threads = 1;
  bool read = true;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const auto value = [&] { return i + 1 < argc ? argv[++i] : "0"; };
    if (word == "--minutes") {
      minutes = std::atof(value());
    } else if (word == "--instances") {
      instances = std::atoi(value());
    } else if (word == "--threads") {
      threads = std::atoi(value());
    } else if (word == "--no-read") {
      read = false;
    } else {
      model = word;
    }
  }
  if (model.empty() || instances < 1 || threads < 1 || minutes <= 0) {
    std::fprintf(stderr, "usage: %s MODEL [--minutes M] [--instances N] [--threads T] [--no-read]\n", argv[0]);
    return 2;
  }
  constexpr size_t kPiece = 1600;
  const std::vector<int16_t> audio = MakeAudio(16000, 60);
  BringUp(model);
  const uint64_t before = CurrentMemory();
  std::vector<WVADInst> all;
  for (int i = 0; i < instances; ++i) all.push_back(StartInstance());
  const uint64_t idle = (CurrentMemory() - before) / static_cast<uint64_t>(instances);

  const auto pieces = static_cast<size_t>(minutes * 600);
  const auto begin = std::chrono::steady_clock::now();
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&, t] {
      for (size_t p = 0; p < pieces; ++p) {
        const size_t at = p * kPiece % (audio.size() - kPiece);
        for (size_t k = static_cast<size_t>(t); k < all.size(); k += static_cast<size_t>(threads))
          WriteAndRead(all[k], audio.data() + at, kPiece, read);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  const double frames = static_cast<double>(pieces) * 10.0 * instances;
  std::printf("instances %d threads %d audio_s %.0f wall_s %.3f us_per_frame %.2f idle_instance_kib %llu peak_kib %llu\n", instances,
              threads, static_cast<double>(pieces) * 0.1 * instances, seconds, seconds / frames * 1e6,
              static_cast<unsigned long long>(idle / 1024), static_cast<unsigned long long>(PeakMemory() / 1024));
  for (WVADInst inst : all) wVadDestroyInst(inst);
  wVadUninitialize();
  return 0;
}
