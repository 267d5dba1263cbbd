// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/annotation.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "wvad/byte_source.h"
#include "wvad/compare/hearing.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/named_rows.h"
#include "wvad/recording_name.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

constexpr AnnotationForm kForms[] = {
    {"rttm", "NIST", ".rttm", ReadRttm},        {"ctm", "NIST", ".ctm", ReadCtm},
    {"stm", "NIST", ".stm", ReadStm},           {"uem", "NIST", ".uem", ReadUem},
    {"labels", "Audacity", ".txt", ReadLabels}, {"textgrid", "Praat, long or short", ".textgrid", ReadTextGrid},
    {"csv", "with a heading", ".csv", ReadCsv}, {"tsv", "with a heading", ".tsv", ReadTsv},
    {"json", "of wvad", ".json", ReadJson},     {"jsonl", "of wvad, or supervisions of Lhotse", ".jsonl", ReadJsonLines},
    {"srt", "captions", ".srt", ReadCaptions},  {"vtt", "captions", ".vtt", ReadCaptions},
};

std::string Lower(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

std::string ReadText(const std::string& path) {
  std::string text = ReadWhole(path);
  // A mark of the byte order, as some editors write it.
  return text.compare(0, 3, "\xef\xbb\xbf") == 0 ? text.substr(3) : text;
}

// "talk" for "talk.labels.txt" too.
std::string IdOfAnnotation(const std::string& path) {
  const std::string id = RecordingId(path);
  constexpr std::string_view kLabels = ".labels";
  const bool labels = id.size() > kLabels.size() && id.compare(id.size() - kLabels.size(), kLabels.size(), kLabels) == 0;
  return labels ? id.substr(0, id.size() - kLabels.size()) : id;
}

Annotation ReadFile(const std::string& path, const AnnotationForm* form) {
  if (form == nullptr) form = FormOfFile(path);
  if (form == nullptr) {
    throw Failure(ExitCode::kUsage, path + ": its name does not tell its form; say it with --ref-format or --hyp-format");
  }
  const std::string text = ReadText(path);
  try {
    Annotation annotation = form->read(text, IdOfAnnotation(path));
    TakeHearingOfComments(text, annotation);
    return annotation;
  } catch (const NoAnnotation& failure) {
    throw NoAnnotation(path + ": " + failure.what());
  } catch (const Failure& failure) {
    throw Failure(failure.code(), path + ": " + failure.what());
  }
}

bool IsFolder(const std::string& path) { return path != "-" && LookAt(path).kind == FileKind::kFolder; }

// The files of a folder that are not hidden and whose endings are known; of a form that is named those with its ending, where there are
// some.
std::vector<std::string> FilesOf(const std::string& path, const AnnotationForm* form) {
  std::vector<std::string> files;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(PathOf(path), error)) {
    const std::string file = NameOf(entry.path());
    const bool hidden = NameOf(entry.path().filename())[0] == '.';
    if (!hidden && LookAt(file).kind == FileKind::kFile && FormOfFile(file) != nullptr) files.push_back(file);
  }
  if (error) throw Failure(ExitCode::kNoFile, path + ": cannot be read: " + error.message());
  std::sort(files.begin(), files.end());
  std::vector<std::string> of_form;
  std::copy_if(files.begin(), files.end(), std::back_inserter(of_form),
               [form](const std::string& file) { return FormOfFile(file) == form; });
  return of_form.empty() ? files : of_form;
}

// Whether the ending says that the file is of the form that it is read as. Any text may be called .txt.
bool SaysItsForm(const std::string& file, const AnnotationForm* form) {
  const AnnotationForm* own = FormOfFile(file);
  return std::string_view(own->ending) != ".txt" && (form == nullptr || own == form);
}

// How files come to be read as a form that their endings do not say.
std::string Reading(const std::string& folder, const std::string& file, const AnnotationForm* form) {
  if (form == nullptr || FormOfFile(file) == form) return "";
  return std::string("read as ") + form->name + ", since no file of " + folder + " ends in " + form->ending + ": ";
}

