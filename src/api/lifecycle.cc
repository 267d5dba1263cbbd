// SPDX-License-Identifier: Apache-2.0
//
// Start-up and shut-down of the engine, and the two resource entry points that are kept for their callers.
#include <string>

#include "api/engine.h"
#include "api/error_codes.h"
#include "log/log.h"
#include "platform/platform.h"
#include "params/cfg_vad.h"
#include "dumps/file_log_singleton.h"
#include "wvad.h"

namespace TSEG {
namespace {

constexpr LogDefaults kLogDefaults = {"../log/w_tseg.log", "Tseg Logging"};

// Binds one entry of the component table; false, after its lines, for an entry that the component does not have.
template <typename Function>
bool Bind(Function* slot, Function function, const char* name) {
  *slot = function;
  if (*slot != nullptr) return true;
  WVAD_FAIL(-1, "-1", "GetProcApiStatic | err, %s = NULL", name);
  return false;
}

bool BindResources(ComponentTable* table) {
  return Bind(&table->createResMgr, &TSEG::createResMgr, "createResMgr") &&
         Bind(&table->destroyResMgr, &TSEG::destroyResMgr, "destroyResMgr");
}

bool BindKel(ComponentTable* table) {
  return Bind(&table->wKelInitialize, &TSEG::wKelInitialize, "wKelInitialize") &&
         Bind(&table->wKelUninitialize, &TSEG::wKelUninitialize, "wKelUninitialize") &&
         Bind(&table->wKelCreate, &TSEG::wKelCreate, "wKelCreate") && Bind(&table->wKelDestroy, &TSEG::wKelDestroy, "wKelDestroy") &&
         Bind(&table->wKelReset, &TSEG::wKelReset, "wKelReset") && Bind(&table->wKelAudioWrite, &TSEG::wKelAudioWrite, "wKelAudioWrite") &&
         Bind(&table->wKelStart, &TSEG::wKelStart, "wKelStart") && Bind(&table->wKelStop, &TSEG::wKelStop, "wKelStop") &&
         Bind(&table->wKelSetParameter, &TSEG::wKelSetParameter, "wKelSetParameter") &&
         Bind(&table->wKelGetParameter, &TSEG::wKelGetParameter, "wKelGetParameter") &&
         Bind(&table->wKelGetResult, &TSEG::wKelGetResult, "wKelGetResult");
}

// A start that failed leaves its manager behind; the next attempt begins with a new one, and gives back what the old one holds.
void ReleaseManagerOfFailedStart(Engine* engine) {
  const WREC_RES_SET key = ModelKey();
  if (engine->bModelAdded) engine->pResMgr->Res_delete(&key);
  engine->table.destroyResMgr(engine->pResMgr);
  engine->pResMgr = nullptr;
  engine->bModelAdded = false;
}

}  // namespace
}  // namespace TSEG

using namespace TSEG;

int wVadInitialize(void* reserved) {
  Engine& engine = TheEngine();
  if (engine.g_bInit != 0) return WVAD_REFUSE(WVAD_ERROR_ALREADY_INIT, "WVADAPI wVadInitialize | g_bInit != Null");
  if (srlog_exists()) {
    WVAD_LOG_VERBOSE("WVADInitialize | srlog_inst has been created!!");
  } else {
    srlog_open("tseg.cfu", "logger", kLogDefaults);
    WVAD_LOG_VERBOSE("WVADInitialize | srlog_open succeed!");
  }
  ApiScope scope("TSEG::wVadInitialize");
  CFG_VAD& cfg = DefaultCfg();
  cfg.init();
  const std::string library_folder = platform::ModuleFolder();

  if (engine.pResMgr != nullptr) ReleaseManagerOfFailedStart(&engine);
  if (!BindResources(&engine.table)) return -1;
  engine.pResMgr = engine.table.createResMgr();
  if (engine.pResMgr == nullptr) return WVAD_FAIL(-1, "-1", "WVADInitialize | createResMgr err, no memory");

  if (cfg.wvad_param_bKelOn) {
    if (!BindKel(&engine.table)) return -1;
    const int ret = engine.table.wKelInitialize(reserved);
    if (ret != 0) {
      const char* text = reserved != nullptr ? static_cast<const char*>(reserved) : "(null)";
      return WVAD_FAIL(ret, "ret", "%s | %s(%s) err, %s = %d, para = %s\n", "TSEG::wVadInitialize", "wKelInitialize_", "reserved", "ret",
                       ret, text);
    }
  }

  const std::string model_file = library_folder + platform::NormaliseSeparators(cfg.model_path() + cfg.model_name());
  const WREC_RES_SET key = ModelKey();
  int ret = engine.pResMgr->Res_add(&key, model_file.c_str(), nullptr, 0);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "WVADInitialize | wVADResourceAdd model file failed, ret = %d", ret);
  engine.bModelAdded = true;
  const HMMResourceLink* model = LoadedModel();
  ret = model_res_config_load(model);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "WVADInitialize | wVADResourceAdd model too old, ret = %d", ret);
  if (!ModelServes(*model, cfg.wvad_param_isTsegLstm, cfg.wvad_param_TsegModelType.c_str())) {
    // The seven values name a network that the file does not hold: sessions would reach for one that is not there.
    return WVAD_FAIL(kResInvalidValue, "RES_MGR_ERROR_INVALID_PARA_VALUE",
                     "WVADInitialize | model does not fit its parameters, isTsegLstm = %d, TsegModelType = %s",
                     static_cast<int>(cfg.wvad_param_isTsegLstm), cfg.wvad_param_TsegModelType.c_str());
  }

  FileLogSingleton::instance().start(1);
  engine.g_bInit = 1;
  ++engine.nEpoch;
  WVAD_LOG_CRIT("TSEGEngine Initialized OK.");
  return 0;
}

int wVadUninitialize(void) {
  Engine& engine = TheEngine();
  if (engine.g_bInit == 0) return EngineIsDown("wVadUninitialize");
  ApiScope scope("TSEG::wVadUninitialize");
  const WREC_RES_SET key = ModelKey();
  engine.pResMgr->Res_delete(&key);
  engine.table.destroyResMgr(engine.pResMgr);
  engine.pResMgr = nullptr;
  engine.bModelAdded = false;
  if (DefaultCfg().wvad_param_bKelOn) engine.table.wKelUninitialize();
  FileLogSingleton::instance().stop();
  engine.g_bInit = 0;
  // The line comes first, the closing after it, against what it says.
  WVAD_LOG_VERBOSE("WVADUninitialize | srlog_close succeed!");
  srlog_close();
  return 0;
}

int wVADResourceAdd(void*, void*, void*, void*, void*, void*) {
  ApiScope scope("TSEG::wVADResourceAdd");
  return 0;
}

int wVADResourceDelete(void*, void*, void*, void*, void*) {
  ApiScope scope("TSEG::wVADResourceDelete");
  return 0;
}
