// SPDX-License-Identifier: Apache-2.0
#include "wvad/sound_writer.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"
#include "wvad/arrays.h"

namespace TSEG::tool {
namespace {

TEST(SoundWriter, WhatGoesInComesOut) {
  const testing_support::TempFolder folder;
  std::vector<int16_t> samples;
  for (int i = 0; i < 5000; ++i) samples.push_back(static_cast<int16_t>(i * 7919 % 65536 - 32768));
  for (const SoundKind& kind : SoundKinds()) {
    for (const size_t count : {1U, 4999U, 5000U}) {
      const std::string path = folder.write("a", EncodeSound(samples.data(), count, 8000, kind));
      const testing::Sound sound = testing::ReadSound(path);
      EXPECT_EQ(sound.info.samplerate, 8000);
      EXPECT_EQ(sound.info.channels, 1);
      EXPECT_EQ(sound.samples, std::vector<int16_t>(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count)))
          << kind.name << count;
    }
  }
}

}  // namespace
}  // namespace TSEG::tool
