// SPDX-License-Identifier: Apache-2.0
//
// From a message to a line, and from the line to the outputs. Included where the template is instantiated.
#ifndef WVAD_LOG_LOG_IMPL_LINE_H_
#define WVAD_LOG_LOG_IMPL_LINE_H_

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <string>

#include "log/log.h"
#include "log/log_impl.h"
#include "log/log_text.h"

namespace TSEG {

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_w(uint32_t level, const wchar_t* text) {
  log_msg_i_w(nullptr, level, 0, text);
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::log(uint32_t level, const char* text) {
  log_msg_i(nullptr, level, 0, text);
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_i(const char* subject, uint32_t level, uint32_t style, const char* text) {
  try {
    log_styled(subject, level, style, text);
  } catch (...) {
    std::printf("\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n");
  }
}

// Wide text goes out as multibyte text wherever it goes, so it is converted once and then treated like any other.
template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_i_w(const wchar_t* subject, uint32_t level, uint32_t style, const wchar_t* text) {
  try {
    const std::string narrow_subject = NarrowText(subject != nullptr ? subject : L"");
    log_styled(subject != nullptr ? narrow_subject.c_str() : nullptr, level, style, NarrowText(text).c_str());
  } catch (...) {
    std::printf("\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n");
  }
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_styled(const char* subject, uint32_t level, uint32_t style, const char* text) {
  check_config();
  if (style == 0) style = cfg_.style();
  const uint32_t output = cfg_.output();
  if (output == 0 || (cfg_.level() & level) == 0) return;
  if (!cfg_.filter.Passes(subject, text)) return;

  char line[kLineSize];
  const size_t length = build_line(subject, level, style, text, line);
  if ((output & kLogToFile) != 0) write_line_to_file(line, length);
  if ((output & kLogToConsole) != 0 && (level & cfg_.console_level()) != 0) {
    if (cfg_.charset() == kCharsetWide) {
      std::printf("%s", NarrowText(WidenText(line).c_str()).c_str());
    } else {
      std::printf("%s", line);
    }
  }
  if ((output & kLogToDebugger) != 0) platform::WriteDebugger(line);
  if ((output & kLogToMessageBox) != 0) platform::ShowMessage("Logger", line, level == kLogCrt || level == kLogErr);
}

template <typename IO, typename LOCK, typename CFG>
size_t Log_Impl_T<IO, LOCK, CFG>::build_line(const char* subject, uint32_t level, uint32_t style, const char* text, char* line) {
  constexpr size_t kRoom = kLineSize - 1;
  char time[kTimeSize];
  int used = 0;
  // The prefix is some sixty bytes at most, so it always fits.
  const auto add = [&](auto... arguments) { used += std::snprintf(line + used, kLineSize - static_cast<size_t>(used), arguments...); };
  if ((style & (kStyleDateTime | kStyleTime)) != 0) {
    time_text(time, false, (style & kStyleDateTime) == 0);
    add("[%s]", time);
  }
  if ((style & kStyleLevel) != 0) add("[%s]", level_text(level));
  if ((style & kStyleProcess) != 0) add("[Px%04x]", platform::ProcessId());
  if ((style & kStyleThread) != 0) add("[Tx%04x]", platform::ThreadId());
  if ((style & kStyleSubject) != 0 && subject != nullptr) add("[%-8.8s]", subject);
  if (used > 0) line[used++] = ' ';

  // A message that is too long loses its end, never the newline that keeps it a line of its own.
  const bool wants_newline = (style & kStyleNewline) != 0;
  size_t length = static_cast<size_t>(used);
  const size_t text_length = std::min(std::strlen(text), kRoom - length - (wants_newline ? 1 : 0));
  std::memcpy(line + length, text, text_length);
  length += text_length;
  const char last = text_length > 0 ? text[text_length - 1] : '\0';
  if (wants_newline && last != '\n' && last != '\r') line[length++] = '\n';
  line[length] = '\0';
  return length;
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_line_to_file(char* line, size_t length) {
  const Holder holder(this);
  if (pDevice == nullptr) return;
  if (pDevice->size() + length > cfg_.maxsize()) backup();
  if (nKey != 0) {
    scramble(line, length);
    pDevice->write(line, length + 1);
  } else if (cfg_.charset() == kCharsetWide) {
    pDevice->write_w(WidenText(line).c_str());
  } else {
    pDevice->write_s(line);
  }
  if (cfg_.flush()) pDevice->flush();
}

template <typename IO, typename LOCK, typename CFG>
int Log_Impl_T<IO, LOCK, CFG>::write(const void* bytes, size_t length) {
  const Holder holder(this);
  if (pDevice == nullptr) return -1;
  if (nKey == 0) return pDevice->write(bytes, length);
  std::string garbled(static_cast<const char*>(bytes), length);
  scramble(garbled.data(), length);
  return pDevice->write(garbled.data(), length);
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_line(char fill) {
  constexpr size_t kWidth = 80;
  char line[kWidth + 1];
  std::memset(line, fill, kWidth);
  line[kWidth] = '\n';
  const Holder holder(this);
  if (pDevice != nullptr) pDevice->write(line, sizeof line);
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::format_subject(uint32_t number, char* buffer, size_t size) {
  if (size >= 9) std::snprintf(buffer, size, "%8x", number);
}

template <typename IO, typename LOCK, typename CFG>
const char* Log_Impl_T<IO, LOCK, CFG>::level_text(uint32_t level) {
  static constexpr const char* kLetters[] = {"CRT", "ERR", "WAN", "INF", "VBS", "DBG", "PRF", "TRC", "SPK"};
  const unsigned highest = level == 0 ? 0 : static_cast<unsigned>(std::bit_width(level)) - 1;
  return highest < std::size(kLetters) ? kLetters[highest] : "UNK";
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::scramble(char* bytes, size_t length) {
  for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(bytes[i] ^ nKey);
}

template <typename IO, typename LOCK, typename CFG>
bool Log_Impl_T<IO, LOCK, CFG>::subject_enabled(uint32_t index) {
  return index >= 32 || ((cfg_.subjects() >> index) & 1u) != 0;
}

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_IMPL_LINE_H_
