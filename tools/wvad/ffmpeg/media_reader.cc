// SPDX-License-Identifier: Apache-2.0
#include "wvad/ffmpeg/media_reader.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "wvad/failure.h"
#include "wvad/ffmpeg/tracks.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

namespace TSEG::tool {
namespace {

// What may be opened beside the file itself: the pieces that a playlist names. libavformat knows further protocols, which read devices,
// run other programs or write.
constexpr const char* kLocal = "file,crypto,data";
constexpr const char* kNetwork = "crypto,data,http,https,httpproxy,ftp,rtmp,rtmps,rtmpt,rtsp,rtp,srtp,srt,mmsh,mmst,tcp,tls,udp";

// With two digits, whatever the locale.
std::string Seconds(int64_t frames, int rate_hz) {
  const int64_t hundredths = (frames * 100 + rate_hz / 2) / rate_hz;
  const std::string digits = std::to_string(hundredths % 100);
  return std::to_string(hundredths / 100) + (digits.size() < 2 ? ".0" : ".") + digits;
}

std::string Places(int count) { return std::to_string(count) + (count == 1 ? " place" : " places"); }

int AskInterrupted(void* user) { return static_cast<const MediaRequest*>(user)->interrupted() ? 1 : 0; }

template <typename T>
T* Made(T* thing) {
  if (thing == nullptr) throw std::bad_alloc();
  return thing;
}

// A context that has not been opened: to close it would close bytes that are not its own.
struct FreeUnopened {
  void operator()(AVFormatContext* file) const { avformat_free_context(file); }
};

struct Options {
  AVDictionary* entries = nullptr;
  ~Options() { av_dict_free(&entries); }
};

}  // namespace

void MediaDelete::operator()(AVFormatContext* file) const { avformat_close_input(&file); }
void MediaDelete::operator()(AVCodecContext* decoder) const { avcodec_free_context(&decoder); }
void MediaDelete::operator()(AVPacket* packet) const { av_packet_free(&packet); }
void MediaDelete::operator()(AVFrame* frame) const { av_frame_free(&frame); }
void MediaDelete::operator()(SwrContext* converter) const { swr_free(&converter); }

MediaReader::MediaReader(const MediaRequest& request, std::unique_ptr<ByteIo> io) : request_(request), io_(std::move(io)) {
  const TroubleScope scope(&log_);
  if (Open()) OpenDecoder();
}

// False where the bytes are of no kind that is known.
bool MediaReader::Open() {
  const AVInputFormat* format = nullptr;
  std::unique_ptr<AVFormatContext, FreeUnopened> made(Made(avformat_alloc_context()));
  made->interrupt_callback = {AskInterrupted, &request_};
  if (io_) {
    made->pb = io_->context();
    // By the bytes alone, whatever the file's name: a name may mean a pattern of names.
    const int score = av_probe_input_buffer2(made->pb, &format, "", nullptr, 0, 0);
    io_->Rethrow();
    if (score < AVPROBE_SCORE_RETRY || format == nullptr) return false;
  }
  Options options;
  // What comes from elsewhere leads to no file that lies here.
  const std::string protocols = !request_.allow_network ? kLocal : io_ ? std::string("file,") + kNetwork : kNetwork;
  av_dict_set(&options.entries, "protocol_whitelist", protocols.c_str(), 0);
  av_dict_set(&options.entries, "err_detect", "crccheck", 0);
  // A list that lies here may then lead anywhere.
  if (io_ && request_.allow_network) av_dict_set(&options.entries, "safe", "0", 0);
  // A list of pieces from its first one, and not from where a live listener would begin; and one that is not closed has come to its end
  // when it does not grow. (Other forms do not know these.)
  av_dict_set(&options.entries, "live_start_index", "0", 0);
  av_dict_set(&options.entries, "m3u8_hold_counters", "3", 0);
  const std::string place = request_.name == "-" ? "" : request_.name;
  // Frees the context where it fails.
  AVFormatContext* file = made.release();
  int code = avformat_open_input(&file, place.c_str(), format, &options.entries);
  file_.reset(file);
  if (io_) io_->Rethrow();
  if (code < 0) Refuse(code);
  declared_ = 0;
  stream_ = nullptr;
  // What streams have promised before anything is guessed from their sound.
  std::vector<std::pair<const AVStream*, int64_t>> promised;
  for (unsigned i = 0; i < file_->nb_streams; ++i) promised.emplace_back(file_->streams[i], file_->streams[i]->duration);
  code = avformat_find_stream_info(file_.get(), nullptr);
  if (io_) io_->Rethrow();
  if (code < 0) Refuse(code);
  in_pieces_ = std::strcmp(file_->iformat->name, "hls") == 0;
  free_clock_ = (file_->iformat->flags & AVFMT_TS_DISCONT) != 0;
  for (unsigned i = 0; i < file_->nb_streams; ++i) has_picture_ |= file_->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  stream_ = ChooseTrack(file_.get(), request_.name, request_.track);
  declared_ = -1;
  for (const auto& [stream, duration] : promised) {
    if (stream == stream_ && duration != AV_NOPTS_VALUE) declared_ = duration;
  }
  return true;
}

void MediaReader::Refuse(int code) const {
  if (request_.interrupted()) throw Failure(ExitCode::kInterrupted, request_.name + ": interrupted");
  const bool unsafe_address =
      !request_.allow_network && log_.first.find("Unsafe file name") == 0 && log_.first.find("://") != std::string::npos;
  if (unsafe_address) {
    throw Failure(ExitCode::kNoFile,
                  request_.name + ": leads to an address, which is opened with --allow-network only (" + log_.first + ")");
  }
  if (!log_.refused.empty()) {
    const std::string how = request_.allow_network ? "is not opened from there" : "is opened with --allow-network only";
    throw Failure(ExitCode::kNoFile, request_.name + ": leads to something that " + how + " (" + log_.refused + ")");
  }
  if (!io_) throw Failure(ExitCode::kNoFile, request_.name + ": cannot be opened (" + ErrorText(code) + ")");
  throw Failure(ExitCode::kNotAudio,
                request_.name + ": not an audio file that can be read (" + (log_.first.empty() ? ErrorText(code) : log_.first) + ")");
}

void MediaReader::OpenDecoder() {
  const AVCodecParameters& form = *stream_->codecpar;
  const std::string codec = avcodec_get_name(form.codec_id);
  const AVCodec* found = avcodec_find_decoder(form.codec_id);
  if (found == nullptr)
    throw Failure(ExitCode::kNotAudio, request_.name + ": its sound (" + codec + ") is of a kind that cannot be decoded");
  decoder_.reset(Made(avcodec_alloc_context3(found)));
  int code = avcodec_parameters_to_context(decoder_.get(), &form);
  decoder_->pkt_timebase = stream_->time_base;
  decoder_->thread_count = 1;  // the log belongs to this thread
  decoder_->err_recognition |= AV_EF_CRCCHECK;
  if (code >= 0) code = avcodec_open2(decoder_.get(), found, nullptr);
  rate_hz_ = form.sample_rate;
  channels_ = form.ch_layout.nb_channels;
  if (code < 0 || rate_hz_ <= 0 || channels_ <= 0) {
    throw Failure(ExitCode::kNotAudio, request_.name + ": its sound (" + codec + ") cannot be decoded");
  }
  packet_.reset(Made(av_packet_alloc()));
  frame_.reset(Made(av_frame_alloc()));
  timeline_ = std::make_unique<Timeline>(rate_hz_);
  zero_ = ZeroOfClock();
  if (declared_ >= 0) declared_ = av_rescale_q(declared_, stream_->time_base, {1, rate_hz_});
  const bool piece_lost = log_.piece_lost;
  log_ = {};
  log_.piece_lost = piece_lost;
}

// In the stream's units. The clock of MP4, Matroska and their kin begins at 0, and what begins later was meant to; up to a minute, since
// what was cut out of something longer may have kept its place there. What begins up to a second before it is an encoder's lead-in. The
// clock of MPEG streams is anywhere, and its first time counts.
int64_t MediaReader::ZeroOfClock() const {
  const int64_t start = file_->start_time;
  if (start == AV_NOPTS_VALUE) return 0;
  if (!free_clock_ && start >= -AV_TIME_BASE && start <= int64_t{60} * AV_TIME_BASE) return 0;
  return av_rescale_q(start, AV_TIME_BASE_Q, stream_->time_base);
}

int64_t MediaReader::frames() const {
  if (declared_ > 0) return declared_;
  return file_->duration > 0 ? av_rescale(file_->duration, rate_hz_, AV_TIME_BASE) : -1;
}

SampleDepth MediaReader::depth() const {
  const AVCodecDescriptor* coding = avcodec_descriptor_get(decoder_->codec_id);
  if (coding == nullptr || (coding->props & AV_CODEC_PROP_LOSSLESS) == 0 || (coding->props & AV_CODEC_PROP_LOSSY) != 0)
    return SampleDepth::k16;
  const AVSampleFormat form = av_get_packed_sample_fmt(decoder_->sample_fmt);
  if (form == AV_SAMPLE_FMT_FLT || form == AV_SAMPLE_FMT_DBL) return SampleDepth::kFloat;
  return DepthOfBits(decoder_->bits_per_raw_sample > 0 ? decoder_->bits_per_raw_sample : 8 * av_get_bytes_per_sample(form));
}

size_t MediaReader::Read(float* out, size_t count) {
  const TroubleScope scope(&log_);
  const size_t channels = static_cast<size_t>(channels_);
  size_t done = 0;
  while (done < count) {
    if (silence_ > 0) {
      const size_t more = std::min(count - done, static_cast<size_t>(silence_));
      std::fill_n(out + done * channels, more * channels, 0.0F);
      silence_ -= static_cast<int64_t>(more);
      done += more;
    } else if (taken_ < ready_.size()) {
      const size_t more = std::min(count - done, (ready_.size() - taken_) / channels);
      std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(taken_), more * channels, out + done * channels);
      taken_ += more * channels;
      done += more;
    } else if (at_end_) {
      break;
    } else {
      Decode();
    }
  }
  return done;
}

