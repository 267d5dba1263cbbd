// SPDX-License-Identifier: Apache-2.0
//
// What the system tells of the processor, against the same words in the process's own file.
#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "platform/platform.h"

namespace TSEG::platform {
namespace {

TEST(ProcessorWords, AreThoseThatTheProcessWasStartedWith) {
  // Pairs of a number and a value, both as wide as a pointer.
  std::ifstream file("/proc/self/auxv", std::ios::binary);
  std::map<unsigned long, unsigned long> words;
  unsigned long pair[2];
  while (file.read(reinterpret_cast<char*>(pair), sizeof pair)) words[pair[0]] = pair[1];
  if (words.empty()) GTEST_SKIP() << "/proc/self/auxv cannot be read";
  EXPECT_EQ(WordsOfProcessor().first, words[16]);
  EXPECT_EQ(WordsOfProcessor().second, words[26]);
  // Every processor of the family has floats and vectors, the two lowest bits.
  EXPECT_EQ(WordsOfProcessor().first & 3u, 3u);
}

}  // namespace
}  // namespace TSEG::platform
