// SPDX-License-Identifier: Apache-2.0
#include "wvad/parameter_table.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <system_error>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// Wide enough for anything that somebody may want to try; what lies outside gives negative times, empty sentences or a session without end.
constexpr ParameterRow kTable[] = {
    {"wvad_param_isTsegLstm", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_SampleRate", ValueKind::kRate, 0, 0, ""},
    {"wvad_param_TsegModelType", ValueKind::kText, 0, 0, ""},
    {"wvad_param_model_path", ValueKind::kText, 0, 0, ""},
    {"wvad_param_model_name", ValueKind::kText, 0, 0, ""},
    {"wvad_param_isLinkVadResult", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_nSpeechTailMS", ValueKind::kWhole, 10, 86400000, "ms"},
    {"wvad_param_nFrameGap", ValueKind::kWhole, 0, 6000, "frames"},
    {"wvad_param_nStartSearchWinGap", ValueKind::kWhole, 0, 6000, "frames"},
    {"wvad_param_nFrameJump", ValueKind::kWhole, 0, 1000, "frames"},
    {"wvad_param_nReadType", ValueKind::kWhole, 0, 1, ""},
    {"wvad_param_nFrameStartMargin", ValueKind::kWhole, 0, 3000, "frames"},
    {"wvad_param_nFrameEndMargin", ValueKind::kWhole, 0, 3000, "frames"},
    {"wvad_param_nSpeechTimeOut", ValueKind::kWhole, 1000, 86400000, "ms"},
    {"wvad_param_nResponseTimeOut", ValueKind::kWhole, 10, 86400000, "ms"},
    {"wvad_param_fEnergyThresholdMultiple", ValueKind::kDecimal, 0, 1000, ""},
    {"wvad_param_isVadDegOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_bKelOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_isTsegDoCMN", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_isReadFtrDoCMN", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_isDebugWatch", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_nEnergyThreshhood", ValueKind::kWhole, -100, 40, ""},
    {"wvad_param_debug_log_filename", ValueKind::kText, 0, 0, ""},
    {"wvad_param_nSilBytes", ValueKind::kWhole, 0, 2147483647, "samples"},
    {"wvad_param_nFrameGapFriendyFirst", ValueKind::kWhole, 0, 8640000, "frames"},
    {"wvad_param_nFrameGapFriendySecond", ValueKind::kWhole, 0, 8640000, "frames"},
    {"wvad_param_vol_threshold", ValueKind::kDecimal, 0, 1000, ""},
    {"wvad_param_fnt_threshold", ValueKind::kDecimal, 0, 10000, "ms"},
    {"wvad_param_fnt_score_threshold", ValueKind::kDecimal, -100, 100, ""},
    {"wvad_param_bkt_threshold", ValueKind::kDecimal, 0, 10000, "ms"},
    {"wvad_param_cmn_type", ValueKind::kWhole, 0, 4, ""},
    {"wvad_param_srec_cmn_type", ValueKind::kWhole, 0, 4, ""},
    {"wvad_param_vad_threshold", ValueKind::kDecimal, 0, 1, ""},
    {"wvad_param_k4_energy", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_isLstmSubsentenceAutoResetOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_isSilenceAutoResetOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_isSilenceAutoResetSubsentenceOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_nSilenceAutoReset_WinSize", ValueKind::kWhole, 1, 8640000, "frames"},
    {"wvad_param_isPostProcessWinSlideOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_vad_AgcOn", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_vad_ReadAGC", ValueKind::kBool, 0, 1, ""},
    {"wvad_param_vad_LstmPaddingNum", ValueKind::kWhole, 0, 1000, "frames"},
    {"wvad_param_vad_StartPointJudgeWinLen", ValueKind::kWhole, 1, 1000, "frames"},
    {"wvad_param_nPostProcessWinSlide_Threshold", ValueKind::kWhole, 1, 20, "frames"},
    {"wkel_param_sampleRate", ValueKind::kRate, 0, 0, ""},
    {"wkel_param_snr_threshold", ValueKind::kDecimal, -50, 100, "dB"},
    {"wkel_param_cur_threshold", ValueKind::kDecimal, 0, 1, ""},
    {"wvad_param_readtype", ValueKind::kWhole, 0, 1, ""},
    {"wvad_para_nTimeSilTail", ValueKind::kWhole, 0, 86400000, "ms"},
    {"VAD_PARAM_SPEECHGAP", ValueKind::kWhole, 0, 60000, "ms"},
    {"VAD_PARAM_SPEECHTAIL", ValueKind::kWhole, 10, 86400000, "ms"},
    {"VAD_PARAM_SPEECHENHANCE", ValueKind::kWhole, 0, 1, ""},
    {"VAD_PARAM_SPEECHTIMEOUT", ValueKind::kWhole, 1000, 86400000, "ms"},
    {"VAD_PARAM_SAMPLERATE", ValueKind::kRate, 0, 0, ""},
    {"VAD_PARAM_SID", ValueKind::kText, 0, 0, ""},
    {"wkel_param_sid", ValueKind::kText, 0, 0, ""},
};

std::optional<double> WholeNumber(const std::string& value, Writing writing) {
  if (writing == Writing::kSetting) {
    long long number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error == std::errc::result_out_of_range) return value[0] == '-' ? -HUGE_VAL : HUGE_VAL;
    if (error != std::errc() || end != value.data() + value.size()) return std::nullopt;
    return static_cast<double>(number);
  }
  char* end = nullptr;
  const long long number = std::strtoll(value.c_str(), &end, 0);  // as the engine reads it
  if (value.empty() || *end != '\0') return std::nullopt;
  return static_cast<double>(number);
}

std::optional<double> DecimalNumber(const std::string& value) {
  double number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size()) return std::nullopt;
  return number;
}

std::string Shown(double limit) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, limit, std::chars_format::fixed).ptr);
}

