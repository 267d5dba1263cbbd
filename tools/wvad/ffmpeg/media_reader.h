// SPDX-License-Identifier: Apache-2.0
//
// One sound track of whatever FFmpeg's libraries open, as the program's sources are: interleaved floats, and at the end what was wrong.
//
// Time 0 is that of the container, or where its clock runs freely (MPEG streams) the first thing in it; edit lists, an encoder's lead-in
// and tracks that begin late or have holes are heard as a player plays them (timeline.h). What cannot be decoded is passed over, and its
// time with silence.
#ifndef WVAD_WVAD_FFMPEG_MEDIA_READER_H_
#define WVAD_WVAD_FFMPEG_MEDIA_READER_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "wvad/audio_source.h"
#include "wvad/ffmpeg/byte_io.h"
#include "wvad/ffmpeg/timeline.h"
#include "wvad/ffmpeg/trouble_log.h"
#include "wvad/media_module.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;
struct SwrContext;

namespace TSEG::tool {

// Gives back what the libraries made.
struct MediaDelete {
  void operator()(AVFormatContext* file) const;
  void operator()(AVCodecContext* decoder) const;
  void operator()(AVPacket* packet) const;
  void operator()(AVFrame* frame) const;
  void operator()(SwrContext* converter) const;
};
template <typename T>
using MediaOwned = std::unique_ptr<T, MediaDelete>;

class MediaReader : public AudioSource {
 public:
  // `io` is null for an address. Throws as MediaModule::open.
  MediaReader(const MediaRequest& request, std::unique_ptr<ByteIo> io);

  // False for bytes of no kind that is known; nothing else may be called then.
  bool known() const { return decoder_ != nullptr; }

  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t frames() const override;
  SampleDepth depth() const override;
  size_t Read(float* out, size_t count) override;
  std::string damage() override;
  std::string note() const override;

 private:
  bool Open();
  void OpenDecoder();
  int64_t ZeroOfClock() const;
  void Decode();
  bool Feed();
  void FollowClock();
  void Take(AVFrame* frame);
  void Convert(AVFrame* frame, int64_t drop);
  void MakeConverter(AVFrame* frame);
  void NoteDamage();
  [[noreturn]] void Refuse(int code) const;
  double LengthOfList() const;
  bool LacksPieces() const;
  bool PiecesOutOfOrder() const;
  std::string Heard() const;

  MediaRequest request_;
  std::unique_ptr<ByteIo> io_;
  TroubleLog log_;
  MediaOwned<AVFormatContext> file_;
  AVStream* stream_ = nullptr;
  MediaOwned<AVCodecContext> decoder_;
  MediaOwned<AVPacket> packet_;
  MediaOwned<AVFrame> frame_;
  MediaOwned<SwrContext> converter_;
  int form_ = -1;  // that the converter was made for: kind of samples, rate and channels
  int form_rate_hz_ = 0;
  int form_channels_ = 0;
  int64_t declared_ = -1;  // frames that the container promises of this track; -1 if it does not
  int64_t zero_ = 0;       // of the recording, in the stream's units of time
  int rate_hz_ = 0;
  int channels_ = 0;
  bool in_pieces_ = false;  // of a list of them (HLS)
  bool has_picture_ = false;
  bool free_clock_ = false;       // of MPEG streams, which begins anywhere and may be set anew
  std::optional<int64_t> clock_;  // of the last packet, in microseconds
  bool clock_jumps_ = false;      // ahead, between packets that may not have been decoded yet
  int set_back_ = 0;              // times that it was
  int jumps_ahead_ = 0;           // that were taken for no hole
  int bad_places_ = 0;
  bool in_bad_place_ = false;
  std::optional<int64_t> damaged_at_;  // the last of them, in frames
  int read_error_ = 0;
  bool drained_ = false;
  bool at_end_ = false;
  std::unique_ptr<Timeline> timeline_;
  int64_t silence_ = 0;       // frames that go before `ready_`
  std::vector<float> ready_;  // [taken_, size) not handed out yet
  size_t taken_ = 0;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FFMPEG_MEDIA_READER_H_
