// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/ear.h"

namespace TSEG::gst {
namespace {

// The reason is the one that the library gave last on this thread.
void Check(wvad_status status, const std::string& what) {
  if (status < 0) throw Trouble(status, what + ": " + wvad_last_error());
}

int32_t FormOf(GstAudioFormat format) {
  switch (format) {
    case GST_AUDIO_FORMAT_S16:
      return WVAD_SAMPLE_S16;
    case GST_AUDIO_FORMAT_S24_32:
      return WVAD_SAMPLE_S24;
    case GST_AUDIO_FORMAT_S32:
      return WVAD_SAMPLE_S32;
    case GST_AUDIO_FORMAT_F32:
      return WVAD_SAMPLE_F32;
    default:
      return 0;  // which the library refuses
  }
}

// A path has a slash or the ending of a model file; a bundled model's name has neither.
bool IsPath(const std::string& name) { return name.find('/') != std::string::npos || name.find('.') != std::string::npos; }

}  // namespace

void Ear::OpenModel(const std::string& name) {
  if (model_ != nullptr && name == model_name_) return;
  Forget();
  wvad_model* model = nullptr;
  Check(IsPath(name) ? wvad_model_open(name.c_str(), &model) : wvad_model_open_bundled(name.c_str(), &model), "model " + name);
  model_.reset(model);
  wvad_model_info info{};
  info.size = sizeof info;
  Check(wvad_model_get_info(model, &info), "model " + name);
  model_name_ = name;
  model_rate_hz_ = info.rate_hz;
}

void Ear::Open(const GstAudioInfo& form, const Configuration& configuration, uint32_t want) {
  Close();
  const int32_t rate_hz = GST_AUDIO_INFO_RATE(&form);
  const int32_t profile = configuration.settings.profile;
  OpenModel(!configuration.model.empty() ? configuration.model : wvad_profile_model(profile, rate_hz));
  wvad_stream_options options{};
  Check(wvad_stream_options_init(&options, sizeof options), "options");
  options.rate_hz = rate_hz;
  options.channels = GST_AUDIO_INFO_CHANNELS(&form);
  options.sample_form = FormOf(GST_AUDIO_INFO_FORMAT(&form));
  options.channel = configuration.channel;
  options.want = want;
  wvad_stream* stream = nullptr;
  Check(wvad_stream_open(model_.get(), &options, &configuration.settings, &stream), "listening");
  stream_.reset(stream);
}

bool Ear::Push(const void* samples, size_t n_bytes) {
  const wvad_status status = wvad_stream_push(stream_.get(), samples, n_bytes);
  if (status != WVAD_E_SAMPLES) {
    Check(status, "audio");
    return true;
  }
  silence_.assign(n_bytes, 0);
  Check(wvad_stream_push(stream_.get(), silence_.data(), n_bytes), "audio");
  return false;
}

void Ear::Finish() { Check(wvad_stream_finish(stream_.get()), "the end of the audio"); }

void Ear::Forget() {
  Close();
  model_.reset();
  model_name_.clear();
}

bool Ear::NextEvent(wvad_event* event) {
  *event = {};
  event->size = sizeof *event;
  return wvad_stream_next_event(stream_.get(), event) == 1;
}

}  // namespace TSEG::gst
