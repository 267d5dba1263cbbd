// SPDX-License-Identifier: Apache-2.0
#include "blocks/score_source.h"

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
  if (model->link_->pDnn == nullptr) {
    *error = path + ": not a feed-forward model";
    return nullptr;
  }
  return model;
}

ScoreSource::ScoreSource(BlockOptions options, const ScoreModel* model) : blocks_(std::move(options)), model_(model) {}

void ScoreSource::Run(const std::vector<int16_t>& samples, std::vector<float>* pairs) {
  DnnForwardBind(&forward_, model_->dnn());
  blocks_.Run(samples, [&](const float* block, bool eof) {
    if (!DnnForwardAddBlock(&forward_, block, 825, eof)) return;
    float scores[16] = {};
    int32_t stride = 0;
    const int32_t frames = DnnForwardRead(&forward_, scores, &stride);
    for (int32_t f = 0; f < frames; ++f) pairs->insert(pairs->end(), scores + f * stride, scores + f * stride + 2);
  });
}

}  // namespace TSEG::blocks
