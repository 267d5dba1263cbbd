// SPDX-License-Identifier: Apache-2.0
//
// SetParameter and GetParameter: normal parameters by the table of CFG_VAD, special names here.
//
// The two functions have codes of their own for null arguments, by which callers tell them. A normal parameter's number that does not
// convert whole leaves wVadSetParameter as boost::bad_lexical_cast, the one failure at this boundary without a code; special names read
// such text as 0.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/wrap.h"
#include "engine/engine.h"
#include "engine/engine_call.h"
#include "log/refusal.h"
#include "params/param_table.h"
#include "session/tseg_inst.h"

namespace TSEG {
namespace {

constexpr size_t kMaxNameLength = 256;
constexpr int kKelBufferLength = 16384;

// The low 32 bits of the number at the start of `text`; text that is none is 0.
uint32_t SpecialValue(const char* text) { return static_cast<uint32_t>(std::strtoull(text, nullptr, 0) & 0xFFFFFFFFu); }

int SetSampleRate(TsegInst* inst, int32_t rate) {
  if (rate != inst->nSampleRate) {
    WVAD_LOG_WARN("wVadSetParameter | VAD_PARAM_SAMPLERATE warning, nParamValue = %d don't match with model", rate);
  }
  // Stored first and refused after: the refused rate can be read back, and no session starts on it.
  inst->nSampleRate = rate;
  if (IsServedRate(rate)) return 0;
  return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA_VALUE, "wVadSetParameter | VAD_PARAM_SAMPLERATE err, nParamValue = %d don't support", rate);
}

int InvalidSpecial(int code, const char* param, const char* value) {
  return WVAD_FAIL(code, "ret", "WVADSetParameter | invalid para, param = %s, param_value = %s", param, value);
}

bool AsksKel(int position) { return position == kParamKelSid || (position >= kParamKelSampleRate && position <= kParamKelCurThreshold); }

// The text of a special name; empty for the names that give none.
std::string SpecialText(const TsegInst& inst, int position) {
  switch (position) {
    case kParamVadType:
      return "tseg";
    case kParamTimeSilTail:
      return std::to_string(WrapMul32(inst.decision.pEndpoint->nSilFrames, 10));
    case kParamSampleRate:
      return std::to_string(inst.nSampleRate);
    case kParamSid:
      return inst.diagnostics.sid();
    default:
      return std::string();
  }
}

}  // namespace

int Engine::SetSid(TsegInst* inst, const char* param, const char* value) {
  inst->diagnostics.SetSid(value, inst->pCfg->wvad_param_isDebugWatch);
  if (inst->pCfg->wvad_param_bKelOn && inst->hKel != nullptr) {
    const int ret = table_.wKelSetParameter(&inst->hKel, "wkel_param_sid", value);
    if (ret != 0) return InvalidSpecial(ret, param, value);
  }
  return 0;
}

int Engine::SetKelSid(TsegInst* inst, const char* param, const char* value) {
  if (!inst->pCfg->wvad_param_bKelOn || inst->hKel == nullptr) return InvalidSpecial(WVAD_ERROR_PARA_NOT_SETTABLE, param, value);
  const int ret = table_.wKelSetParameter(&inst->hKel, param, value);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "wVadSetParameter | wKelSetParameter err, param = %s, ret = %d", param, ret);
  return 0;
}

int Engine::SetSpecial(TsegInst* inst, int position, const char* param, const char* text) {
  CFG_VAD& cfg = *inst->pCfg;
  const uint32_t value = SpecialValue(text);
  switch (position) {
    case kParamReadType:
      cfg.wvad_param_nReadType = Low32(value);
      return 0;
    case kParamTimeSilTail:
    case kParamSpeechEnhance:
      return 0;
    case kParamSpeechGap:
      cfg.wvad_param_nFrameGap = Low32(value / 10);
      inst->decision.nCurFrameGap = cfg.wvad_param_nFrameGap;
      return 0;
    case kParamSpeechTail:
      cfg.wvad_param_nSpeechTailMS = Low32(value);
      return 0;
    case kParamSpeechTimeOut:
      cfg.wvad_param_nSpeechTimeOut = Low32(value);
      return 0;
    case kParamSampleRate:
      return SetSampleRate(inst, Low32(value));
    case kParamSid:
      return SetSid(inst, param, text);
    case kParamKelSid:
      return SetKelSid(inst, param, text);
    default:
      return InvalidSpecial(WVAD_ERROR_PARA_NOT_SETTABLE, param, text);
  }
}

