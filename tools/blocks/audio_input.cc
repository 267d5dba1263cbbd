// SPDX-License-Identifier: Apache-2.0
#include "blocks/audio_input.h"

#include <sndfile.h>

#include <cstring>
#include <memory>
#include <optional>

#include "platform/platform.h"

namespace TSEG::blocks {
namespace {

bool EndsWith(const std::string& text, const char* end) {
  const size_t n = std::strlen(end);
  return text.size() >= n && text.compare(text.size() - n, n, end) == 0;
}

struct SndfileCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

}  // namespace

bool IsRawName(const std::string& path) { return EndsWith(path, ".s16") || EndsWith(path, ".raw") || EndsWith(path, ".pcm"); }

bool ReadAudio(const std::string& path, int rate_hz, std::vector<int16_t>* samples, std::string* error) {
  samples->clear();
  if (IsRawName(path)) {
    const std::optional<std::string> bytes = platform::ReadWholeFile(path);
    if (!bytes) {
      *error = path + ": cannot be read";
      return false;
    }
    samples->resize(bytes->size() / 2);
    if (!samples->empty()) std::memcpy(samples->data(), bytes->data(), samples->size() * 2);
    return true;
  }
  SF_INFO info = {};
  std::unique_ptr<SNDFILE, SndfileCloser> file(sf_open(path.c_str(), SFM_READ, &info));
  if (!file) {
    *error = path + ": " + sf_strerror(nullptr);
    return false;
  }
  if (info.samplerate != rate_hz || info.channels != 1) {
    *error = path + ": " + std::to_string(info.samplerate) + " Hz, " + std::to_string(info.channels) + " channels; " +
             std::to_string(rate_hz) + " Hz mono is needed";
    return false;
  }
  std::vector<int16_t> part(1 << 16);
  for (;;) {
    const sf_count_t got = sf_readf_short(file.get(), part.data(), static_cast<sf_count_t>(part.size()));
    if (got <= 0) break;
    samples->insert(samples->end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(got));
  }
  if (sf_error(file.get()) != SF_ERR_NO_ERROR) {
    *error = path + ": " + sf_strerror(file.get());
    return false;
  }
  return true;
}

}  // namespace TSEG::blocks
