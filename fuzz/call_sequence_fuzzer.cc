// SPDX-License-Identifier: Apache-2.0
//
// The input is a sequence of calls: all sixteen functions in any order, on several instances and on none, with pieces of audio of any
// length and with null pointers. What no caller may do is left out: a handle is not used after wVadDestroyInst, and a pointer that is not
// null points at as many bytes as the call says.
#include <algorithm>
#include <array>
#include <iterator>
#include <typeinfo>

#include "fuzz_support.h"
#include "params/param_table.h"
#include "wvad.h"

namespace TSEG::fuzz {
namespace {

constexpr uint32_t kSlots = 4;
constexpr uint32_t kMaxLength = 3145728;
// Seconds of audio that one input may have decided upon, which bounds its time.
constexpr uint32_t kMaxSamples = 16000 * 8;

class Caller {
 public:
  Caller(const uint8_t* data, size_t size) : in_(data, size) {}

  void Run() {
    NewConfig();
    // Most inputs begin with a running session; those that do not are told by their first byte.
    if (in_.Byte() % 4 != 0) {
      Call(0);
      wVadCreateInst(&slots_[0]);
      wVadStart(slots_[0]);
    }
    for (int calls = 0; calls < 200 && !in_.empty(); ++calls) Call(in_.Byte() % 18);
    CleanUp();
  }

 private:
  // Null now and then.
  bool Null() { return in_.Byte() % 32 == 0; }
  WVADInst Handle() {
    const uint8_t choice = in_.Byte();
    return choice % 32 == 31 ? nullptr : slots_[choice % kSlots];
  }
  void Expect(int code) {
    FUZZ_CHECK(code == 0 || code == -1 || (code >= 14001 && code <= 14021) || (code >= 15000 && code < 15100) ||
               (code >= 30000 && code <= 30020));
  }

  void NewConfig() {
    const uint8_t choice = in_.Byte();
    std::string text = ConfigFor(choice % kModels);
    const uint8_t extra = in_.Byte();
    if (extra & 1) text += "wvad_param_bKelOn=1\n";
    if (extra & 2) text += "wvad_param_isVadDegOn=1\n";
    if (extra & 4) text += "wvad_param_isReadFtrDoCMN=1\nwvad_param_srec_cmn_type=" + std::to_string(extra >> 5) + "\n";
    if (extra & 8) text += "wvad_param_isSilenceAutoResetOn=1\nwvad_param_isLstmSubsentenceAutoResetOn=1\n";
    if (extra & 16) text += "wvad_param_isPostProcessWinSlideOn=1\nwvad_param_k4_energy=1\n";
    WriteText("w_tseg.cfg", text);
  }

  void Write() {
    WVADInst inst = Handle();
    static constexpr uint32_t kEdges[] = {0, 1, 2, 799, 800, 801, 802, 32000, kMaxLength, kMaxLength + 1, kMaxLength + 2, 0xFFFFFFFFu};
    const uint8_t choice = in_.Byte();
    WVadAudioSample piece = {};
    piece.len = choice < 24 ? kEdges[choice % std::size(kEdges)] : (choice < 128 ? in_.Word() : in_.Byte() * 2u);
    piece.status = choice % 16 == 6 ? static_cast<uint32_t>(WVAD_WRITE_LAST) : static_cast<uint32_t>(WVAD_WRITE_CONTINUE);
    if (choice % 8 == 7) piece.status = in_.Byte();
    // A length that is refused may say what it likes; one that is taken must have its bytes.
    const bool taken = piece.len <= kMaxLength && piece.len % 2 == 0;
    if (taken && samples_ + piece.len / 2 > kMaxSamples) return;
    std::vector<int16_t> samples;
    if (taken) {
      samples_ += piece.len / 2;
      samples.resize(piece.len / 2);
      Sound(&samples);
    }
    piece.pData = Null() || samples.empty() ? nullptr : samples.data();
    Expect(wVadAudioWrite(inst, Null() ? nullptr : &piece));
  }

  // Sound by formula from any place, or what the input holds.
  void Sound(std::vector<int16_t>* samples) {
    const uint8_t choice = in_.Byte();
    if (choice % 8 == 0) {
      in_.Fill(samples->data(), samples->size() * 2);
      return;
    }
    size_t at = static_cast<size_t>(choice) * 1250;
    for (int16_t& x : *samples) x = Audio()[at++ % Audio().size()];
  }

  void Read() {
    WVadAudioSample piece = {};
    const bool null = Null();
    const int code = wVadAudioRead(Handle(), null ? nullptr : &piece);
    Expect(code);
    if (code != 0 || null) return;
    // Every byte that is handed out is there.
    uint32_t sum = 0;
    for (uint32_t i = 0; i < piece.len; ++i) sum += static_cast<const uint8_t*>(piece.pData)[i];
    if (piece.pType != nullptr) sum += static_cast<uint32_t>(std::strlen(piece.pType));
    sink_ = sink_ + sum;
  }

