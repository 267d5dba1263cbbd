// SPDX-License-Identifier: Apache-2.0
//
// The sixteen exported functions, each a call on the engine of the process. Three do nothing and are kept for their callers.
#include "api/process_engine.h"
#include "log/log.h"
#include "wvad.h"

TSEG::Engine& TSEG::ProcessEngine() {
  static Engine engine;
  return engine;
}

using TSEG::ProcessEngine;

int wVadInitialize(void* reserved) { return ProcessEngine().Initialize(reserved); }
int wVadUninitialize(void) { return ProcessEngine().Uninitialize(); }
int wVadCreateInst(WVADInst* inst) { return ProcessEngine().CreateInst(inst); }
int wVadDestroyInst(WVADInst inst) { return ProcessEngine().DestroyInst(inst); }
int wVadStart(WVADInst inst) { return ProcessEngine().Start(inst); }
int wVadStop(WVADInst inst) { return ProcessEngine().Stop(inst); }
int wVadReset(WVADInst) { return 0; }
int wVadSetParameter(WVADInst inst, const char* param, const char* paramValue) {
  return ProcessEngine().SetParameter(inst, param, paramValue);
}
int wVadGetParameter(WVADInst inst, const char* param, char* nParamValue, int nValueLen) {
  return ProcessEngine().GetParameter(inst, param, nParamValue, nValueLen);
}
int wVadAudioWrite(WVADInst inst, WVadAudioSample* audio) { return ProcessEngine().AudioWrite(inst, audio); }
int wVadAudioRead(WVADInst inst, WVadAudioSample* audio) { return ProcessEngine().AudioRead(inst, audio); }
int wVadGetResult(WVADInst inst, WVadResult** out) { return ProcessEngine().GetResult(inst, out); }
int wVadQueryEPInfo(WVADInst inst, int* nEndPoints, int nSize) { return ProcessEngine().QueryEPInfo(inst, nEndPoints, nSize); }
int wVadGetSilLen(WVADInst inst, int nIndexPause, int* pLen) { return ProcessEngine().GetSilLen(inst, nIndexPause, pLen); }

int wVADResourceAdd(void*, void*, void*, void*, void*, void*) {
  TSEG::ApiScope scope("TSEG::wVADResourceAdd");
  return 0;
}

int wVADResourceDelete(void*, void*, void*, void*, void*) {
  TSEG::ApiScope scope("TSEG::wVADResourceDelete");
  return 0;
}
