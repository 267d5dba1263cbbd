// SPDX-License-Identifier: Apache-2.0
//
// Memory over a long life: the engine up and down, instances made and destroyed, starts that fail, sessions that go on for an hour. Bounds
// are on the memory that is in use, between two equal states: next to nothing for what is the engine's own, a little for what the allocator
// keeps. A build with the address sanitizer does the same work in a shorter form under its leak check.
#include <cmath>

#include "strain/strain_support.h"

namespace TSEG::testing_support {
namespace {

// What the strings of the process may differ by between two states that are otherwise equal, and what an allocator may.
constexpr int64_t kObjectSlack = 1024;
constexpr int64_t kHeapSlack = 65536;

void ExpectNoGrowth(const MemoryInUse& before, const MemoryInUse& after, const char* what) {
  EXPECT_LT(after.objects - before.objects, kObjectSlack) << what;
  EXPECT_LT(after.heap - before.heap, kHeapSlack) << what;
}

class MemoryTest : public StrainTest {};

TEST_F(MemoryTest, UpAndDownAThousandTimesDoesNotGrow) {
  // Multiples of 60, the period of what the rounds do.
  constexpr int kRounds = kSanitized ? 60 : 1020;
  constexpr int kWarmUp = kSanitized ? 60 : 240;
  const std::vector<int16_t> second(SessionAudio().begin(), SessionAudio().begin() + 16000);
  MemoryInUse before;
  for (int i = 0; i < kRounds; ++i) {
    // The engine closes the logger on its way down, so each round opens, uses and closes a log of its own as well.
    PutLogger(folder_, "file=" + folder_.file("own.log") + "\nlevel=all\nmaxsize=65536\noverwrite=1\n");
    Configure(DataFile(kModels[i % 3]), i % 4 == 0 ? "wvad_param_bKelOn = 1" : "wvad_param_bKelOn = 0");
    ASSERT_EQ(wVadInitialize(nullptr), 0) << "round " << i;
    if (i % 10 == 0) {
      const Outcome outcome = RunSession(second, 1600);
      ASSERT_TRUE(AllZero(outcome.codes)) << "round " << i;
    }
    ASSERT_EQ(wVadUninitialize(), 0);
    // With the audio-quality component its own end has closed the log already.
    if (srlog_exists()) srlog_close();
    if (i == kWarmUp - 1) before = MeasureMemory();
  }
  if (kSanitized) GTEST_SKIP() << "ran " << kRounds << " rounds; memory is not measured under a sanitizer";
  ExpectNoGrowth(before, MeasureMemory(), "from round 240 to 1020");
}

TEST_F(MemoryTest, FailedStartsDoNotGrow) {
  constexpr int kRounds = kSanitized ? 60 : 1000;
  std::string model;
  {
    std::ifstream in(DataFile("models/lstm75.bin"), std::ios::binary);
    model.assign((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }
  folder_.write("cut.bin", model.substr(0, model.size() - 1));
  folder_.write("empty.bin", "");
  std::string old_keys = model;
  const size_t key = old_keys.find("lstm_fb75");
  ASSERT_NE(key, std::string::npos);
  old_keys.replace(key, 9, "dnn_fb75\0", 9);
  folder_.write("foreign.bin", old_keys);
  struct Row {
    const char* file;
    int code;
  };
  const Row kRows[] = {{"cut.bin", 30002}, {"empty.bin", 30002}, {"foreign.bin", 30003}, {"missing.bin", 30000}};
  PutLogger(folder_, kNoLog);
  MemoryInUse before;
  for (int i = 0; i < kRounds; ++i) {
    const Row& row = kRows[i % 4];
    Configure(folder_.file(row.file));
    ASSERT_EQ(wVadInitialize(nullptr), row.code) << row.file;
    if (i == kRounds / 5 - 1) before = MeasureMemory();
  }
  const MemoryInUse after = MeasureMemory();
  // And the engine is as usable as ever.
  Configure(DataFile("models/dnn.bin"));
  ASSERT_EQ(wVadInitialize(nullptr), 0);
  EXPECT_TRUE(AllZero(RunSession(SessionAudio(), 1600).codes));
  if (kSanitized) GTEST_SKIP() << "ran " << kRounds << " rounds; memory is not measured under a sanitizer";
  ExpectNoGrowth(before, after, "failed starts");
}

TEST_F(MemoryTest, InstancesAndSessionsComeAndGoWithoutGrowth) {
  constexpr int kRounds = kSanitized ? 12 : 288;
  const std::vector<int16_t> piece(SessionAudio().begin(), SessionAudio().begin() + 16000 * 2);
  for (const char* model : kModels) {
    UpQuiet(model, "wvad_param_bKelOn = 1");
    std::vector<WVADInst> live(8, nullptr);
    MemoryInUse before;
    for (int i = 0; i < kRounds; ++i) {
      WVADInst& inst = live[static_cast<size_t>(i) % live.size()];
      if (inst != nullptr) {
        ASSERT_EQ(wVadDestroyInst(inst), 0);  // a session is running on every second one
      }
      inst = nullptr;
      ASSERT_EQ(wVadCreateInst(&inst), 0);
      ASSERT_EQ(wVadSetParameter(inst, "wvad_param_nReadType", i % 3 == 0 ? "1" : "0"), 0);
      for (int sessions = 0; sessions < 2; ++sessions) {
        ASSERT_EQ(wVadStart(inst), 0);
        WVadAudioSample audio = {};
        audio.pData = const_cast<int16_t*>(piece.data());
        audio.len = static_cast<uint32_t>(piece.size());
        audio.status = WVAD_WRITE_CONTINUE;
        ASSERT_EQ(wVadAudioWrite(inst, &audio), 0);
        Outcome outcome;
        ReadAll(inst, &outcome);
        if (sessions == 0 || i % 2 == 0) {
          ASSERT_EQ(wVadStop(inst), 0);
        }
      }
      if (i == kRounds / 4 - 1) before = MeasureMemory();  // a multiple of 24: the same instances are in the same states at the end
    }
    const MemoryInUse after = MeasureMemory();
    for (WVADInst inst : live) {
      if (inst != nullptr) wVadDestroyInst(inst);
    }
    if (!kSanitized) ExpectNoGrowth(before, after, model);
  }
  if (kSanitized) GTEST_SKIP() << "ran " << kRounds << " rounds a model; memory is not measured under a sanitizer";
}

// Speech-like sound and pauses without an end, made as they are needed: 16000 Hz, a voice of 1.5 s, a pause of 2.5 s. The voice moves, so
// that no two sentences are the same.
class EndlessAudio {
 public:
  void Next(std::vector<int16_t>* out) {
    for (int16_t& x : *out) {
      const int64_t phase = at_ % 64000;
      state_ = state_ * 1664525u + 1013904223u;
      double v = static_cast<double>(state_ >> 26) - 32.0;
      if (phase < 24000) {
        if (phase == 0) step_ = 2.0 * 3.14159265358979 * (110.0 + static_cast<double>(at_ / 64000 % 17) * 7.0) / 16000.0;
        angle_ += step_;
        // Four harmonics by the recurrence of the sine, which costs one sine a sample.
        const double s = std::sin(angle_);
        v += 2500.0 * s + 2000.0 * (2.0 * s * s - 1.0) + 1500.0 * (4.0 * s * s * s - 3.0 * s);
      }
      x = static_cast<int16_t>(v);
      ++at_;
    }
  }

 private:
  int64_t at_ = 0;
  uint32_t state_ = 7;
  double angle_ = 0.0;
  double step_ = 0.0;
};

struct LongSessionCase {
  const char* model;
  const char* read_type;  // "0": features, "1": PCM
};
void PrintTo(const LongSessionCase& row, std::ostream* out) { *out << row.model << " read type " << row.read_type; }

class LongSession : public StrainTest, public ::testing::WithParamInterface<LongSessionCase> {};

// What a session keeps for good is the table of its sentences, 13 bytes each, in arrays that double. Whatever else it holds it lets go of:
// a single byte kept of each frame would be 300000 here.
TEST_P(LongSession, MemoryPerSecondOfAudioIsFlatWhileTheClientReads) {
  constexpr int kMinutes = kSanitized ? 2 : 60;
  UpQuiet(GetParam().model);
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  ASSERT_EQ(Set("wvad_param_nReadType", GetParam().read_type), 0);
  // Neither the tail nor a first sentence that is late ends it.
  ASSERT_EQ(Set("wvad_param_nSpeechTailMS", "2000000000"), 0);
  ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "2000000000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EndlessAudio source;
  std::vector<int16_t> piece(16000);
  uint64_t read_bytes = 0;
  size_t sentences_begun = 0;
  MemoryInUse early;
  size_t results = 0;
  Outcome outcome;
  for (int minute = 0; minute < kMinutes; ++minute) {
    for (int second = 0; second < 60; ++second) {
      source.Next(&piece);
      ASSERT_EQ(Write(piece.data(), piece.size(), WVAD_WRITE_CONTINUE), 0);
      ReadAll(inst_, &outcome);
      Collect(inst_, &outcome);
      read_bytes += outcome.read.size();
      results += outcome.results.size();
      for (const uint32_t status : outcome.statuses) sentences_begun += status == WVAD_READ_BEGIN ? 1u : 0u;
      ASSERT_TRUE(AllZero(outcome.codes));
      outcome.codes.clear();
      outcome.statuses.clear();
      outcome.read.clear();
      outcome.results.clear();
    }
    if (minute == kMinutes / 6) early = MeasureMemory();
  }
  const int64_t grown_bytes = MeasureMemory().heap - early.heap;
  ASSERT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  ReadAll(inst_, &outcome);
  EXPECT_EQ(outcome.statuses.back(), static_cast<uint32_t>(WVAD_READ_OVER));
  for (const uint32_t status : outcome.statuses) sentences_begun += status == WVAD_READ_BEGIN ? 1u : 0u;
  // The client did get something all the time, and heard the begin of every sentence once.
  std::vector<int> endpoints(20000);
  endpoints.resize(static_cast<size_t>(wVadQueryEPInfo(inst_, endpoints.data(), 20000)));
  EXPECT_GT(read_bytes, 0u);
  EXPECT_GE(endpoints.size() / 2, 1u);
  EXPECT_EQ(sentences_begun, endpoints.size() / 2);
  RecordProperty("sentences", static_cast<int>(endpoints.size() / 2));
  RecordProperty("bytes_grown", std::to_string(grown_bytes));
  std::printf("%s: %zu sentences, %llu bytes read, %zu results, %lld bytes more than %d minutes before\n", GetParam().model,
              endpoints.size() / 2, static_cast<unsigned long long>(read_bytes), results, static_cast<long long>(grown_bytes),
              kMinutes - kMinutes / 6 - 1);
  if (kSanitized) GTEST_SKIP() << "ran " << kMinutes << " minutes; memory is not measured under a sanitizer";
  EXPECT_LT(grown_bytes, 131072);
}

INSTANTIATE_TEST_SUITE_P(EachModel, LongSession,
                         ::testing::Values(LongSessionCase{"models/dnn.bin", "1"}, LongSessionCase{"models/lstm75.bin", "0"},
                                           LongSessionCase{"models/lstm40.bin", "0"}),
                         [](const auto& row) {
                           const std::string path = row.param.model;
                           return path.substr(7, path.size() - 11);
                         });

}  // namespace
}  // namespace TSEG::testing_support
