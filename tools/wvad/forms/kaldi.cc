// SPDX-License-Identifier: Apache-2.0
//
// The files of a data folder of Kaldi: segments, wav.scp and utt2spk, each sorted by its first field as bytes, as Kaldi's tools demand.
//
// Kaldi reads WAV of 16-bit integers and one channel. Anything else is a command that makes it (ffmpeg); where each channel was listened
// to, each is a recording of its own, talk-1 and talk-2. Nothing is known of speakers: each recording counts as one, so that utterances
// sort by speaker.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "wvad/byte_source.h"
#include "wvad/container.h"
#include "wvad/file_system.h"
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/input.h"
#include "wvad/recording_name.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

// Holds the lines of all recordings back until the end of the run.
class SortedReport : public DocumentReport {
 public:
  using WriteLines = std::vector<std::string> (*)(const HeardRecording&, const ReportShape&);
  SortedReport(Output& output, const ReportShape& shape, WriteLines lines)
      : DocumentReport(output, shape, [this, lines](const HeardRecording& recording, const ReportShape& told) {
          for (std::string& line : lines(recording, told)) lines_.push_back(std::move(line) + "\n");
          return std::string();
        }) {}

  void End() override {
    std::sort(lines_.begin(), lines_.end(), [](const std::string& a, const std::string& b) { return Key(a) < Key(b); });
    for (const std::string& line : lines_) output_.Write(line);
  }

 private:
  static std::string Key(const std::string& line) { return line.substr(0, line.find(' ')); }

  std::vector<std::string> lines_;
};

std::string LaneId(const HeardRecording& recording, int lane) { return recording.id + (lane > 0 ? "-" + std::to_string(lane) : ""); }

// Hundredths of a second with seven digits, so that utterances sort by time.
std::string UtteranceId(const HeardRecording& recording, const Sentence& sentence) {
  const auto digits = [](double seconds) {
    const std::string text = std::to_string(std::llround(seconds * 100));
    return std::string(7 - std::min<size_t>(7, text.size()), '0') + text;
  };
  return LaneId(recording, sentence.channel) + "-" + digits(recording.begin_s(sentence)) + "-" + digits(recording.end_s(sentence));
}

std::vector<std::string> Segments(const HeardRecording& recording, const ReportShape&) {
  std::vector<std::string> lines;
  for (const Sentence& sentence : recording.sentences) {
    lines.push_back(UtteranceId(recording, sentence) + " " + LaneId(recording, sentence.channel) + " " +
                    Fixed(recording.begin_s(sentence), 3) + " " + Fixed(recording.end_s(sentence), 3));
  }
  return lines;
}

std::vector<std::string> Speakers(const HeardRecording& recording, const ReportShape&) {
  std::vector<std::string> lines;
  for (const Sentence& sentence : recording.sentences) {
    lines.push_back(UtteranceId(recording, sentence) + " " + LaneId(recording, sentence.channel));
  }
  return lines;
}

std::string ForShell(const std::string& path) {
  std::string quoted = "'";
  for (const char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// Whether the header of what lies at `path` now says integers of 16 bits, of one channel, and how many bytes of them there are.
bool IsReadByKaldi(const std::string& path) {
  if (PathOf(path).extension() != ".wav" || LookAt(path).kind != FileKind::kFile) return false;
  const std::unique_ptr<ByteSource> bytes = OpenBytes(path);
  if (Recognise(*bytes) != Container::kWave) return false;
  const std::optional<Stretch> stretch = FindStretch(*bytes, Container::kWave);
  if (!stretch || !stretch->declared || stretch->form == nullptr) return false;
  constexpr int kInteger = 1;
  return stretch->channels == 1 && stretch->form->wave_format == kInteger && stretch->form->bytes == sizeof(int16_t);
}

// `channel` from 1, 0 for the mean of all.
std::string Source(const HeardRecording& recording, int channel) {
  const std::string path = AbsolutePath(recording.name);
  if (PathOf(path).is_absolute() && recording.end.damage.empty() && IsReadByKaldi(path)) return path;
  const std::string one = channel > 0 ? "-af 'pan=mono|c0=c" + std::to_string(channel - 1) + "'" : "-ac 1";
  return "ffmpeg -nostdin -v error -i " + ForShell(path) + " " + one + " -f wav - |";
}

std::vector<std::string> Recordings(const HeardRecording& recording, const ReportShape& shape) {
  std::vector<std::string> lines;
  const std::optional<int> chosen = ParseInt(shape.details.channel);
  for (const int lane : recording.lanes()) {
    lines.push_back(LaneId(recording, lane) + " " + Source(recording, lane > 0 ? lane : chosen.value_or(0)));
  }
  return lines;
}

}  // namespace

std::unique_ptr<Report> MakeKaldiSegments(Output& output, const ReportShape& shape) {
  return std::make_unique<SortedReport>(output, shape, Segments);
}

std::unique_ptr<Report> MakeKaldiUtt2spk(Output& output, const ReportShape& shape) {
  return std::make_unique<SortedReport>(output, shape, Speakers);
}

std::unique_ptr<Report> MakeKaldiWavScp(Output& output, const ReportShape& shape) {
  return std::make_unique<SortedReport>(output, shape, Recordings);
}

}  // namespace TSEG::tool
