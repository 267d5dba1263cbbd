// SPDX-License-Identifier: Apache-2.0
#include "wvad/sndfile_source.h"

#include <sndfile.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "wvad/failure.h"
#include "wvad/ogg_check.h"
#include "wvad/report_json.h"
#include "wvad/second_recording.h"

namespace TSEG::tool {
namespace {

// A length for streams, which have none yet: libsndfile wants a number, and takes what it can get.
constexpr sf_count_t kEndless = sf_count_t{1} << 50;
constexpr sf_count_t kNoCount = sf_count_t{1} << 40;  // counts of frames from here on come of that length

SampleDepth DepthOf(int coding) {
  switch (coding) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return SampleDepth::k8;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
      return SampleDepth::k24;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return SampleDepth::k32;
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
      return SampleDepth::kFloat;
    default:
      return SampleDepth::k16;
  }
}

class SndfileSource : public AudioSource {
 public:
  SndfileSource(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container, const std::optional<Stretch>& stretch)
      : bytes_(std::move(bytes)), container_(container), stretch_(stretch) {
    if (!stretch_ || !stretch_->declared) bytes_->KeepAll();
    const std::optional<uint64_t> end = End(), length = bytes_->length();
    another_ = end && length && AnotherBegins(*bytes_, container_, *end, *length);
    if (const uint64_t declared = stretch_ ? stretch_->declared.value_or(0) : 0; declared > 0 && end && length && *length < *end) {
      const uint64_t there = *length > stretch_->begin ? *length - stretch_->begin : 0;
      share_ = static_cast<double>(there) / static_cast<double>(declared);
    }
    SF_VIRTUAL_IO io = {Length, Seek, ReadBytes, nullptr, Tell};
    file_.reset(sf_open_virtual(&io, SFM_READ, &info_, this));
    if (failure_) throw *failure_;
    if (file_ == nullptr) throw Failure(ExitCode::kNotAudio, name + ": not an audio file that can be read (" + Reason(nullptr) + ")");
  }

  int rate_hz() const override { return info_.samplerate; }
  int channels() const override { return info_.channels; }
  int64_t frames() const override { return info_.frames >= 0 && info_.frames < kNoCount ? info_.frames : -1; }
  SampleDepth depth() const override { return DepthOf(info_.format & SF_FORMAT_SUBMASK); }

  // Behind a damaged place it goes on, if the decoder does.
  size_t Read(float* out, size_t count) override {
    sf_count_t got = 0;
    for (sf_count_t place = -1; got == 0 && place != position_;) {
      place = position_;
      got = sf_readf_float(file_.get(), out, static_cast<sf_count_t>(count));
      if (failure_) throw *failure_;
      if (sf_error(file_.get()) == SF_ERR_NO_ERROR) break;
      reason_ = Reason(file_.get());
    }
    read_ += std::max<sf_count_t>(got, 0);
    return static_cast<size_t>(std::max<sf_count_t>(got, 0));
  }

  std::string damage() override {
    if (container_ == Container::kOgg) {
      const OggState state = CheckOgg(*bytes_);
      if (state.bad_places > 0) return "damaged in " + Places(state.bad_places) + ": " + There() + "; what is behind them comes too early";
      if (state.chained) return kSeveralRecordings + There();
      if (!state.has_end) return "cut short: " + There();
    }
    if (share_ < 1 || missed_) {
      const double seconds = static_cast<double>(read_) / info_.samplerate;
      const double promised = share_ > 0 ? static_cast<double>(info_.frames) / share_ / info_.samplerate : 0;
      return "cut short: " + (promised > 0 ? PartOf(seconds, promised) : Fixed(seconds, 2)) + " s are there";
    }
    if (!reason_.empty()) return "damaged (" + reason_ + "): " + There();
    if (frames() > read_) return "cut short or damaged: " + There();
    if (another_) return kSeveralRecordings + Fixed(static_cast<double>(read_) / info_.samplerate, 2) + " s could be heard";
    return "";
  }

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  static SndfileSource& Of(void* user) { return *static_cast<SndfileSource*>(user); }

  // Behind samples whose end is known there is nothing worth waiting for.
  std::optional<uint64_t> End() const {
    if (stretch_ && stretch_->declared) return stretch_->begin + *stretch_->declared;
    return std::nullopt;
  }
  static sf_count_t Length(void* user) {
    const SndfileSource& self = Of(user);
    if (const std::optional<uint64_t> length = self.bytes_->length()) return static_cast<sf_count_t>(*length);
    if (const std::optional<uint64_t> end = self.End()) return static_cast<sf_count_t>(*end);
    return kEndless;
  }
  static sf_count_t Seek(sf_count_t offset, int whence, void* user) {
    SndfileSource& self = Of(user);
    if (whence == SEEK_END && Length(user) == kEndless) return -1;
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? self.position_ : Length(user);
    self.position_ = std::max<sf_count_t>(0, base + offset);
    return self.position_;
  }
  // Exceptions must not cross the decoder: a failure is kept until it has returned.
  static sf_count_t ReadBytes(void* out, sf_count_t count, void* user) {
    SndfileSource& self = Of(user);
    const auto at = static_cast<uint64_t>(self.position_);
    // Nor anything that libsndfile would know where another recording begins.
    if (self.another_ || !self.bytes_->length()) {
      if (const std::optional<uint64_t> end = self.End()) count = std::min(count, static_cast<sf_count_t>(*end > at ? *end - at : 0));
    }
    try {
      const size_t got = self.bytes_->ReadAt(at, out, static_cast<size_t>(count));
      const std::optional<uint64_t> end = self.End();
      self.missed_ |= end && got < static_cast<size_t>(count) && at + got < *end;
      self.position_ += static_cast<sf_count_t>(got);
      return static_cast<sf_count_t>(got);
    } catch (const Failure& failure) {
      self.failure_ = failure;
      return 0;
    }
  }
  static sf_count_t Tell(void* user) { return Of(user).position_; }

  // libsndfile's words without their closing dot, in one line.
  static std::string Reason(SNDFILE* file) {
    std::string text = sf_strerror(file);
    if (const size_t line = text.find('\n'); line != std::string::npos) text.resize(line);
    while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
    return text;
  }
  static std::string Places(int count) { return std::to_string(count) + (count == 1 ? " place" : " places"); }
  std::string There() const {
    const double rate = info_.samplerate;
    const double heard = static_cast<double>(read_) / rate;
    return (frames() > 0 ? PartOf(heard, static_cast<double>(frames()) / rate) : Fixed(heard, 2)) + " s could be heard";
  }

  std::unique_ptr<ByteSource> bytes_;
  Container container_;
  std::optional<Stretch> stretch_;
  bool another_ = false;  // recording begins behind this one
  // Of the bytes that the heading declares: what was there at the beginning, and whether more than that was asked for and not there. A file
  // may become shorter or longer while it is read.
  double share_ = 1;
  bool missed_ = false;
  SF_INFO info_{};
  sf_count_t position_ = 0;
  sf_count_t read_ = 0;
  std::string reason_;  // of the last trouble
  std::optional<Failure> failure_;
  std::unique_ptr<SNDFILE, Close> file_;
};

}  // namespace

std::unique_ptr<AudioSource> OpenWithSndfile(const std::string& name, std::unique_ptr<ByteSource> bytes, Container container,
                                             const std::optional<Stretch>& stretch) {
  return std::make_unique<SndfileSource>(name, std::move(bytes), container, stretch);
}

}  // namespace TSEG::tool
