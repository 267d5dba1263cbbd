// SPDX-License-Identifier: Apache-2.0
//
// Start-up and shut-down of the process's engine, with configuration, log and resource manager.
#include <string>

#include "dumps/file_log_singleton.h"
#include "engine/engine.h"
#include "engine/engine_call.h"
#include "log/refusal.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

constexpr LogDefaults kLogDefaults = {"../log/w_tseg.log", "Tseg Logging"};

// Start-up opens the log of the process unless it is open.
void OpenLog() {
  if (srlog_exists()) {
    WVAD_LOG_VERBOSE("WVADInitialize | srlog_inst has been created!!");
  } else {
    srlog_open("tseg.cfu", "logger", kLogDefaults);
    WVAD_LOG_VERBOSE("WVADInitialize | srlog_open succeed!");
  }
}

}  // namespace

int Engine::Initialize(void* reserved) {
  if (up()) return WVAD_REFUSE(WVAD_ERROR_ALREADY_INIT, "WVADAPI wVadInitialize | g_bInit != Null");
  OpenLog();
  const EngineCall call(*this, "TSEG::wVadInitialize");
  defaults_.init();
  const std::string library_folder = platform::ModuleFolder();

  ReleaseFailedStart();
  if (!table_.BindResources()) return -1;
  manager_ = table_.createResMgr();
  if (manager_ == nullptr) return WVAD_FAIL(-1, "-1", "WVADInitialize | createResMgr err, no memory");

  if (defaults_.wvad_param_bKelOn) {
    if (!table_.BindKel()) return -1;
    const int ret = table_.wKelInitialize(&kel_, reserved);
    if (ret != 0) {
      const char* text = reserved != nullptr ? static_cast<const char*>(reserved) : "(null)";
      return WVAD_FAIL(ret, "ret", "%s | %s(%s) err, %s = %d, para = %s\n", "TSEG::wVadInitialize", "wKelInitialize_", "reserved", "ret",
                       ret, text);
    }
  }

  const std::string model_file = library_folder + platform::NormaliseSeparators(defaults_.model_path() + defaults_.model_name());
  if (const int ret = AddModel(model_file)) return ret;

  FileLogSingleton::instance().start(1);
  debug_text_ = [](const std::string& text, const std::string& file) { FileLogSingleton::instance().append(text, file); };
  up_ = true;
  ++epoch_;
  WVAD_LOG_CRIT("TSEGEngine Initialized OK.");
  return 0;
}

// A start that failed leaves its manager behind; the next attempt begins with a new one.
void Engine::ReleaseFailedStart() {
  if (up() || manager_ == nullptr) return;
  if (model_added_) manager_->Res_delete(&kModelKey);
  table_.destroyResMgr(manager_);
  manager_ = nullptr;
  model_added_ = false;
}

int Engine::AddModel(const std::string& model_file) {
  const int ret = manager_->Res_add(&kModelKey, model_file.c_str(), nullptr, 0);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "WVADInitialize | wVADResourceAdd model file failed, ret = %d", ret);
  model_added_ = true;
  return TakeModelParameters();
}

int Engine::Uninitialize() {
  if (!up()) return EngineIsDown("wVadUninitialize", WVAD_ERROR_NOT_INIT);
  const EngineCall call(*this, "TSEG::wVadUninitialize");
  manager_->Res_delete(&kModelKey);
  table_.destroyResMgr(manager_);
  manager_ = nullptr;
  model_added_ = false;
  if (defaults_.wvad_param_bKelOn) table_.wKelUninitialize(&kel_);
  FileLogSingleton::instance().stop();
  up_ = false;
  // The line comes first, the closing after it, against what it says.
  WVAD_LOG_VERBOSE("WVADUninitialize | srlog_close succeed!");
  srlog_close();
  return 0;
}

}  // namespace TSEG
