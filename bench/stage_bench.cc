// SPDX-License-Identifier: Apache-2.0
//
// Cost per 10 ms frame, stage by stage and of the whole road, beside the cost of one 512-point transform measured in the same run.
//
//   wvad_stage_bench MODEL [Google Benchmark options]
//
// The counter "ffts" is the cost of one frame in units of that transform: the figure to compare between machines.
#include <benchmark/benchmark.h>

#include <chrono>
#include <complex>
#include <string>

#include "base/aligned_buffer.h"
#include "bench_support.h"
#include "decision/decision.h"
#include "frontend/fft.h"
#include "frontend/float_front.h"
#include "frontend/pitch_tracker.h"
#include "session/front_end_channel.h"
#include "session/tseg_inst.h"

namespace TSEG::bench {
namespace {

constexpr int kRate = 16000;
constexpr size_t kFrame = 160;
constexpr size_t kChunk = 400;  // the unit of the write path

const std::vector<int16_t>& Audio() {
  static const std::vector<int16_t> audio = MakeAudio(kRate, 60);
  return audio;
}

// Seconds of one 512-point real transform, the least of several measurements.
double TransformSeconds() {
  static const double seconds = [] {
    RealFft fft(512);
    AlignedBuffer<float> in(512, RealFft::kAlignment);
    AlignedBuffer<std::complex<float>> out(257, RealFft::kAlignment);
    for (size_t i = 0; i < 512; ++i) in[i] = static_cast<float>(Audio()[i]);
    double best = 1e9;
    for (int round = 0; round < 20; ++round) {
      const auto begin = std::chrono::steady_clock::now();
      for (int i = 0; i < 20000; ++i) {
        fft.Execute(in.data(), out.data());
        benchmark::DoNotOptimize(out.data());
      }
      const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count() / 20000;
      best = took < best ? took : best;
    }
    return best;
  }();
  return seconds;
}

// Reports time per frame, and the same in transforms.
void Report(benchmark::State& state, double frames) {
  using benchmark::Counter;
  state.counters["us_per_frame"] = Counter(frames * 1e-6, Counter::kIsRate | Counter::kInvert);
  state.counters["ffts"] = Counter(frames * TransformSeconds(), Counter::kIsRate | Counter::kInvert);
}

void Transform512(benchmark::State& state) {
  RealFft fft(512);
  AlignedBuffer<float> in(512, RealFft::kAlignment);
  AlignedBuffer<std::complex<float>> out(257, RealFft::kAlignment);
  for (auto _ : state) {
    fft.Execute(in.data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, static_cast<double>(state.iterations()));
}

void FrontEnd(benchmark::State& state, bool pitch) {
  FrontHandle front = nullptr;
  ORVAFloatFrontCreate(&front);
  ORVAFloatFrontSetParameter(front, "wffpl_param_cmn_type", "0");
  ORVAFloatFrontSetParameter(front, "wffpl_param_ispitch_enable", pitch ? "1" : "0");
  ORVAFloatFrontReset(front, 1);
  StaticFeatureFB record;
  size_t at = 0;
  double frames = 0;
  for (auto _ : state) {
    ORVAFloatFrontAppendData(front, Audio().data() + at, static_cast<int>(kFrame));
    while (ORVAFloatFrontGetFeature(front, &record, 0) == kFrontOk) benchmark::DoNotOptimize(record);
    at = (at + kFrame) % (Audio().size() - kFrame);
    frames += 1;
  }
  Report(state, frames);
  ORVAFloatFrontDestroy(front);
}

void Pitch(benchmark::State& state) {
  CPitchTracker tracker;
  size_t at = 0;
  for (auto _ : state) {
    tracker.Process(Audio().data() + at);
    benchmark::DoNotOptimize(tracker.nF0);
    at = (at + kFrame) % (Audio().size() - 800);
  }
  Report(state, static_cast<double>(state.iterations()));
}

// Differences and stacking: the whole channel, less the front end that it holds (see the row FrontEnd).
void Channel(benchmark::State& state, const char* type) {
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, kRate, true, 0, false, type);
  size_t at = 0;
  double frames = 0;
  for (auto _ : state) {
    FrontEndPush(&channel, Audio().data() + at, static_cast<int>(kChunk), false);
    channel.nFramesOut = FinishedFrames(channel);
    uint8_t eof = 0;
    int32_t padded = 0;
    if (channel.bLstm40) {
      while (PopLstmBlock40(&channel, false, &eof, &padded) != nullptr) {
      }
    } else if (std::string(type) == "dnn_fb75") {
      while (PopDnnBlock(&channel, false, &eof) != nullptr) {
      }
    } else {
      while (PopLstmBlock75(&channel, false, &eof, &padded) != nullptr) {
      }
    }
    at = (at + kChunk) % (Audio().size() - kChunk);
    frames += static_cast<double>(kChunk) / static_cast<double>(kFrame);
  }
  Report(state, frames);
}

// The network by itself, on blocks of real features.
void Network(benchmark::State& state) {
  WVADInst inst = StartInstance();
  const bool lstm = inst->pLstm != nullptr;
  const bool lstm40 = lstm && inst->pLstm->pModel->nFeatureDim == 40;
  const size_t floats = !lstm ? 825 : (lstm40 ? 160 : 300);
  const int frames_per_block = lstm ? 4 : 1;
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, kRate, true, 0, false, !lstm ? "dnn_fb75" : (lstm40 ? "lstm_fb40" : "lstm_fb75"));
  std::vector<float> blocks;
  uint8_t eof = 0;
  int32_t padded = 0;
  for (size_t at = 0; at + kChunk <= Audio().size() / 4; at += kChunk) {
    FrontEndPush(&channel, Audio().data() + at, static_cast<int>(kChunk), false);
    const float* block = nullptr;
    while ((block = !lstm ? PopDnnBlock(&channel, false, &eof)
                          : (lstm40 ? PopLstmBlock40(&channel, false, &eof, &padded) : PopLstmBlock75(&channel, false, &eof, &padded))) !=
           nullptr) {
      blocks.insert(blocks.end(), block, block + floats);
    }
  }
  float scores[16];
  int32_t stride = 0;
  size_t next = 0;
  double frames = 0;
  for (auto _ : state) {
    const float* block = blocks.data() + next;
    bool ready = false;
    if (!lstm) {
      ready = DnnForwardAddBlock(inst->pDnn.get(), block, 825, false);
      if (ready) DnnForwardRead(inst->pDnn.get(), scores, &stride);
    } else {
      ready = lstm40 ? LstmForwardAddBlock40(inst->pLstm.get(), block, 160, false)
                     : LstmForwardAddBlock75(inst->pLstm.get(), block, 300, false);
      if (ready) LstmForwardRead(inst->pLstm.get(), scores, &stride);
    }
    benchmark::DoNotOptimize(scores);
    next = (next + floats) % blocks.size();
    frames += frames_per_block;
  }
  Report(state, frames);
  wVadDestroyInst(inst);
}

// The decision on scored frames: pairs that turn from silence to speech and back.
void Decision(benchmark::State& state) {
  WVADInst inst = StartInstance();
  inst->eScore.assign(200000000 / 1000, 20000.0f);
  float pair[2] = {0, 0};
  for (auto _ : state) {
    const int32_t frame = inst->nFrameIdx;
    if (frame + 1 >= static_cast<int32_t>(inst->eScore.size())) {
      state.PauseTiming();
      wVadStop(inst);
      wVadDestroyInst(inst);
      inst = StartInstance();
      inst->eScore.assign(200000000 / 1000, 20000.0f);
      state.ResumeTiming();
    }
    pair[0] = (frame / 150) % 2 == 0 ? 0.05f : 0.95f;
    pair[1] = 1.0f - pair[0];
    int32_t begin = 0;
    int32_t end = 0;
    wVadEmitVerdict(inst, wVadFrameStep(inst, pair, 2, &begin, &end), begin, end);
  }
  Report(state, static_cast<double>(state.iterations()));
  wVadDestroyInst(inst);
}

// wVadAudioWrite and wVadAudioRead in pieces of 100 ms, as a client calls them.
void WholeRoad(benchmark::State& state) {
  WVADInst inst = StartInstance();
  constexpr size_t kPiece = 1600;
  size_t at = 0;
  double frames = 0;
  for (auto _ : state) {
    WriteAndRead(inst, Audio().data() + at, kPiece, true);
    at = (at + kPiece) % (Audio().size() - kPiece);
    frames += static_cast<double>(kPiece) / static_cast<double>(kFrame);
  }
  Report(state, frames);
  wVadStop(inst);
  wVadDestroyInst(inst);
}

void ModelLoad(benchmark::State& state, const std::string& path) {
  wVadUninitialize();
  for (auto _ : state) {
    BringUp(path);
    wVadUninitialize();
  }
  BringUp(path);
}

}  // namespace
}  // namespace TSEG::bench

