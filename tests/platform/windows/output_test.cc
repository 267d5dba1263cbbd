// SPDX-License-Identifier: Apache-2.0
//
// Lines to the debugger, notices where nobody would see a window, and the console.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/platform.h"

namespace TSEG {
namespace {

constexpr unsigned long kDebuggerText = 0x40010006;      // DBG_PRINTEXCEPTION_C: length and address of bytes
constexpr unsigned long kDebuggerTextWide = 0x4001000A;  // DBG_PRINTEXCEPTION_WIDE_C: of wide characters first

std::string* heard = nullptr;

// What a debugger does: takes the exception by which the system tells it of a line.
long __stdcall Hear(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kDebuggerText && record.ExceptionCode != kDebuggerTextWide) return EXCEPTION_CONTINUE_SEARCH;
  if (record.ExceptionCode == kDebuggerText) {
    *heard += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
  } else {
    for (const auto* c = reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]); *c != L'\0'; ++c)
      *heard += static_cast<char>(*c);
  }
  return EXCEPTION_CONTINUE_EXECUTION;
}

// What `act` tells a debugger.
template <typename Act>
std::string Heard(Act act) {
  std::string text;
  heard = &text;
  void* const handler = ::AddVectoredExceptionHandler(1, &Hear);
  act();
  ::RemoveVectoredExceptionHandler(handler);
  heard = nullptr;
  return text;
}

TEST(Output, DebuggerHearsTheLine) {
  EXPECT_EQ(Heard([] { platform::WriteDebugger("one line\n"); }), "one line\n");
}

TEST(Output, NoticeWhereWindowsAreNotSeenGoesToTheDebugger) {
  const HWINSTA seen = ::GetProcessWindowStation();
  const HWINSTA unseen = ::CreateWindowStationW(L"wvad_test", 0, GENERIC_ALL, nullptr);
  if (unseen == nullptr || ::SetProcessWindowStation(unseen) == 0) GTEST_SKIP() << "no window station of its own for this process";
  USEROBJECTFLAGS flags{};
  ::GetUserObjectInformationW(unseen, UOI_FLAGS, &flags, sizeof flags, nullptr);
  const bool is_visible = (flags.dwFlags & WSF_VISIBLE) != 0;
  const std::string text = is_visible ? "" : Heard([] { platform::ShowMessage("Logger", "it failed", true); });
  ::SetProcessWindowStation(seen);
  if (is_visible) GTEST_SKIP() << "every window station counts as visible here";
  EXPECT_EQ(text, "Logger [error]: it failed");
}

TEST(Output, ConsoleIsNotMadeWhereStandardOutputLeadsSomewhere) {
  ASSERT_NE(::GetFileType(::GetStdHandle(STD_OUTPUT_HANDLE)), static_cast<unsigned long>(FILE_TYPE_UNKNOWN));
  EXPECT_FALSE(platform::OpenConsole());
}

}  // namespace
}  // namespace TSEG
