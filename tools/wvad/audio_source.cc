// SPDX-License-Identifier: Apache-2.0
#include "wvad/audio_source.h"

#include <sndfile.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "wvad/failure.h"
#include "wvad/resampler.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

class SoundFile : public AudioSource {
 public:
  explicit SoundFile(const std::string& path) : path_(path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) throw Failure(ExitCode::kNoFile, path + ": no such file");
    if (status.type() == std::filesystem::file_type::none) {
      throw Failure(ExitCode::kNoFile, path + ": cannot be opened: " + error.message());
    }
    if (status.type() == std::filesystem::file_type::directory) throw Failure(ExitCode::kNoFile, path + ": is a folder, not a file");
    if (status.type() == std::filesystem::file_type::regular) {
      std::FILE* probe = std::fopen(path.c_str(), "rb");
      if (probe == nullptr) throw Failure(ExitCode::kNoFile, path + ": cannot be opened: " + std::strerror(errno));
      std::fclose(probe);
    }
    file_.reset(sf_open(path.c_str(), SFM_READ, &info_));
    if (file_ == nullptr) throw Failure(ExitCode::kNotAudio, path + ": not an audio file that can be read (" + Reason(nullptr) + ")");
    CheckRate(path, info_.samplerate);
  }

  int rate_hz() const override { return info_.samplerate; }
  int channels() const override { return info_.channels; }
  int64_t frames() const override { return info_.frames >= 0 && info_.frames < SF_COUNT_MAX ? info_.frames : -1; }

  size_t Read(float* out, size_t count) override {
    const sf_count_t got = sf_readf_float(file_.get(), out, static_cast<sf_count_t>(count));
    if (got <= 0 && sf_error(file_.get()) != SF_ERR_NO_ERROR) {
      throw Failure(ExitCode::kNotAudio, path_ + ": the audio is damaged (" + Reason(file_.get()) + ")");
    }
    return got > 0 ? static_cast<size_t>(got) : 0;
  }

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  // libsndfile's words without their closing dot, in one line.
  static std::string Reason(SNDFILE* file) {
    std::string text = sf_strerror(file);
    if (const size_t line = text.find('\n'); line != std::string::npos) text.resize(line);
    while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
    return text;
  }

  std::string path_;
  SF_INFO info_{};
  std::unique_ptr<SNDFILE, Close> file_;
};

class StandardInput : public AudioSource {
 public:
  StandardInput(int rate_hz, int channels) : rate_hz_(rate_hz), channels_(channels) { CheckRate("-", rate_hz); }

  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t frames() const override { return -1; }

  size_t Read(float* out, size_t count) override {
    const size_t frame_bytes = 2 * static_cast<size_t>(channels_);
    bytes_.resize(count * frame_bytes);
    const size_t got = std::fread(bytes_.data(), 1, bytes_.size(), stdin);
    if (got < bytes_.size() && std::ferror(stdin) != 0 && !Interrupted()) {
      throw Failure(ExitCode::kNoFile, std::string("-: standard input cannot be read: ") + std::strerror(errno));
    }
    const size_t frames = got / frame_bytes;
    for (size_t i = 0; i < frames * static_cast<size_t>(channels_); ++i) {
      const unsigned low = bytes_[2 * i];
      const unsigned high = bytes_[2 * i + 1];
      out[i] = static_cast<float>(static_cast<int16_t>(static_cast<uint16_t>(low | (high << 8)))) / 32768.0F;
    }
    return frames;
  }

 private:
  int rate_hz_;
  int channels_;
  std::vector<unsigned char> bytes_;
};

}  // namespace

std::unique_ptr<AudioSource> OpenAudioFile(const std::string& path) { return std::make_unique<SoundFile>(path); }

std::unique_ptr<AudioSource> OpenStandardInput(int rate_hz, int channels) { return std::make_unique<StandardInput>(rate_hz, channels); }

}  // namespace TSEG::tool
