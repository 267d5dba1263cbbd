// SPDX-License-Identifier: Apache-2.0
//
// An engine of inner code: opened on its model alone and closed again. A file of its own, so that what is linked for such engines brings
// neither the resource manager of the process's engine nor the worker of its debug text.
#include <string>
#include <utility>

#include "engine/engine.h"
#include "engine/engine_call.h"
#include "engine/model_parameters.h"
#include "log/refusal.h"
#include "res/model_image.h"

namespace TSEG {

const HMMResourceLink* Engine::model() const {
  if (model_) return model_.get();
  return manager_ == nullptr ? nullptr : dynamic_cast<const HMMResourceLink*>(manager_->Res_query(&kModelKey));
}

NetworkModels Engine::networks() const {
  const HMMResourceLink* link = model();
  return link == nullptr ? NetworkModels() : NetworkModels{link->pDnn.get(), link->pLstm.get()};
}

int Engine::TakeModelParameters() {
  const int ret = model_res_config_load(model(), &defaults_);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "WVADInitialize | wVADResourceAdd model too old, ret = %d", ret);
  if (!ModelsServe(networks(), defaults_.wvad_param_isTsegLstm, defaults_.wvad_param_TsegModelType)) {
    // The seven values name a network that the file does not hold: sessions would reach for one that is not there.
    return WVAD_REFUSE(kResInvalidValue, "WVADInitialize | model does not fit its parameters, isTsegLstm = %d, TsegModelType = %s",
                       static_cast<int>(defaults_.wvad_param_isTsegLstm), defaults_.wvad_param_TsegModelType.c_str());
  }
  return 0;
}

int Engine::Open(EngineSource source) {
  if (up()) return WVAD_ERROR_ALREADY_INIT;
  has_own_log_ = true;
  log_ = std::move(source.log);
  const EngineCall call(*this, "TSEG::Engine::Open");
  int code = 0;
  model_ = source.model_path.empty() ? LoadModelImage(source.model_data, source.model_bytes, "memory", &code)
                                     : LoadModelFile(source.model_path, &code);
  if (!model_) return WVAD_REFUSE(code, "Engine::Open | model refused, path = %s", source.model_path.c_str());
  defaults_ = std::move(source.defaults);
  if (const int ret = TakeModelParameters()) {
    model_.reset();
    return ret;
  }
  table_.BindKel();
  kel_ = KelEngine();
  kel_.up = true;
  debug_text_ = std::move(source.debug_text);
  up_ = true;
  ++epoch_;
  return 0;
}

void Engine::Close() {
  up_ = false;
  kel_.up = false;
  model_.reset();
}

}  // namespace TSEG