  void Result() {
    WVadResult* result = nullptr;
    const bool null = Null();
    Expect(wVadGetResult(Handle(), null ? nullptr : &result));
    if (null || result == nullptr) return;
    FUZZ_CHECK(result->nCount >= 0 && result->nCount <= 16);
    for (int i = 0; i < result->nCount; ++i) {
      sink_ = sink_ + static_cast<uint32_t>(std::strlen(result->pItems[i].pName) + std::strlen(result->pItems[i].pKey) +
                                            std::strlen(result->pItems[i].pText));
    }
  }

  void Endpoints() {
    const uint8_t choice = in_.Byte();
    const int size = choice < 250 ? choice : 249 - choice;  // below 0 now and then
    std::vector<int> out(size > 0 ? static_cast<size_t>(size) : 0);
    const int count = wVadQueryEPInfo(Handle(), Null() ? nullptr : out.data(), size);
    FUZZ_CHECK(count >= 0 && count <= (size > 0 ? size : 0));
  }

  std::string Name() {
    const uint8_t choice = in_.Byte();
    if (choice == 255) return std::string(257, 'n');
    return choice < 250 ? ParamName(choice % kParamCount) : in_.Text();
  }

  void Set() {
    static constexpr const char* kValues[] = {"0",    "1",          "-1",          "2",           "10",       "100",      "1000", "16000",
                                              "8000", "6000",       "44100",       "0.5",         "-1.0",     "2.0",      "",     "true",
                                              "x",    "2147483647", "-2147483648", "99999999999", "dnn_fb75", "lstm_fb40"};
    const std::string name = Name();
    std::string value = kValues[in_.Byte() % std::size(kValues)];
    if (name == "wvad_param_debug_log_filename") value = "debug.txt";
    try {
      Expect(wVadSetParameter(Handle(), Null() ? nullptr : name.c_str(), Null() ? nullptr : value.c_str()));
    } catch (const std::bad_cast&) {
      // A number that does not convert whole leaves as this.
    }
  }

  void Get() {
    const std::string name = Name();
    const uint8_t room = in_.Byte();
    std::vector<char> text(name.rfind("wkel_param_", 0) == 0 ? 16384 : std::max<size_t>(room, 1));
    Expect(wVadGetParameter(Handle(), Null() ? nullptr : name.c_str(), Null() ? nullptr : text.data(), room));
  }

  void Create() {
    const uint32_t slot = in_.Below(kSlots);
    if (Null()) return Expect(wVadCreateInst(nullptr));
    if (slots_[slot] != nullptr) return;
    Expect(wVadCreateInst(&slots_[slot]));
  }

  void Destroy() {
    if (Null()) return Expect(wVadDestroyInst(nullptr));
    WVADInst& slot = slots_[in_.Below(kSlots)];
    const int code = wVadDestroyInst(slot);
    Expect(code);
    if (code == 0) slot = nullptr;
  }

  void SilLen() {
    int length = 0;
    const int index = static_cast<int>(in_.Byte()) - 2;
    Expect(wVadGetSilLen(Handle(), index, Null() ? nullptr : &length));
  }

  void Call(uint32_t function) {
    switch (function) {
      case 0:
        if (in_.Byte() % 4 == 0) NewConfig();
        return Expect(wVadInitialize(nullptr));
      case 1:
        // Rare: after it little happens.
        if (in_.Byte() % 4 == 0) Expect(wVadUninitialize());
        OpenLog();
        return;
      case 2:
        return Set();
      case 3:
        return Get();
      case 4:
        return Create();
      case 5:
        return Destroy();
      case 6:
        return Expect(wVadStart(Handle()));
      case 7:
        if (in_.Byte() % 2 == 0) Expect(wVadStop(Handle()));
        return;
      case 8:
        return Read();
      case 9:
        return Endpoints();
      case 10:
        FUZZ_CHECK(wVADResourceAdd(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) == 0);
        return;
      case 11:
        FUZZ_CHECK(wVADResourceDelete(nullptr, nullptr, nullptr, nullptr, nullptr) == 0);
        return;
      case 12:
        FUZZ_CHECK(wVadReset(Handle()) == 0);
        return;
      case 13:
        return Result();
      case 14:
        return SilLen();
      default:
        return Write();
    }
  }

  void CleanUp() {
    OpenLog();
    // Instances can only be destroyed while the engine is up.
    const int up = wVadInitialize(nullptr);
    FUZZ_CHECK(up == 0 || up == WVAD_ERROR_ALREADY_INIT);
    for (WVADInst inst : slots_) {
      if (inst != nullptr) FUZZ_CHECK(wVadDestroyInst(inst) == 0);
    }
    FUZZ_CHECK(wVadUninitialize() == 0);
    ResetDefaults();
    ClearScratch();
  }

  ByteSource in_;
  std::array<WVADInst, kSlots> slots_ = {};
  uint32_t samples_ = 0;
  volatile uint32_t sink_ = 0;
};

}  // namespace
}  // namespace TSEG::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TSEG::fuzz::Scratch();
  TSEG::fuzz::OpenLog();
  TSEG::fuzz::Caller(data, size).Run();
  return 0;
}
