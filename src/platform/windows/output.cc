// SPDX-License-Identifier: Apache-2.0
//
// Outputs outside of files: the debugger, message boxes, and the console of a program that has none.
#include <windows.h>

#include <cstdio>

#include "platform/platform.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

// Whether a window would be seen. A service's would not: nobody could ever close it.
bool UserSeesWindows() {
  USEROBJECTFLAGS flags{};
  return ::GetUserObjectInformationW(::GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags, nullptr) != 0 &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

}  // namespace

void WriteDebugger(const std::string& line) { ::OutputDebugStringW(Wide(line).c_str()); }

void ShowMessage(const std::string& caption, const std::string& line, bool is_error) {
  if (!UserSeesWindows()) {
    WriteDebugger(caption + (is_error ? " [error]: " : " [information]: ") + line);
    return;
  }
  const unsigned icon = is_error ? MB_ICONERROR : MB_ICONINFORMATION;
  ::MessageBoxW(nullptr, Wide(line).c_str(), Wide(caption).c_str(), MB_OK | MB_TASKMODAL | icon);
}

// A standard output that leads somewhere is left where it leads: a console of the parent, a file, a pipe.
bool OpenConsole() {
  const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  const bool leads_somewhere = output != nullptr && output != INVALID_HANDLE_VALUE && ::GetFileType(output) != FILE_TYPE_UNKNOWN;
  if (leads_somewhere || ::AllocConsole() == 0) return false;
  if (std::freopen("CONOUT$", "w", stdout) != nullptr) return true;
  ::FreeConsole();
  return false;
}

void CloseConsole() { ::FreeConsole(); }

}  // namespace TSEG::platform
