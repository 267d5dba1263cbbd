// SPDX-License-Identifier: Apache-2.0
#include "wvad/ffmpeg/trouble_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace TSEG::tool {
namespace {

thread_local TroubleLog* current = nullptr;

void Note(void*, int level, const char* form, va_list values) {
  if (current == nullptr || level > AV_LOG_WARNING) return;
  char text[512];
  std::vsnprintf(text, sizeof text, form, values);
  std::string line(text);
  while (!line.empty() && (line.back() == '\n' || line.back() == '.' || line.back() == ' ')) line.pop_back();
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  line.resize(std::min(line.find(" If you wish to override"), line.size()));  // by an option of the library
  for (const char* words : {"Failed to open segment", "failed too many times, skipping"}) {
    if (line.find(words) != std::string::npos) current->piece_lost = true;
  }
  if (level > AV_LOG_ERROR) return;
  if (line.find("not on whitelist") != std::string::npos) current->refused = line;
  for (const char* words : {"ended prematurely", "partial file", "Truncat", "truncat"}) {
    if (line.find(words) != std::string::npos) current->truncated = true;
  }
  if (current->first.empty()) current->first = line;
}

}  // namespace

TroubleScope::TroubleScope(TroubleLog* log) : before_(current) { current = log; }
TroubleScope::~TroubleScope() { current = before_; }

void CatchTroubles() { av_log_set_callback(Note); }

std::string ErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

}  // namespace TSEG::tool
