// SPDX-License-Identifier: Apache-2.0
//
// The engine of the process: whether it is up, its resource manager, the model's key, and the table through which it reaches its
// components.
//
// Process-wide objects of the library, all function-local: the state here, the default parameters (params/cfg_vad), FileLogSingleton
// (dumps/file_log_singleton), the audio-quality defaults (quality), the logger (log), the loader registry and device settings (res), the
// processor record (nn). None of them is guarded by a lock at this level: start-up and shut-down run alone.
#ifndef WVAD_API_ENGINE_H_
#define WVAD_API_ENGINE_H_

#include <cstdint>

#include "quality/kel.h"
#include "res/res_mgr.h"

namespace TSEG {

// The components' entry points, bound at start-up in this order. Entries 3 to 13 are bound only with wvad_param_bKelOn.
struct ComponentTable {
  IRes_mgr* (*createResMgr)() = nullptr;
  void (*destroyResMgr)(IRes_mgr*) = nullptr;
  int (*wKelInitialize)(void*) = nullptr;
  int (*wKelUninitialize)() = nullptr;
  int (*wKelCreate)(KelInst**) = nullptr;
  int (*wKelDestroy)(KelInst*) = nullptr;
  int (*wKelReset)(KelInst*) = nullptr;  // bound, not called
  int (*wKelAudioWrite)(KelInst*, const WVadAudioSample*) = nullptr;
  int (*wKelStart)(KelInst*) = nullptr;
  int (*wKelStop)(KelInst*) = nullptr;
  int (*wKelSetParameter)(KelInst**, const char*, const char*) = nullptr;
  int (*wKelGetParameter)(KelInst**, const char*, char*, int) = nullptr;
  int (*wKelGetResult)(KelInst*, WVadResult**) = nullptr;
};

struct Engine {
  uint8_t g_bInit = 0;  // from the end of a successful start until shut-down; the only test of whether the engine is up
  uint32_t nEpoch = 0;  // counts successful starts: a session does not outlive the model it was started on
  IRes_mgr* pResMgr = nullptr;
  bool bModelAdded = false;  // the manager holds the model
  ComponentTable table;
};

Engine& TheEngine();
inline bool EngineIsUp() { return TheEngine().g_bInit != 0; }

// The key of the one model: 10000, "MLP".
WREC_RES_SET ModelKey();
// The loaded model, or null.
HMMResourceLink* LoadedModel();

// Takes the seven values of the model's table into the default parameters. 0, 30003 for a null record, 30007 for a table that does not hold
// them.
int model_res_config_load(const HMMResourceLink* model);
// Whether the loaded network is of the kind that `isLstm` and `modelType` ask for. True for a model type without a loop: such a session
// is not decided upon.
bool ModelServes(const HMMResourceLink& model, bool isLstm, const char* modelType);

}  // namespace TSEG

#endif  // WVAD_API_ENGINE_H_
