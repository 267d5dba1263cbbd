// SPDX-License-Identifier: Apache-2.0
#include "wvad/report_formats.h"

#include <algorithm>
#include <cstddef>
#include <map>

#include "wvad/failure.h"
#include "wvad/form_of_ending.h"
#include "wvad/forms/forms.h"
#include "wvad/named_rows.h"
#include "wvad/recording_name.h"
#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

// Those that have room for measures stand first, then those that have it for the names of saved files.
constexpr ReportFormat kFormats[] = {
    {"table", "for people", ".txt", Room::kMeasures, Holds::kByName, FilePer::kRecording, AnyName, MakeTable},
    {"json", "one document", ".json", Room::kMeasures, Holds::kByName, FilePer::kRecording, AnyName, MakeJsonDocument},
    {"jsonl", "one object a line", ".jsonl", Room::kMeasures, Holds::kByName, FilePer::kRecording, AnyName, MakeJsonLines},
    {"csv", "one row a sentence", ".csv", Room::kSavedNames, Holds::kByName, FilePer::kRecording, AnyName, MakeCsv},
    {"tsv", "the same with tabs", ".tsv", Room::kSavedNames, Holds::kByName, FilePer::kRecording, AnyName, MakeTsv},
    {"rttm", "NIST, diarisation", ".rttm", Room::kSentences, Holds::kById, FilePer::kRecording, NoToken, MakeRttm},
    {"ctm", "NIST, words in time", ".ctm", Room::kSentences, Holds::kById, FilePer::kRecording, NoToken, MakeCtm},
    {"stm", "NIST, segments with room for words", ".stm", Room::kSentences, Holds::kById, FilePer::kRecording, NoToken, MakeStm},
    {"uem", "NIST, regions", ".uem", Room::kSentences, Holds::kById, FilePer::kRecording, NoToken, MakeUem},
    {"labels", "Audacity", ".labels.txt", Room::kSentences, Holds::kOne, FilePer::kRecording, AnyName, MakeLabels},
    {"textgrid", "Praat", ".TextGrid", Room::kSentences, Holds::kOne, FilePer::kRecording, AnyName, MakeTextGrid},
    {"eaf", "ELAN", ".eaf", Room::kSentences, Holds::kOne, FilePer::kRecording, AnyName, MakeEaf},
    {"srt", "captions to fill in", ".srt", Room::kSentences, Holds::kOne, FilePer::kRecording, AnyName, MakeSrt},
    {"vtt", "WebVTT, captions to fill in", ".vtt", Room::kSentences, Holds::kOne, FilePer::kRecording, AnyName, MakeVtt},
    {"ffconcat", "for ffmpeg, the sentences one behind the other", ".ffconcat", Room::kSentences, Holds::kByName, FilePer::kRecording,
     NoPath, MakeFfconcat},
    {"edl", "CMX 3600, for video editors", ".edl", Room::kSentences, Holds::kOne, FilePer::kRecording, NoLine, MakeEdl},
    {"lhotse-recordings", "manifest", "recordings.jsonl", Room::kSentences, Holds::kById, FilePer::kRun, NoTextPath, MakeLhotseRecordings},
    {"lhotse-supervisions", "manifest", "supervisions.jsonl", Room::kSentences, Holds::kById, FilePer::kRun, NoText,
     MakeLhotseSupervisions},
    {"kaldi-segments", "of a data folder", "segments", Room::kSentences, Holds::kById, FilePer::kRun, NoToken, MakeKaldiSegments},
    {"kaldi-wav-scp", "of a data folder", "wav.scp", Room::kSentences, Holds::kById, FilePer::kRun, NoTokenOrPath, MakeKaldiWavScp},
    {"kaldi-utt2spk", "of a data folder", "utt2spk", Room::kSentences, Holds::kById, FilePer::kRun, NoToken, MakeKaldiUtt2spk},
};

