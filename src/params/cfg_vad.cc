// SPDX-License-Identifier: Apache-2.0
//
// CFG_VAD's own ways among the sets of parameters.
//
// The file and the interface convert differently: whoever edits a file gets an engine that starts whatever a value says, and a program
// that sets a value learns by an exception, which leaves the library, that it is none.
#include "params/cfg_vad.h"

#include "params/param_set.h"
#include "params/param_table.h"

namespace TSEG {
namespace {

constexpr ParamSet<CFG_VAD> kSet = {
    .owner = "CFG_VAD",
    .section = "vad",
    .rows = kVadParams,
    .n_of_file = kParamNormalCount,
    .first_settable = 1,
    .last_settable = kParamNormalCount - 1,
    .missing_file_level = kLogCrt,
    .file_int = ConfigInt,
    .bad_text = BadText::kThrows,
};

}  // namespace

void CFG_VAD::init() { kSet.Init(this); }

bool CFG_VAD::set_para_value(const char* name, const char* value) { return kSet.Set(this, name, value); }

bool CFG_VAD::get_para_value(const char* name, char* value, unsigned nLen) { return kSet.Get(*this, name, value, nLen); }

}  // namespace TSEG
