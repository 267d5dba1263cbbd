// SPDX-License-Identifier: Apache-2.0
//
// What is behind the public handles, and how a handle is told from what is none.
#ifndef WVAD_STREAM_HANDLES_H_
#define WVAD_STREAM_HANDLES_H_

#include <atomic>
#include <cstdint>
#include <memory>

#include "stream/event_queue.h"
#include "stream/listener.h"
#include "stream/refusal.h"

namespace TSEG::stream {

// First in a handle. Wiped at its end, so that a copy of a closed one is mostly recognised.
class HandleMark {
 public:
  explicit HandleMark(uint64_t kind) : mark_(kind) {}
  ~HandleMark() { mark_.store(0); }
  bool Is(uint64_t kind) const { return mark_.load() == kind; }

 private:
  std::atomic<uint64_t> mark_;
};

constexpr uint64_t kModelMark = 0x6c65646f6d646176;
constexpr uint64_t kStreamMark = 0x6d61657274646176;

}  // namespace TSEG::stream

struct wvad_model {
  explicit wvad_model(std::shared_ptr<TSEG::stream::SharedModel> opened) : model(std::move(opened)) {}

  TSEG::stream::HandleMark mark{TSEG::stream::kModelMark};
  std::shared_ptr<TSEG::stream::SharedModel> model;
};

struct wvad_stream {
  TSEG::stream::HandleMark mark{TSEG::stream::kStreamMark};
  std::atomic<bool> busy{false};
  std::shared_ptr<TSEG::stream::SharedModel> model;
  wvad_stream_options options{};
  wvad_settings settings{};
  std::unique_ptr<TSEG::stream::Listener> listener;
  TSEG::stream::EventQueue queue;
  TSEG::stream::Event handed_out;  // what the client's copy of the last event points to
  bool finished = false;
  bool failed = false;  // broke off inside: what it would say from now on is not to be relied on
};

namespace TSEG::stream {

// Throws Refusal(WVAD_E_NULL) naming it.
template <typename T>
void NeedPointer(const T* pointer, const char* what) {
  if (pointer == nullptr) throw Refusal(WVAD_E_NULL, std::string(what) + " is null");
}

inline void NeedModel(const wvad_model* model) {
  NeedPointer(model, "model");
  if (!model->mark.Is(kModelMark)) throw Refusal(WVAD_E_HANDLE, "model is not an open model");
}

// Holds a stream for the length of a call. Throws Refusal(WVAD_E_NULL, WVAD_E_HANDLE, WVAD_E_BUSY).
class StreamInUse {
 public:
  explicit StreamInUse(wvad_stream* stream) : stream_(stream) {
    NeedPointer(stream, "stream");
    if (!stream->mark.Is(kStreamMark)) throw Refusal(WVAD_E_HANDLE, "stream is not an open stream");
    if (stream->busy.exchange(true)) throw Refusal(WVAD_E_BUSY, "another call is running on this stream");
  }
  ~StreamInUse() { stream_->busy.store(false); }
  StreamInUse(const StreamInUse&) = delete;
  StreamInUse& operator=(const StreamInUse&) = delete;

  wvad_stream* operator->() const { return stream_; }

 private:
  wvad_stream* stream_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_HANDLES_H_
