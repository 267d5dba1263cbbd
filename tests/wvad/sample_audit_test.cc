// SPDX-License-Identifier: Apache-2.0
#include "wvad/sample_audit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace TSEG::tool {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

class Samples : public AudioSource {
 public:
  explicit Samples(std::vector<float> samples) : samples_(std::move(samples)) {}
  int rate_hz() const override { return 16000; }
  int channels() const override { return 1; }
  int64_t frames() const override { return static_cast<int64_t>(samples_.size()); }
  size_t Read(float* out, size_t count) override {
    count = std::min(count, samples_.size() - at_);
    std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(at_), count, out);
    at_ += count;
    return count;
  }

 private:
  std::vector<float> samples_;
  size_t at_ = 0;
};

// What is heard of `samples`, and what is said of them.
std::pair<std::vector<float>, std::string> Heard(const std::vector<float>& samples, double gain_db = 0) {
  SampleAudit audit(std::make_unique<Samples>(samples), gain_db);
  std::vector<float> heard(samples.size());
  size_t got = audit.Read(heard.data(), heard.size() / 2);
  got += audit.Read(heard.data() + got, heard.size());
  EXPECT_EQ(got, samples.size());
  return {heard, audit.note()};
}

TEST(SampleAudit, SoundPassesWithoutAWord) {
  const std::vector<float> samples = {0.0F, 0.5F, -1.0F, 1.5F, -1.9F};  // peaks of decoders too
  EXPECT_EQ(Heard(samples), std::make_pair(samples, std::string()));
}

TEST(SampleAudit, WhatIsNoNumberIsSilenceAndSaid) {
  const auto [heard, note] = Heard({0.5F, kNan, 0.25F, kInfinite, -kInfinite, 0.5F, 0.5F, 0.5F});
  EXPECT_EQ(heard, (std::vector<float>{0.5F, 0.0F, 0.25F, 0.0F, 0.0F, 0.5F, 0.5F, 0.5F}));
  EXPECT_EQ(note, "37.5 % of the samples are no numbers or infinite and count as silence");
  std::vector<float> one(2000, 0.5F);
  one[7] = kNan;
  EXPECT_EQ(Heard(one).second, "less than 0.1 % of the samples are no numbers or infinite and count as silence");
}

TEST(SampleAudit, WhatLiesFarBeyondFullScaleIsSaidToBeClipped) {
  EXPECT_EQ(Heard({0.5F, 2.1F, -3.0F, 1.0F}).second, "50.0 % of the samples lie more than 6 dB beyond full scale and were clipped");
  EXPECT_THAT(Heard({8000.0F, -8000.0F}).second, ::testing::StartsWith("100.0 % of the samples lie more than 6 dB beyond full scale"));
  EXPECT_THAT(Heard({8000.0F, -8000.0F}).second, ::testing::HasSubstr("divided by that first"));
  // A click is no news.
  std::vector<float> click(2000, 0.5F);
  click[7] = 3.0F;
  EXPECT_EQ(Heard(click).second, "");
}

TEST(SampleAudit, GainCountsBeforeClipping) {
  EXPECT_EQ(Heard({0.5F, 3.0F}, -6).second, "");
  EXPECT_THAT(Heard({0.5F, 0.25F}, 20).second, ::testing::StartsWith("100.0 % of"));
}

}  // namespace
}  // namespace TSEG::tool
