// SPDX-License-Identifier: Apache-2.0
//
// What the fuzzers share: a reader of bytes as numbers and texts, a scratch folder that is the current folder, a log that goes nowhere but
// is formatted in full, and small sound models.
//
// A fuzzer runs in one process from input to input; each input leaves the process as it found it (engine down, default parameters, log
// open), so that a crash is reproduced by its input alone.
#ifndef WVAD_FUZZ_FUZZ_SUPPORT_H_
#define WVAD_FUZZ_FUZZ_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

// Ends the process with the place and the condition: what a fuzzer found. Not an assert, which a release build drops.
#define FUZZ_CHECK(condition)                                                             \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)

namespace TSEG::fuzz {

// Takes numbers from the front of the input; an input that is used up gives zeros.
class ByteSource {
 public:
  ByteSource(const uint8_t* data, size_t size) : at_(data), left_(size) {}

  bool empty() const { return left_ == 0; }
  size_t left() const { return left_; }
  uint8_t Byte() {
    if (left_ == 0) return 0;
    --left_;
    return *at_++;
  }
  uint16_t Word() { return static_cast<uint16_t>(Byte() | (Byte() << 8)); }
  uint32_t Long() { return static_cast<uint32_t>(Word()) | (static_cast<uint32_t>(Word()) << 16); }
  // 0 to n-1.
  uint32_t Below(uint32_t n) { return n <= 256 ? Byte() % n : Long() % n; }
  // A byte of length, then that many characters.
  std::string Text() {
    size_t n = Byte();
    if (n > left_) n = left_;
    std::string text(reinterpret_cast<const char*>(at_), n);
    at_ += n;
    left_ -= n;
    return text;
  }
  // Fills `n` bytes at `to`, with zeros behind the end of the input.
  void Fill(void* to, size_t n) {
    const size_t have = n < left_ ? n : left_;
    if (have != 0) std::memcpy(to, at_, have);
    if (have < n) std::memset(static_cast<uint8_t*>(to) + have, 0, n - have);
    at_ += have;
    left_ -= have;
  }

 private:
  const uint8_t* at_;
  size_t left_;
};

// A folder of this process that is the current folder from the first call on, removed at exit. Gives its path.
const std::string& Scratch();
// Removes everything that an input left in the folder, but the models.
void ClearScratch();

// Opens the logger, all levels on, on a file that keeps nothing. Nothing happens if there is one.
void OpenLog();
// Default parameters of the engine and of the audio-quality component as they are in a fresh process.
void ResetDefaults();

// The bytes of a small sound model: 0 "dnn_fb75", 1 "lstm_fb75", 2 "lstm_fb40". Weights by formula; dimensions as small as the format
// allows.
constexpr uint32_t kModels = 3;
const std::vector<uint8_t>& SmallModel(uint32_t kind);
// The lines of "w_tseg.cfg" that name that model, and that keep the debug text inside of the scratch folder.
std::string ConfigFor(uint32_t kind);
void WriteText(const std::string& name, std::string_view text);

// Audio by formula: noise, silence and a harmonic sound in turn, so that sentences begin and end. 20 s at 16 kHz.
const std::vector<int16_t>& Audio();

}  // namespace TSEG::fuzz

#endif  // WVAD_FUZZ_FUZZ_SUPPORT_H_
