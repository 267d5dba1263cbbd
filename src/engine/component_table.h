// SPDX-License-Identifier: Apache-2.0
//
// ComponentTable: the entry points through which an engine reaches its components, bound at start-up.
#ifndef WVAD_ENGINE_COMPONENT_TABLE_H_
#define WVAD_ENGINE_COMPONENT_TABLE_H_

#include "quality/kel.h"
#include "res/res_mgr.h"

namespace TSEG {

// Bound in this order. The entries of the audio-quality component are bound only with wvad_param_bKelOn.
struct ComponentTable {
  IRes_mgr* (*createResMgr)() = nullptr;
  void (*destroyResMgr)(IRes_mgr*) = nullptr;
  int (*wKelInitialize)(KelEngine*, void*) = nullptr;
  int (*wKelUninitialize)(KelEngine*) = nullptr;
  int (*wKelCreate)(KelEngine*, KelInst**) = nullptr;
  int (*wKelDestroy)(KelInst*) = nullptr;
  int (*wKelReset)(KelInst*) = nullptr;  // bound, not called
  int (*wKelAudioWrite)(KelInst*, const WVadAudioSample*) = nullptr;
  int (*wKelStart)(KelInst*) = nullptr;
  int (*wKelStop)(KelInst*) = nullptr;
  int (*wKelSetParameter)(KelInst**, const char*, const char*) = nullptr;
  int (*wKelGetParameter)(KelInst**, const char*, char*, int) = nullptr;
  int (*wKelGetResult)(KelInst*, WVadResult**) = nullptr;

  // Both give false, after their lines, when a component lacks an entry.
  bool BindResources();
  bool BindKel();
};

}  // namespace TSEG

#endif  // WVAD_ENGINE_COMPONENT_TABLE_H_
