// SPDX-License-Identifier: Apache-2.0
#include "blocks/score_source.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/platform.h"
#include "res/res_loader.h"

namespace TSEG::blocks {

std::unique_ptr<ScoreModel> ScoreModel::Load(const std::string& path, std::string* error) {
  const std::optional<std::string> bytes = platform::ReadWholeFile(path);
  if (!bytes) {
    *error = path + ": cannot be read";
    return nullptr;
  }
  // Not the type "MLP": a file that is no model is refused with a code instead of ending the process.
  WREC_RES_SET key = {};
  std::strncpy(key.szResType, "SCORES", sizeof key.szResType - 1);
  std::unique_ptr<ScoreModel> model(new ScoreModel);
  model->link_ = std::make_unique<HMMResourceLink>(key, path.c_str());
  const CFG_RESMGR configuration;
  ResLoader_Ftr loader(nullptr);
  loader.SetConfiguration(&configuration);
  const int result = loader.load(model->link_.get(), bytes->data(), bytes->size(), key, nullptr, 0);
  if (result != 0) {
    *error = path + ": refused by the model loader with " + std::to_string(result);
    return nullptr;
  }
  for (size_t row = 0; row < 32; ++row) {
    const HMMResourceLink& link = *model->link_;
    if (std::strncmp(link.szModelKey[row], "3", sizeof link.szModelKey[row]) != 0) continue;
    model->priming_frames_ = std::atoi(std::string(link.szModelValue[row], strnlen(link.szModelValue[row], 16)).c_str());
  }
  if (model->dnn() != nullptr) {
    model->type_ = "dnn_fb75";
  } else if (model->lstm() != nullptr) {
    model->type_ = model->lstm()->form == LstmForm::kFixed ? "lstm_fb75" : "lstm_fb40";
  } else {
    *error = path + ": holds no network";
    return nullptr;
  }
  return model;
}

namespace {

BlockOptions WithType(BlockOptions options, const ScoreModel* model) {
  if (model != nullptr) options.model_type = model->type();
  return options;
}

void PassOn(const float* scores, int32_t frames, int32_t stride, const ScoreSource::PairSink& sink) {
  for (int32_t f = 0; f < frames; ++f) sink(scores + f * stride, true);
}

}  // namespace

ScoreSource::ScoreSource(BlockOptions options, const ScoreModel* model, int priming_frames)
    : blocks_(WithType(std::move(options), model)), model_(model) {
  if (model == nullptr) return;
  priming_frames_ = priming_frames < 0 ? model->priming_frames() : priming_frames;
  if (model->dnn() != nullptr) {
    dnn_ = std::make_unique<DnnForward>();
  } else {
    lstm_ = std::make_unique<LstmForward>();
  }
}

void ScoreSource::Run(const std::vector<int16_t>& samples, std::vector<float>* pairs) {
  const PairSink append = [pairs](const float* pair, bool) { pairs->insert(pairs->end(), pair, pair + 2); };
  Begin();
  Push(samples.data(), samples.size(), append);
  Finish(append);
}

void ScoreSource::Begin() {
  if (dnn_) {
    DnnForwardBind(dnn_.get(), model_->dnn());
  } else {
    LstmForwardBind(lstm_.get(), model_->lstm());
  }
  first_ = model_->type() == "lstm_fb40";  // only this kind is primed
  blocks_.Begin();
}

void ScoreSource::Push(const int16_t* samples, size_t count, const PairSink& sink) {
  blocks_.Push(samples, count, [&](const float* block, bool eof) { Block(block, eof, sink); });
}

void ScoreSource::Finish(const PairSink& sink) {
  blocks_.Finish([&](const float* block, bool eof) { Block(block, eof, sink); });
}

void ScoreSource::Block(const float* block, bool eof, const PairSink& sink) {
  if (dnn_) {
    DnnBlock(block, eof, sink);
  } else {
    LstmBlock(block, eof, sink);
  }
}

void ScoreSource::DnnBlock(const float* block, bool eof, const PairSink& sink) {
  if (!DnnForwardAddBlock(dnn_.get(), block, 825, eof)) return;
  float scores[16] = {};
  int32_t stride = 0;
  const int32_t frames = DnnForwardRead(dnn_.get(), scores, &stride);
  PassOn(scores, frames, stride, sink);
}

void ScoreSource::LstmBlock(const float* block, bool eof, const PairSink& sink) {
  if (first_) LstmForwardPrime(lstm_.get(), priming_frames_);
  first_ = false;
  // The first two blocks give nothing: a result is that of the block two steps before, so pairs come in the order of their frames.
  const bool result = model_->type() == "lstm_fb40" ? LstmForwardAddBlock40(lstm_.get(), block, 160, eof)
                                                    : LstmForwardAddBlock75(lstm_.get(), block, 300, eof);
  if (!result) return;
  float scores[8];
  int32_t stride = 0;
  const int32_t frames = LstmForwardRead(lstm_.get(), scores, &stride);
  PassOn(scores, frames, stride, sink);
  if (eof) EndOfAudio(scores + (frames - 1) * stride, sink);
}

void ScoreSource::EndOfAudio(const float* last, const PairSink& sink) {
  // Two blocks of 4 frames are owed, less the frames that the last block was short of.
  int32_t owed = 8 - blocks_.padded_frames();
  if (model_->type() == "lstm_fb75") {
    for (; owed > 0; --owed) sink(last, false);
    return;
  }
  for (int flush = 0; flush < 2; ++flush) {
    LstmForwardFlushBlock(lstm_.get(), nullptr, 160, true);
    float scores[8];
    int32_t stride = 0;
    const int32_t frames = std::min(owed, LstmForwardRead(lstm_.get(), scores, &stride));
    PassOn(scores, frames, stride, sink);
    owed -= frames;
  }
}

}  // namespace TSEG::blocks
