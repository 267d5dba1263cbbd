// SPDX-License-Identifier: Apache-2.0
//
// Parsing of the two sections. What is odd about them is told, on the log or on standard output, and changes nothing else.
#include "res/cpu_singleton.h"

#include <cstdio>
#include <optional>

#include "base/config_file.h"
#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

constexpr char kCfgFile[] = "w_tseg.cfg";
constexpr char kDefaultStrategy[] =
    "mlpres:0xFFFF|mlpexe:0xFFFFF|mlpdecode:0xFFFFF|decres:0xFFFF0000|decexe:0xFFF00000|generalres:0xFFFF0000|generalexe:0xFFF00000";

std::optional<uint32_t> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
  return std::nullopt;
}

// From the last character towards the first, up to one that is no digit: the "x" of "0x" ends it. Digits beyond 32 bits are lost.
uint32_t MaskFromItsEnd(std::string_view text) {
  uint32_t mask = 0;
  unsigned shift = 0;
  for (size_t k = text.size(); k-- > 0;) {
    const std::optional<uint32_t> digit = HexDigit(text[k]);
    if (!digit) break;
    if (shift < 32) mask += *digit << shift;
    shift += 4;
  }
  return mask;
}

void TellBadStrategy(std::string_view what) {
  std::printf("parse_bing_stragy_str |Check bind value %s error \n", std::string(what).c_str());
}

}  // namespace

CPUSingleton::CPUSingleton() {
  std::string text;
  if (platform::KindOfPath(kCfgFile) == platform::PathKind::kFile) text = platform::ReadWholeFile(kCfgFile).value_or(std::string());

  const ConfigSection numa = ConfigSection::Parse(text, "numa");
  const std::string* strategy = numa.find_set("bind_stragy");  // (sic)
  parse_bing_stragy_str(strategy != nullptr ? *strategy : kDefaultStrategy);

  const ConfigSection heterogeneous = ConfigSection::Parse(text, "heterogeneous");
  if (const std::string* device = heterogeneous.find_set("device")) nDevice = ConfigDecimal(*device);
  if (nDevice > 5) nDevice = 5;
  if (nDevice > 0 && (nDevice & (nDevice - 1)) != 0) {
    WVAD_LOG_INFO("Device Choice Must be 2^n,now use CPU Choice");
    nDevice = 1;
  }
  if (const std::string* id = heterogeneous.find_set("device_id")) nDeviceId = ConfigDecimal(*id);
  if (nDevice == 1) return;
  if (nDevice == 4) {
    bUseGpu = true;
    bGpuAvailable = true;
    if (nDeviceId == -1) nDeviceId = 0;
    return;
  }
  WVAD_LOG_ERROR("%s | Unsupported device configuration", "CPUSingleton::CPUSingleton");
}

const CPUSingleton& CPUSingleton::instance() {
  static const CPUSingleton singleton;
  return singleton;
}

void CPUSingleton::parse_bing_stragy_str(std::string_view text) {
  size_t end = 0;
  for (size_t begin = 0; begin <= text.size(); begin = end + 1) {
    end = text.find('|', begin);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view piece = text.substr(begin, end - begin);
    const size_t colon = piece.find(':');
    if (colon == std::string_view::npos) {
      TellBadStrategy(piece);
      continue;
    }
    const std::string_view value = piece.substr(colon + 1);
    const uint32_t mask = MaskFromItsEnd(value);
    if (mask == 0) {
      TellBadStrategy(value);
      continue;
    }
    bind_strategy[std::string(piece.substr(0, colon))] = mask;
  }
}

}  // namespace TSEG
