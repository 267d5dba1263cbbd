// SPDX-License-Identifier: Apache-2.0
#include "audio_reader/audio_reader.h"

#include <wvad.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "audio_reader/resampled_source.h"
#include "wvad/audio_source.h"
#include "wvad/byte_source.h"
#include "wvad/failure.h"
#include "wvad/sample_audit.h"

using namespace TSEG::tool;

struct wvad_audio {
  std::unique_ptr<AudioSource> source;
  std::string words;  // that were handed out last
};

namespace {

std::string& LastError() {
  thread_local std::string text;
  return text;
}

// How many bytes the caller stored in `out`, at most `count`; -1 for a failure, and for more than were asked for.
int64_t Ask(const wvad_audio_bytes& bytes, uint64_t offset, void* out, size_t count) {
  wvad_audio_request request = {bytes.user, offset, out, count, -1};
  bytes.read_at(&request);
  return request.got <= static_cast<int64_t>(count) ? request.got : -1;
}

// Bytes of the caller that can be read again from anywhere.
class CallerBytes : public ByteSource {
 public:
  CallerBytes(const std::string& name, const wvad_audio_bytes& bytes) : name_(name), bytes_(bytes) {}

  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    const auto length = static_cast<uint64_t>(bytes_.length);
    if (offset >= length) return 0;
    count = static_cast<size_t>(std::min<uint64_t>(count, length - offset));
    size_t got = 0;
    while (got < count) {
      const int64_t more = Ask(bytes_, offset + got, static_cast<char*>(out) + got, count - got);
      if (more < 0) throw Failure(ExitCode::kNoFile, name_ + ": cannot be read");
      if (more == 0) break;
      got += static_cast<size_t>(more);
    }
    return got;
  }
  std::optional<uint64_t> length() const override { return static_cast<uint64_t>(bytes_.length); }

 private:
  std::string name_;
  wvad_audio_bytes bytes_;
};

std::unique_ptr<ByteSource> BytesOf(const std::string& name, const wvad_audio_bytes& bytes) {
  if (bytes.length >= 0) return std::make_unique<CallerBytes>(name, bytes);
  return StreamOf(name, [bytes, offset = uint64_t{0}](void* out, size_t count) mutable {
    const int64_t got = Ask(bytes, offset, out, count);
    if (got < 0) errno = EIO;
    offset += static_cast<uint64_t>(std::max<int64_t>(got, 0));
    return static_cast<long>(got);
  });
}

// Runs `act`; what it throws becomes a code, and words for wvad_audio_last_error().
template <typename Act>
int32_t AtBorder(const Act& act) {
  try {
    act();
    return WVAD_AUDIO_OK;
  } catch (const Failure& failure) {
    LastError() = failure.what();
    return static_cast<int32_t>(failure.code());
  } catch (const std::exception& defect) {
    LastError() = std::string("internal error: ") + defect.what();
    return WVAD_AUDIO_INTERNAL;
  }
}

template <typename Words>
const char* Keep(wvad_audio* audio, const Words& words) {
  if (const int32_t code = AtBorder([&] { audio->words = words(); }); code != WVAD_AUDIO_OK) audio->words = LastError();
  return audio->words.c_str();
}

}  // namespace

const char* wvad_audio_version(void) { return WVAD_VERSION; }

const char* wvad_audio_last_error(void) { return LastError().c_str(); }

int32_t wvad_audio_open(const char* name, const wvad_audio_bytes* bytes, int32_t track, int32_t rate_hz, wvad_audio** audio) {
  *audio = nullptr;
  return AtBorder([&] {
    SourceOptions options;
    options.track = track;
    std::unique_ptr<AudioSource> source =
        bytes != nullptr ? OpenAudio(name, BytesOf(name, *bytes), options) : OpenAudio(std::string(name), options);
    source = std::make_unique<SampleAudit>(std::move(source), 0.0);
    if (rate_hz != 0) {
      CheckRate(name, rate_hz);
      source = std::make_unique<ResampledSource>(std::move(source), rate_hz);
    }
    *audio = new wvad_audio{std::move(source), ""};
  });
}

void wvad_audio_get_info(const wvad_audio* audio, wvad_audio_info* info) {
  *info = {audio->source->rate_hz(), audio->source->channels(), audio->source->frames()};
}

int64_t wvad_audio_read(wvad_audio* audio, float* out, size_t frames) {
  size_t got = 0;
  const int32_t code = AtBorder([&] { got = audio->source->Read(out, frames); });
  return code == WVAD_AUDIO_OK ? static_cast<int64_t>(got) : -int64_t{code};
}

const char* wvad_audio_damage(wvad_audio* audio) {
  return Keep(audio, [audio] { return audio->source->damage(); });
}

const char* wvad_audio_note(wvad_audio* audio) {
  return Keep(audio, [audio] { return audio->source->note(); });
}

void wvad_audio_close(wvad_audio** audio) {
  delete *audio;
  *audio = nullptr;
}
