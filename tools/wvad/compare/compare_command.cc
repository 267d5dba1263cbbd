// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/compare_command.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "wvad/failure.h"
#include "wvad/messages.h"
#include "wvad/named_rows.h"
#include "wvad/output.h"

namespace TSEG::tool {
namespace {

// Two annotations of one recording each are of the same one, whatever it is called.
void TakeAsSame(const Annotation& reference, Annotation& found) {
  if (reference.size() != 1 || found.size() != 1 || reference.begin()->first == found.begin()->first) return;
  auto node = found.extract(found.begin());
  node.key() = reference.begin()->first;
  found.insert(std::move(node));
}

const AnnotatedRecording& Of(const Annotation& annotation, const std::string& id) {
  static const AnnotatedRecording kNothing;
  const auto row = annotation.find(id);
  return row == annotation.end() ? kNothing : row->second;
}

int64_t LastOf(const Spans& spans) {
  int64_t last_us = 0;
  for (const Span& span : spans) last_us = std::max(last_us, span.end_us);
  return last_us;
}

// Without a UEM all of the recording is scored: to the end that an annotation knows, or to the last that either tells of.
Spans WholeOf(const AnnotatedRecording& reference, const AnnotatedRecording& found) {
  int64_t end_us = std::max(LastOf(reference.speech), LastOf(found.speech));
  for (const auto& length_us : {reference.length_us, found.length_us}) end_us = std::max(end_us, length_us.value_or(0));
  return Joined({{0, end_us}});
}

void TellOfOthers(const Annotation& found, const std::set<std::string>& scored, const CompareOptions& options) {
  if (options.quiet) return;
  for (const auto& [id, recording] : found) {
    if (scored.count(id) > 0) continue;
    SayNote(options.found + ": note: " + id + " is not scored; " + (options.uem.empty() ? options.reference : options.uem) +
            " does not tell of it");
  }
}

// What was not heard counts as silence on its side.
void TellNotHeard(const std::string& path, const std::string& id, const AnnotatedRecording& recording, bool quiet) {
  if (quiet || recording.not_heard.empty()) return;
  SayNote(path + ": note: " + id + ": " + recording.not_heard + "; what was not heard counts as silence here");
}

void TellPassedOver(const std::string& folder, const std::vector<std::string>& files, bool quiet) {
  if (quiet || files.empty()) return;
  const std::string more = files.size() == 1 ? "" : " and " + std::to_string(files.size() - 1) + " more";
  SayNote(folder + ": note: passed over what cannot be understood: " + files[0] + more);
}

}  // namespace

ExitCode RunCompare(const CompareOptions& options) {
  const std::string* const inputs[] = {&options.reference, &options.found, &options.uem};
  if (std::count_if(std::begin(inputs), std::end(inputs), [](const std::string* name) { return *name == "-"; }) > 1)
    throw Failure(ExitCode::kUsage, "only one of them can be standard input");
  std::vector<std::string> read = FilesOfAnnotation(options.reference, options.reference_form);
  const std::vector<std::string> also_read = FilesOfAnnotation(options.found, options.found_form);
  read.insert(read.end(), also_read.begin(), also_read.end());
  if (!options.uem.empty()) read.push_back(options.uem);
  const OutputRules rules(options.force, read);
  Output output(options.output, rules);
  std::vector<std::string> passed_over;
  const Annotation reference = ReadAnnotation(options.reference, options.reference_form, &passed_over);
  TellPassedOver(options.reference, passed_over, options.quiet);
  passed_over.clear();
  Annotation found = ReadAnnotation(options.found, options.found_form, &passed_over);
  TellPassedOver(options.found, passed_over, options.quiet);
  TakeAsSame(reference, found);
  const std::optional<Annotation> uem =
      options.uem.empty() ? std::nullopt : std::optional<Annotation>(ReadAnnotation(options.uem, FindRow(AnnotationForms(), "uem")));
  std::set<std::string> scored;
  for (const auto& row : uem ? *uem : reference) scored.insert(row.first);
  if (scored.empty()) {
    throw Failure(ExitCode::kNotAudio, (options.uem.empty() ? options.reference : options.uem) + ": tells of no recording");
  }
  TellOfOthers(found, scored, options);
  const int64_t collar_us = std::llround(options.collar_s * 1e6);
  std::vector<ComparedRecording> compared;
  for (const std::string& id : scored) {
    const AnnotatedRecording& truth = Of(reference, id);
    const AnnotatedRecording& told = Of(found, id);
    TellNotHeard(options.reference, id, truth, options.quiet);
    TellNotHeard(options.found, id, told, options.quiet);
    const Spans regions = uem ? Joined(Of(*uem, id).speech) : WholeOf(truth, told);
    compared.push_back({id, Compare(Joined(truth.speech), Joined(told.speech), regions, collar_us)});
  }
  output.Write(options.format->print(compared, options.collar_s, output.width()));
  output.Close();
  return ExitCode::kSuccess;
}

}  // namespace TSEG::tool
