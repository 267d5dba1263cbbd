// SPDX-License-Identifier: Apache-2.0
#include "wvad/scores_command.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "wvad/engine_config.h"
#include "wvad/in_order.h"
#include "wvad/messages.h"
#include "wvad/output.h"
#include "wvad/progress.h"
#include "wvad/recording_files.h"
#include "wvad/resume.h"
#include "wvad/score_output.h"
#include "wvad/score_run.h"
#include "wvad/shown.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// An array holds one recording and has to be completed at its begin.
bool IsArray(const ScoreFormat& format) { return format.make == nullptr; }

// Where the rows of a run go.
class ScoreFiles {
 public:
  ScoreFiles(const ScoresOptions& options, std::vector<std::string> files, const OutputRules& rules, const OutputFolder* folder,
             PerForm<Scorer>& scorers)
      : options_(options), rules_(rules), folder_(folder), scorers_(scorers), input_(options.input) {
    input_.files = std::move(files);
    progress_.emplace(!options.quiet && HasLivingTerminal(), input_.files);
  }

  // Each recording into a file of its own, or the one into that which is named.
  ExitCode ToOwnFiles() {
    return ForEach([this](ScoreRun& run, size_t index, const Notes& notes) { return ToOwnFile(run, index, notes); }, [](size_t) {});
  }

  // The array of one recording to standard output, a pipe or a device.
  ExitCode ArrayToPipe() {
    Output output(options_.output, rules_);
    return ForEach(
        [&](ScoreRun& run, size_t index, const Notes& notes) {
          const std::unique_ptr<Input> input = run.Open(input_.files[index]);
          WholeArrayWriter writer([&](std::string_view bytes) { output.Write(bytes); });
          const std::optional<Failure> failure = run.File(*input, index, {output.is_terminal(), false, notes}, writer);
          writer.Finish();
          output.Close();
          return failure;
        },
        [](size_t) {});
  }

  // All recordings into one output, behind `kept` rows of an earlier run.
  ExitCode ToOneOutput(const Kept& kept, bool shared) {
    Output output(options_.output, rules_);
    if (!options_.folder.force) output.BeginsWith(kept.there, kept.sure, options_.quiet);
    const std::unique_ptr<ScoreWriter> writer = options_.format->make([&](std::string_view bytes) { output.Write(bytes); });
    writer->Flush();
    output.Write(kept.rows);
    bool heard_any = !kept.rows.empty();
    ExitCode code = ExitCode::kSuccess;
    if (Workers() == 1) {
      code = ForEach(
          [&](ScoreRun& run, size_t index, const Notes& notes) {
            const std::unique_ptr<Input> input = run.Open(input_.files[index]);
            heard_any = true;
            return run.File(*input, index, {output.is_terminal(), shared, notes}, *writer);
          },
          [](size_t) {});
    } else {
      std::vector<std::unique_ptr<KeptScores>> rows(input_.files.size());
      code = ForEach(
          [&](ScoreRun& run, size_t index, const Notes& notes) {
            const std::unique_ptr<Input> input = run.Open(input_.files[index]);
            rows[index] = std::make_unique<KeptScores>();
            return run.File(*input, index, {false, shared, notes}, *rows[index]);
          },
          [&](size_t index) {
            const std::unique_ptr<KeptScores> own = std::move(rows[index]);
            if (!own) return;
            heard_any = true;
            own->Replay(*writer);
          });
    }
    writer->Flush();
    const bool broken_off = code == ExitCode::kInterrupted && !options_.resume;
    if (heard_any) broken_off ? output.CloseInterrupted() : output.Close();
    return code;
  }

 private:
  using Notes = std::function<void(const std::string& line)>;
  using Work = std::function<std::optional<Failure>(ScoreRun& run, size_t index, const Notes& notes)>;

  size_t Workers() const { return std::clamp<size_t>(static_cast<size_t>(options_.input.jobs), 1, input_.files.size()); }