int main(int argc, char** argv) {
  using namespace TSEG::bench;
  benchmark::Initialize(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s MODEL [--benchmark_...]\n", argv[0]);
    return 2;
  }
  const std::string model = argv[1];
  BringUp(model);
  benchmark::RegisterBenchmark("Transform512", Transform512);
  benchmark::RegisterBenchmark("FrontEnd", FrontEnd, false);
  benchmark::RegisterBenchmark("FrontEndWithPitch", FrontEnd, true);
  benchmark::RegisterBenchmark("Pitch", Pitch);
  benchmark::RegisterBenchmark("Channel/dnn_fb75", Channel, "dnn_fb75");
  benchmark::RegisterBenchmark("Channel/lstm_fb75", Channel, "lstm_fb75");
  benchmark::RegisterBenchmark("Channel/lstm_fb40", Channel, "lstm_fb40");
  benchmark::RegisterBenchmark("Network", Network);
  benchmark::RegisterBenchmark("Decision", Decision);
  benchmark::RegisterBenchmark("WholeRoad", WholeRoad);
  benchmark::RegisterBenchmark("ModelLoad", ModelLoad, model)->Unit(benchmark::kMicrosecond);
  benchmark::RunSpecifiedBenchmarks();
  wVadUninitialize();
  return 0;
}
