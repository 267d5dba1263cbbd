// SPDX-License-Identifier: Apache-2.0
//
// The interface of the audio-quality component: its start and end, instances, sessions, parameters, results.
//
// The component shares the one logger of the process. A null instance gets its code everywhere; nothing is raised but failed allocations.
#include <algorithm>
#include <cstring>
#include <memory>

#include "log/log.h"
#include "quality/kel.h"
#include "quality/kel_inst.h"

namespace TSEG {
namespace {

constexpr uint32_t kLastWrite = 2;

// Process-wide state of the component, written by its start and end alone.
struct KelEngine {
  bool initialised = false;
  bool has_defaults = false;
};

KelEngine& TheKelEngine() {
  static KelEngine engine;
  return engine;
}

int HandleIsNull(const char* function) {
  WVAD_LOG_ERROR("%s | %s handle is NULL. %s = %d", function, "wKelInst", "WKEL_ERROR_NULL_HANDLE", WKEL_ERROR_NULL_HANDLE);
  return WKEL_ERROR_NULL_HANDLE;
}

int ParaIsNull(const char* function, const char* what) {
  WVAD_LOG_ERROR("%s | para %s is NULL. %s = %d", function, what, "WKEL_ERROR_NULL_HANDLE", WKEL_ERROR_NULL_HANDLE);
  return WKEL_ERROR_NULL_HANDLE;
}

int EngineIsDown(const char* function) {
  WVAD_LOG_ERROR("%s | Engine hasn't init. %s = %d", function, "WKEL_ERROR_NOT_INIT", WKEL_ERROR_NOT_INIT);
  return WKEL_ERROR_NOT_INIT;
}

// The checks that both parameter functions begin with.
int CheckParameterCall(const char* function, KelInst* const* inst, const char* param, const char* value) {
  if (inst == nullptr || *inst == nullptr) return HandleIsNull(function);
  if (param == nullptr) return ParaIsNull(function, "param");
  if (value == nullptr) return ParaIsNull(function, "paramValue");
  if (!TheKelEngine().initialised) return EngineIsDown(function);
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

int wKelInitialize([[maybe_unused]] void* reserved) {
  if (srlog_exists()) {
    WVAD_LOG_VERBOSE("wKelInitialize | srlog_inst has been created!!");
  } else {
    srlog_open("wkel.cfu", "logger", LogDefaults{"../log/wkel.log", "wKel Logging"});
    WVAD_LOG_VERBOSE("wKelInitialize | srlog_open succeed!");
  }
  KelEngine& engine = TheKelEngine();
  if (!engine.has_defaults) {
    GlobalCfgKel() = CFG_KEL();
    engine.has_defaults = true;
  }
  GlobalCfgKel().init();
  engine.initialised = true;
  return 0;
}

int wKelUninitialize() {
  TheKelEngine().initialised = false;
  WVAD_LOG_VERBOSE("wKelUninitialize | srlog_close succeed!");
  srlog_close();
  return 0;
}

int wKelCreate(KelInst** inst) {
  if (inst == nullptr) return HandleIsNull("wKelCreate");
  auto made = std::make_unique<KelInst>();
  made->pCfg = std::make_unique<CFG_KEL>();
  made->pResult = std::make_unique<KelResultHolder>();
  *made->pCfg = GlobalCfgKel();
  *inst = made.release();
  return 0;
}

int wKelDestroy(KelInst* inst) {
  delete inst;
  return 0;
}

int wKelReset(KelInst* inst) {
  if (inst == nullptr) return HandleIsNull("wKelReset");
  inst->ClearMeasures();
  return 0;
}

int wKelStart(KelInst* inst) {
  if (inst == nullptr) return HandleIsNull("wKelStart");
  if (inst->bStarted) return WVAD_FAIL(WKEL_ERROR_ALREADY_START, "WKEL_ERROR_ALREADY_START", "KelInst::start | already start Inst");
  inst->ClearMeasures();
  inst->bStarted = 1;
  return 0;
}

int wKelStop(KelInst* inst) {
  if (inst == nullptr) return HandleIsNull("wKelStop");
  if (!inst->bStarted) return WVAD_FAIL(WKEL_ERROR_NOT_START, "WKEL_ERROR_NOT_START", "KelInst::stop | not start Inst");
  inst->ClearMeasures();
  inst->bStarted = 0;
  *inst->pCfg = GlobalCfgKel();
  return 0;
}

int wKelAudioWrite(KelInst* inst, const WVadAudioSample* audio) {
  if (inst == nullptr) return HandleIsNull("wKelAudioWrite");
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
  if (inst == nullptr) return HandleIsNull("wKelGetResult");
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
      return WVAD_FAIL(WKEL_ERROR_BUF_NOT_ENOUGH, "WKEL_ERROR_BUF_NOT_ENOUGH", "wGetParameter | err, param = %s, need buff = %d", param, 1);
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