// Asks the audio-quality component, which writes into the caller's buffer under its own fixed length.
int Engine::GetFromKel(TsegInst* inst, const char* param, char* value) {
  if (!inst->pCfg->wvad_param_bKelOn || inst->hKel == nullptr) {
    WVAD_LOG_WARN("wVadGetParameter | wKelInst is Null");
    return 0;
  }
  const int ret = table_.wKelGetParameter(&inst->hKel, param, value, kKelBufferLength);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "wVadGetParameter | wKelGetParameter err, param = %s, ret = %d", param, ret);
  return 0;
}

int Engine::SetParameter(WVADInst inst, const char* param, const char* paramValue) {
  const EngineCall call(*this, "TSEG::wVadSetParameter");
  if (inst == nullptr) return HandleIsNull("wVadSetParameter", "wVadInst", WVAD_ERROR_NULL_HANDLE);
  if (param == nullptr) return ParaIsNull("wVadSetParameter", "param", WVAD_ERROR_NULL_HANDLE);
  if (paramValue == nullptr) return ParaIsNull("wVadSetParameter", "paramValue", WVAD_ERROR_NULL_HANDLE);
  if (!up()) return EngineIsDown("wVadSetParameter", WVAD_ERROR_NOT_INIT);
  if (inst->bInstStart != 0) return WVAD_REFUSE(WVAD_ERROR_ALREADY_START, "WVADAPI wVadSetParameter | pTsegInst->bInstStart has started");
  if (std::strlen(param) > kMaxNameLength) {
    return WVAD_REFUSE(WVAD_ERROR_PARAM_TOO_LONG, "WVADAPI wVadSetParameter | param length is too long");
  }
  if (FindParam(param, 0, kParamNormalCount - 1) >= 0 && inst->pCfg->set_para_value(param, paramValue)) return 0;
  const int position = FindParam(param, kParamNormalCount, kParamCount - 1);
  if (position < 0) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wSetParameter | param = %s, paramValue = %s", param, paramValue);
  }
  return SetSpecial(inst, position, param, paramValue);
}

int Engine::GetParameter(WVADInst inst, const char* param, char* nParamValue, int nValueLen) {
  const EngineCall call(*this, "TSEG::wVadGetParameter");
  if (inst == nullptr) return HandleIsNull("wVadGetParameter", "wVadInst", WVAD_ERROR_INVALID_HANDLE);
  if (param == nullptr) return ParaIsNull("wVadGetParameter", "param", WVAD_ERROR_INVALID_HANDLE);
  if (nParamValue == nullptr) return ParaIsNull("wVadGetParameter", "nParamValue", WVAD_ERROR_INVALID_HANDLE);
  if (!up()) return EngineIsDown("wVadGetParameter", WVAD_ERROR_NOT_INIT);
  const unsigned room = nValueLen > 0 ? static_cast<unsigned>(nValueLen) : 0u;
  // A normal parameter whose buffer is too small goes on to the special names and ends with no text: 0, and an untouched buffer.
  if (FindParam(param, 0, kParamNormalCount - 1) >= 0 && inst->pCfg->get_para_value(param, nParamValue, room)) return 0;
  const int position = FindParam(param, 0, kParamCount - 1);
  if (position < 0) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "wVadGetParameter | invalid para , param = %s, value = %.*s", param,
                       static_cast<int>(strnlen(nParamValue, room)), nParamValue);
  }
  if (AsksKel(position)) {
    const int ret = GetFromKel(inst, param, nParamValue);
    if (ret != 0) return ret;
  }
  const std::string text = SpecialText(*inst, position);
  if (text.size() + 1 > room) {
    return WVAD_REFUSE(WVAD_ERROR_BUF_NOT_ENOUGH, "wGetParameter | err, param = %s, need buff = %d", param,
                       static_cast<int>(text.size() + 1));
  }
  if (!text.empty()) std::memcpy(nParamValue, text.c_str(), text.size() + 1);
  return 0;
}

}  // namespace TSEG
