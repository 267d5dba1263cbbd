// SPDX-License-Identifier: Apache-2.0
#include "wvad/ffmpeg/tracks.h"

#include <cstring>
#include <vector>

#include "wvad/failure.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace TSEG::tool {
namespace {

// Such as: 2: ac3, 48000 Hz, 6 channels, deu, "Director's comment".
std::string Describe(const AVStream* stream, size_t number) {
  const AVCodecParameters& form = *stream->codecpar;
  std::string text = std::to_string(number) + ": " + avcodec_get_name(form.codec_id) + ", " + std::to_string(form.sample_rate) + " Hz, " +
                     std::to_string(form.ch_layout.nb_channels) + (form.ch_layout.nb_channels == 1 ? " channel" : " channels");
  if (const AVDictionaryEntry* language = av_dict_get(stream->metadata, "language", nullptr, 0);
      language != nullptr && std::strcmp(language->value, "und") != 0) {
    text += std::string(", ") + language->value;
  }
  if (const AVDictionaryEntry* title = av_dict_get(stream->metadata, "title", nullptr, 0); title != nullptr) {
    text += std::string(", \"") + title->value + "\"";
  }
  return text;
}

}  // namespace

AVStream* ChooseTrack(AVFormatContext* file, const std::string& name, int track) {
  std::vector<AVStream*> tracks;
  for (unsigned i = 0; i < file->nb_streams; ++i) {
    if (file->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) tracks.push_back(file->streams[i]);
    file->streams[i]->discard = AVDISCARD_ALL;
  }
  if (tracks.empty()) throw NoSound(name + ": there is no sound in it (" + file->iformat->long_name + ")");
  if (track > static_cast<int>(tracks.size())) {
    std::string list;
    for (size_t i = 0; i < tracks.size(); ++i) list += (i > 0 ? "; " : "") + Describe(tracks[i], i + 1);
    throw Failure(ExitCode::kBadRate, name + ": there is no sound track " + std::to_string(track) + "; there is " + list);
  }
  AVStream* chosen = tracks[track > 0 ? static_cast<size_t>(track - 1) : 0];
  for (size_t i = tracks.size(); track == 0 && i > 0; --i) {
    if ((tracks[i - 1]->disposition & AV_DISPOSITION_DEFAULT) != 0) chosen = tracks[i - 1];
  }
  chosen->discard = AVDISCARD_DEFAULT;
  return chosen;
}

}  // namespace TSEG::tool
