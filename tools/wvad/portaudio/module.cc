// SPDX-License-Identifier: Apache-2.0
//
// lib/wvad/portaudio.so: microphones through PortAudio (live/capture_module.h).
#include <portaudio.h>
#include <wvad.h>

#include <algorithm>
#include <cmath>

#include "wvad/failure.h"
#include "wvad/live/capture_module.h"

namespace TSEG::tool {
namespace {

// From the first call to the process's end, so that devices keep their numbers.
class Use {
 public:
  Use() {
    if (const PaError error = Pa_Initialize(); error != paNoError) {
      throw Failure(ExitCode::kNoFile, std::string("the sound system cannot be reached: ") + Pa_GetErrorText(error));
    }
  }
  ~Use() { Pa_Terminate(); }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;
};

void Start() { static const Use use; }

std::vector<CaptureDevice> Devices() {
  Start();
  std::vector<CaptureDevice> devices;
  for (int number = 0; number < Pa_GetDeviceCount(); ++number) {
    const PaDeviceInfo* info = Pa_GetDeviceInfo(number);
    if (info == nullptr || info->maxInputChannels <= 0) continue;
    const PaHostApiInfo* system = Pa_GetHostApiInfo(info->hostApi);
    devices.push_back({number, info->name, system != nullptr ? system->name : "", info->maxInputChannels,
                       static_cast<int>(std::lround(info->defaultSampleRate)), number == Pa_GetDefaultInputDevice()});
  }
  return devices;
}

class Microphone : public Capture {
 public:
  Microphone(const CaptureDevice& device, int rate_hz, int channels)
      : name_(device.name), rate_hz_(rate_hz > 0 ? rate_hz : device.rate_hz), channels_(channels) {
    const PaDeviceInfo* info = Pa_GetDeviceInfo(device.number);
    if (info == nullptr) throw Failure(ExitCode::kNoFile, name_ + ": is no longer there");
    PaStreamParameters parameters{};
    parameters.device = device.number;
    parameters.channelCount = channels_;
    parameters.sampleFormat = paInt16;  // what the detector hears, and what devices give without a conversion
    // Room for what comes while the program is busy; what is told later is not heard later.
    parameters.suggestedLatency = std::max(0.1, info->defaultHighInputLatency);
    Check(Pa_OpenStream(&stream_, &parameters, nullptr, rate_hz_, paFramesPerBufferUnspecified, paDitherOff, nullptr, nullptr));
    if (const PaError error = Pa_StartStream(stream_); error != paNoError) {
      Pa_CloseStream(stream_);
      Check(error);
    }
  }
  ~Microphone() override {
    Pa_AbortStream(stream_);
    Pa_CloseStream(stream_);
  }
  Microphone(const Microphone&) = delete;
  Microphone& operator=(const Microphone&) = delete;

  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t losses() const override { return losses_; }

  size_t Read(float* out, size_t count, int wait_ms) override {
    constexpr int kStepMs = 5;
    signed long ready = Pa_GetStreamReadAvailable(stream_);
    for (int waited = 0; ready == 0 && waited < wait_ms; waited += kStepMs) {
      Pa_Sleep(kStepMs);
      ready = Pa_GetStreamReadAvailable(stream_);
    }
    if (ready < 0) Check(static_cast<PaError>(ready));
    const size_t frames = std::min(count, static_cast<size_t>(ready));
    if (frames == 0) return 0;
    samples_.resize(frames * static_cast<size_t>(channels_));
    const PaError error = Pa_ReadStream(stream_, samples_.data(), frames);
    if (error == paInputOverflowed) {
      ++losses_;
    } else {
      Check(error);
    }
    std::transform(samples_.begin(), samples_.end(), out, [](int16_t sample) { return static_cast<float>(sample) / 32768.0F; });
    return frames;
  }

 private:
  void Check(PaError error) const {
    if (error == paNoError) return;
    std::string reason = Pa_GetErrorText(error);
    if (const PaHostErrorInfo* host = Pa_GetLastHostErrorInfo(); error == paUnanticipatedHostError && host != nullptr)
      reason = host->errorText;
    if (error == paInvalidSampleRate || error == paInvalidChannelCount) {
      throw Failure(ExitCode::kBadRate, name_ + ": does not deliver " + std::to_string(rate_hz_) + " Hz in " + std::to_string(channels_) +
                                            " channels (" + reason + ")");
    }
    throw Failure(ExitCode::kNoFile, name_ + ": cannot be listened to: " + reason);
  }

  std::string name_;
  int rate_hz_;
  int channels_;
  PaStream* stream_ = nullptr;
  std::vector<int16_t> samples_;
  int64_t losses_ = 0;
};

std::unique_ptr<Capture> Open(const CaptureDevice& device, int rate_hz, int channels) {
  Start();
  return std::make_unique<Microphone>(device, rate_hz, channels);
}

constexpr CaptureModule kModule = {WVAD_VERSION, Devices, Open};

}  // namespace
}  // namespace TSEG::tool

extern "C" __attribute__((visibility("default"))) const TSEG::tool::CaptureModule* WVadCaptureModule() { return &TSEG::tool::kModule; }
