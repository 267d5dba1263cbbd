// SPDX-License-Identifier: Apache-2.0
#include "wvad/sound_file.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "wvad/failure.h"
#include "wvad/form_of_ending.h"

namespace TSEG::tool {
namespace {

constexpr SoundFileKind kKinds[] = {
    {"wav",
     "not compressed",
     ".wav",
     SF_FORMAT_WAV,
     {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_PCM_32, SF_FORMAT_FLOAT}},
    {"flac",
     "compressed without loss",
     ".flac",
     SF_FORMAT_FLAC,
     {SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_PCM_24, SF_FORMAT_PCM_24}},
    {"ogg", "Vorbis", ".ogg", SF_FORMAT_OGG, {SF_FORMAT_VORBIS, SF_FORMAT_VORBIS, SF_FORMAT_VORBIS, SF_FORMAT_VORBIS, SF_FORMAT_VORBIS}},
    {"opus", "Opus in Ogg", ".opus", SF_FORMAT_OGG, {SF_FORMAT_OPUS, SF_FORMAT_OPUS, SF_FORMAT_OPUS, SF_FORMAT_OPUS, SF_FORMAT_OPUS}},
    {"mp3",
     "for any player",
     ".mp3",
     SF_FORMAT_MPEG,
     {SF_FORMAT_MPEG_LAYER_III, SF_FORMAT_MPEG_LAYER_III, SF_FORMAT_MPEG_LAYER_III, SF_FORMAT_MPEG_LAYER_III, SF_FORMAT_MPEG_LAYER_III}},
};

// What the encoders of these kinds take; the others take anything.
constexpr int kOpusRates[] = {8000, 12000, 16000, 24000, 48000};
constexpr int kMp3Rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
struct Limits {
  std::string_view kind;
  std::span<const int> rates;  // empty: up to `highest_hz`
  int highest_hz;
  int channels;
  bool empty;  // a file without any sound is one that can be read
};
constexpr Limits kLimits[] = {{"wav", {}, 768000, 1024, true},
                              {"flac", {}, 655350, 8, false},
                              {"ogg", {}, 200000, 255, true},
                              {"opus", kOpusRates, 0, 255, false},
                              {"mp3", kMp3Rates, 0, 2, false}};

const Limits& LimitsOf(const SoundFileKind& kind) {
  return *std::find_if(std::begin(kLimits), std::end(kLimits), [&](const Limits& row) { return row.kind == kind.name; });
}

SF_INFO InfoOf(const SoundFileKind& kind, SampleDepth depth, int rate_hz, int channels, int64_t most_frames) {
  SF_INFO info{};
  info.samplerate = rate_hz;
  info.channels = channels;
  info.format = kind.container | kind.coding[static_cast<size_t>(depth)];
  // The sizes in a WAV file have 32 bits. Its form for longer sound is not known to every reader.
  constexpr int64_t kMostOfWav = (int64_t{1} << 32) - (1 << 20);
  constexpr int64_t kWidest = 4;
  if (kind.container == SF_FORMAT_WAV && most_frames > kMostOfWav / kWidest / channels) info.format ^= SF_FORMAT_WAV ^ SF_FORMAT_RF64;
  return info;
}

// The nearest integer of `bits` bits, in the upper bits of a word as libsndfile takes it: its own conversion of floats is another one than
// that of its reading, so that samples would not come through unchanged.
int32_t ToWord(float sample, int bits) {
  const double scale = static_cast<double>(int64_t{1} << (bits - 1));
  const double value = std::isnan(sample) ? 0 : std::clamp(std::nearbyint(static_cast<double>(sample) * scale), -scale, scale - 1);
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<int32_t>(value)) << (32 - bits));
}

}  // namespace

struct SoundFile::Impl {
  explicit Impl(NewFile& new_file) : file(new_file) {}

  static Impl& Of(void* user) { return *static_cast<Impl*>(user); }
  static sf_count_t Length(void* user) { return Of(user).length; }
  static sf_count_t Tell(void* user) { return Of(user).at; }
  static sf_count_t Read(void*, sf_count_t, void*) { return 0; }
  static sf_count_t Seek(sf_count_t offset, int whence, void* user) {
    Impl& self = Of(user);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? self.at : self.length;
    self.at = std::max<sf_count_t>(0, base + offset);
    return self.at;
  }
  // Exceptions must not cross the encoder: a failure is kept until it has returned.
  static sf_count_t Put(const void* data, sf_count_t count, void* user) {
    Impl& self = Of(user);
    const std::string_view bytes(static_cast<const char*>(data), static_cast<size_t>(count));
    try {
      const size_t known = static_cast<size_t>(std::clamp<sf_count_t>(self.length - self.at, 0, count));
      if (known > 0) self.file.WriteAt(self.at, bytes.substr(0, known));
      if (known < bytes.size()) self.file.Write(bytes.substr(known));
    } catch (const Failure& failure) {
      self.failure = failure;
      return 0;
    }
    self.at += count;
    self.length = std::max(self.length, self.at);
    return count;
  }

