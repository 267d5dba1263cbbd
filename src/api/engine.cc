// SPDX-License-Identifier: Apache-2.0
#include "api/engine.h"

#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <cstdio>
#include <cstring>

#include "log/log.h"
#include "params/cfg_vad.h"

namespace TSEG {

Engine& TheEngine() {
  static Engine engine;
  return engine;
}

WREC_RES_SET ModelKey() {
  WREC_RES_SET key = {};
  key.nResID = 10000;
  std::memcpy(key.szResType, "MLP", 4);
  return key;
}

HMMResourceLink* LoadedModel() {
  Engine& engine = TheEngine();
  if (engine.pResMgr == nullptr) return nullptr;
  const WREC_RES_SET key = ModelKey();
  return dynamic_cast<HMMResourceLink*>(engine.pResMgr->Res_query(&key));
}

namespace {

// The parameters that always come from the model, in the order of its rows.
constexpr const char* kModelParams[7] = {
    "wvad_param_isTsegDoCMN", "wvad_param_isTsegLstm", "wvad_param_TsegModelType", "wvad_param_vad_LstmPaddingNum",
    "wvad_param_SampleRate",  "wvad_param_vad_AgcOn",  "wvad_param_vad_ReadAGC",
};

bool SetFromModel(const char* name, const char* value) {
  try {
    return DefaultCfg().set_para_value(name, value);
  } catch (const boost::bad_lexical_cast&) {
    // A model's value is not the caller's text: the start fails with a code, not with an exception.
    return false;
  }
}

}  // namespace

int model_res_config_load(const HMMResourceLink* model) {
  if (model == nullptr) {
    return WVAD_FAIL(kResInvalidValue, "RES_MGR_ERROR_INVALID_PARA_VALUE", "model_res_config_load | model candidates do not exist");
  }
  for (int i = 0; i < 7; ++i) {
    char expected[16];
    std::snprintf(expected, sizeof(expected), "%d", i);
    if (std::strncmp(model->szModelKey[i], expected, sizeof(model->szModelKey[i])) != 0) {
      return WVAD_FAIL(kResTooOld, "RES_MGR_ERROR_RESOURCE_TOO_OLD", "model_res_config_load | model insert name do not exist");
    }
    char value[17] = {};
    std::memcpy(value, model->szModelValue[i], sizeof(model->szModelValue[i]));
    if (!SetFromModel(kModelParams[i], value)) {
      return WVAD_FAIL(kResTooOld, "RES_MGR_ERROR_RESOURCE_TOO_OLD", "model_res_config_load | model insert param error");
    }
  }
  return 0;
}

bool ModelServes(const HMMResourceLink& model, bool isLstm, const char* modelType) {
  if (isLstm ? model.pLstm == nullptr : model.pDnn == nullptr) return false;
  if (std::strcmp(modelType, "dnn_fb75") == 0) return !isLstm && model.pDnn->nFeatureDim == 75;
  if (std::strcmp(modelType, "lstm_fb75") == 0) return isLstm && model.pLstm->form == LstmForm::kFixed && model.pLstm->nFeatureDim == 75;
  if (std::strcmp(modelType, "lstm_fb40") == 0) return isLstm && model.pLstm->form != LstmForm::kFixed && model.pLstm->nFeatureDim == 40;
  return true;
}

}  // namespace TSEG
