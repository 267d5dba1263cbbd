// SPDX-License-Identifier: Apache-2.0
//
// The deliberate fault.
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/platform.h"

namespace TSEG {
namespace {

// What the system would do with an exception that nobody takes, without its box for the user.
long __stdcall EndByTheCode(EXCEPTION_POINTERS* exception) {
  ::TerminateProcess(::GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(FaultAtZero, EndsTheProcessByAnAccessViolation) {
  EXPECT_EXIT(
      {
        ::AddVectoredExceptionHandler(1, &EndByTheCode);
        platform::FaultAtZero();
      },
      ::testing::ExitedWithCode(static_cast<int>(STATUS_ACCESS_VIOLATION)), "");
}

}  // namespace
}  // namespace TSEG
