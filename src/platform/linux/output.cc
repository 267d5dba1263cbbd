// SPDX-License-Identifier: Apache-2.0
//
// Outputs outside of files. A debugger's output and a message box have no counterpart that every program has, so both become a line on
// standard error. A reader that does not read must not hold up the caller: what does not fit at once is dropped.
#include <poll.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/write_fully.h"
#include "platform/platform.h"

namespace TSEG::platform {
namespace {

// A pipe that says it can be written takes this much without waiting.
constexpr size_t kBlock = 4096;

void WriteWithoutWaiting(std::string text) {
  if (text.empty() || text.back() != '\n') text += '\n';
  for (size_t at = 0; at < text.size(); at += kBlock) {
    pollfd ready{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0) return;
    if (WriteFully(STDERR_FILENO, text.data() + at, std::min(kBlock, text.size() - at)) != 0) return;
  }
}

}  // namespace

void WriteDebugger(const std::string& line) { WriteWithoutWaiting(line); }

void ShowMessage(const std::string& caption, const std::string& line, bool is_error) {
  WriteWithoutWaiting(caption + (is_error ? " [error]: " : " [information]: ") + line);
}

// Every process has a standard output here, and whoever started it has decided where it leads.
bool OpenConsole() { return false; }

void CloseConsole() {}

}  // namespace TSEG::platform
