// SPDX-License-Identifier: Apache-2.0
//
// Engine: default parameters, a model, the audio-quality component and a log, and the calls on instances that are made under them.
//
// The library's exported functions hold one engine for the process (api/process_engine.h), which start-up brings up from the configuration
// in the current folder and the model beside the library, with a log of its own. Inner code may hold any number of others beside it, each
// with a model from a path or from memory, which read no configuration, look at no folder and write no log: their lines go to a sink, or
// nowhere. Engines share nothing that changes. One thread at a time for start-up and shut-down; instances of one engine may run on several
// threads, each instance on one at a time.
#ifndef WVAD_ENGINE_ENGINE_H_
#define WVAD_ENGINE_ENGINE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "engine/component_table.h"
#include "log/log_route.h"
#include "params/cfg_vad.h"
#include "quality/kel_config.h"
#include "res/res_mgr.h"
#include "scoring/network_kinds.h"
#include "wvad.h"

namespace TSEG {

// Takes the finished line of a session for the debug text, and the name that wvad_param_debug_log_filename gives it.
using DebugTextSink = std::function<void(const std::string& text, const std::string& file)>;

// What an engine of inner code is opened on.
struct EngineSource {
  std::string model_path;            // the model's file; empty: the bytes below
  const void* model_data = nullptr;  // nothing refers to them after the opening
  size_t model_bytes = 0;
  CFG_VAD defaults;          // parameters of its instances; seven of them come from the model
  LogSink log;               // where its lines go
  DebugTextSink debug_text;  // with wvad_param_isVadDegOn; may be empty
};

class Engine {
 public:
  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Start-up and shut-down of the process's engine.
  int Initialize(void* reserved);
  int Uninitialize();
  // What a start that failed has left behind goes. The next start does it too; for an engine that will see none. Otherwise nothing happens.
  void ReleaseFailedStart();
  // Opens an engine of inner code on `source`. 0, 14001 for an engine that is up, or the code of the model's refusal. Its instances have to
  // be destroyed before it is closed.
  int Open(EngineSource source);
  void Close();

  // The calls behind the exported functions of like name (wvad.h), with the same checks, lines and codes.
  int CreateInst(WVADInst* inst);
  int DestroyInst(WVADInst inst);
  int Start(WVADInst inst);
  int Stop(WVADInst inst);
  int SetParameter(WVADInst inst, const char* param, const char* value);
  int GetParameter(WVADInst inst, const char* param, char* value, int nLen);
  int AudioWrite(WVADInst inst, WVadAudioSample* audio);
  int AudioRead(WVADInst inst, WVadAudioSample* audio);
  int GetResult(WVADInst inst, WVadResult** out);
  int QueryEPInfo(WVADInst inst, int* nEndPoints, int nSize);
  int GetSilLen(WVADInst inst, int nIndexPause, int* pLen);

  bool up() const { return up_; }
  // The parameters that instances are made with, and sessions end with.
  CFG_VAD& defaults() { return defaults_; }
  KelEngine& kel() { return kel_; }
  // The loaded model, or null.
  const HMMResourceLink* model() const;
  // Its networks; both null without a model.
  NetworkModels networks() const;
  // Where the lines of a call go.
  LogRoute::To log_to() const { return has_own_log_ ? LogRoute::To::kSink : LogRoute::To::kProcess; }
  const LogSink* log_sink() const { return has_own_log_ ? &log_ : nullptr; }

 private:
  // Of the model, in the manager of the process's engine.
  static constexpr WREC_RES_SET kModelKey = {10000, "MLP"};

  int AddModel(const std::string& model_file);
  int TakeModelParameters();
  int CheckWrite(WVADInst inst, const WVadAudioSample* audio) const;
  void MeasureQuality(TsegInst* inst, const WVadAudioSample& audio);
  int CloseKelSession(TsegInst* inst);
  void HandOutDebugText(TsegInst* inst);
  int SetSid(TsegInst* inst, const char* param, const char* value);
  int SetKelSid(TsegInst* inst, const char* param, const char* value);
  int SetSpecial(TsegInst* inst, int position, const char* param, const char* text);
  int GetFromKel(TsegInst* inst, const char* param, char* value);

  bool up_ = false;     // from the end of a successful start until shut-down; the only test of whether the engine is up
  uint32_t epoch_ = 0;  // counts successful starts: a session does not outlive the model it was started on
  CFG_VAD defaults_;
  KelEngine kel_;
  ComponentTable table_;
  IRes_mgr* manager_ = nullptr;             // of the process's engine
  bool model_added_ = false;                // the manager holds the model
  std::unique_ptr<HMMResourceLink> model_;  // of an engine of inner code
  bool has_own_log_ = false;
  LogSink log_;
  DebugTextSink debug_text_;
};

}  // namespace TSEG

#endif  // WVAD_ENGINE_ENGINE_H_