std::string Range(const ParameterRow& row) {
  return Shown(row.least) + " to " + Shown(row.most) + (row.unit.empty() ? "" : " ") + std::string(row.unit);
}

[[noreturn]] void Refuse(const ParameterRow& row, const std::string& value, const std::string& words) {
  throw Failure(ExitCode::kBadParameter, std::string(row.name) + ": \"" + value + "\" " + words);
}

void CheckNumber(const ParameterRow& row, const std::string& value, const std::optional<double>& number, const std::string& kind) {
  if (!number) Refuse(row, value, "is not a " + kind + " (" + Range(row) + ")");
  if (!(*number >= row.least && *number <= row.most)) Refuse(row, value, "is out of range (" + Range(row) + ")");
}

}  // namespace

std::span<const ParameterRow> ParameterTable() { return kTable; }

const ParameterRow* FindParameter(std::string_view name) {
  for (const ParameterRow& row : kTable) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

void CheckValue(const ParameterRow& row, const std::string& value, Writing writing) {
  if (value.size() > 256)
    throw Failure(ExitCode::kBadParameter, std::string(row.name) + ": the value is too long (at most 256 characters)");
  if (writing == Writing::kConfiguration && value.empty()) return;  // leaves the parameter as it was
  switch (row.kind) {
    case ValueKind::kText:
      return;
    case ValueKind::kRate:
      if (value != "16000" && value != "8000" && value != "6000") Refuse(row, value, "is not 16000, 8000 or 6000");
      return;
    case ValueKind::kBool:
      if (writing == Writing::kConfiguration && (value == "true" || value == "false")) return;
      CheckNumber(row, value, WholeNumber(value, writing), "value");
      return;
    case ValueKind::kWhole:
      CheckNumber(row, value, WholeNumber(value, writing), "whole number");
      return;
    case ValueKind::kDecimal:
      CheckNumber(row, value, DecimalNumber(value), "number");
      return;
  }
}

}  // namespace TSEG::tool
