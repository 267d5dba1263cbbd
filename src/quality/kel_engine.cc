// SPDX-License-Identifier: Apache-2.0
//
// The interface of the audio-quality component: its start and end, instances, sessions, parameters, results.
//
// The component shares the one logger of the process. A null instance gets its code everywhere; nothing is raised but failed allocations.
#include <algorithm>
#include <cstring>
#include <memory>

#include "log/refusal.h"
#include "quality/kel.h"
#include "quality/kel_inst.h"

namespace TSEG {
namespace {

constexpr uint32_t kLastWrite = 2;

int InstIsNull(const char* function) { return HandleIsNull(function, "wKelInst", WKEL_ERROR_NULL_HANDLE); }
int ParaIsNull(const char* function, const char* what) { return ParaIsNull(function, what, WKEL_ERROR_NULL_HANDLE); }

// The checks that both parameter functions begin with.
int CheckParameterCall(const char* function, KelInst* const* inst, const char* param, const char* value) {
  if (inst == nullptr || *inst == nullptr) return InstIsNull(function);
  if (param == nullptr) return ParaIsNull(function, "param");
  if (value == nullptr) return ParaIsNull(function, "paramValue");
  if (!(*inst)->pEngine->up) return EngineIsDown(function, WKEL_ERROR_NOT_INIT);
  return 0;
}

bool IsNormal(const char* param) { return FindKelParam(param, kKelNormalNone, kKelNormalCount) >= 0; }

// The instance's session id into `value`, as far as it and 1023 characters go.
void CopySid(const KelInst& inst, char* value, int nLen) {
  const size_t room = std::min(static_cast<size_t>(nLen), sizeof inst.sid) - 1;
  const size_t n = strnlen(inst.sid, room);
  std::memcpy(value, inst.sid, n);
  value[n] = '\0';
}

}  // namespace

int wKelInitialize(KelEngine* engine, [[maybe_unused]] void* reserved) {
  if (srlog_exists()) {
    WVAD_LOG_VERBOSE("wKelInitialize | srlog_inst has been created!!");
  } else {
    srlog_open("wkel.cfu", "logger", LogDefaults{"../log/wkel.log", "wKel Logging"});
    WVAD_LOG_VERBOSE("wKelInitialize | srlog_open succeed!");
  }
  engine->defaults.init();
  engine->up = true;
  return 0;
}

int wKelUninitialize(KelEngine* engine) {
  engine->up = false;
  WVAD_LOG_VERBOSE("wKelUninitialize | srlog_close succeed!");
  srlog_close();
  return 0;
}

int wKelCreate(KelEngine* engine, KelInst** inst) {
  if (inst == nullptr) return InstIsNull("wKelCreate");
  auto made = std::make_unique<KelInst>();
  made->pCfg = std::make_unique<CFG_KEL>();
  made->pResult = std::make_unique<KelResultHolder>();
  *made->pCfg = engine->defaults;
  made->pEngine = engine;
  *inst = made.release();
  return 0;
}

int wKelDestroy(KelInst* inst) {
  delete inst;
  return 0;
}

int wKelReset(KelInst* inst) {
  if (inst == nullptr) return InstIsNull("wKelReset");
  inst->ClearMeasures();
  return 0;
}

int wKelStart(KelInst* inst) {
  if (inst == nullptr) return InstIsNull("wKelStart");
  if (inst->bStarted) return WVAD_REFUSE(WKEL_ERROR_ALREADY_START, "KelInst::start | already start Inst");
  inst->ClearMeasures();
  inst->bStarted = 1;
  return 0;
}

int wKelStop(KelInst* inst) {
  if (inst == nullptr) return InstIsNull("wKelStop");
  if (!inst->bStarted) return WVAD_REFUSE(WKEL_ERROR_NOT_START, "KelInst::stop | not start Inst");
  inst->ClearMeasures();
  inst->bStarted = 0;
  *inst->pCfg = inst->pEngine->defaults;
  return 0;
}

int wKelAudioWrite(KelInst* inst, const WVadAudioSample* audio) {
  if (inst == nullptr) return InstIsNull("wKelAudioWrite");
  if (audio == nullptr || (audio->pData == nullptr && audio->len > 0)) return ParaIsNull("wKelAudioWrite", "audio");
  inst->GetLoopBufferData(static_cast<const uint8_t*>(audio->pData), audio->len);
  if (audio->status == kLastWrite) {
    inst->ComputeSnr();
    inst->ComputeCur();  // what it answers is of no use to a caller
  }
  return 0;
}

int wKelGetResult(KelInst* inst, WVadResult** out) {
  if (out == nullptr) return ParaIsNull("wKelGetResult", "out");
  *out = nullptr;
  if (inst == nullptr) return InstIsNull("wKelGetResult");
  KelResultHolder& result = *inst->pResult;
  result.list.nStatus = 0;
  int count = 0;
  const auto add = [&](const char* key, const char* text) {
    WVadResultItem& item = result.items[count++];
    item.pName = "KEL";
    item.pKey = key;
    item.pText = text;
    item.nWord = 0;
  };
  if (inst->bSnrReady) add("snr", inst->szSnr);
  add("cur", inst->szCur);
  result.list.pItems = result.items;
  result.list.nCount = count;
  *out = &result.list;
  return 0;
}

int wKelSetParameter(KelInst** inst, const char* param, const char* value) {
  const ApiScope scope("TSEG::wKelSetParameter");
  if (const int ret = CheckParameterCall("wKelSetParameter", inst, param, value)) return ret;
  if (IsNormal(param) && (*inst)->pCfg->set_para_value(param, value)) return 0;
  const int row = FindKelParam(param, kKelSpecialNone, kKelSpecialCount);
  if (row == kKelSid) {
    const size_t n = strnlen(value, sizeof(*inst)->sid - 1);
    std::memcpy((*inst)->sid, value, n);
    (*inst)->sid[n] = '\0';
    return 0;
  }
  WVAD_LOG_ERROR("wKELParameterSet | invalid para , param = %s, value = %s", param, value);
  return row < 0 ? LogErrorLine("WKEL_ERROR_INVALID_PARA", WKEL_ERROR_INVALID_PARA) : WKEL_ERROR_INVALID_PARA;
}

int wKelGetParameter(KelInst** inst, const char* param, char* value, int nLen) {
  const ApiScope scope("TSEG::wKelGetParameter");
  if (const int ret = CheckParameterCall("wKelGetParameter", inst, param, value)) return ret;
  const bool normal = IsNormal(param);
  bool given = normal && (*inst)->pCfg->get_para_value(param, value, nLen);
  if (!given) {
    const int row = FindKelParam(param, kKelSpecialNone, kKelSpecialCount);
    if (nLen <= 0 && (normal || row >= 0)) {
      return WVAD_REFUSE(WKEL_ERROR_BUF_NOT_ENOUGH, "wGetParameter | err, param = %s, need buff = %d", param, 1);
    }
    if (row == kKelSid) {
      CopySid(**inst, value, nLen);
      given = true;
    }
  }
  if (!given) {
    WVAD_LOG_ERROR("wKELParameterGet | invalid para , param = %s, paramValue = %s", param, "");
    const bool marker = FindKelParam(param, kKelSpecialNone, kKelSpecialCount) >= 0;
    return marker ? WKEL_ERROR_INVALID_PARA : LogErrorLine("WKEL_ERROR_INVALID_PARA", WKEL_ERROR_INVALID_PARA);
  }
  WVAD_LOG_INFO("wMLPParameterGet | getParameter OK, param = %s, value = %s", param, value);
  return 0;
}

}  // namespace TSEG
