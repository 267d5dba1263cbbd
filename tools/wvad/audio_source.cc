// SPDX-License-Identifier: Apache-2.0
#include "wvad/audio_source.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "wvad/byte_source.h"
#include "wvad/container.h"
#include "wvad/failure.h"
#include "wvad/flac_source.h"
#include "wvad/foreign_bytes.h"
#include "wvad/media_source.h"
#include "wvad/mp3_source.h"
#include "wvad/passed_on_source.h"
#include "wvad/playlist.h"
#include "wvad/raw_source.h"
#include "wvad/recording_name.h"
#include "wvad/report_json.h"
#include "wvad/resampler.h"
#include "wvad/second_container.h"
#include "wvad/second_recording.h"
#include "wvad/sndfile_source.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// Samples whose header was never closed: they are heard to the end of the file, and that is said.
class Unclosed : public PassedOnSource {
 public:
  using PassedOnSource::PassedOnSource;
  std::string damage() override { return "never closed: its header says 0 samples; heard to the end of the file"; }
};

// Samples that describe themselves, though the user did so too.
class DescribedTwice : public PassedOnSource {
 public:
  using PassedOnSource::PassedOnSource;
  std::string note() const override {
    return "--rate and --channels are of raw samples (--raw) and have no effect: the recording says itself what it holds";
  }
};

// Words of our own, where a decoder would have none or would go by it.
void CheckRateOfWave(const std::string& name, const Stretch& stretch) {
  if (stretch.rate_hz < 0) {  // beyond 31 bits
    throw Failure(ExitCode::kBadRate, name + ": unsupported sample rate " + std::to_string(static_cast<uint32_t>(stretch.rate_hz)) + " Hz");
  }
  CheckRate(name, stretch.rate_hz);
}

std::unique_ptr<AudioSource> OpenContainer(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container) {
  if (container == Container::kFlac) return OpenFlac(name, std::move(bytes));
  if (container == Container::kMp3) return OpenMp3(name, std::move(bytes));
  const std::optional<Stretch> stretch = FindStretch(*bytes, container);
  if (container == Container::kWave && stretch && stretch->channels > 0) CheckRateOfWave(name, *stretch);
  if (stretch && !stretch->declared && stretch->form != nullptr) {
    std::unique_ptr<AudioSource> samples =
        MakeRawSource(std::move(bytes), stretch->begin, *stretch->form, stretch->rate_hz, stretch->channels);
    if (stretch->unclosed) return std::make_unique<Unclosed>(std::move(samples));
    return samples;
  }
  return OpenWithSndfile(name, std::move(bytes), container, stretch);
}

// A recording that one decoder refuses is there for the next one.
class SharedBytes : public ByteSource {
 public:
  explicit SharedBytes(std::shared_ptr<ByteSource> bytes) : bytes_(std::move(bytes)) {}
  size_t ReadAt(uint64_t offset, void* out, size_t count) override { return bytes_->ReadAt(offset, out, count); }
  std::optional<uint64_t> length() const override { return bytes_->length(); }
  void KeepAll() override { bytes_->KeepAll(); }

 private:
  std::shared_ptr<ByteSource> bytes_;
};

// What lies before byte `end`, as if nothing were behind it.
class BytesBefore : public ByteSource {
 public:
  BytesBefore(std::unique_ptr<ByteSource> bytes, uint64_t end) : bytes_(std::move(bytes)), end_(end) {}
  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    return offset < end_ ? bytes_->ReadAt(offset, out, static_cast<size_t>(std::min<uint64_t>(count, end_ - offset))) : 0;
  }
  std::optional<uint64_t> length() const override { return std::min(bytes_->length().value_or(0), end_); }

 private:
  std::unique_ptr<ByteSource> bytes_;
  uint64_t end_;
};

// The first of several recordings in one file; that there are others is said.
class FirstOfSeveral : public PassedOnSource {
 public:
  using PassedOnSource::PassedOnSource;
  size_t Read(float* out, size_t count) override {
    const size_t got = PassedOnSource::Read(out, count);
    heard_ += got;
    return got;
  }
  std::string damage() override {
    const std::string own = PassedOnSource::damage();
    return own + (own.empty() ? "" : "; ") + kSeveralRecordings + Fixed(static_cast<double>(heard_) / rate_hz(), 2) + " s could be heard";
  }

 private:
  uint64_t heard_ = 0;
};

bool IsForMedia(Container container) {
  return container == Container::kForwardMedia || container == Container::kBoxedMedia || container == Container::kMedia;
}

// What is called like sound is meant to be some, wherever it was found.
[[noreturn]] void RefuseUnknown(const std::string& name, const std::string& message) {
  if (IsSoundName(name)) throw Failure(ExitCode::kNotAudio, message);
  throw NoSound(message);
}

// What FFmpeg finds in bytes that have no mark is not what they were made for, unless it can be heard.
std::unique_ptr<AudioSource> OpenUnrecognised(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                              const SourceOptions& options) {
  try {
    return OpenMedia(name, std::move(bytes), container, options);
  } catch (const Failure& failure) {
    if (failure.code() != ExitCode::kNotAudio || container != Container::kNone) throw;
    RefuseUnknown(name, failure.what());
  }
}

