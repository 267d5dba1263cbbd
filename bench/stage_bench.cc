// SPDX-License-Identifier: Apache-2.0
//
// Cost per 10 ms frame, stage by stage and end to end, beside the cost of one 512-point transform.
//
//   wvad_stage_bench MODEL... [Google Benchmark options]      rows are named for the files of the models
//
// Every row is measured in batches of the same ten seconds of audio, in processor time of the thread. After each batch a few transforms are
// timed, so that both see the same machine in the same state; of both the least batch counts. Columns:
//
//   us_per_frame  the least batch, per frame
//   ffts          the same in transforms: the figure to compare between machines and between days
//   fft_us        the transform of that row
//
// A 40-value model is measured in its three forms, chosen as on a processor that has no more than SSE, or not even that.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <complex>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bench_support.h"
#include "buffers/aligned_buffer.h"
#include "channel/front_end_channel.h"
#include "decision/frame_decision.h"
#include "decision/sentence_table.h"
#include "frontend/fft.h"
#include "frontend/float_front.h"
#include "frontend/pitch_tracker.h"
#include "nn/cpu_features.h"
#include "scoring/network_kinds.h"
#include "session/tseg_inst.h"

namespace TSEG::bench {
namespace {

constexpr int kRate = 16000;
constexpr size_t kFrame = 160;
constexpr size_t kChunk = 400;    // the unit of the write path
constexpr size_t kFrames = 1000;  // of a batch

// Ten seconds, and a window behind them.
const std::vector<int16_t>& Audio() {
  static const std::vector<int16_t> audio = SpeechAudio(11);
  return audio;
}
constexpr size_t kSamples = kFrames * kFrame;

// The yardstick.
class Transform {
 public:
  Transform() : fft_(512), in_(512, RealFft::kAlignment), out_(257, RealFft::kAlignment) {
    for (size_t i = 0; i < 512; ++i) in_[i] = static_cast<float>(Audio()[i]);
  }
  // Seconds of one, by a run of a thousand.
  double Time() {
    constexpr int kRuns = 1000;
    const double begin = ThreadSeconds();
    for (int i = 0; i < kRuns; ++i) {
      fft_.Execute(in_.data(), out_.data());
      benchmark::DoNotOptimize(out_.data());
    }
    return (ThreadSeconds() - begin) / kRuns;
  }

 private:
  RealFft fft_;
  AlignedBuffer<float> in_;
  AlignedBuffer<std::complex<float>> out_;
};

// Runs batches of kFrames frames and reports the least. `between` runs outside of the measurement. `less`, if there is one, is another
// batch whose time counts against this one's: what is left is a stage that has no entry of its own.
void Measure(benchmark::State& state, const std::function<void()>& batch, const std::function<void()>& between = {},
             const std::function<void()>& less = {}) {
  Transform transform;
  double best = 1e9;
  double best_less = less ? 1e9 : 0.0;
  double best_transform = 1e9;
  batch();
  for (auto _ : state) {
    if (between) between();
    double begin = ThreadSeconds();
    batch();
    const double took = ThreadSeconds() - begin;
    state.SetIterationTime(took);
    best = std::min(best, took);
    if (less) {
      begin = ThreadSeconds();
      less();
      best_less = std::min(best_less, ThreadSeconds() - begin);
    }
    best_transform = std::min(best_transform, transform.Time());
  }
  const double seconds = (best - best_less) / static_cast<double>(kFrames);
  state.counters["us_per_frame"] = seconds * 1e6;
  state.counters["ffts"] = seconds / best_transform;
  state.counters["fft_us"] = best_transform * 1e6;
}

// A model in one of its forms; what it needs of the processor record. Detected unless `lower` says otherwise.
struct Setup {
  std::string path;
  enum class Form { kDetected, kSseFloat, kPlainFloat } form = Form::kDetected;
  bool operator==(const Setup&) const = default;
};

// The engine up on `setup`, from the row before or anew.
double Use(const Setup& setup, bool anew = false) {
  static Setup current;
  static CpuFeatures record;
  if (current == setup && !anew) return 0;
  if (!current.path.empty()) wVadUninitialize();
  current = setup;
  record = CpuFeatures();
  if (setup.form == Setup::Form::kSseFloat) record.leaf1Edx = (1u << 25) | (1u << 26);
  SetCpuForTest(setup.form == Setup::Form::kDetected ? nullptr : &record);
  return BringUp(setup.path);
}

class FrontEndRun {
 public:
  explicit FrontEndRun(bool pitch) {
    ORVAFloatFrontCreate(&front_);
    ORVAFloatFrontSetParameter(front_, "wffpl_param_cmn_type", "0");
    ORVAFloatFrontSetParameter(front_, "wffpl_param_ispitch_enable", pitch ? "1" : "0");
    ORVAFloatFrontReset(front_, 1);
  }
  ~FrontEndRun() { ORVAFloatFrontDestroy(front_); }
  FrontEndRun(const FrontEndRun&) = delete;
  FrontEndRun& operator=(const FrontEndRun&) = delete;
  void Batch() {
    for (size_t at = 0; at < kSamples; at += kChunk) {
      ORVAFloatFrontAppendData(front_, Audio().data() + at, static_cast<int>(kChunk));
      while (ORVAFloatFrontGetFeature(front_, &record_, 0) == kFrontOk) benchmark::DoNotOptimize(record_);
    }
  }

