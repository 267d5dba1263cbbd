// SPDX-License-Identifier: Apache-2.0
//
// What an annotation says: where in which recordings there is speech. Channels and speakers are not told apart.
#ifndef WVAD_WVAD_COMPARE_ANNOTATION_H_
#define WVAD_WVAD_COMPARE_ANNOTATION_H_

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "wvad/compare/spans.h"
#include "wvad/failure.h"

namespace TSEG::tool {

struct AnnotatedRecording {
  Spans speech;                      // as they stand there, in any order
  std::optional<int64_t> length_us;  // of the recording, where the annotation says it
  std::string name;                  // what the annotation calls its file, where it does
  std::string not_heard;             // in words what of it was not heard, where the annotation says so (hearing.h)
};
using Annotation = std::map<std::string, AnnotatedRecording>;  // by the recording's id (RecordingId)

// The recording of the file `name`. Throws Failure(kNotAudio) where there is another one whose id is the same.
AnnotatedRecording& RecordingNamed(Annotation& annotation, const std::string& name);

// A table or document that may well be one, and tells of no segments at all: in a folder, nobody's mistake.
class NoAnnotation : public Failure {
 public:
  explicit NoAnnotation(const std::string& message) : Failure(ExitCode::kNotAudio, message) {}
};

// A form that is read. `read` gets the text of a file and the id of the recording that it belongs to if it names none. Throws Failure, with
// "line N: " where there is one, and NoAnnotation.
struct AnnotationForm {
  const char* name;
  const char* words;
  const char* ending;  // of its files, compared without regard to case
  Annotation (*read)(const std::string& text, const std::string& id);
};
std::span<const AnnotationForm> AnnotationForms();

// The form whose ending `path` has; null if there is none.
const AnnotationForm* FormOfFile(const std::string& path);

// Of a file ("-" for standard input), or of all files of a folder whose endings are known, but for hidden ones. `form` null: by the
// ending; of a folder that holds files with the ending of `form` these alone are read. Throws Failure:
// kUsage (no form is known for it), kNoFile, kNotAudio with the place of what cannot be understood, or where two files tell of one
// recording. Beside others in a folder a file need not be one: one that tells of something else is passed over (NoAnnotation), and so is
// one that cannot be understood where its ending is that of any text (.txt), or not that of `form`; `passed_over` gets its name.
Annotation ReadAnnotation(const std::string& path, const AnnotationForm* form, std::vector<std::string>* passed_over = nullptr);
// The files that it reads for that. Throws Failure(kNoFile).
std::vector<std::string> FilesOfAnnotation(const std::string& path, const AnnotationForm* form);

// The readers.
Annotation ReadRttm(const std::string& text, const std::string& id);
Annotation ReadCtm(const std::string& text, const std::string& id);
Annotation ReadStm(const std::string& text, const std::string& id);
Annotation ReadUem(const std::string& text, const std::string& id);
Annotation ReadLabels(const std::string& text, const std::string& id);
Annotation ReadTextGrid(const std::string& text, const std::string& id);
Annotation ReadCsv(const std::string& text, const std::string& id);
Annotation ReadTsv(const std::string& text, const std::string& id);
Annotation ReadJson(const std::string& text, const std::string& id);
Annotation ReadJsonLines(const std::string& text, const std::string& id);
Annotation ReadCaptions(const std::string& text, const std::string& id);

// Seconds as microseconds. Throws Failure(kNotAudio) for what is no number, is negative or beyond ten years.
int64_t Microseconds(double seconds);
int64_t ParseSeconds(const std::string& text);
// Throws Failure(kNotAudio) where `end` lies before `begin`.
Span SpanOf(int64_t begin_us, int64_t end_us);

// Calls `take` with each line, without its line break; what it throws leaves with the line's number, but
// for NoAnnotation in the first, which is of the whole.
void ForEachLine(const std::string& text, const std::function<void(const std::string&)>& take);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPARE_ANNOTATION_H_
