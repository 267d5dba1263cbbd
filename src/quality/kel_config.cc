// SPDX-License-Identifier: Apache-2.0
//
// CFG_KEL's own ways among the sets of parameters.
//
// The component answers with codes alone: a text that is no number must not leave it as an exception.
#include "quality/kel_config.h"

#include <algorithm>

namespace TSEG {
namespace {

constexpr ParamSet<CFG_KEL> kSet = {
    .owner = "CFG_KEL",
    .section = "kel",
    .rows = kKelParams,
    .n_of_file = static_cast<int>(std::size(kKelParams)),
    .first_settable = kKelNormalNone + 1,
    .last_settable = kKelNormalCount - 1,
    .missing_file_level = kLogCrt,
    .file_int = ConfigInt,
    .bad_text = BadText::kIsRefused,
};

}  // namespace

void CFG_KEL::init() { kSet.Init(this); }

bool CFG_KEL::set_para_value(const char* key, const char* value) { return kSet.Set(this, key, value); }

bool CFG_KEL::get_para_value(const char* key, char* value, int nLen) const {
  return kSet.Get(*this, key, value, static_cast<unsigned>(std::max(nLen, 0)));
}

}  // namespace TSEG
