// SPDX-License-Identifier: Apache-2.0
#include "wvad/score_output.h"

#include <charconv>
#include <utility>

#include "blocks/npy_file.h"
#include "wvad/form_of_ending.h"
#include "wvad/report.h"
#include "wvad/report_json.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

constexpr size_t kArrayColumns = 2;

std::string Time(int64_t frame) { return Fixed(static_cast<double>(frame) / 100, 2); }

void AppendRow(const ScoreTrack::Row& row, std::string* bytes) {
  const float values[kArrayColumns] = {row.speech, row.held ? 1.0F : 0.0F};
  bytes->append(reinterpret_cast<const char*>(values), sizeof values);
}

// The shortest text that gives this float again.
std::string Exactly(float value) {
  char text[64];
  const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

class TextWriter : public ScoreWriter {
 public:
  explicit TextWriter(ByteSink sink) : sink_(std::move(sink)) {}

  void Begin(const std::string& name, bool several) override {
    if (several) gathered_ += (first_ ? "# " : "\n# ") + Shown(name) + "\n";
    first_ = false;
  }
  void Add(const ScoreTrack::Row& row) override {
    gathered_ += Time(row.frame) + " " + Fixed(row.speech, 4) + (row.held ? " held\n" : "\n");
  }
  void Flush() override {
    if (!gathered_.empty()) sink_(gathered_);
    gathered_.clear();
  }

 private:
  ByteSink sink_;
  std::string gathered_;
  bool first_ = true;
};

class CsvWriter : public ScoreWriter {
 public:
  explicit CsvWriter(ByteSink sink) : sink_(std::move(sink)), gathered_("file,time,speech,held\n") {}

  void Begin(const std::string& name, bool) override { name_ = CsvField(name); }
  void Add(const ScoreTrack::Row& row) override {
    gathered_ += name_ + "," + Time(row.frame) + "," + Exactly(row.speech) + (row.held ? ",1\n" : ",0\n");
  }
  void Flush() override {
    if (!gathered_.empty()) sink_(gathered_);
    gathered_.clear();
  }

 private:
  ByteSink sink_;
  std::string gathered_;
  std::string name_;
};

template <typename Writer>
std::unique_ptr<ScoreWriter> Make(ByteSink sink) {
  return std::make_unique<Writer>(std::move(sink));
}

constexpr ScoreFormat kFormats[] = {
    {"text", "time and probability", "txt", Make<TextWriter>},
    {"csv", "file,time,speech,held", "csv", Make<CsvWriter>},
    {"npy", "a NumPy array", "npy", nullptr},
};

}  // namespace

std::span<const ScoreFormat> ScoreFormats() { return kFormats; }

const ScoreFormat* ScoreFormatOfEnding(const std::string& path) {
  return RowOfEnding(ScoreFormats(), path, [](const ScoreFormat& row) { return std::string(".") + row.ending; });
}

void KeptScores::Begin(const std::string& name, bool several) {
  name_ = name;
  several_ = several;
}

void KeptScores::Replay(ScoreWriter& writer) const {
  writer.Begin(name_, several_);
  for (const ScoreTrack::Row& row : rows_) writer.Add(row);
  writer.Flush();
}

ArrayWriter::ArrayWriter(NewFile& file) : file_(file) { file_.Write(blocks::NpyHeader(0, kArrayColumns, false)); }

void ArrayWriter::Begin(const std::string&, bool) {}

void ArrayWriter::Add(const ScoreTrack::Row& row) {
  AppendRow(row, &gathered_);
  ++rows_;
}

void ArrayWriter::Flush() {
  file_.Write(gathered_);
  gathered_.clear();
}

void ArrayWriter::Finish() {
  Flush();
  file_.WriteAt(0, blocks::NpyHeader(rows_, kArrayColumns, false));
}

WholeArrayWriter::WholeArrayWriter(ByteSink sink) : sink_(std::move(sink)) {}

void WholeArrayWriter::Begin(const std::string&, bool) {}

void WholeArrayWriter::Add(const ScoreTrack::Row& row) {
  AppendRow(row, &gathered_);
  ++rows_;
}

void WholeArrayWriter::Flush() {}

void WholeArrayWriter::Finish() { sink_(blocks::NpyHeader(rows_, kArrayColumns, false) + gathered_); }

}  // namespace TSEG::tool
