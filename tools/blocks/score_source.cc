// SPDX-License-Identifier: Apache-2.0
#include "blocks/score_source.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "res/model_image.h"

namespace TSEG::blocks {
namespace {

// The value of row `key` of the model's table as a number; 0 where there is none.
int TableValue(const HMMResourceLink& link, const char* key) {
  int value = 0;
  for (size_t row = 0; row < std::size(link.szModelKey); ++row) {
    if (std::strncmp(link.szModelKey[row], key, sizeof link.szModelKey[row]) != 0) continue;
    value = std::atoi(std::string(link.szModelValue[row], strnlen(link.szModelValue[row], sizeof link.szModelValue[row])).c_str());
  }
  return value;
}

BlockOptions WithType(BlockOptions options, const ScoreModel* model) {
  if (model != nullptr) options.model_type = model->type();
  return options;
}

}  // namespace

std::unique_ptr<ScoreModel> ScoreModel::Load(const std::string& path, std::string* error) {
  std::unique_ptr<ScoreModel> model(new ScoreModel);
  int code = 0;
  model->link_ = LoadModelFile(path, &code);
  if (code == kResNotExist) {
    *error = path + ": cannot be read";
    return nullptr;
  }
  if (model->link_ == nullptr) {
    *error = path + ": refused by the model loader with " + std::to_string(code);
    return nullptr;
  }
  model->kind_ = KindOfModels(model->networks());
  if (model->kind_ == nullptr) {
    *error = path + ": holds no network";
    return nullptr;
  }
  model->priming_frames_ = TableValue(*model->link_, "3");
  return model;
}

ScoreSource::ScoreSource(BlockOptions options, const ScoreModel* model, int priming_frames)
    : feed_(WithType(std::move(options), model)), model_(model) {
  if (model == nullptr) return;
  priming_frames_ = priming_frames < 0 ? model->priming_frames() : priming_frames;
  network_ = std::make_unique<Network>(model->kind().lstm);
}

void ScoreSource::Run(const std::vector<int16_t>& samples, std::vector<float>* pairs) {
  const PairSink append = [pairs](const float* pair, bool) { pairs->insert(pairs->end(), pair, pair + 2); };
  Begin();
  Push(samples.data(), samples.size(), append);
  Finish(append);
}

void ScoreSource::Begin() {
  network_->Start(model_->networks(), model_->type(), priming_frames_);
  feed_.Begin();
}

void ScoreSource::Push(const int16_t* samples, size_t count, const PairSink& sink) {
  feed_.Push(samples, count, [&](bool last) { Take(last, sink); });
}

void ScoreSource::Finish(const PairSink& sink) {
  feed_.Finish([&](bool last) { Take(last, sink); });
}

void ScoreSource::Take(bool last, const PairSink& sink) {
  ScoredFrames frames;
  while (network_->scorer()->Next(feed_.channels(), last, &frames)) {
    for (int32_t i = 0; i < frames.count; ++i) sink(frames.Pair(i), frames.origin != ScoredFrames::Origin::kRepeated);
  }
}

}  // namespace TSEG::blocks