void MediaReader::NoteDamage() {
  if (!in_bad_place_) ++bad_places_;
  in_bad_place_ = true;
  damaged_at_ = timeline_->reached();
}

// Brings the next frame, or the end.
void MediaReader::Decode() {
  ready_.clear();
  taken_ = 0;
  const int code = avcodec_receive_frame(decoder_.get(), frame_.get());
  // Some decoders tell of a wrong checksum or a broken frame in the log alone, and make something up.
  if (!log_.first.empty()) NoteDamage();
  log_.first.clear();
  if (code == 0) {
    if ((frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame_->decode_error_flags != 0) NoteDamage();
    Take(frame_.get());
    av_frame_unref(frame_.get());
  } else if (code == AVERROR_EOF || (code == AVERROR(EAGAIN) && !Feed())) {
    at_end_ = true;
  } else if (code != AVERROR(EAGAIN)) {
    NoteDamage();
  }
}

// The next packet into the decoder; false where there is nothing left to send.
bool MediaReader::Feed() {
  if (drained_) return false;
  const int code = av_read_frame(file_.get(), packet_.get());
  if (io_) io_->Rethrow();
  if (!log_.first.empty() && !log_.truncated) NoteDamage();
  log_.first.clear();
  if (code < 0) {
    if (code != AVERROR_EOF) read_error_ = code;
    drained_ = true;
    avcodec_send_packet(decoder_.get(), nullptr);
    return true;
  }
  FollowClock();
  if (packet_->stream_index == stream_->index) {
    if ((packet_->flags & AV_PKT_FLAG_CORRUPT) != 0) NoteDamage();
    if (avcodec_send_packet(decoder_.get(), packet_.get()) < 0) NoteDamage();
  }
  av_packet_unref(packet_.get());
  return true;
}

// Where the clock of all that a file holds jumps ahead, players go on without a gap from some distance on: recordings were put one behind
// the other. Pieces of a list say themselves where that is so.
void MediaReader::FollowClock() {
  constexpr int64_t kFurthest_us = 10'000'000;
  if (!free_clock_ || in_pieces_ || packet_->dts == AV_NOPTS_VALUE) return;
  const int64_t now = av_rescale_q(packet_->dts, file_->streams[packet_->stream_index]->time_base, AV_TIME_BASE_Q);
  clock_jumps_ |= clock_ && now - *clock_ > kFurthest_us;
  clock_ = now;
}

void MediaReader::Take(AVFrame* frame) {
  std::optional<int64_t> at;
  if (frame->best_effort_timestamp != AV_NOPTS_VALUE) {
    at = av_rescale_q(frame->best_effort_timestamp - zero_, stream_->time_base, {1, rate_hz_});
  }
  const int64_t count = av_rescale(frame->nb_samples, rate_hz_, frame->sample_rate > 0 ? frame->sample_rate : rate_hz_);
  const bool disturbed = damaged_at_ && timeline_->reached() - *damaged_at_ < 2 * rate_hz_;
  const bool told = request_.list && request_.list->discontinuous;
  timeline_->set_anew(told || (in_pieces_ && set_back_ > 0) || (clock_jumps_ && !disturbed));
  const Timeline::Place place = timeline_->Put(at, count, in_bad_place_);
  if (place.jump < 0 && !told) ++set_back_;
  if (place.jump > 0) {
    ++jumps_ahead_;
    clock_jumps_ = false;
  }
  silence_ = place.silence;
  in_bad_place_ = false;
  Convert(frame, place.drop);
}

// Sound may change its form in the middle, as broadcasts do; it keeps the rate and the channels that it began with.
void MediaReader::MakeConverter(AVFrame* frame) {
  form_ = frame->format;
  form_rate_hz_ = frame->sample_rate;
  form_channels_ = frame->ch_layout.nb_channels;
  AVChannelLayout* wanted = form_channels_ == channels_ ? &frame->ch_layout : &stream_->codecpar->ch_layout;
  SwrContext* made = nullptr;
  int code = swr_alloc_set_opts2(&made, wanted, AV_SAMPLE_FMT_FLT, rate_hz_, &frame->ch_layout, static_cast<AVSampleFormat>(form_),
                                 form_rate_hz_, 0, nullptr);
  converter_.reset(made);
  if (code >= 0) code = swr_init(made);
  if (code < 0) converter_.reset();
}

void MediaReader::Convert(AVFrame* frame, int64_t drop) {
  const bool same = frame->format == form_ && frame->sample_rate == form_rate_hz_ && frame->ch_layout.nb_channels == form_channels_;
  if (!same) MakeConverter(frame);
  const size_t channels = static_cast<size_t>(channels_);
  const int room = converter_ ? swr_get_out_samples(converter_.get(), frame->nb_samples) : 0;
  ready_.resize(static_cast<size_t>(std::max(room, 0)) * channels);
  auto* out = reinterpret_cast<uint8_t*>(ready_.data());
  const int got =
      room <= 0 ? -1 : swr_convert(converter_.get(), &out, room, const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
  if (got < 0) NoteDamage();
  ready_.resize(static_cast<size_t>(std::max(got, 0)) * channels);
  taken_ = std::min(ready_.size(), static_cast<size_t>(drop) * channels);
}

double MediaReader::LengthOfList() const {
  return request_.list ? request_.list->length_s : static_cast<double>(file_->duration) / AV_TIME_BASE;
}

// Pieces that follow others without belonging there have brought silence, before the clock was set back.
bool MediaReader::PiecesOutOfOrder() const {
  return in_pieces_ && set_back_ > 0 && static_cast<double>(timeline_->reached()) > (LengthOfList() + 1) * rate_hz_;
}

// The libraries pass over pieces that are missing, and do not say that one holds something else. What the list promises is rounded; a sound
// track may end before the picture that pieces are cut by.
bool MediaReader::LacksPieces() const {
  if (log_.piece_lost) return true;
  if (!in_pieces_) return false;
  const double length_s = LengthOfList();
  const double rounding_s = request_.list ? request_.list->rounding_s : length_s / 10;
  const double piece_s = request_.list ? length_s / request_.list->pieces : 0;
  const double slack_s = rounding_s + std::max(0.5, has_picture_ ? piece_s / 2 : 0);
  return static_cast<double>(timeline_->brought()) < (length_s - slack_s) * rate_hz_;
}

std::string MediaReader::Heard() const {
  const int64_t all = frames();
  const int64_t heard = in_pieces_ ? timeline_->brought() : timeline_->reached();
  const bool less = all > heard;
  return Seconds(heard, rate_hz_) + (less ? " of " + Seconds(all, rate_hz_) : "") + " s could be heard";
}

std::string MediaReader::damage() {
  if (!log_.refused.empty()) return "a part of it was not opened (" + log_.refused + "): " + Heard();
  if (LacksPieces()) return "a piece of it is missing or broken: " + Heard();
  if (PiecesOutOfOrder()) {
    return "its pieces stand in another order than that of their clock, and come out with silence between them: heard as the list has "
           "them, " +
           Seconds(timeline_->reached(), rate_hz_) + " s instead of " + Seconds(static_cast<int64_t>(LengthOfList() * rate_hz_), rate_hz_);
  }
  if (bad_places_ > 0) {
    return "damaged in " + Places(bad_places_) + ": " + Heard();
  }
  if (read_error_ != 0) return "cut short or damaged (" + ErrorText(read_error_) + "): " + Heard();
  // Containers count the lead-in of an encoder as sound, and round.
  const bool short_of = declared_ > 0 && timeline_->reached() < declared_ - rate_hz_ / 2;
  if (log_.truncated || short_of) return "cut short: " + Heard();
  return "";
}

std::string MediaReader::note() const {
  if (in_pieces_ && set_back_ > 0 && !PiecesOutOfOrder()) {
    return "the clock of its pieces is set back in " + Places(set_back_) +
           " without #EXT-X-DISCONTINUITY; they are heard as the list has them, without a gap";
  }
  if (jumps_ahead_ == 0 || in_pieces_) return "";
  return "its clock jumps ahead in " + Places(jumps_ahead_) +
         ", as where recordings were put one behind the other; what is behind is heard without a gap";
}

}  // namespace TSEG::tool
