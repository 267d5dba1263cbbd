// SPDX-License-Identifier: Apache-2.0
#include "engine/component_table.h"

#include "log/log.h"

namespace TSEG {
namespace {

// Binds one entry; false, after its lines, for an entry that the component does not have.
template <typename Function>
bool Bind(Function* slot, Function function, const char* name) {
  *slot = function;
  if (*slot != nullptr) return true;
  WVAD_FAIL(-1, "-1", "GetProcApiStatic | err, %s = NULL", name);
  return false;
}

#define WVAD_BIND(entry) Bind(&entry, &TSEG::entry, #entry)

}  // namespace

bool ComponentTable::BindResources() { return WVAD_BIND(createResMgr) && WVAD_BIND(destroyResMgr); }

bool ComponentTable::BindKel() {
  return WVAD_BIND(wKelInitialize) && WVAD_BIND(wKelUninitialize) && WVAD_BIND(wKelCreate) && WVAD_BIND(wKelDestroy) &&
         WVAD_BIND(wKelReset) && WVAD_BIND(wKelAudioWrite) && WVAD_BIND(wKelStart) && WVAD_BIND(wKelStop) && WVAD_BIND(wKelSetParameter) &&
         WVAD_BIND(wKelGetParameter) && WVAD_BIND(wKelGetResult);
}

#undef WVAD_BIND

}  // namespace TSEG
