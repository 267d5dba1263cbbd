// SPDX-License-Identifier: Apache-2.0
#include "blocks/score_source.h"

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

void AppendPairs(const float* scores, int32_t frames, int32_t stride, std::vector<float>* pairs) {
  for (int32_t f = 0; f < frames; ++f) pairs->insert(pairs->end(), scores + f * stride, scores + f * stride + 2);
}

}  // namespace

ScoreSource::ScoreSource(BlockOptions options, const ScoreModel* model) : blocks_(WithType(std::move(options), model)), model_(model) {
  if (model == nullptr) return;
  if (model->dnn() != nullptr) {
    dnn_ = std::make_unique<DnnForward>();
  } else {
    lstm_ = std::make_unique<LstmForward>();
  }
}

void ScoreSource::Run(const std::vector<int16_t>& samples, std::vector<float>* pairs) {
  if (dnn_) {
    RunDnn(samples, pairs);
  } else {
    RunLstm(samples, pairs);
  }
}

void ScoreSource::RunDnn(const std::vector<int16_t>& samples, std::vector<float>* pairs) {
  DnnForwardBind(dnn_.get(), model_->dnn());
  blocks_.Run(samples, [&](const float* block, bool eof) {
    if (!DnnForwardAddBlock(dnn_.get(), block, 825, eof)) return;
    float scores[16] = {};
    int32_t stride = 0;
    const int32_t frames = DnnForwardRead(dnn_.get(), scores, &stride);
    AppendPairs(scores, frames, stride, pairs);
  });
}

void ScoreSource::RunLstm(const std::vector<int16_t>& samples, std::vector<float>* pairs) {
  const bool values40 = model_->type() == "lstm_fb40";
  LstmForwardBind(lstm_.get(), model_->lstm());
  bool first = values40;  // only this kind is primed
  blocks_.Run(samples, [&](const float* block, bool eof) {
    if (first) LstmForwardPrime(lstm_.get(), model_->priming_frames());
    first = false;
    const bool result =
        values40 ? LstmForwardAddBlock40(lstm_.get(), block, 160, eof) : LstmForwardAddBlock75(lstm_.get(), block, 300, eof);
    if (!result) return;
    float scores[8];
    int32_t stride = 0;
    const int32_t frames = LstmForwardRead(lstm_.get(), scores, &stride);
    AppendPairs(scores, frames, stride, pairs);
    if (eof) EndOfAudio(pairs);
  });
}

void ScoreSource::EndOfAudio(std::vector<float>* pairs) {
  // Two blocks of 4 frames are owed, less the frames that the last block was short of.
  const size_t owed = static_cast<size_t>(8 - blocks_.padded_frames());
  std::vector<float> last;
  if (model_->type() == "lstm_fb40") {
    for (int flush = 0; flush < 2; ++flush) {
      LstmForwardFlushBlock(lstm_.get(), nullptr, 160, true);
      float scores[8];
      int32_t stride = 0;
      const int32_t frames = LstmForwardRead(lstm_.get(), scores, &stride);
      AppendPairs(scores, frames, stride, &last);
    }
  } else {
    for (size_t f = 0; f < owed; ++f) last.insert(last.end(), pairs->end() - 2, pairs->end());
  }
  pairs->insert(pairs->end(), last.begin(), last.begin() + static_cast<ptrdiff_t>(2 * owed));
}

}  // namespace TSEG::blocks
