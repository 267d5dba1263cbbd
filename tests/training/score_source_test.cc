// SPDX-License-Identifier: Apache-2.0
#include "blocks/score_source.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "blocks/block_source.h"
#include "support/temp_folder.h"

namespace TSEG::blocks {
namespace {

const std::string kBundledModel = std::string(WVAD_TEST_DATA_DIR) + "/../../models/dnn_fb75.bin";

TEST(ScoreSource, BundledModelGivesAPairAFrameThatSumsToOne) {
  std::string error;
  const auto model = ScoreModel::Load(kBundledModel, &error);
  ASSERT_TRUE(model) << error;
  std::vector<int16_t> samples(16000 + 480);  // (16480 - 800) / 160 + 1 = 99 frames: the last batch is short and odd
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<int16_t>((i * 7919) % 601);
  std::vector<float> pairs;
  ScoreSource(BlockOptions(), model.get()).Run(samples, &pairs);
  ASSERT_EQ(pairs.size(), 2u * 99u);
  for (size_t i = 0; i < pairs.size(); i += 2) {
    EXPECT_NEAR(pairs[i] + pairs[i + 1], 1.0f, 1e-6f);
    if (i % 4 == 2) {
      EXPECT_EQ(pairs[i], pairs[i - 2]) << "an odd frame repeats the pair before";
    }
  }
}

TEST(ScoreSource, DigitalSilenceIsNotSpeechForTheBundledModel) {
  std::string error;
  const auto model = ScoreModel::Load(kBundledModel, &error);
  ASSERT_TRUE(model) << error;
  std::vector<float> pairs;
  ScoreSource(BlockOptions(), model.get()).Run(std::vector<int16_t>(32000, 0), &pairs);
  ASSERT_FALSE(pairs.empty());
  for (size_t i = 0; i < pairs.size(); i += 2) EXPECT_LT(pairs[i], 0.7f) << i / 2;
}

// Both recurrent kinds: a pair a frame, except for recordings of less than three blocks, which have none.
class RecurrentScores : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    std::string error;
    model_ = ScoreModel::Load(std::string(WVAD_TEST_DATA_DIR) + "/../../models/" + GetParam() + ".bin", &error);
    ASSERT_TRUE(model_) << error;
  }
  std::vector<float> Pairs(const std::vector<int16_t>& samples) const {
    std::vector<float> pairs;
    ScoreSource(BlockOptions(), model_.get()).Run(samples, &pairs);
    return pairs;
  }
  std::unique_ptr<ScoreModel> model_;
};

TEST_P(RecurrentScores, ModelSaysItsTypeAndItsPriming) {
  EXPECT_EQ(model_->type(), GetParam());
  EXPECT_EQ(model_->networks().dnn, nullptr);
  ASSERT_NE(model_->networks().lstm, nullptr);
  EXPECT_EQ(model_->priming_frames(), 32);
}

TEST_P(RecurrentScores, EachFrameHasAPairAndThoseBeforeTheDelaySumToOne) {
  std::vector<int16_t> samples(16000 + 480);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<int16_t>((i * 7919) % 601);
  BlockOptions options;
  options.model_type = GetParam();
  size_t blocks = 0;
  BlockSource source(options);
  source.Run(samples, [&](const float*, bool) { ++blocks; });
  const std::vector<float> pairs = Pairs(samples);
  const size_t frames = 4 * blocks - static_cast<size_t>(source.padded_frames());
  ASSERT_EQ(pairs.size(), 2 * frames);
  for (size_t f = 0; f < 4 * (blocks - 2); ++f) EXPECT_NEAR(pairs[2 * f] + pairs[2 * f + 1], 1.0f, 1e-6f) << f;
  if (model_->type() == "lstm_fb75") {
    EXPECT_EQ(pairs[2 * frames - 2], pairs[2 * (4 * (blocks - 2)) - 2]) << "the last frames repeat the last pair";
  }
}

TEST_P(RecurrentScores, ARecordingOfTwoBlocksHasNoPairs) {
  // 1280 samples hold 8 hops, so no frame begins a third block of 4.
  EXPECT_TRUE(Pairs(std::vector<int16_t>(1280, 100)).empty());
}

TEST_P(RecurrentScores, DigitalSilenceIsNotSpeech) {
  const std::vector<float> pairs = Pairs(std::vector<int16_t>(32000, 0));
  ASSERT_GT(pairs.size(), 2u * 190u);
  // The last two blocks of "lstm_fb40" come from packed weights and need not be numbers.
  for (size_t i = 0; i + 16 < pairs.size(); i += 2) EXPECT_LT(pairs[i], 0.7f) << i / 2;
}

INSTANTIATE_TEST_SUITE_P(Bundled, RecurrentScores, testing::Values("lstm_fb40", "lstm_fb75"));

TEST(ScoreModel, AFileThatIsNoModelIsRefusedWithAReason) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/text.bin";
  std::ofstream(path) << std::string(20000, 'x');
  std::string error;
  EXPECT_FALSE(ScoreModel::Load(path, &error));
  EXPECT_EQ(error, path + ": refused by the model loader with 30005");
  EXPECT_FALSE(ScoreModel::Load(folder.path() + "/none.bin", &error));
  EXPECT_EQ(error, folder.path() + "/none.bin: cannot be read");
}

}  // namespace
}  // namespace TSEG::blocks