  // Works on all recordings, several at once where that was asked for. What is said of each comes in its turn, behind `finish`.
  ExitCode ForEach(const Work& work, const std::function<void(size_t index)>& finish) {
    if (Workers() == 1) {
      ScoreRun run(input_, scorers_, *progress_);
      const Notes say = [this](const std::string& line) {
        progress_->Hide();
        SayNote(line);
      };
      return ForEachFile(
          input_, options_.quiet, [this] { progress_->Hide(); },
          [&](size_t index, const std::string&) {
            if (const std::optional<Failure> failure = work(run, index, options_.quiet ? Notes() : say)) throw Failure(*failure);
          });
    }
    struct Outcome {
      std::vector<std::string> notes;
      std::exception_ptr failure;
    };
    scorers_.MakeAll();
    std::vector<std::unique_ptr<ScoreRun>> runs;
    while (runs.size() < Workers()) runs.push_back(std::make_unique<ScoreRun>(input_, scorers_, *progress_));
    std::vector<Outcome> outcomes(input_.files.size());
    FileTally tally(input_, [this] { progress_->Hide(); });
    InOrderWork in_order;
    in_order.work = [&](size_t worker, size_t index) {
      const Notes keep = [&notes = outcomes[index].notes](const std::string& line) { notes.push_back(line); };
      try {
        if (const std::optional<Failure> failure = work(*runs[worker], index, options_.quiet ? Notes() : keep)) throw Failure(*failure);
      } catch (...) {
        outcomes[index].failure = std::current_exception();
      }
    };
    in_order.finish = [&](size_t index) {
      const Progress::Pause pause(*progress_);
      return tally.Do(input_.files[index], [&] {
        finish(index);
        for (const std::string& line : outcomes[index].notes) SayNote(line);
        if (outcomes[index].failure) std::rethrow_exception(outcomes[index].failure);
      });
    };
    in_order.abandon = [&] {
      StopReading();
      for (const std::unique_ptr<ScoreRun>& run : runs) run->Abandon();
    };
    WorkInOrder(input_.files.size(), runs.size(), in_order);
    return tally.Finish(options_.quiet);
  }

  // A recording into a file of its own, which appears when its work is done. In a folder, where its being there says that it is whole, one
  // that was interrupted leaves none.
  std::optional<Failure> ToOwnFile(ScoreRun& run, size_t index, const Notes& notes) {
    const std::string& name = input_.files[index];
    const std::unique_ptr<Input> input = run.Open(name);
    if (folder_ != nullptr) folder_->Make(name);
    NewFile file(folder_ != nullptr ? folder_->Path(name, folder_->File(name)) : options_.output, rules_);
    std::optional<Failure> failure;
    if (IsArray(*options_.format)) {
      ArrayWriter writer(file);
      failure = run.File(*input, index, {false, false, notes}, writer);
      writer.Finish();
    } else {
      const std::unique_ptr<ScoreWriter> writer = options_.format->make([&file](std::string_view bytes) { file.Write(bytes); });
      failure = run.File(*input, index, {false, false, notes}, *writer);
      writer->Flush();
    }
    const bool interrupted = failure && failure->code() == ExitCode::kInterrupted;
    if (!interrupted || (folder_ == nullptr && !StaysAsItWas(options_.output))) file.Publish();
    return failure;
  }

  const ScoresOptions& options_;
  const OutputRules& rules_;
  const OutputFolder* folder_;
  PerForm<Scorer>& scorers_;
  InputOptions input_;
  std::optional<Progress> progress_;
};

