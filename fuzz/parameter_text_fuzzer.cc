// SPDX-License-Identifier: Apache-2.0
//
// The input is pairs of texts: a length and a name, a length and a value. Each pair is set on an idle instance and read back; then a short
// session runs under whatever came of it.
#include <algorithm>
#include <typeinfo>

#include "fuzz_support.h"
#include "params/param_table.h"
#include "wvad.h"

namespace TSEG::fuzz {
namespace {

// Half of the names come from the table, by their position.
std::string Name(ByteSource* in) {
  const uint8_t choice = in->Byte();
  return choice < 128 ? std::string(ParamName(choice % kParamCount)) : in->Text();
}

void SetAndGet(WVADInst inst, const std::string& name, std::string value, uint8_t room) {
  // The debug text and the watches are written where these say; everything stays in the scratch folder.
  if (name == "wvad_param_debug_log_filename" || name == "VAD_PARAM_SID") {
    std::replace(value.begin(), value.end(), '/', '_');
    std::replace(value.begin(), value.end(), '\\', '_');
  }
  try {
    const int code = wVadSetParameter(inst, name.c_str(), value.c_str());
    FUZZ_CHECK(code == 0 || (code >= 14001 && code <= 14021) || (code >= 15000 && code < 15100));
  } catch (const std::bad_cast&) {
    // A number that does not convert whole leaves as this.
  }
  // The audio-quality component writes under a length of its own, and that is what its callers give it.
  std::vector<char> text(name.rfind("wkel_param_", 0) == 0 ? 16384 : std::max<size_t>(room, 1), '?');
  const int code = wVadGetParameter(inst, name.c_str(), text.data(), room);
  FUZZ_CHECK(code == 0 || (code >= 14001 && code <= 14021) || (code >= 15000 && code < 15100));
}

void RunSession(WVADInst inst, ByteSource* in) {
  if (wVadStart(inst) != 0) return;
  const size_t begin = in->Below(16) * 16000u;
  WVadAudioSample piece = {};
  piece.pData = const_cast<int16_t*>(Audio().data() + begin);
  piece.len = 2u * (16000u + in->Word());
  piece.status = WVAD_WRITE_CONTINUE;
  for (int i = 0; i < 2; ++i) {
    const int code = wVadAudioWrite(inst, &piece);
    FUZZ_CHECK(code == 0 || code == WVAD_ERROR_AUDIO_ENOUGH);
    for (int reads = 0; reads < 6; ++reads) {
      WVadAudioSample read = {};
      FUZZ_CHECK(wVadAudioRead(inst, &read) == 0);
    }
    int endpoints[64];
    FUZZ_CHECK(wVadQueryEPInfo(inst, endpoints, 64) <= 64);
    WVadResult* result = nullptr;
    FUZZ_CHECK(wVadGetResult(inst, &result) == 0);
    piece.status = WVAD_WRITE_LAST;
    piece.len = 480;
  }
  wVadStop(inst);
}

}  // namespace
}  // namespace TSEG::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace TSEG::fuzz;
  ByteSource in(data, size);
  Scratch();
  OpenLog();
  const uint8_t setup = in.Byte();
  std::string config = ConfigFor(setup % kModels);
  if (setup & 0x40) config += "wvad_param_bKelOn=1\n";
  if (setup & 0x80) config += "wvad_param_vad_AgcOn=1\nwvad_param_isVadDegOn=1\n";
  WriteText("w_tseg.cfg", config);
  FUZZ_CHECK(wVadInitialize(nullptr) == 0);
  WVADInst inst = nullptr;
  FUZZ_CHECK(wVadCreateInst(&inst) == 0);
  for (int pairs = 0; pairs < 40 && !in.empty(); ++pairs) {
    const std::string name = Name(&in);
    const std::string value = in.Text();
    SetAndGet(inst, name, value, in.Byte());
  }
  RunSession(inst, &in);
  FUZZ_CHECK(wVadDestroyInst(inst) == 0);
  FUZZ_CHECK(wVadUninitialize() == 0);
  ResetDefaults();
  ClearScratch();
  return 0;
}
