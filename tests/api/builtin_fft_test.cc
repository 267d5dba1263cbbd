// SPDX-License-Identifier: Apache-2.0
//
// The front end and whole sessions over the transform of this tree, which is defined to the bit: features, score pairs and results are
// those that were recorded with its definition, whichever form computes them and whichever processor.
//
// This program holds fft_builtin.cc itself, so it has this transform in every build.
#include <gtest/gtest.h>

#include <boost/crc.hpp>
#include <fstream>
#include <nlohmann/json.hpp>

#include "buffers/aligned_buffer.h"
#include "decision/decision_observer.h"
#include "frontend/fft.h"
#include "frontend/float_front_fixture.h"
#include "nn/cpu_features.h"
#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

using Json = nlohmann::ordered_json;

Json Recorded() { return Json::parse(std::ifstream(DataFile("sessions/builtin_fft.json"))); }

// Checksums of all score pairs.
class PairWatcher : public DecisionObserver {
 public:
  void OnFrame(const TsegInst&, int32_t, const DecidedFrame& frame, EndpointResult) override {
    ++frames;
    crc.process_bytes(&frame.speech, sizeof frame.speech);
    crc.process_bytes(&frame.other, sizeof frame.other);
  }
  int frames = 0;
  boost::crc_32_type crc;
};

class GoldenSessions : public EngineTest {
 protected:
  void TearDown() override {
    EngineTest::TearDown();
    SetCpuForTest(nullptr);
  }
  // This processor, whose words say that a 40-value model takes its int8 form or the float form with four lanes.
  void SetProcessor(bool int8) {
    cpu_ = DetectedCpu();
    cpu_.family = ProcessorFamily::kX86;
    cpu_.leaf1Edx = (1u << 25) | (1u << 26);
    cpu_.leaf1Ecx = int8 ? (1u << 9) | (1u << 19) : 0;
    SetCpuForTest(&cpu_);
  }

 private:
  CpuFeatures cpu_;
};

TEST_F(GoldenSessions, AreThoseThatTheDefinitionGave) {
  const Json recorded = Recorded();
  ASSERT_FALSE(recorded["sessions"].empty());
  for (const Json& want : recorded["sessions"]) {
    SetProcessor(want["int8"]);
    UpQuiet("models/" + want["model"].get<std::string>());
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
    PairWatcher watcher;
    inst_->decision.pObserver = &watcher;
    ASSERT_EQ(wVadStart(inst_), 0);
    WriteAll(ReadPcm(DataFile(want["audio"])), 4096);
    Json got = want;
    got["frames"] = watcher.frames;
    got["pairs_crc32"] = watcher.crc.checksum();
    got["ep_frames"] = Endpoints();
    got["results"] = Results();
    EXPECT_EQ(got, want) << got.dump();
    inst_->decision.pObserver = nullptr;
    ASSERT_EQ(wVadDestroyInst(inst_), 0);
    inst_ = nullptr;
  }
}

TEST_F(GoldenSessions, FeaturesAreThoseThatTheDefinitionGave) {
  const Json recorded = Recorded();
  ASSERT_FALSE(recorded["features"].empty());
  for (const Json& want : recorded["features"]) {
    Front front("0", true, want["rate"]);
    ASSERT_EQ(front.append(ReadPcm(DataFile(want["audio"]))), 0);
    const std::vector<StaticFeatureFB> records = front.read(true);
    boost::crc_32_type banks;
    boost::crc_32_type pitch;
    for (const StaticFeatureFB& record : records) {
      banks.process_bytes(record.afFb24, sizeof record.afFb24);
      banks.process_bytes(record.afFb40, sizeof record.afFb40);
      pitch.process_bytes(&record.fPitch, sizeof record.fPitch);
      pitch.process_bytes(&record.fPitchAux, sizeof record.fPitchAux);
    }
    Json got = want;
    got["records"] = records.size();
    got["banks_crc32"] = banks.checksum();
    got["pitch_crc32"] = pitch.checksum();
    EXPECT_EQ(got, want) << got.dump();
  }
}

TEST(BuiltinFft, SizeWithoutAPlanStaysUnplannedAndDoesNothing) {
  for (const int size : {192, 384, 2048}) {
    const RealFft fft(size);
    EXPECT_FALSE(fft.planned()) << size;
    AlignedBuffer<float> in(2048);
    AlignedBuffer<std::complex<float>> out(1025);
    in[0] = 1.0f;
    fft.Execute(in.data(), out.data());
    EXPECT_EQ(out[0], std::complex<float>(0, 0)) << size;
  }
}

}  // namespace
}  // namespace TSEG::testing_support
