// SPDX-License-Identifier: Apache-2.0
//
// The three standard streams on Windows, and the console behind them (system.h, quiet_errors.h). Results have the same bytes on every
// system, so no line's end becomes two characters; a console takes them for UTF-8 as long as the program runs.
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>

#include "wvad/quiet_errors.h"
#include "wvad/system.h"
#include "wvad/windows/descriptor.h"

namespace TSEG::tool {
namespace {

unsigned page_before = 0;  // of the console, which outlives the program
bool has_escapes = false;  // a console that takes escape sequences

void PrepareConsole() {
  const HANDLE error = HandleOf(kStandardError);
  unsigned long mode = 0;
  has_escapes = ::GetConsoleMode(error, &mode) != 0 && ::SetConsoleMode(error, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
  if (!IsTerminal(kStandardOutput) && !IsTerminal(kStandardError)) return;
  page_before = ::GetConsoleOutputCP();
  ::SetConsoleOutputCP(CP_UTF8);
  std::atexit([] { ::SetConsoleOutputCP(page_before); });
}

// Columns of the console behind `descriptor`, 0 where there is none.
int WidthOf(int descriptor) {
  CONSOLE_SCREEN_BUFFER_INFO screen{};
  if (::GetConsoleScreenBufferInfo(HandleOf(descriptor), &screen) == 0) return 0;
  return screen.srWindow.Right - screen.srWindow.Left + 1;
}

// Another descriptor of what `descriptor` is; -1 if it is nothing.
int CopyOf(int descriptor) { return HandleOf(descriptor) == INVALID_HANDLE_VALUE ? -1 : ::_dup(descriptor); }

void GiveBack(int saved, int descriptor) {
  if (saved < 0) return;
  ::_dup2(saved, descriptor);
  ::_close(saved);
}

}  // namespace

bool IsTerminal(int descriptor) {
  unsigned long mode = 0;
  return ::GetConsoleMode(HandleOf(descriptor), &mode) != 0;
}

int TerminalWidth() {
  constexpr int kUsual = 80;
  const int width = WidthOf(kStandardError);
  return width > 0 ? width : kUsual;
}

int TextWidth() {
  const char* wanted = std::getenv("COLUMNS");
  if (const int columns = wanted != nullptr ? std::atoi(wanted) : 0; columns > 0) return columns;
  const int width = WidthOf(kStandardOutput);
  return width > 0 ? width : TerminalWidth();
}

std::string TerminalKind() {
  const char* kind = std::getenv("TERM");
  return kind != nullptr ? kind : has_escapes ? "console" : "";
}

void HoldStandardDescriptors() {
  for (const int descriptor : {kStandardInput, kStandardOutput, kStandardError}) {
    // The lowest free number is taken, and the wrong direction on purpose.
    const bool is_open = HandleOf(descriptor) != INVALID_HANDLE_VALUE;
    if (!is_open && ::_open("NUL", descriptor == kStandardInput ? _O_WRONLY : _O_RDONLY) != descriptor) break;
    ::_setmode(descriptor, _O_BINARY);
  }
  PrepareConsole();
}

OutputToError::OutputToError() {
  std::fflush(stdout);
  saved_ = CopyOf(kStandardOutput);
  if (saved_ >= 0) ::_dup2(kStandardError, kStandardOutput);
}

OutputToError::~OutputToError() {
  std::fflush(stdout);
  GiveBack(saved_, kStandardOutput);
}

ErrorToNowhere::ErrorToNowhere() {
  std::fflush(stderr);
  saved_ = CopyOf(kStandardError);
  const int nowhere = ::_open("NUL", _O_WRONLY | _O_BINARY);
  if (saved_ >= 0 && nowhere >= 0) ::_dup2(nowhere, kStandardError);
  if (nowhere >= 0) ::_close(nowhere);
}

ErrorToNowhere::~ErrorToNowhere() {
  std::fflush(stderr);
  GiveBack(saved_, kStandardError);
}

}  // namespace TSEG::tool
