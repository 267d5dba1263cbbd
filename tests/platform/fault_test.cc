// SPDX-License-Identifier: Apache-2.0
//
// The deliberate fault.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>

#include "platform/platform.h"

namespace TSEG {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define WVAD_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define WVAD_UNDER_SANITIZER 1
#endif
#endif

void FaultWithoutCoreFile() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  platform::FaultAtZero();
}

TEST(FaultAtZero, EndsTheProcessByASegmentationFault) {
#if defined(WVAD_UNDER_SANITIZER)
  EXPECT_DEATH(FaultWithoutCoreFile(), "SEGV");
#else
  EXPECT_EXIT(FaultWithoutCoreFile(), ::testing::KilledBySignal(SIGSEGV), "");
#endif
}

TEST(FaultAtZero, EndsTheProcessEvenIfTheSignalIsHandled) {
  EXPECT_DEATH(
      {
        std::signal(SIGSEGV, [](int) { std::_Exit(3); });
        FaultWithoutCoreFile();
      },
      "");
}

}  // namespace
}  // namespace TSEG
