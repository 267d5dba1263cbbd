// SPDX-License-Identifier: Apache-2.0
//
// CFG_RESMGR's own ways among the sets of parameters: a text is read in the same way whether it comes from the file or not.
#include "res/cfg_resmgr.h"

#include "params/param_set.h"

namespace TSEG {
namespace {

constexpr ParamRow<CFG_RESMGR> kRows[] = {
    {"wresMgr_param_normal_none", &CFG_RESMGR::normal_none},
    {"wresMgr_param_personal_timeThreshold", &CFG_RESMGR::timeThreshold},
    {"wresMgr_param_is_calc_md5", &CFG_RESMGR::is_calc_md5},
    {"wresMgr_param_resetUseNvidiaGPUAvailable", &CFG_RESMGR::resetUseNvidiaGPUAvailable},
    {"wresMgr_param_PersonalLMWeight", &CFG_RESMGR::PersonalLMWeight},
    {"wresMgr_param_normal_count", &CFG_RESMGR::normal_count},
};
constexpr int kNormalCount = ParamPosition<kRows>("wresMgr_param_normal_count");

constexpr ParamSet<CFG_RESMGR> kSet = {
    .owner = "CFG_RESMGR",
    .section = "resMgr",
    .rows = kRows,
    .n_of_file = kNormalCount,
    .first_settable = 1,
    .last_settable = kNormalCount - 1,
    .missing_file_level = kLogInf,
    .file_int = ConfigDecimal,
    .bad_text = BadText::kIsReadOver,
};

}  // namespace

void CFG_RESMGR::init() { kSet.Init(this); }

bool CFG_RESMGR::set_para_value(const char* name, const char* value) { return kSet.Set(this, name, value); }

bool CFG_RESMGR::get_para_value(const char* name, char* value, unsigned nLen) const { return kSet.Get(*this, name, value, nLen); }

const CFG_RESMGR& DefaultCfgResMgr() {
  static const CFG_RESMGR defaults = [] {
    CFG_RESMGR cfg;
    cfg.init();
    return cfg;
  }();
  return defaults;
}

}  // namespace TSEG
