// SPDX-License-Identifier: Apache-2.0
//
// Speech probabilities as text (time and probability, "held" behind those that are), as CSV (file, time, speech, held), or as a NumPy array
// of 32-bit floats with a row for each 10 ms: the probability, and 1 where it is held.
//
// Rows go out as they come; memory does not grow. An array's count of rows stands at its begin: in a file it is put in at the end, and what
// is no file (a pipe) gets all of the array at the end, 8 bytes for each 10 ms until then.
#ifndef WVAD_WVAD_SCORE_OUTPUT_H_
#define WVAD_WVAD_SCORE_OUTPUT_H_

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "wvad/new_file.h"
#include "wvad/score_track.h"

namespace TSEG::tool {

// Where the rows go: appended to something, or, for an array, into a file of its own.
using ByteSink = std::function<void(std::string_view)>;

class ScoreWriter {
 public:
  virtual ~ScoreWriter() = default;
  // The recording `name` begins. `several`: text names each.
  virtual void Begin(const std::string& name, bool several) = 0;
  virtual void Add(const ScoreTrack::Row& row) = 0;
  // Passes on what has been gathered.
  virtual void Flush() = 0;
};

struct ScoreFormat {
  const char* name;
  const char* words;
  const char* ending;                                   // of files
  std::unique_ptr<ScoreWriter> (*make)(ByteSink sink);  // null for the array, which needs a file of its own
};

// The first one is the default.
std::span<const ScoreFormat> ScoreFormats();

// The one that the file `path` asks for by its ending, null for any other ending.
const ScoreFormat* ScoreFormatOfEnding(const std::string& path);

// Rows that wait for their turn.
class KeptScores : public ScoreWriter {
 public:
  void Begin(const std::string& name, bool several) override;
  void Add(const ScoreTrack::Row& row) override { rows_.push_back(row); }
  void Flush() override {}
  // Tells everything to `writer`, which passes it on.
  void Replay(ScoreWriter& writer) const;

 private:
  std::string name_;
  bool several_ = false;
  std::vector<ScoreTrack::Row> rows_;
};

// An array in `file`, which it finishes and publishes with Publish().
class ArrayWriter : public ScoreWriter {
 public:
  explicit ArrayWriter(NewFile& file);
  void Begin(const std::string& name, bool several) override;
  void Add(const ScoreTrack::Row& row) override;
  void Flush() override;
  // Puts the count of rows in. Call once, behind the last row.
  void Finish();

 private:
  NewFile& file_;
  uint64_t rows_ = 0;
  std::string gathered_;
};

// An array that goes out in one piece, with Finish().
class WholeArrayWriter : public ScoreWriter {
 public:
  explicit WholeArrayWriter(ByteSink sink);
  void Begin(const std::string& name, bool several) override;
  void Add(const ScoreTrack::Row& row) override;
  void Flush() override;
  void Finish();

 private:
  ByteSink sink_;
  uint64_t rows_ = 0;
  std::string gathered_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SCORE_OUTPUT_H_
