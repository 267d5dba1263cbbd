// SPDX-License-Identifier: Apache-2.0
#include "engine/model_parameters.h"

#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <cstdio>
#include <cstring>

#include "log/refusal.h"

namespace TSEG {
namespace {

// In the order of the table's rows.
constexpr const char* kModelParams[] = {
    "wvad_param_isTsegDoCMN", "wvad_param_isTsegLstm", "wvad_param_TsegModelType", "wvad_param_vad_LstmPaddingNum",
    "wvad_param_SampleRate",  "wvad_param_vad_AgcOn",  "wvad_param_vad_ReadAGC",
};

bool SetFromModel(CFG_VAD* cfg, const char* name, const char* value) {
  try {
    return cfg->set_para_value(name, value);
  } catch (const boost::bad_lexical_cast&) {
    // A model's value is not the caller's text: the start fails with a code, not with an exception.
    return false;
  }
}

}  // namespace

int model_res_config_load(const HMMResourceLink* model, CFG_VAD* cfg) {
  if (model == nullptr) return WVAD_REFUSE(kResInvalidValue, "model_res_config_load | model candidates do not exist");
  for (size_t i = 0; i < std::size(kModelParams); ++i) {
    const std::string expected = std::to_string(i);
    if (std::strncmp(model->szModelKey[i], expected.c_str(), sizeof(model->szModelKey[i])) != 0) {
      return WVAD_REFUSE(kResTooOld, "model_res_config_load | model insert name do not exist");
    }
    char value[17] = {};
    std::memcpy(value, model->szModelValue[i], sizeof(model->szModelValue[i]));
    if (!SetFromModel(cfg, kModelParams[i], value)) {
      return WVAD_REFUSE(kResTooOld, "model_res_config_load | model insert param error");
    }
  }
  return 0;
}

}  // namespace TSEG
