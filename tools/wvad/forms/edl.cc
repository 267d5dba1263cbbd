// SPDX-License-Identifier: Apache-2.0
//
// An edit decision list (CMX 3600): an event a sentence, cut one behind the other. Frames of video are coarser than those of speech: an
// event begins with the frame in which its sentence begins and ends behind the one in which it ends, never before the one before.
#include <algorithm>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/provenance.h"

namespace TSEG::tool {
namespace {

constexpr size_t kMostEvents = 999;  // an event's number has three digits
constexpr int64_t kDay_s = 86400;    // time codes begin anew

std::string Digits(int64_t number, size_t width) {
  const std::string text = std::to_string(number);
  return std::string(width - std::min(width, text.size()), '0') + text;
}

std::string TimeCode(int64_t frame, int fps) {
  const int64_t seconds = frame / fps;
  return Digits(seconds / 3600, 2) + ":" + Digits(seconds / 60 % 60, 2) + ":" + Digits(seconds % 60, 2) + ":" + Digits(frame % fps, 2);
}

// The audio tracks that an event takes: that of its channel, both of a pair that was mixed, else the first.
std::string Tracks(const Sentence& sentence, const FileEnd& end) {
  if (sentence.channel > 1) return "A" + std::to_string(sentence.channel);
  return sentence.channel == 0 && end.recording.channels == 2 ? "AA" : "A";
}

std::string Padded(const std::string& text, size_t width) { return text + std::string(width - std::min(width, text.size()), ' '); }

std::string Edl(const HeardRecording& recording, const ReportShape& shape) {
  const int fps = shape.details.fps;
  if (recording.sentences.size() > kMostEvents) {
    throw Failure(ExitCode::kUsage, recording.name + ": has " + std::to_string(recording.sentences.size()) +
                                        " sentences, and an EDL holds " + std::to_string(kMostEvents));
  }
  if (recording.length_s() > kDay_s)
    throw Failure(ExitCode::kUsage, recording.name + ": is longer than the 24 hours of an EDL's time codes");
  const std::string clip = NameOf(PathOf(recording.name == "-" ? "stdin" : recording.name).filename());
  std::string text = "TITLE: " + recording.id + "\nFCM: NON-DROP FRAME\n\n";
  if (!shape.details.provenance.empty()) {
    const std::string& made_by = MadeBy(recording.end, shape.details.provenance);
    text += "* " + made_by + "\n* " + ProvenanceLine(recording.name, recording.end, made_by) + "\n";
  }
  const int64_t rate = recording.end.rate_hz;
  int64_t source_end = 0;
  int64_t record = 0;
  int lane = 0;
  for (size_t i = 0; i < recording.sentences.size(); ++i) {
    const Sentence& sentence = recording.sentences[i];
    if (sentence.channel != lane) source_end = 0;
    lane = sentence.channel;
    const int64_t begin = std::max(sentence.begin_sample * fps / rate, source_end);
    source_end = std::max(begin + 1, (sentence.end_sample * fps + rate - 1) / rate);
    const int64_t length = source_end - begin;
    text += Digits(static_cast<int64_t>(i) + 1, 3) + "  " + Padded("AX", 8) + " " + Padded(Tracks(sentence, recording.end), 5) +
            " C        " + TimeCode(begin, fps) + " " + TimeCode(source_end, fps) + " " + TimeCode(record, fps) + " " +
            TimeCode(record + length, fps) + "\n* FROM CLIP NAME: " + clip + "\n";
    record += length;
  }
  return text;
}

}  // namespace

std::unique_ptr<Report> MakeEdl(Output& output, const ReportShape& shape) { return std::make_unique<DocumentReport>(output, shape, Edl); }

}  // namespace TSEG::tool
