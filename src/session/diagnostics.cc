// SPDX-License-Identifier: Apache-2.0
#include "session/diagnostics.h"

#include <cstdio>
#include <cstring>

#include "base/wrap.h"
#include "session/decision_records.h"

namespace TSEG {
namespace {

constexpr size_t kDebugTextReserve = 16384;

void AppendNumber(std::string* text, int value) {
  char buffer[16];
  std::snprintf(buffer, sizeof(buffer), " %d", value);
  *text += buffer;
}

// The last component of the session identifier, which names the files of the debug watches.
std::string LastComponent(std::string sid) {
  for (char& c : sid) {
    if (c == '/') c = '\\';
  }
  const size_t at = sid.rfind('\\');
  return at == std::string::npos ? sid : sid.substr(at + 1);
}

}  // namespace

Diagnostics::Diagnostics() {
  mScore.reserve(kHistoryReserve);
  debugText.reserve(kDebugTextReserve);
}

std::string Diagnostics::sid() const { return std::string(szSid, strnlen(szSid, sizeof(szSid))); }

void Diagnostics::SetSid(const char* text, bool watches) {
  // At the limit the text stands without a terminator, and is always read with the limit.
  std::memset(szSid, 0, sizeof(szSid));
  std::memcpy(szSid, text, strnlen(text, sizeof(szSid)));
  const std::string name = LastComponent(sid());
  for (DebugWatch* watch : {pWatchInput.get(), pWatchOutput.get(), pWatch75x11.get(), pWatch75x4.get()}) watch->arm(name, watches);
}

void Diagnostics::BeginText() {
  debugText.assign(szSid, strnlen(szSid, sizeof(szSid)));  // keeps the room that it has
  debugText += "|VAD:";
}

void Diagnostics::Start(const CFG_VAD& cfg) {
  for (DebugWatch* watch : {pWatchInput.get(), pWatchOutput.get(), pWatch75x11.get(), pWatch75x4.get()}) watch->nSubIndex = 0;
  pWatchInput->nPerRecord = 1;
  pWatchOutput->nPerRecord = cfg.wvad_param_nReadType != 0 ? 1 : 75;
  pWatch75x11->nPerRecord = 825;
  pWatch75x4->nPerRecord = 300;
}

const std::string& Diagnostics::CloseText(const FrameHistory<float>& eScore) {
  if (!mScore.empty()) {
    debugText += "|mScore:";
    for (const int32_t value : mScore) AppendNumber(&debugText, value);
    debugText += ' ';
  }
  if (!eScore.empty()) {
    debugText += "|eScore:";
    for (size_t i = 0; i < eScore.size(); ++i) AppendNumber(&debugText, CutLow32(eScore[i]));
  }
  debugText += '\n';
  return debugText;
}

void Diagnostics::End() {
  mScore.clear();
  for (DebugWatch* watch : {pWatchInput.get(), pWatchOutput.get(), pWatch75x11.get(), pWatch75x4.get()}) {
    watch->nSubIndex = 0;
    watch->stop();
  }
  debugText.clear();
}

void Diagnostics::OnBlock(const float* block, int32_t floats) {
  if (pWatch75x11) pWatch75x11->add(block, floats * static_cast<int32_t>(sizeof(float)));
}

}  // namespace TSEG