 private:
  FrontHandle front_ = nullptr;
  StaticFeatureFB record_;
};

void FrontEnd(benchmark::State& state) {
  FrontEndRun run(false);
  Measure(state, [&] { run.Batch(); });
}

void Pitch(benchmark::State& state) {
  CPitchTracker tracker;
  Measure(state, [&] {
    for (size_t at = 0; at < kSamples; at += kFrame) {
      tracker.Process(Audio().data() + at);
      benchmark::DoNotOptimize(tracker.nF0);
    }
  });
}

// The features of the write path: front end, differences, stacking, normalisation of the blocks left to the network.
class ChannelRun {
 public:
  explicit ChannelRun(const NetworkKind& kind) : kind_(kind) { FrontEndChannelStart(&channel_, kRate, true, 0, false, kind.feature_dim); }
  const float* Pop() {
    BlockEnd end;
    return kind_.pop(&channel_, false, &end);
  }
  template <typename Take>
  void Batch(Take take) {
    for (size_t at = 0; at < kSamples; at += kChunk) {
      FrontEndPush(&channel_, Audio().data() + at, static_cast<int>(kChunk), false);
      channel_.nFramesOut = FinishedFrames(channel_);
      while (const float* block = Pop()) take(block);
    }
  }

 private:
  const NetworkKind& kind_;
  FrontEndChannel channel_;
};

// Differences and stacking: the channel less the front end in it.
void Features(benchmark::State& state, const NetworkKind* kind) {
  ChannelRun channel(*kind);
  FrontEndRun front(kind->feature_dim != 40);
  Measure(
      state, [&] { channel.Batch([](const float* block) { benchmark::DoNotOptimize(block); }); }, {}, [&] { front.Batch(); });
}

const NetworkKind& KindOf(WVADInst inst) { return *inst->network.kind(); }

bool AddBlock(TSEG::Network& network, const NetworkKind& kind, const float* block) {
  if (network.pDnn) return DnnForwardAddBlock(network.pDnn.get(), block, kind.block_floats, false);
  if (kind.feature_dim == 40) return LstmForwardAddBlock40(network.pLstm.get(), block, kind.block_floats, false);
  return LstmForwardAddBlock75(network.pLstm.get(), block, kind.block_floats, false);
}

// The network by itself, on blocks of real features.
void NetworkAlone(benchmark::State& state, const Setup& setup) {
  Use(setup);
  WVADInst inst = StartInstance();
  const NetworkKind& kind = KindOf(inst);
  const size_t floats = static_cast<size_t>(kind.block_floats);
  std::vector<float> blocks;
  ChannelRun(kind).Batch([&](const float* block) { blocks.insert(blocks.end(), block, block + floats); });
  const size_t count = blocks.size() / floats;
  TSEG::Network& network = inst->network;
  float scores[16];
  int32_t stride = 0;
  const auto batch = [&] {
    for (size_t k = 0; k < kFrames / static_cast<size_t>(kind.block_frames); ++k) {
      const bool ready = AddBlock(network, kind, blocks.data() + k % count * floats);
      if (ready && network.pDnn) DnnForwardRead(network.pDnn.get(), scores, &stride);
      if (ready && network.pLstm) LstmForwardRead(network.pLstm.get(), scores, &stride);
      benchmark::DoNotOptimize(scores);
    }
  };
  Measure(state, batch);
  wVadDestroyInst(inst);
}

// The decision on scored frames: pairs that turn from silence to speech and back.
void Decision(benchmark::State& state, const Setup& setup) {
  Use(setup);
  WVADInst inst = nullptr;
  const auto renew = [&] {
    if (inst != nullptr) wVadDestroyInst(inst);
    inst = StartInstance();
    inst->decision.eScore = std::vector<float>(2 * kFrames, 20000.0f);
  };
  renew();
  const auto batch = [&] {
    for (size_t k = 0; k < kFrames; ++k) {
      float pair[2] = {(inst->decision.nFrameIdx / 150) % 2 == 0 ? 0.05f : 0.95f, 0};
      pair[1] = 1.0f - pair[0];
      int32_t begin = 0;
      int32_t end = 0;
      wVadEmitVerdict(inst, wVadFrameStep(inst, pair, 2, &begin, &end), begin, end);
    }
  };
  Measure(state, batch, renew);
  wVadDestroyInst(inst);
}

// wVadAudioWrite and wVadAudioRead in pieces of 100 ms, as a client calls them.
void EndToEnd(benchmark::State& state, const Setup& setup) {
  Use(setup);
  WVADInst inst = StartInstance();
  constexpr size_t kPiece = 1600;
  Measure(state, [&] {
    for (size_t at = 0; at < kSamples; at += kPiece) WriteAndRead(inst, Audio().data() + at, kPiece, true);
  });
  wVadDestroyInst(inst);
}

// wVadInitialize: configuration, model file, loader; the file is in the system's cache.
void ModelLoad(benchmark::State& state, const Setup& setup) {
  double best = 1e9;
  for (auto _ : state) {
    const double took = Use(setup, true);
    state.SetIterationTime(took);
    best = std::min(best, took);
  }
  state.counters["load_ms"] = best * 1e3;
}

benchmark::internal::Benchmark* Tidy(benchmark::internal::Benchmark* row) { return row->UseManualTime()->Unit(benchmark::kMillisecond); }

// The rows of a model. Those of its loading go to `loads`: they have other columns.
void RegisterModel(const std::string& path, std::vector<std::pair<std::string, Setup>>* loads) {
  Setup setup;
  setup.path = path;
  Use(setup);
  WVADInst inst = StartInstance();
  const NetworkKind* kind = &KindOf(inst);
  wVadDestroyInst(inst);
  const std::string name = std::filesystem::path(path).stem().string();
  Tidy(benchmark::RegisterBenchmark(("Features/" + name).c_str(), Features, kind));
  Tidy(benchmark::RegisterBenchmark(("Decision/" + name).c_str(), Decision, setup));
  struct Row {
    Setup::Form form;
    const char* name;
  };
  const Row kRows[] = {{Setup::Form::kDetected, !kind->lstm ? "int" : (kind->feature_dim == 40 ? "int8" : "fixed")},
                       {Setup::Form::kSseFloat, "float_sse"},
                       {Setup::Form::kPlainFloat, "float_plain"}};
  for (const Row& row : kRows) {
    if (row.form != Setup::Form::kDetected && kind->feature_dim != 40) break;
    setup.form = row.form;
    Tidy(benchmark::RegisterBenchmark(("Network/" + name + "/" + row.name).c_str(), NetworkAlone, setup));
    Tidy(benchmark::RegisterBenchmark(("EndToEnd/" + name + "/" + row.name).c_str(), EndToEnd, setup));
    loads->emplace_back("ModelLoad/" + name + "/" + row.name, setup);
  }
}

}  // namespace
}  // namespace TSEG::bench

int main(int argc, char** argv) {
  using namespace TSEG::bench;
  std::vector<char*> arguments(argv, argv + argc);
  std::string tabular = "--benchmark_counters_tabular=true";
  arguments.insert(arguments.begin() + 1, tabular.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (count < 2) {
    std::fprintf(stderr, "usage: %s MODEL... [--benchmark_...]\n", argv[0]);
    return 2;
  }
  Tidy(benchmark::RegisterBenchmark("FrontEnd", FrontEnd));
  Tidy(benchmark::RegisterBenchmark("Pitch", Pitch));
  std::vector<std::pair<std::string, Setup>> loads;
  for (int i = 1; i < count; ++i) RegisterModel(arguments[static_cast<size_t>(i)], &loads);
  for (const auto& [name, setup] : loads) Tidy(benchmark::RegisterBenchmark(name.c_str(), ModelLoad, setup))->Iterations(30);
  benchmark::RunSpecifiedBenchmarks();
  wVadUninitialize();
  return 0;
}
