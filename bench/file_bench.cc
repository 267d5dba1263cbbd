// SPDX-License-Identifier: Apache-2.0
//
// Whole sessions: how time and memory grow with the length of the audio, with the number of instances and with threads.
//
//   wvad_file_bench MODEL [--minutes M] [--instances N] [--threads T] [--no-read] [--heading]
//
// Prints one line a call, so that each figure of memory is of a fresh process:
//
//   instances  threads  audio_s  processor seconds and wall seconds  microseconds of processor time per 10 ms frame  KiB of an instance
//   before audio  KiB that the process has grown by since the first tenth of the audio  peak KiB of the process
//
// Under callgrind the difference of two runs of different --minutes gives the instructions per frame (see instructions.sh).
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "bench_support.h"

namespace {

struct Options {
  std::string model;
  double minutes = 1;
  int instances = 1;
  int threads = 1;
  bool read = true;
  bool heading = false;
};

bool Parse(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const auto value = [&] { return i + 1 < argc ? argv[++i] : "0"; };
    if (word == "--minutes") {
      options->minutes = std::atof(value());
    } else if (word == "--instances") {
      options->instances = std::atoi(value());
    } else if (word == "--threads") {
      options->threads = std::atoi(value());
    } else if (word == "--no-read") {
      options->read = false;
    } else if (word == "--heading") {
      options->heading = true;
    } else {
      options->model = word;
    }
  }
  return !options->model.empty() && options->instances >= 1 && options->threads >= 1 && options->minutes > 0;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace TSEG::bench;
  Options options;
  if (!Parse(argc, argv, &options)) {
    std::fprintf(stderr, "usage: %s MODEL [--minutes M] [--instances N] [--threads T] [--no-read] [--heading]\n", argv[0]);
    return 2;
  }
  constexpr size_t kPiece = 1600;  // 100 ms
  const std::vector<int16_t> audio = SpeechAudio(60);
  BringUp(options.model);
  const uint64_t before = CurrentMemory();
  std::vector<WVADInst> all;
  for (int i = 0; i < options.instances; ++i) all.push_back(StartInstance());
  const uint64_t idle = (CurrentMemory() - before) / all.size();

  const auto pieces = static_cast<size_t>(options.minutes * 600);
  std::atomic<uint64_t> early{0};
  const double cpu_begin = ProcessSeconds();
  const auto begin = std::chrono::steady_clock::now();
  const auto work = [&](size_t t) {
    for (size_t p = 0; p < pieces; ++p) {
      const size_t at = p * kPiece % audio.size();
      for (size_t k = t; k < all.size(); k += static_cast<size_t>(options.threads))
        WriteAndRead(all[k], audio.data() + at, kPiece, options.read);
      if (t == 0 && p == pieces / 10) early = CurrentMemory();
    }
  };
  std::vector<std::thread> workers;
  for (size_t t = 1; t < static_cast<size_t>(options.threads); ++t) workers.emplace_back(work, t);
  work(0);
  for (std::thread& worker : workers) worker.join();
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  const double cpu = ProcessSeconds() - cpu_begin;
  const double frames = static_cast<double>(pieces) * 10.0 * static_cast<double>(all.size());
  const double grown = (static_cast<double>(CurrentMemory()) - static_cast<double>(early)) / 1024.0;
  if (options.heading) {
    std::printf("%9s %7s %8s %8s %8s %12s %12s %9s %9s\n", "instances", "threads", "audio_s", "cpu_s", "wall_s", "us_per_frame",
                "instance_KiB", "grown_KiB", "peak_KiB");
  }
  std::printf("%9d %7d %8.0f %8.3f %8.3f %12.2f %12llu %9.0f %9llu\n", options.instances, options.threads, frames / 100.0, cpu, wall,
              cpu / frames * 1e6, static_cast<unsigned long long>(idle / 1024), grown,
              static_cast<unsigned long long>(PeakMemory() / 1024));
  for (WVADInst inst : all) wVadDestroyInst(inst);
  wVadUninitialize();
  return 0;
}
