// SPDX-License-Identifier: Apache-2.0
//
// What a second thread costs: the same sessions on one thread, on several threads of this process, and in as many processes of their own.
//
//   wvad_thread_bench MODEL... [--threads T] [--rounds R] [--minutes M]
//
// The three ways take turns, R rounds of M minutes of audio for each instance, after 25 seconds that do not count. Every thread has one
// instance. Columns:
//
//   least_us, median_us  processor time per 10 ms frame, over the rounds
//   ratio_cpu            how many times the throughput of one thread the processor time allows on as many free cores: T times the least
//                        of one thread over the least of this way
//   ratio_wall           the same by the clock on the wall, least of the rounds each: right only where that many cores are free
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench_support.h"

namespace {

using TSEG::bench::StartInstance;
using TSEG::bench::ThreadSeconds;
using TSEG::bench::WriteAndRead;

constexpr size_t kPiece = 1600;        // 100 ms
constexpr size_t kWarmUpPieces = 250;  // the first block of each frame pool and all that is taken at first use

double WallSeconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

struct Options {
  std::vector<std::string> models;
  int threads = 2;
  int rounds = 15;
  double minutes = 0.5;
};

struct Took {
  double cpu = 0;  // seconds of all threads
  double wall = 0;
};

void Run(WVADInst inst, const std::vector<int16_t>& audio, size_t pieces) {
  for (size_t p = 0; p < pieces; ++p) WriteAndRead(inst, audio.data() + p * kPiece % audio.size(), kPiece, true);
}

// `n` threads of this process, an instance each.
Took OnThreads(const std::vector<int16_t>& audio, size_t pieces, int n) {
  std::vector<WVADInst> instances;
  for (int k = 0; k < n; ++k) instances.push_back(StartInstance());
  std::vector<double> cpu(static_cast<size_t>(n)), begin(cpu), end(cpu);
  std::barrier ready(n);
  const auto work = [&](size_t k) {
    Run(instances[k], audio, kWarmUpPieces);
    ready.arrive_and_wait();
    begin[k] = WallSeconds();
    const double before = ThreadSeconds();
    Run(instances[k], audio, pieces);
    cpu[k] = ThreadSeconds() - before;
    end[k] = WallSeconds();
  };
  std::vector<std::thread> workers;
  for (size_t k = 1; k < cpu.size(); ++k) workers.emplace_back(work, k);
  work(0);
  for (std::thread& worker : workers) worker.join();
  for (WVADInst inst : instances) wVadDestroyInst(inst);
  Took took;
  for (const double seconds : cpu) took.cpu += seconds;
  took.wall = *std::max_element(end.begin(), end.end()) - *std::min_element(begin.begin(), begin.end());
  return took;
}

// `n` processes with an instance each, at the same time.
Took InProcesses(const std::vector<int16_t>& audio, size_t pieces, int n) {
  int ends[2];
  if (pipe(ends) != 0) std::exit(1);
  for (int k = 0; k < n; ++k) {
    const pid_t child = fork();
    if (child < 0) std::exit(1);
    if (child != 0) continue;
    WVADInst inst = StartInstance();
    Run(inst, audio, kWarmUpPieces);
    double times[3] = {WallSeconds(), 0, 0};
    const double before = ThreadSeconds();
    Run(inst, audio, pieces);
    times[1] = ThreadSeconds() - before;
    times[2] = WallSeconds();
    _exit(write(ends[1], times, sizeof times) == static_cast<ssize_t>(sizeof times) ? 0 : 1);
  }
  close(ends[1]);  // so that the end of a child that fails is seen
  Took took;
  double first = 0;
  double last = 0;
  for (int k = 0; k < n; ++k) {
    double times[3];
    if (read(ends[0], times, sizeof times) != static_cast<ssize_t>(sizeof times)) std::exit(1);
    first = k == 0 ? times[0] : std::min(first, times[0]);
    last = std::max(last, times[2]);
    took.cpu += times[1];
  }
  for (int k = 0; k < n; ++k) wait(nullptr);
  close(ends[0]);
  took.wall = last - first;
  return took;
}

struct Way {
  std::string name;
  int instances;
  std::vector<double> cpu_us, wall_s;  // a round each

  void Add(const Took& took, double frames) {
    cpu_us.push_back(took.cpu / (frames * instances) * 1e6);
    wall_s.push_back(took.wall);
  }
  static double Least(const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); }
};

void Measure(const std::string& model, const Options& options, const std::vector<int16_t>& audio) {
  TSEG::bench::BringUp(model);
  const auto pieces = static_cast<size_t>(options.minutes * 600);
  const double frames = static_cast<double>(pieces) * 10.0;
  const std::string n = std::to_string(options.threads);
  Way ways[3] = {{"1 thread", 1, {}, {}}, {n + " threads", options.threads, {}, {}}, {n + " processes", options.threads, {}, {}}};
  for (int round = 0; round < options.rounds; ++round) {
    ways[0].Add(OnThreads(audio, pieces, 1), frames);
    ways[1].Add(OnThreads(audio, pieces, options.threads), frames);
    ways[2].Add(InProcesses(audio, pieces, options.threads), frames);
  }
  wVadUninitialize();
  for (Way& way : ways) {
    const double cpu = Way::Least(way.cpu_us);
    std::nth_element(way.cpu_us.begin(), way.cpu_us.begin() + options.rounds / 2, way.cpu_us.end());
    std::printf("%-12s %-12s %9.2f %9.2f %10.2f %10.2f\n", std::filesystem::path(model).stem().c_str(), way.name.c_str(), cpu,
                way.cpu_us[static_cast<size_t>(options.rounds / 2)], way.instances * Way::Least(ways[0].cpu_us) / cpu,
                way.instances * Way::Least(ways[0].wall_s) / Way::Least(way.wall_s));
  }
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const auto value = [&] { return i + 1 < argc ? argv[++i] : "0"; };
    if (word == "--threads") {
      options.threads = std::atoi(value());
    } else if (word == "--rounds") {
      options.rounds = std::atoi(value());
    } else if (word == "--minutes") {
      options.minutes = std::atof(value());
    } else {
      options.models.push_back(word);
    }
  }
  if (options.models.empty() || options.threads < 1 || options.rounds < 1 || options.minutes < 0.01) {
    std::fprintf(stderr, "usage: %s MODEL... [--threads T] [--rounds R] [--minutes M]\n", argv[0]);
    return 2;
  }
  const std::vector<int16_t> audio = TSEG::bench::SpeechAudio(60);
  std::printf("%-12s %-12s %9s %9s %10s %10s\n", "model", "way", "least_us", "median_us", "ratio_cpu", "ratio_wall");
  for (const std::string& model : options.models) Measure(model, options, audio);
  return 0;
}