constexpr ReportFormat kPrintf = {"printf", "", ".txt", Room::kSentences, Holds::kByName, FilePer::kRecording, AnyName, MakePrintf};

constexpr FormatGroup kGroups[] = {
    {"lhotse", "both manifests", "lhotse-recordings,lhotse-supervisions"},
    {"kaldi", "the three files of a data folder", "kaldi-segments,kaldi-wav-scp,kaldi-utt2spk"},
};

// The rows before the first one with less room than `room`.
std::span<const ReportFormat> WithRoom(Room room) {
  const auto end = std::find_if(std::begin(kFormats), std::end(kFormats), [room](const ReportFormat& row) { return row.room > room; });
  return ReportFormats().first(static_cast<size_t>(end - std::begin(kFormats)));
}

// The names between the commas.
std::vector<std::string> Listed(const std::string& names) {
  std::vector<std::string> list;
  for (size_t begin = 0; begin <= names.size();) {
    const size_t end = std::min(names.find(',', begin), names.size());
    list.push_back(names.substr(begin, end - begin));
    begin = end + 1;
  }
  return list;
}

void CheckFormat(const ReportFormat& format, const std::vector<std::string>& recordings, bool own_file) {
  const std::string name = format.name;
  if (format.holds == Holds::kOne && recordings.size() > 1 && !own_file) {
    throw Failure(ExitCode::kUsage, "--format " + name + " holds a single recording; for several write into a folder, -o DIR/");
  }
  std::map<std::string, std::string> ids;
  for (const std::string& recording : recordings) {
    if (const std::string reason = format.unfit(recording); !reason.empty()) {
      throw Failure(ExitCode::kUsage, recording + ": this name cannot stand in the form " + name + ": " + reason);
    }
    const auto [row, fresh] = ids.emplace(RecordingId(recording), recording);
    if (!fresh && format.holds == Holds::kById && (!own_file || format.file_per == FilePer::kRun)) {
      throw Failure(ExitCode::kUsage, recording + ": in the form " + name + " it would be called as " + row->second + " is, " + row->first);
    }
  }
}

}  // namespace

std::span<const ReportFormat> ReportFormats() { return kFormats; }

std::span<const ReportFormat> MeasuringFormats() { return WithRoom(Room::kMeasures); }

std::span<const ReportFormat> SavingFormats() { return WithRoom(Room::kSavedNames); }

const ReportFormat* FormatOfEnding(std::span<const ReportFormat> rows, const std::string& path) {
  return RowOfEnding(rows, path,
                     [](const ReportFormat& row) { return std::string(row.file_per == FilePer::kRecording ? row.ending : ""); });
}

const ReportFormat& PrintfRow() { return kPrintf; }

std::span<const FormatGroup> FormatGroups() { return kGroups; }

std::vector<const ReportFormat*> FormatsOf(const std::string& names) {
  std::vector<const ReportFormat*> formats;
  const auto add = [&formats](const ReportFormat* format) {
    if (std::find(formats.begin(), formats.end(), format) == formats.end()) formats.push_back(format);
  };
  for (const std::string& name : Listed(names)) {
    if (const FormatGroup* group = FindRow(FormatGroups(), name)) {
      for (const ReportFormat* member : FormatsOf(group->members)) add(member);
    } else if (const ReportFormat* format = FindRow(ReportFormats(), name)) {
      add(format);
    } else if (name.empty()) {
      throw Failure(ExitCode::kUsage, "--format " + names + ": a name is missing");
    } else {
      throw Failure(ExitCode::kUsage, "--format: there is no " + name + "; choose " + NamesOf(ReportFormats(), ", ", ", ") + ", " +
                                          NamesOf(FormatGroups(), ", ", " or "));
    }
  }
  return formats;
}

void CheckRecordings(const std::vector<const ReportFormat*>& formats, const std::vector<std::string>& recordings, bool own_file) {
  for (const ReportFormat* format : formats) CheckFormat(*format, recordings, own_file);
}

}  // namespace TSEG::tool
