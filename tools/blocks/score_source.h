// SPDX-License-Identifier: Apache-2.0
//
// Score pairs of a model for a recording, by the session's own intake, channel and scorer, without the decision behind them.
//
// The pairs of a recurrent model stand at the frames that they belong to. A recording that is too short for a result has none.
// One source serves one thread; the model may be shared between several. Memory does not grow with the length of a recording that comes in
// pieces.
#ifndef WVAD_TOOLS_BLOCKS_SCORE_SOURCE_H_
#define WVAD_TOOLS_BLOCKS_SCORE_SOURCE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "blocks/audio_feed.h"
#include "res/res_mgr.h"
#include "scoring/network.h"

namespace TSEG::blocks {

// A loaded model file.
class ScoreModel {
 public:
  // Null with a one-line reason in `*error` if the file is not a model that the engine takes.
  static std::unique_ptr<ScoreModel> Load(const std::string& path, std::string* error);
  const NetworkKind& kind() const { return *kind_; }
  // "dnn_fb75", "lstm_fb75" or "lstm_fb40", by what was loaded.
  std::string type() const { return kind_->model_type; }
  NetworkModels networks() const { return {link_->pDnn.get(), link_->pLstm.get()}; }
  // Frames of priming that the model asks for, 0 if it says nothing.
  int priming_frames() const { return priming_frames_; }

 private:
  ScoreModel() = default;
  std::unique_ptr<HMMResourceLink> link_;
  const NetworkKind* kind_ = nullptr;
  int priming_frames_ = 0;
};

class ScoreSource {
 public:
  // The model's type takes the place of that in `options`. `priming_frames` below 0: as many as the model asks for. A null model makes a
  // source that must not run.
  ScoreSource(BlockOptions options, const ScoreModel* model, int priming_frames = -1);

  // Called with each pair (two floats, speech first, valid during the call), frame by frame from 0. `own` is false where the network has
  // none for the frame and the last one stands in, as it does in a session: at the end of "lstm_fb75".
  using PairSink = std::function<void(const float* pair, bool own)>;

  // Appends a pair a frame, speech first, to `*pairs`. The last frames of a recording have theirs too.
  void Run(const std::vector<int16_t>& samples, std::vector<float>* pairs);
  // The same in steps: Begin, any number of Push, Finish.
  void Begin();
  void Push(const int16_t* samples, size_t count, const PairSink& sink);
  void Finish(const PairSink& sink);

 private:
  void Take(bool last, const PairSink& sink);

  AudioFeed feed_;
  std::unique_ptr<Network> network_;
  const ScoreModel* model_;
  int priming_frames_ = 0;
};

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_SCORE_SOURCE_H_
