// SPDX-License-Identifier: Apache-2.0
#include "scoring/network_kinds.h"

#include "scoring/dnn_scorer.h"
#include "scoring/lstm40_scorer.h"
#include "scoring/lstm75_scorer.h"

namespace TSEG {
namespace {

bool HoldsDnn(const NetworkModels& models) { return models.dnn != nullptr; }
bool HoldsFixedLstm(const NetworkModels& models) { return models.lstm != nullptr && models.lstm->form == LstmForm::kFixed; }
bool HoldsFloatOrInt8Lstm(const NetworkModels& models) { return models.lstm != nullptr && models.lstm->form != LstmForm::kFixed; }

const float* PopDnn(FrontEndChannel* channel, bool last, BlockEnd* end) { return PopDnnBlock(channel, last, &end->eof); }
const float* PopLstm75(FrontEndChannel* channel, bool last, BlockEnd* end) {
  return PopLstmBlock75(channel, last, &end->eof, &end->padded);
}
const float* PopLstm40(FrontEndChannel* channel, bool last, BlockEnd* end) {
  return PopLstmBlock40(channel, last, &end->eof, &end->padded);
}

std::unique_ptr<FrameScorer> MakeDnn(DnnForward* dnn, LstmForward*, BlockObserver* observer) {
  return std::make_unique<DnnScorer>(dnn, observer);
}
std::unique_ptr<FrameScorer> MakeLstm75(DnnForward*, LstmForward* lstm, BlockObserver*) { return std::make_unique<Lstm75Scorer>(lstm); }
std::unique_ptr<FrameScorer> MakeLstm40(DnnForward*, LstmForward* lstm, BlockObserver*) { return std::make_unique<Lstm40Scorer>(lstm); }

constexpr NetworkKind kKinds[kNetworkKinds] = {
    {"dnn_fb75", "wReadProcessDnnFea", false, 75, kDnnBlockFloats, 1, HoldsDnn, PopDnn, MakeDnn},
    {"lstm_fb75", "wReadProcessLstmFea", true, 75, kLstm75BlockFloats, 4, HoldsFixedLstm, PopLstm75, MakeLstm75},
    {"lstm_fb40", "wReadProcessLstmFea40", true, 40, kLstm40BlockFloats, 4, HoldsFloatOrInt8Lstm, PopLstm40, MakeLstm40},
};

int32_t WidthOf(const NetworkModels& models, bool is_lstm) { return is_lstm ? models.lstm->nFeatureDim : models.dnn->nFeatureDim; }

}  // namespace

const NetworkKind& NetworkKindAt(size_t index) { return kKinds[index]; }

const NetworkKind* FindNetworkKind(std::string_view model_type) {
  for (const NetworkKind& kind : kKinds) {
    if (model_type == kind.model_type) return &kind;
  }
  return nullptr;
}

const NetworkKind* KindOfModels(const NetworkModels& models) {
  for (const NetworkKind& kind : kKinds) {
    if (kind.fits(models)) return &kind;
  }
  return nullptr;
}

bool ModelsServe(const NetworkModels& models, bool is_lstm, std::string_view model_type) {
  if (is_lstm ? models.lstm == nullptr : models.dnn == nullptr) return false;
  const NetworkKind* kind = FindNetworkKind(model_type);
  return kind == nullptr || (kind->lstm == is_lstm && kind->fits(models) && WidthOf(models, is_lstm) == kind->feature_dim);
}

}  // namespace TSEG
