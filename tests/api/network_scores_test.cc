// SPDX-License-Identifier: Apache-2.0
//
// The whole path from audio to score pairs in each form of each network, against reference numbers: front end, stacking, model file,
// forward pass. The pairs stand before any decision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

#include "channel/front_end_channel.h"
#include "nn/cpu_features.h"
#include "nn/dnn_forward.h"
#include "nn/lstm_forward.h"
#include "res/test_models.h"
#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

constexpr int kChunk = 400;

std::vector<float> ReadFloats(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<float> values(bytes.size() / sizeof(float));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
  return values;
}

// Collects pairs as the frame loops take them from the forward objects.
class Path {
 public:
  Path(const HMMResourceLink& model, const std::string& type) : type_(type) {
    FrontEndChannelStart(&channel_, 16000, true, 0, false, type == "lstm_fb40" ? 40 : 75);
    if (type == "dnn_fb75") {
      DnnForwardBind(&dnn_, model.pDnn.get());
    } else {
      LstmForwardBind(&lstm_, model.pLstm.get());
    }
    priming_frames_ = std::atoi(model.szModelValue[3]);
  }

  std::vector<float> Run(const std::vector<int16_t>& pcm) {
    for (size_t at = 0; at < pcm.size(); at += kChunk) {
      const size_t n = std::min<size_t>(kChunk, pcm.size() - at);
      const bool last = at + n == pcm.size();
      FrontEndPush(&channel_, pcm.data() + at, static_cast<int>(n), last);
      if (type_ == "dnn_fb75") {
        TakeDnn(last);
      } else {
        TakeLstm(last);
      }
    }
    return pairs_;
  }

 private:
  void Append(const float* scores, int32_t count) { pairs_.insert(pairs_.end(), scores, scores + 2 * count); }

  void TakeDnn(bool last) {
    uint8_t eof = 0;
    while (const float* block = PopDnnBlock(&channel_, last, &eof)) {
      if (!DnnForwardAddBlock(&dnn_, block, 825, eof != 0)) continue;
      float scores[16];
      int32_t stride = 0;
      Append(scores, DnnForwardRead(&dnn_, scores, &stride));
    }
  }

  void TakeLstm(bool last) {
    uint8_t eof = 0;
    int32_t padded = 0;
    const bool wide = type_ == "lstm_fb75";
    while (const float* block = wide ? PopLstmBlock75(&channel_, last, &eof, &padded) : PopLstmBlock40(&channel_, last, &eof, &padded)) {
      if (!wide && first_) LstmForwardPrime(&lstm_, priming_frames_);
      first_ = false;
      if (!(wide ? LstmForwardAddBlock75(&lstm_, block, 300, false) : LstmForwardAddBlock40(&lstm_, block, 160, false))) continue;
      float scores[8];
      int32_t stride = 0;
      Append(scores, LstmForwardRead(&lstm_, scores, &stride));
      if (eof == 0) continue;
      // Two results are still owed, less what was padded.
      if (wide) {
        for (int32_t i = 0; i < 8 - padded; ++i) Append(scores + 6, 1);
        continue;
      }
      float owed[16];
      for (int flush = 0; flush < 2; ++flush) {
        ASSERT_TRUE(LstmForwardFlushBlock(&lstm_, nullptr, 160, true));
        ASSERT_EQ(LstmForwardRead(&lstm_, owed + 8 * flush, &stride), 4);
      }
      Append(owed, 8 - padded);
    }
  }

  const std::string type_;
  FrontEndChannel channel_;
  DnnForward dnn_;
  LstmForward lstm_;
  int32_t priming_frames_ = 0;
  bool first_ = true;
  std::vector<float> pairs_;
};

// The processor record of the life of an object.
class CpuScope {
 public:
  explicit CpuScope(const CpuFeatures& cpu) : cpu_(cpu) { SetCpuForTest(&cpu_); }
  ~CpuScope() { SetCpuForTest(nullptr); }
  CpuScope(const CpuScope&) = delete;
  CpuScope& operator=(const CpuScope&) = delete;

 private:
  CpuFeatures cpu_;
};

constexpr uint32_t kSse = 1U << 25, kSse2 = 1U << 26, kSsse3 = 1U << 9, kSse41 = 1U << 19;

struct Form {
  const char* model;
  const char* type;
  const char* numbers;
  uint32_t edx, ecx;  // of the processor
  // The two forms that cut their inputs to 11 fraction bits amplify the last bit of a transform where a value lies on such an edge.
  float tolerance;
};

class NetworkScores : public testing::TestWithParam<Form> {};

TEST_P(NetworkScores, PairsAgreeWithTheReference) {
  const Form& form = GetParam();
  CpuFeatures cpu = DetectedCpu();
  cpu.family = ProcessorFamily::kX86;  // whose words choose the form
  cpu.leaf1Edx = form.edx;
  cpu.leaf1Ecx = form.ecx | (cpu.leaf1Ecx & (1U << 27));
  const CpuScope scope(cpu);
  const std::string path = DataFile(std::string("models/") + form.model);
  const Loaded model(modelfile::ReadFileBytes(path));
  ASSERT_EQ(model.ret, 0);
  const std::vector<float> want = ReadFloats(DataFile(std::string("models/") + form.numbers));
  ASSERT_EQ(want.size(), 2u * 911u);  // (146400 - 800) / 160 + 1 frames
  Path whole(model.link, form.type);
  const std::vector<float> got = whole.Run(ReadPcm(DataFile("sessions/pcm_16000.i16")));
  ASSERT_EQ(got.size(), want.size());
  float lowest = 1.0F;
  float highest = 0.0F;
  int far = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    ASSERT_NEAR(got[i], want[i], form.tolerance) << "frame " << i / 2;
    far += std::fabs(got[i] - want[i]) > 1e-3F ? 1 : 0;
    lowest = std::min(lowest, got[i]);
    highest = std::max(highest, got[i]);
  }
  EXPECT_LT(far, 2 * 911 / 10);
  EXPECT_GT(highest - lowest, 0.1F);  // the pairs do follow the audio
}

INSTANTIATE_TEST_SUITE_P(EachForm, NetworkScores,
                         testing::Values(Form{"dnn.bin", "dnn_fb75", "dnn_dnn_pairs.f32", kSse | kSse2, kSsse3 | kSse41, 1e-2F},
                                         Form{"dnn.bin", "dnn_fb75", "dnn_dnn_pairs.f32", 0, 0, 1e-2F},
                                         Form{"lstm75.bin", "lstm_fb75", "lstm75_fixed_pairs.f32", kSse | kSse2, kSsse3 | kSse41, 1e-2F},
                                         Form{"lstm75.bin", "lstm_fb75", "lstm75_fixed_pairs.f32", 0, 0, 1e-2F},
                                         Form{"lstm40.bin", "lstm_fb40", "lstm40_int8_pairs.f32", kSse | kSse2, kSsse3 | kSse41, 1e-4F},
                                         Form{"lstm40.bin", "lstm_fb40", "lstm40_float_sse_pairs.f32", kSse | kSse2, kSsse3, 1e-4F},
                                         Form{"lstm40.bin", "lstm_fb40", "lstm40_float_x87_pairs.f32", 0, 0, 1e-4F}),
                         [](const testing::TestParamInfo<Form>& row) {
                           std::string name = row.param.numbers;
                           name = name.substr(0, name.find("_pairs"));
                           return name + (row.param.edx == 0 ? "_plain_processor" : "");
                         });

}  // namespace
}  // namespace TSEG::testing_support