void CheckUsage(const ScoresOptions& options) {
  const bool into_folder = !options.folder.folder.empty();
  if (into_folder && !options.output.empty()) throw Failure(ExitCode::kUsage, "--output and --directory exclude each other");
  RefuseFolder(options.output, "--directory " + options.output);
  if (!into_folder && !options.folder.prefix.empty()) throw Failure(ExitCode::kUsage, "--prefix goes with --directory");
  if (options.input.channel == "all") throw Failure(ExitCode::kUsage, "--channel all: scores are of one channel at a time");
  const bool into_csv = std::string(options.format->name) == "csv" && !options.output.empty();
  if (options.resume && !into_folder && !into_csv) {
    throw Failure(ExitCode::kUsage, "--resume: goes with --directory DIR, or with --format csv and --output FILE");
  }
  if (!IsArray(*options.format) || into_folder) return;
  const std::string format = std::string("--format ") + options.format->name;
  if (options.output.empty())
    throw Failure(ExitCode::kUsage, format + ": needs --output FILE (- for standard output), or --directory DIR for several recordings");
  if (options.input.files.size() > 1) throw Failure(ExitCode::kUsage, format + ": several recordings need --directory DIR");
}

// Whether `path` has the scores of the recording as it is now. Throws Failure(kOutput) where they may be those of another one.
bool IsDone(const std::string& recording, const std::string& path, const ScoresOptions& options) {
  if (LookAt(path).kind != FileKind::kFile) return false;
  const std::string told = std::string(options.format->name) == "csv" ? RecordingOfCsv(path) : "";
  const bool another = !told.empty() && told != recording;
  if (another && !options.folder.force) {
    throw Failure(ExitCode::kOutput, path + ": tells of another recording, " + Shown(told) + "; --resume goes on with the same ones");
  }
  if (!another && !IsRecordingNewer(recording, path)) return true;
  if (told.empty() && !options.folder.force) {
    throw Failure(ExitCode::kOutput,
                  path + ": is older than " + Shown(recording) + ", and does not say what it tells of; --force replaces it");
  }
  return false;
}

// The recordings without a file of their own in the folder.
std::vector<std::string> FilesLeft(const OutputFolder& folder, const ScoresOptions& options) {
  std::vector<std::string> left;
  for (const std::string& name : options.input.files) {
    if (!IsDone(name, folder.Path(name, folder.File(name)), options)) left.push_back(name);
  }
  return left;
}

}  // namespace

ExitCode RunScores(const ScoresOptions& options) {
  RememberInterrupts();
  CheckUsage(options);
  std::vector<std::string> read = FilesBesideRecordings(options.engine, options.input.list.list);
  std::optional<OutputFolder> folder;
  const OutputSuffixes suffixes = {std::string("scores.") + options.format->ending, ""};
  FolderOptions folder_options = options.folder;
  folder_options.force |= options.resume;
  if (!options.folder.folder.empty()) folder.emplace(folder_options, options.input.files, suffixes, read, options.input.walked);
  read.insert(read.end(), options.input.files.begin(), options.input.files.end());
  const OutputRules rules(folder_options.force, read);
  if (!folder) CheckOutput(options.output, rules);

  const std::string configuration = ReadConfiguration(options.engine.config, false, options.quiet);
  std::vector<std::string> left = options.input.files;
  Kept kept;
  if (options.resume && folder) left = FilesLeft(*folder, options);
  if (options.resume && !folder) kept = KeepWhatIsThere(options.output, "csv", left, {}, options.folder.force);
  SayFailedBefore(options.output, kept.failed);
  left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(kept.files));
  if (left.empty()) return kept.code;
  PerForm<Scorer> scorers(options.engine, [&](const EngineOptions& of_form) { return std::make_unique<Scorer>(of_form, configuration); });
  // One is there before any output is opened, so that what is wrong with model or settings costs nothing.
  scorers.For(scorers.choice().is_open() ? RateAhead(left[0], options.input.source) : 0);
  ScoreFiles files(options, left, rules, folder ? &*folder : nullptr, scorers);
  if (!folder && !IsArray(*options.format)) return files.ToOneOutput(kept, options.input.files.size() > 1);
  if (!folder && !IsForFile(options.output)) return files.ArrayToPipe();
  return files.ToOwnFiles();
}

}  // namespace TSEG::tool