  void Check(bool done) {
    if (failure) throw Failure(*failure);
    if (!done) {
      throw Failure(ExitCode::kOutput, file.path() + ": cannot be written as " + kind->name + " (" + sf_strerror(sound.get()) + ")");
    }
  }

  struct Close {
    void operator()(SNDFILE* open) const { sf_close(open); }
  };
  NewFile& file;
  const SoundFileKind* kind = nullptr;
  int bits = 0;  // of integers; 0: floats are written as they are
  size_t channels = 0;
  sf_count_t at = 0;
  sf_count_t length = 0;
  std::optional<Failure> failure;
  std::vector<int32_t> words;
  std::unique_ptr<SNDFILE, Close> sound;  // the last: its end writes
};

std::span<const SoundFileKind> SoundFileKinds() { return kKinds; }

const SoundFileKind* SoundFileKindOfEnding(const std::string& path) {
  return RowOfEnding(SoundFileKinds(), path, [](const SoundFileKind& kind) { return kind.ending; });
}

bool IsLossless(const SoundFileKind& kind) { return kind.coding[0] != kind.coding[1]; }

bool CanBeEmpty(const SoundFileKind& kind) { return LimitsOf(kind).empty; }

void CheckSoundFile(const std::string& who, const SoundFileKind& kind, int rate_hz, int channels) {
  const Limits& limits = LimitsOf(kind);
  std::string rates;
  for (const int rate : limits.rates) rates += (rates.empty() ? "" : ", ") + std::to_string(rate);
  const bool fits = limits.rates.empty() ? rate_hz <= limits.highest_hz
                                         : std::find(limits.rates.begin(), limits.rates.end(), rate_hz) != limits.rates.end();
  if (!fits) {
    throw Failure(ExitCode::kBadRate, who + ": " + kind.name + " holds no sound of " + std::to_string(rate_hz) + " Hz (" +
                                          (rates.empty() ? "up to " + std::to_string(limits.highest_hz) : rates) +
                                          "); choose another kind");
  }
  if (channels > limits.channels) {
    throw Failure(ExitCode::kBadRate, who + ": " + kind.name + " holds no " + std::to_string(channels) + " channels (up to " +
                                          std::to_string(limits.channels) + "); choose another kind");
  }
}

SoundFile::SoundFile(NewFile& file, const SoundFileKind& kind, SampleDepth depth, int rate_hz, int channels, int64_t most_frames)
    : impl_(std::make_unique<Impl>(file)) {
  SF_INFO info = InfoOf(kind, depth, rate_hz, channels, most_frames);
  impl_->kind = &kind;
  impl_->channels = static_cast<size_t>(channels);
  switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_S8:
      impl_->bits = 8;
      break;
    case SF_FORMAT_PCM_16:
      impl_->bits = 16;
      break;
    case SF_FORMAT_PCM_24:
      impl_->bits = 24;
      break;
    case SF_FORMAT_PCM_32:
      impl_->bits = 32;
      break;
    default:
      break;
  }
  SF_VIRTUAL_IO io = {Impl::Length, Impl::Seek, Impl::Read, Impl::Put, Impl::Tell};
  impl_->sound.reset(sf_open_virtual(&io, SFM_WRITE, &info, impl_.get()));
  impl_->Check(impl_->sound != nullptr);
  // No chunk with the time of day.
  sf_command(impl_->sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

SoundFile::~SoundFile() = default;

// In steps: libsndfile's encoders take room on the stack for what they get at once.
void SoundFile::Write(const float* interleaved, size_t frames) {
  constexpr size_t kStep = 8192;
  const size_t step = std::max<size_t>(1, kStep / impl_->channels);
  for (size_t done = 0; done < frames;) {
    const size_t count = std::min(step, frames - done);
    const float* from = interleaved + done * impl_->channels;
    const auto wanted = static_cast<sf_count_t>(count);
    sf_count_t written = 0;
    if (impl_->bits == 0) {
      written = sf_writef_float(impl_->sound.get(), from, wanted);
    } else {
      impl_->words.resize(count * impl_->channels);
      std::transform(from, from + impl_->words.size(), impl_->words.begin(), [this](float sample) { return ToWord(sample, impl_->bits); });
      written = sf_writef_int(impl_->sound.get(), impl_->words.data(), wanted);
    }
    impl_->Check(written == wanted);
    done += count;
  }
}

void SoundFile::Finish() {
  impl_->sound.reset();
  impl_->Check(true);
}

}  // namespace TSEG::tool