// FFmpeg is asked for what it alone knows and for tracks beside the first, which it alone counts; else last.
std::unique_ptr<AudioSource> OpenByOneOf(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                         const SourceOptions& options) {
  const std::shared_ptr<ByteSource> shared = std::move(bytes);
  if (!IsForMedia(container) && options.track <= 1) {
    try {
      return OpenContainer(name, std::make_unique<SharedBytes>(shared), container);
    } catch (const Failure& failure) {
      if (failure.code() != ExitCode::kNotAudio) throw;
      std::unique_ptr<AudioSource> source = OpenUnrecognised(name, std::make_unique<SharedBytes>(shared), container, options);
      if (source != nullptr) return source;
      if (container == Container::kNone) RefuseUnknown(name, failure.what());
      throw;
    }
  }
  std::unique_ptr<AudioSource> source = OpenMedia(name, std::make_unique<SharedBytes>(shared), container, options);
  if (source != nullptr) return source;
  throw Failure(ExitCode::kBadRate,
                name + ": there is no sound track " + std::to_string(options.track) + " that can be told from the first");
}

// Decoders pass over further recordings behind the first, or take them for something else: they do not see them. A stream is not waited
// for.
std::unique_ptr<AudioSource> OpenFirst(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                       const SourceOptions& options) {
  const std::optional<uint64_t> length = bytes->length();
  const std::optional<uint64_t> second = length ? BeginOfSecond(*bytes, container, *length) : std::nullopt;
  if (!second) return OpenByOneOf(name, std::move(bytes), container, options);
  return std::make_unique<FirstOfSeveral>(OpenByOneOf(name, std::make_unique<BytesBefore>(std::move(bytes), *second), container, options));
}

// The first bytes of something longer.
class BeginOf : public ByteSource {
 public:
  BeginOf(ByteSource& bytes, size_t most) : begin_(most, '\0') { begin_.resize(bytes.ReadAt(0, begin_.data(), most)); }
  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    return offset < begin_.size() ? begin_.copy(static_cast<char*>(out), count, static_cast<size_t>(offset)) : 0;
  }
  std::optional<uint64_t> length() const override { return begin_.size(); }

 private:
  std::string begin_;
};

// A stream whose first bytes have no mark would be kept to its end before anything is known of it, and a device has none. What no decoder
// knows by so much of it is refused first.
void RefuseUnknownStream(const std::string& name, ByteSource& bytes, const SourceOptions& options) {
  constexpr size_t kLookedAt = 1 << 20;  // what a stream keeps
  if (bytes.length()) return;
  auto begin = std::make_unique<BeginOf>(bytes, kLookedAt);
  if (bytes.length() || Interrupted()) return;
  try {
    OpenByOneOf(name, std::move(begin), Container::kNone, options);
  } catch (const Failure& failure) {
    if (failure.code() != ExitCode::kNotAudio) throw;
    RefuseUnknown(name, name + ": not audio that is known by its first MiB; samples without a container need --raw");
  }
}

void RefuseForeign(ByteSource& bytes, const std::string& name) {
  const char* kind = ForeignKind(bytes);
  if (kind == nullptr) return;
  throw Failure(ExitCode::kNotAudio,
                name + ": these bytes are " + kind + " and no audio; if they are samples all the same, say --raw with their form");
}

}  // namespace

std::unique_ptr<AudioSource> OpenAudio(const std::string& name, const SourceOptions& options) {
  if (IsAddress(name)) {
    std::unique_ptr<AudioSource> source = OpenAddress(name, options);
    CheckRate(name, source->rate_hz());
    return source;
  }
  return OpenAudio(name, OpenBytes(name), options);
}

std::unique_ptr<AudioSource> OpenAudio(const std::string& name, std::unique_ptr<ByteSource> bytes, const SourceOptions& options) {
  const RawOptions& raw = options.raw;
  const Container container = raw.form != nullptr ? Container::kNone : Recognise(*bytes);
  if (Interrupted() && name != "-") throw Failure(ExitCode::kInterrupted, name + ": interrupted");
  // Of a pipe this is known when the first bytes have been asked for.
  if (raw.form == nullptr && bytes->length() == uint64_t{0} && !Interrupted()) {
    if (name == "-") throw Failure(ExitCode::kNotAudio, name + ": no audio came (standard input is empty)");
    RefuseUnknown(name, name + ": not an audio file that can be read (it is empty)");
  }
  if (raw.form == nullptr && (container == Container::kNone || container == Container::kMedia)) RefusePlaylist(*bytes, name);
  if (raw.form == nullptr && container == Container::kNone && name == "-") RefuseForeign(*bytes, name);
  std::unique_ptr<AudioSource> source;
  if (raw.form != nullptr || (name == "-" && container == Container::kNone)) {
    const RawForm& form = raw.form != nullptr ? *raw.form : RawForms()[0];
    CheckRate(name, raw.rate_hz);
    source = MakeRawSource(std::move(bytes), 0, form, raw.rate_hz, raw.channels);
  } else {
    if (container == Container::kNone) RefuseUnknownStream(name, *bytes, options);
    source = OpenFirst(name, std::move(bytes), container, options);
    // Of a pipe the rate has helped to choose the model.
    if (raw.described && name != "-") source = std::make_unique<DescribedTwice>(std::move(source));
  }
  CheckRate(name, source->rate_hz());
  return source;
}

}  // namespace TSEG::tool
