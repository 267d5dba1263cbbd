// SPDX-License-Identifier: Apache-2.0
//
// The input is the text of a configuration file. It is read as "w_tseg.cfg", under which the engine then starts and runs a short session,
// and as a log configuration, under which a logger then writes and rotates.
//
// Entries of the harness stand in front of the input's, and the first entry of a key is the one that counts: the model is there, and no
// file outside of the scratch folder is written.
#include <limits>

#include "base/config_file.h"
#include "fuzz_support.h"
#include "log/log.h"
#include "log/log_cfg_heap_reg.h"
#include "log/log_filter.h"
#include "res/cfg_resmgr.h"
#include "wvad.h"

namespace TSEG::fuzz {
namespace {

void Parse(std::string_view text) {
  for (const char* name : {"vad", "logger", "resMgr", "kel", ""}) {
    const ConfigSection section = ConfigSection::Parse(text, name);
    for (const ConfigEntry& entry : section.entries()) {
      FUZZ_CHECK(section.find(entry.key) != nullptr);
      ConfigInt(entry.value);
      ConfigDecimal(entry.value);
      ConfigFloat(entry.value);
      ConfigBool(entry.value);
      FUZZ_CHECK(ConfigString(entry.value).size() <= entry.value.size());
    }
  }
}

void RunEngine(std::string_view text, size_t size) {
  WriteText("w_tseg.cfg", ConfigFor(static_cast<uint32_t>(size % kModels)).append(text));
  CFG_RESMGR resources;
  resources.init();
  if (wVadInitialize(nullptr) != 0) return;
  WVADInst inst = nullptr;
  FUZZ_CHECK(wVadCreateInst(&inst) == 0);
  if (wVadStart(inst) == 0) {
    WVadAudioSample piece = {};
    piece.pData = const_cast<int16_t*>(Audio().data());
    piece.len = 16000 * 2 * 3;
    for (uint32_t status : {WVAD_WRITE_CONTINUE, WVAD_WRITE_LAST}) {
      piece.status = status;
      wVadAudioWrite(inst, &piece);
      WVadAudioSample read = {};
      for (int i = 0; i < 8; ++i) wVadAudioRead(inst, &read);
      WVadResult* result = nullptr;
      wVadGetResult(inst, &result);
      piece.len = 322;
    }
    wVadStop(inst);
  }
  FUZZ_CHECK(wVadDestroyInst(inst) == 0);
  FUZZ_CHECK(wVadUninitialize() == 0);
}

void RunLogger(std::string_view text) {
  // Two sections of one name are one section. The general defaults are read first, so that what the text says alone is looked at too.
  WriteText("plain.cfu", text);
  Log_Cfg_T cfg;
  Log_Cfg_Heap_Reg::load(cfg, "logger", (Scratch() + "/plain.cfu").c_str());
  FUZZ_CHECK(cfg.nMaxSize >= Log_Cfg_T::kLowestMaxSize);
  cfg.filter.Passes("subject", text);
  cfg.filter.Passes(nullptr, "a line");

  WriteText("input.cfu", "[logger]\noutput=1\nlocale=skip\nfile=" + Scratch() + "/logs/input.log\n" + std::string(text));
  srlog_open((Scratch() + "/input.cfu").c_str(), "logger", {"/dev/null", "fuzz"});
  const std::string line(4000, 'x');
  for (int i = 0; i < 20; ++i) {
    log_crit("%d %s", i, line.c_str());
    log_error("%s", line.c_str() + 3990);
  }
  { const ApiScope scope("fuzz"); }
  srlog_close();
}

}  // namespace
}  // namespace TSEG::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace TSEG::fuzz;
  Scratch();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Parse(text);
  RunLogger(text);
  OpenLog();
  RunEngine(text, size);
  // A start that fails, and one that succeeds, leave the log open or closed by their own rules; the next input begins with none.
  while (TSEG::srlog_exists()) TSEG::srlog_close();
  ResetDefaults();
  ClearScratch();
  return 0;
}
