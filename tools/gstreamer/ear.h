// SPDX-License-Identifier: Apache-2.0
//
// Ear: a model and a stream of the stream library over audio in GStreamer's caps, with its events in hand after each piece.
//
// What cannot be served throws Trouble, which carries the library's own words.
#ifndef WVAD_GSTREAMER_EAR_H_
#define WVAD_GSTREAMER_EAR_H_

#include <gst/audio/audio.h>
#include <wvad_stream.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "gstreamer/properties.h"

namespace TSEG::gst {

// All that the element takes, as text for its pads' templates.
#define WVAD_GSTREAMER_CAPS                                                                                                 \
  "audio/x-raw, format = (string) { " GST_AUDIO_NE(S16) ", " GST_AUDIO_NE(S24_32) ", " GST_AUDIO_NE(S32) ", " GST_AUDIO_NE( \
      F32) " }, rate = (int) [ 4000, 192000 ], channels = (int) [ 1, 65535 ], layout = (string) interleaved"

class Trouble : public std::runtime_error {
 public:
  Trouble(wvad_status status, const std::string& why) : std::runtime_error(why), status_(status) {}
  wvad_status status() const { return status_; }

 private:
  wvad_status status_;
};

class Ear {
 public:
  // Opens the model that `configuration` asks for, or keeps the one that it has, and a stream of `want` for `form`.
  void Open(const GstAudioInfo& form, const Configuration& configuration, uint32_t want);
  bool open() const { return stream_ != nullptr; }

  // Whole frames. A piece with samples that are no finite numbers is heard as silence; gives false then.
  bool Push(const void* samples, size_t n_bytes);
  void Finish();
  // The stream goes, the model stays.
  void Close() { stream_.reset(); }
  void Forget();

  // Takes the oldest event that waits; false if none does.
  bool NextEvent(wvad_event* event);

  // Of the open model: the name or path that it was opened by, and its rate.
  const std::string& model_name() const { return model_name_; }
  int model_rate_hz() const { return model_rate_hz_; }

 private:
  void OpenModel(const std::string& name);

  struct CloseModel {
    void operator()(wvad_model* model) const { wvad_model_close(&model); }
  };
  struct CloseStream {
    void operator()(wvad_stream* stream) const { wvad_stream_close(&stream); }
  };

  std::unique_ptr<wvad_model, CloseModel> model_;
  std::unique_ptr<wvad_stream, CloseStream> stream_;
  std::string model_name_;
  int model_rate_hz_ = 0;
  std::vector<unsigned char> silence_;
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_EAR_H_
