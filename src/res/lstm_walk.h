// SPDX-License-Identifier: Apache-2.0
//
// LstmWalk: the steps of a recurrent loader over one header shape. Used by lstm_loader.cc alone.
//
// Copies first, conversions after each layer, products of the optional L matrices last, because each works on what the one before it left
// in the block.
#ifndef WVAD_RES_LSTM_WALK_H_
#define WVAD_RES_LSTM_WALK_H_

#include <optional>
#include <string>

#include "nn/network_models.h"
#include "res/variable_reader.h"

namespace TSEG {

template <class Image>
class LstmWalk {
 public:
  LstmWalk(const MlpResFileHeader<Image>& header, LstmForm form, LstmModel* model);
  // Runs the walk; what is wrong with the file stays in flaw().
  void Run();
  bool ok() const { return reader_.ok(); }
  const std::string& flaw() const { return reader_.flaw(); }

 private:
  using Parser = MlpResHeaderParser<Image>;
  // A tensor in the block with its padded shape. One that is going to be narrowed need not be copied as floats first, which would touch
  // memory that nobody reads: its place is empty then, and its rows are still in the file.
  struct Tensor {
    float* data = nullptr;
    int32_t rows = 0, cols = 0;        // padded nOuter and nInner
    const uint8_t* in_file = nullptr;  // file_rows x file_cols floats on any address, or null where `data` has them
    int32_t file_rows = 0, file_cols = 0;
    size_t count() const { return static_cast<size_t>(rows) * static_cast<size_t>(cols); }
  };

  void ReadCounts();
  Tensor Copy(const std::string& name);
  Tensor Weights(int k, const std::string& name);
  bool HasLMatrices(int k) const;
  template <typename Narrow, typename InPlace, typename Row>
  void NarrowRows(const Tensor& tensor, int32_t first, int32_t rows, InPlace in_place, Row row);
  void ToFixed(const Tensor& tensor, int32_t first, int32_t rows, int q);
  void ToRange16(const Tensor& tensor, int32_t first, int32_t rows, float range);
  void ToRange8(const Tensor& tensor, int32_t first, int32_t rows, float range);
  void RunLayer(int k);
  void ReadStepShape(const std::string& gifo_x);
  void SetViews(int k, const Tensor& bias, const Tensor& wr, const Tensor& wx, const Tensor& wp, const Tensor (&peepholes)[3]);
  void NarrowLayerToFixed(int k, const Tensor& wr, const Tensor& wx, const Tensor& wp);
  void NarrowLayerToInt8(int k, const Tensor& wr, const Tensor& wx, const Tensor& wp);
  void ApplyLMatrices(int k);
  float* ProductWithL(const LstmLayer& layer, const void* old, const Tensor& l);
  void RunOutputs();
  void NarrowOutputsToFixed(const Tensor& fc_w, const Tensor& fc_b, const Tensor& softmax_w, const Tensor& softmax_b);
  float* NewCompensation(size_t n);

  const MlpResFileHeader<Image>& header_;
  const LstmForm form_;
  LstmModel* const model_;
  VariableReader<Image> reader_;
  std::optional<BlockCursor> cursor_;
  float scale_[9] = {};  // the quantisation ranges of the header, where it has them
};

extern template class LstmWalk<MlpResImageV2>;
extern template class LstmWalk<MlpResImageV3>;

}  // namespace TSEG

#endif  // WVAD_RES_LSTM_WALK_H_
