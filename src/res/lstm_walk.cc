// SPDX-License-Identifier: Apache-2.0
//
// The walk in the order of the file. Conversions work in place where later steps, or the forward passes, see both the packed values and the
// floats that stay behind them: in the output layers, and in layers with L matrices. All other matrices are narrowed on their way out of
// the file.
#include "res/lstm_walk.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "platform/platform.h"
#include "res/conversions.h"

namespace TSEG {
namespace {

std::string LayerName(int k, const char* rest) { return "lstmp" + std::to_string(k) + rest; }

// Gate views in the order input, forget, output, cell; the file has cell, input, forget, output.
constexpr int kQuarterOfView[4] = {1, 2, 3, 0};

// Fraction bits of the fixed form.
constexpr int16_t kQPeephole = 13;
constexpr int16_t kQBias = 10;
constexpr int16_t kQRecurrent = 15;
constexpr int16_t kQInput = 13;
constexpr int16_t kQProjection = 14;
constexpr int16_t kQFcWeight = 15;
constexpr int16_t kQFcBias = 10;
constexpr int16_t kQSoftmaxWeight = 13;
constexpr int16_t kQSoftmaxBias = 11;

size_t Elements(int32_t rows, int32_t cols) { return static_cast<size_t>(rows) * static_cast<size_t>(cols); }

}  // namespace

template <class Image>
LstmWalk<Image>::LstmWalk(const MlpResFileHeader<Image>& header, LstmForm form, LstmModel* model)
    : header_(header), form_(form), model_(model), reader_(header) {
  if constexpr (std::is_same_v<Image, MlpResImageV2>) std::memcpy(scale_, header.fScale, sizeof scale_);
}

template <class Image>
void LstmWalk<Image>::Run() {
  ReadCounts();
  if (!ok()) return;
  cursor_.emplace(&model_->pBlock, StatedBytes(Parser::padded_size(header_) * sizeof(float), 1.2));

  const Tensor mean = Copy("mean");
  const Tensor var = Copy("var");
  const Tensor prior = Copy("pri");
  if (!ok()) return;
  model_->pMean = mean.data;
  model_->pInvStd = var.data;
  model_->pPrior = prior.data;
  model_->nFeatureDim = header_.nOuter[reader_.Require("mean")];
  if (var.count() < static_cast<size_t>(model_->nFeatureDim)) reader_.Refuse("variable var is shorter than mean");

  for (int k = 1; k <= model_->nLayers && ok(); ++k) RunLayer(k);
  if (!ok()) return;
  model_->anKind[model_->nLayers] = 5;
  RunOutputs();
}

template <class Image>
void LstmWalk<Image>::ReadCounts() {
  model_->form = form_;
  model_->nLayers = Parser::count_matching(header_, "lstmp*_bias_");
  model_->bIsCtc = Parser::key_is(header_, "is_ctc", "true") ? 1 : 0;
  model_->nOutputLayers = Parser::count_matching(header_, "softmax_bias_") + Parser::count_matching(header_, "fc*_bias_");
  if (model_->nLayers < 1 || model_->nLayers > kLstmMaxLayers) {
    reader_.Refuse("the number of recurrent layers is " + std::to_string(model_->nLayers));
  }
  if (form_ != LstmForm::kInt8) return;
  for (const int i : {0, 1, 2, 3, 5, 6, 7, 8}) {
    if (!(scale_[i] > 0.0F && std::isfinite(scale_[i]))) reader_.Refuse("quantisation range " + std::to_string(i) + " is not above zero");
  }
}

template <class Image>
typename LstmWalk<Image>::Tensor LstmWalk<Image>::Copy(const std::string& name) {
  Tensor tensor;
  tensor.data = reader_.Copy(name, &*cursor_);
  if (tensor.data == nullptr) return tensor;
  const int index = Parser::find_var(header_, name.c_str());
  tensor.rows = static_cast<int32_t>(Parser::padded_outer(header_, index));
  tensor.cols = static_cast<int32_t>(Parser::padded_inner(header_, index));
  return tensor;
}

template <class Image>
bool LstmWalk<Image>::HasLMatrices(int k) const {
  return Parser::find_var(header_, LayerName(k, "_w_g_x_L_").c_str()) >= 0 ||
         Parser::find_var(header_, LayerName(k, "_w_o_x_L_").c_str()) >= 0;
}

template <class Image>
typename LstmWalk<Image>::Tensor LstmWalk<Image>::Weights(int k, const std::string& name) {
  if (form_ == LstmForm::kFloat || HasLMatrices(k)) return Copy(name);
  Tensor tensor;
  tensor.data = reader_.Place(name, &*cursor_);
  if (tensor.data == nullptr) return tensor;
  const int index = Parser::find_var(header_, name.c_str());
  tensor.rows = static_cast<int32_t>(Parser::padded_outer(header_, index));
  tensor.cols = static_cast<int32_t>(Parser::padded_inner(header_, index));
  tensor.in_file = header_.data.data() + Parser::var_offset(header_, index);
  tensor.file_rows = header_.nOuter[index];
  tensor.file_cols = header_.nInner[index];
  return tensor;
}

// Narrows `rows` rows from `first` on to the front of their place. `row` takes one of the file; the padding is zero already, in every form.
template <class Image>
template <typename Narrow, typename InPlace, typename Row>
void LstmWalk<Image>::NarrowRows(const Tensor& tensor, int32_t first, int32_t rows, InPlace in_place, Row row) {
  void* place = tensor.data + Elements(first, tensor.cols);
  if (tensor.in_file == nullptr) return in_place(place, Elements(rows, tensor.cols));
  for (int32_t r = first; r < std::min(first + rows, tensor.file_rows); ++r) {
    row(tensor.in_file + Elements(r, tensor.file_cols) * sizeof(float), static_cast<size_t>(tensor.file_cols),
        static_cast<Narrow*>(place) + Elements(r - first, tensor.cols));
  }
  if (header_.mapping != nullptr) header_.mapping->ForgetPages();
}

template <class Image>
void LstmWalk<Image>::ToFixed(const Tensor& tensor, int32_t first, int32_t rows, int q) {
  NarrowRows<int16_t>(
      tensor, first, rows, [q](void* floats, size_t n) { QFixedInPlace(floats, n, q); },
      [q](const void* floats, size_t n, int16_t* to) { QFixedRow(floats, n, q, to); });
}

template <class Image>
void LstmWalk<Image>::ToRange16(const Tensor& tensor, int32_t first, int32_t rows, float range) {
  NarrowRows<int16_t>(
      tensor, first, rows, [range](void* floats, size_t n) { QRange16InPlace(floats, n, range); },
      [range](const void* floats, size_t n, int16_t* to) { QRange16Row(floats, n, range, to); });
}

template <class Image>
void LstmWalk<Image>::ToRange8(const Tensor& tensor, int32_t first, int32_t rows, float range) {
  NarrowRows<int8_t>(
      tensor, first, rows, [range](void* floats, size_t n) { QRange8InPlace(floats, n, range); },
      [range](const void* floats, size_t n, int8_t* to) { QRange8Row(floats, n, range, to); });
}

template <class Image>
void LstmWalk<Image>::RunLayer(int k) {
  model_->anKind[k - 1] = 1;
  const Tensor bias = Copy(LayerName(k, "_bias_"));
  const Tensor wr = Weights(k, LayerName(k, "_w_gifo_r_"));
  const Tensor wx = Weights(k, LayerName(k, "_w_gifo_x_"));
  if (!ok()) return;
  if (k == 1) ReadStepShape(LayerName(k, "_w_gifo_x_"));
  if (!ok()) return;
  const Tensor wp = Weights(k, LayerName(k, "_w_projection_"));
  const Tensor peepholes[3] = {Copy(LayerName(k, "_peephole_i_c_")), Copy(LayerName(k, "_peephole_f_c_")),
                               Copy(LayerName(k, "_peephole_o_c_"))};
  if (!ok()) return;
  SetViews(k, bias, wr, wx, wp, peepholes);
  for (const Tensor& peephole : peepholes) {
    if (peephole.count() < static_cast<size_t>(model_->aLayer[k - 1].nPeepholeLen)) {
      reader_.Refuse("the peepholes of layer " + std::to_string(k) + " are shorter than a gate");
    }
  }
  if (!ok()) return;
  if (form_ == LstmForm::kFixed) NarrowLayerToFixed(k, wr, wx, wp);
  if (form_ == LstmForm::kInt8) NarrowLayerToInt8(k, wr, wx, wp);
  ApplyLMatrices(k);
}

template <class Image>
void LstmWalk<Image>::ReadStepShape(const std::string& gifo_x) {
  const int32_t inputs = header_.nInner[Parser::find_var(header_, gifo_x.c_str())];
  model_->nFramesPerStep = inputs / model_->nFeatureDim;
  model_->nOutFrames = model_->bIsCtc != 0 ? 1 : model_->nFramesPerStep;
  if (model_->nOutFrames < 1) {
    reader_.Refuse("the inputs of " + gifo_x + " are fewer than the values of mean");
    return;
  }
  model_->nClassesPerFrame = header_.nOuter[Parser::find_var(header_, "pri")] / model_->nOutFrames;
}

template <class Image>
void LstmWalk<Image>::SetViews(int k, const Tensor& bias, const Tensor& wr, const Tensor& wx, const Tensor& wp,
                               const Tensor (&peepholes)[3]) {
  LstmLayer& layer = model_->aLayer[k - 1];
  for (int view = 0; view < 4; ++view) {
    const auto quarter = static_cast<size_t>(kQuarterOfView[view]);
    layer.apBias[view] = bias.data + quarter * (bias.count() / 4);
    layer.apWx[view] = wx.data + quarter * (wx.count() / 4);
    layer.apWr[view] = wr.data + quarter * (wr.count() / 4);
  }
  for (int i = 0; i < 3; ++i) layer.apPeephole[i] = peepholes[i].data;
  layer.pWp = wp.data;
  layer.nGateRows = wx.rows / 4;
  layer.nInputCols = wx.cols;
  layer.nCellRows = wr.rows / 4;
  layer.nProjCols = wr.cols;
  layer.nPeepholeLen = static_cast<int32_t>(bias.count() / 4);
  layer.nProjRows = wp.rows;
  layer.nProjInCols = wp.cols;
  if (layer.nGateRows < 1 || layer.nGateRows != layer.nCellRows || layer.nGateRows != layer.nPeepholeLen) {
    reader_.Refuse("the gates of layer " + std::to_string(k) + " are not of one length");
  }
  if (std::is_same_v<Image, MlpResImageV2>) {
    layer.afWeightScale[0] = scale_[1];
    layer.afWeightScale[1] = scale_[0];
    layer.afWeightScale[2] = scale_[2];
    for (int i = 0; i < 3; ++i) layer.afActScale[i] = scale_[5 + i];
  }
}

template <class Image>
void LstmWalk<Image>::NarrowLayerToFixed(int k, const Tensor& wr, const Tensor& wx, const Tensor& wp) {
  const LstmLayer& layer = model_->aLayer[k - 1];
  LstmLayer& fixed = model_->aLayerFixed[k - 1];
  fixed = layer;
  for (void* peephole : layer.apPeephole) QFixedInPlace(peephole, static_cast<size_t>(layer.nPeepholeLen), kQPeephole);
  for (int quarter = 0; quarter < 4; ++quarter) {
    ToFixed(wr, quarter * layer.nCellRows, layer.nCellRows, kQRecurrent);
    ToFixed(wx, quarter * layer.nGateRows, layer.nGateRows, kQInput);
  }
  for (void* bias : layer.apBias) QFixedInPlace(bias, static_cast<size_t>(layer.nPeepholeLen), kQBias);
  ToFixed(wp, 0, wp.rows, kQProjection);
  fixed.nQx = kQInput;
  fixed.nQBias = kQBias;
  fixed.nQr = kQRecurrent;
  fixed.nQPeephole = kQPeephole;
  fixed.nQp = kQProjection;
}

template <class Image>
float* LstmWalk<Image>::NewCompensation(size_t n) {
  model_->compensation.emplace_back(n, 32);
  return model_->compensation.back().data();
}

template <class Image>
void LstmWalk<Image>::NarrowLayerToInt8(int k, const Tensor& wr, const Tensor& wx, const Tensor& wp) {
  LstmLayer& layer = model_->aLayer[k - 1];
  for (int quarter = 0; quarter < 4; ++quarter) {
    ToRange8(wr, quarter * layer.nCellRows, layer.nCellRows, layer.afWeightScale[1]);
    ToRange16(wx, quarter * layer.nGateRows, layer.nGateRows, layer.afWeightScale[0]);
  }
  layer.pRecCompensation = NewCompensation(4 * static_cast<size_t>(layer.nCellRows));
  for (int view = 0; view < 4; ++view) {
    CorrectBias(static_cast<const int8_t*>(layer.apWr[view]), layer.nCellRows, layer.nProjCols,
                layer.afWeightScale[1] * layer.afActScale[1], layer.pRecCompensation + static_cast<ptrdiff_t>(view) * layer.nCellRows);
  }
  ToRange8(wp, 0, wp.rows, layer.afWeightScale[2]);
  layer.pProjCompensation = NewCompensation(static_cast<size_t>(layer.nProjRows));
  CorrectBias(static_cast<const int8_t*>(layer.pWp), layer.nProjRows, layer.nProjInCols, layer.afActScale[2] * layer.afWeightScale[2],
              layer.pProjCompensation);
}

// The product of `old` [nGateRows x nInputCols] and `l` on the cursor. Each product and each of the sums is a single, four terms at a time.
template <class Image>
float* LstmWalk<Image>::ProductWithL(const LstmLayer& layer, const void* old, const Tensor& l) {
  const auto rows = static_cast<size_t>(layer.nGateRows);
  const auto cols = static_cast<size_t>(layer.nInputCols);
  auto* product = static_cast<float*>(cursor_->Take(rows * cols * sizeof(float)));
  if (product == nullptr) return nullptr;
  AlignedBuffer<float> row(cols);
  for (size_t r = 0; r < rows; ++r) {
    std::memcpy(row.data(), static_cast<const unsigned char*>(old) + r * cols * sizeof(float), cols * sizeof(float));
    for (size_t c = 0; c < cols; ++c) {
      float sum = 0.0F;
      size_t j = 0;
      for (; j + 4 <= cols; j += 4) {
        const float p0 = row[j] * l.data[j * cols + c];
        const float p1 = row[j + 1] * l.data[(j + 1) * cols + c];
        const float p2 = row[j + 2] * l.data[(j + 2) * cols + c];
        const float p3 = row[j + 3] * l.data[(j + 3) * cols + c];
        sum += p0 + p1 + p2 + p3;
      }
      for (; j < cols; ++j) sum += row[j] * l.data[j * cols + c];
      product[r * cols + c] = sum;
    }
  }
  return product;
}

// Replaces the cell and the output view of the input matrices by their products with the layer's L matrices, where the model has both. What
// stands in the block by now is multiplied, packed values and old floats alike; models of the narrow forms have no L matrices.
template <class Image>
void LstmWalk<Image>::ApplyLMatrices(int k) {
  const std::string names[2] = {LayerName(k, "_w_g_x_L_"), LayerName(k, "_w_o_x_L_")};
  if (Parser::find_var(header_, names[0].c_str()) < 0 || Parser::find_var(header_, names[1].c_str()) < 0) return;
  LstmLayer& layer = model_->aLayer[k - 1];
  const Tensor l[2] = {Copy(names[0]), Copy(names[1])};
  if (!ok()) return;
  constexpr int kViews[2] = {3, 2};
  for (int i = 0; i < 2; ++i) {
    if (l[i].rows != layer.nInputCols || l[i].cols != layer.nInputCols) {
      reader_.Refuse("the shape of " + names[i] + " is not square over the inputs of its layer");
      return;
    }
    float* product = ProductWithL(layer, layer.apWx[kViews[i]], l[i]);
    if (product == nullptr) {
      reader_.Refuse("the product with " + names[i] + " does not fit the model's block");
      return;
    }
    layer.apWx[kViews[i]] = product;
  }
}

template <class Image>
void LstmWalk<Image>::RunOutputs() {
  const Tensor fc_w = Copy("fc2_weight_");
  const Tensor fc_b = Copy("fc2_bias_");
  const Tensor softmax_w = Copy("softmax_weight_");
  const Tensor softmax_b = Copy("softmax_bias_");
  if (!ok()) return;
  LstmOutputLayer& fc = model_->fc;
  LstmOutputLayer& softmax = model_->softmax;
  fc.pW = fc_w.data;
  fc.pBias = fc_b.data;
  fc.nRows = fc_w.rows;
  fc.nCols = fc_w.cols;
  softmax.pW = softmax_w.data;
  softmax.pBias = softmax_b.data;
  const int index = Parser::find_var(header_, "softmax_weight_");
  softmax.nRows = header_.nOuter[index];
  softmax.nCols = header_.nInner[index];
  if (fc_b.count() != static_cast<size_t>(fc_w.rows)) reader_.Refuse("the length of fc2_bias_ is not the number of rows of fc2_weight_");
  if (softmax_b.count() != static_cast<size_t>(softmax_w.rows)) {
    reader_.Refuse("the length of softmax_bias_ is not the number of rows of softmax_weight_");
  }
  if (!ok()) return;
  if (form_ == LstmForm::kFixed) {
    NarrowOutputsToFixed(fc_w, fc_b, softmax_w, softmax_b);
    return;
  }
  fc.fWeightScale = scale_[3];
  softmax.fWeightScale = scale_[4];
  softmax.fActScale = scale_[8];
  if (form_ == LstmForm::kFloat) {
    fc.fActScale = model_->aLayer[0].afActScale[1];
    return;
  }
  fc.fActScale = scale_[8];
  QRange8InPlace(fc.pW, fc_w.count(), fc.fWeightScale);
  CorrectBias(static_cast<const int8_t*>(fc.pW), fc.nRows, fc.nCols, fc.fActScale * fc.fWeightScale, fc_b.data);
}

template <class Image>
void LstmWalk<Image>::NarrowOutputsToFixed(const Tensor& fc_w, const Tensor& fc_b, const Tensor& softmax_w, const Tensor& softmax_b) {
  QFixedInPlace(fc_w.data, fc_w.count(), kQFcWeight);
  QFixedInPlace(fc_b.data, fc_b.count(), kQFcBias);
  QFixedInPlace(softmax_w.data, softmax_w.count(), kQSoftmaxWeight);
  QFixedInPlace(softmax_b.data, softmax_b.count(), kQSoftmaxBias);
  model_->fcFixed = model_->fc;
  model_->fcFixed.nQw = kQFcWeight;
  model_->fcFixed.nQBias = kQFcBias;
  model_->softmaxFixed = model_->softmax;
  model_->softmaxFixed.nQw = kQSoftmaxWeight;
  model_->softmaxFixed.nQBias = kQSoftmaxBias;
}

template class LstmWalk<MlpResImageV2>;
template class LstmWalk<MlpResImageV3>;

}  // namespace TSEG