Annotation ReadFolder(const std::string& path, const AnnotationForm* form, std::vector<std::string>* passed_over) {
  const std::vector<std::string> files = FilesOf(path, form);
  if (files.empty()) throw Failure(ExitCode::kNoFile, path + ": holds no file of a form that can be read");
  Annotation all;
  std::vector<std::string> not_read;
  std::optional<Failure> first;
  for (const std::string& file : files) {
    const std::string reading = Reading(path, file, form);
    Annotation of_file;
    try {
      of_file = ReadFile(file, form);
    } catch (const Failure& failure) {
      const bool foreign = dynamic_cast<const NoAnnotation*>(&failure) != nullptr;
      if (!foreign && (failure.code() != ExitCode::kNotAudio || SaysItsForm(file, form))) throw;
      not_read.push_back(file);
      const std::string words = std::string(failure.what()).substr(file.size() + 2);
      if (!first) first.emplace(failure.code(), file + ": " + reading + words);
    }
    for (auto& [id, recording] : of_file) {
      if (all.emplace(id, std::move(recording)).second) continue;
      throw Failure(ExitCode::kNotAudio, file + ": " + reading + "tells of " + id + ", and so does another file of this folder" +
                                             (form == nullptr ? "; --ref-format or --hyp-format takes the files of one form" : ""));
    }
  }
  if (not_read.size() == files.size()) throw Failure(*first);
  if (passed_over != nullptr) *passed_over = std::move(not_read);
  return all;
}

}  // namespace

std::span<const AnnotationForm> AnnotationForms() { return kForms; }

AnnotatedRecording& RecordingNamed(Annotation& annotation, const std::string& name) {
  const std::string id = RecordingId(name);
  AnnotatedRecording& recording = annotation[id];
  if (recording.name.empty()) recording.name = name;
  if (recording.name != name)
    throw Failure(ExitCode::kNotAudio, Shown(name) + " and " + Shown(recording.name) + " are both called " + Shown(id));
  return recording;
}

const AnnotationForm* FormOfFile(const std::string& path) {
  const std::string ending = Lower(NameOf(PathOf(path).extension()));
  for (const AnnotationForm& form : kForms) {
    if (ending == form.ending) return &form;
  }
  return nullptr;
}

Annotation ReadAnnotation(const std::string& path, const AnnotationForm* form, std::vector<std::string>* passed_over) {
  return IsFolder(path) ? ReadFolder(path, form, passed_over) : ReadFile(path, form);
}

std::vector<std::string> FilesOfAnnotation(const std::string& path, const AnnotationForm* form) {
  return IsFolder(path) ? FilesOf(path, form) : std::vector<std::string>{path};
}

int64_t Microseconds(double seconds) {
  constexpr double kMost_s = 10.0 * 366 * 86400;
  if (!(seconds >= 0 && seconds <= kMost_s)) throw Failure(ExitCode::kNotAudio, "a time has to be a number from 0 on");
  return std::llround(seconds * 1e6);
}

int64_t ParseSeconds(const std::string& text) {
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size())
    throw Failure(ExitCode::kNotAudio, "\"" + Shown(text) + "\" is no time in seconds");
  return Microseconds(seconds);
}

Span SpanOf(int64_t begin_us, int64_t end_us) {
  if (end_us < begin_us) throw Failure(ExitCode::kNotAudio, "a segment ends before it begins");
  return {begin_us, end_us};
}

void ForEachLine(const std::string& text, const std::function<void(const std::string&)>& take) {
  int number = 0;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    ++number;
    try {
      take(line);
    } catch (const NoAnnotation& failure) {
      if (number == 1) throw;
      throw Failure(failure.code(), "line " + std::to_string(number) + ": " + failure.what());
    } catch (const Failure& failure) {
      throw Failure(failure.code(), "line " + std::to_string(number) + ": " + failure.what());
    }
    begin = end + 1;
  }
}

}  // namespace TSEG::tool
