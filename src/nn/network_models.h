// SPDX-License-Identifier: Apache-2.0
//
// The in-memory network records that the loaders fill and the forward passes read.
//
// Read-only after loading and shared between instances without locks. All pointers look into blocks that the record owns. Matrices are
// row-major: one output a row, its input weights contiguous. Row and column counts above 1 are padded to a multiple of 32 with zeros, so
// that kernels may assume whole blocks; blocks are aligned to 64 bytes, a line of the cache and the widest vector.
#ifndef WVAD_NN_NETWORK_MODELS_H_
#define WVAD_NN_NETWORK_MODELS_H_

#include <cstdint>
#include <vector>

#include "buffers/aligned_buffer.h"

namespace TSEG {

// Network type codes, as told by the network type string of a model file.
enum MlpType : int32_t {
  kMlpBn = 0,
  kMlpDnn = 1,
  kMlpDnnApt = 2,
  kMlpRnn = 3,
  kMlpDnnGeneral = 4,
  kMlpDnnLr = 5,
  kMlpDnnTree = 6,
  kMlpDnnLrApt = 7,
  kMlpRnnApt = 8,
  kMlpDnnFixpoint = 9,
  kMlpRnnCtc = 10,
  kMlpDnnIvec = 11,
  kMlpRnnIvec = 12,
  kMlpUbrnn = 13,
  kMlpUbrnnApt = 14,
  kMlpBirnn = 15,
  kMlpBirnnCtc = 16,
  kMlpRnnCatDnn = 17,
  kMlpUnknown = 18,
  kMlpRnnCnnPad28 = 19
};

// The form that an LstmModel holds.
enum class LstmForm { kFloat, kInt8, kFixed };

// One recurrent layer. Gate order in all arrays: input, forget, output, cell. Weight pointers are float*, int16_t* or int8_t* by the form.
struct LstmLayer {
  void* apWx[4] = {};    // input to gate, nGateRows x nInputCols
  int16_t nQx = 0;       // fixed form: 13 fraction bits
  void* apBias[4] = {};  // nGateRows each; float, or 16-bit in the fixed form
  int16_t nQBias = 0;    // fixed form: 10
  int32_t nGateRows = 0, nInputCols = 0;
  void* apWr[4] = {};  // recurrent, nCellRows x nProjCols
  int16_t nQr = 0;     // fixed form: 15
  int32_t nCellRows = 0, nProjCols = 0;
  void* apPeephole[3] = {};  // input, forget, output; float, or 16-bit in the fixed form
  int16_t nQPeephole = 0;    // fixed form: 13
  int32_t nPeepholeLen = 0;
  void* pWp = nullptr;                 // projection, nProjRows x nProjInCols
  int16_t nQp = 0;                     // fixed form: 14
  float* pProjCompensation = nullptr;  // int8 form: nProjRows values, added after the projection
  int32_t nProjRows = 0, nProjInCols = 0;
  float afWeightScale[3] = {};        // int8 form: range of apWx, apWr, pWp
  float afActScale[3] = {};           // int8 form: range of the layer's input, of the recurrent vector, of what enters the projection
  float* pRecCompensation = nullptr;  // int8 form: 4 x nCellRows values in gate order, added after the recurrent product
  // int8 form: what has been proved of the weights (weight_proofs.h), of all gates together.
  bool bRecurrentUnclipped = false, bProjectionUnclipped = false;
};

struct LstmOutputLayer {
  void* pW = nullptr;
  int16_t nQw = 0;  // fixed form: 15 for fc, 13 for softmax
  void* pBias = nullptr;
  int16_t nQBias = 0;  // fixed form: 10 for fc, 11 for softmax
  int32_t nRows = 0, nCols = 0;
  float fWeightScale = 0, fActScale = 0;  // int8 form of fc; copied for softmax too
  bool bUnclipped = false;                // int8 form of fc: proved of its weights
};

constexpr int kLstmMaxLayers = 5;

struct LstmModel {
  float* pMean = nullptr;    // nFeatureDim values
  float* pInvStd = nullptr;  // nFeatureDim multipliers
  float* pPrior = nullptr;   // class priors; the forward pass does not read them
  int32_t nFeatureDim = 0;   // 75 or 40
  int32_t nLayers = 0;       // recurrent layers, at most 5
  int32_t nOutputLayers = 0;
  LstmLayer aLayer[kLstmMaxLayers];       // float or int8 form
  LstmLayer aLayerFixed[kLstmMaxLayers];  // 16-bit fixed form, at the same addresses
  LstmOutputLayer fc, softmax;
  LstmOutputLayer fcFixed, softmaxFixed;
  int32_t anKind[kLstmMaxLayers + 1] = {};  // 1 for a recurrent layer, 5 closing
  uint8_t bIsCtc = 0;
  int32_t nFramesPerStep = 0;  // 4
  int32_t nOutFrames = 0;      // 1 if bIsCtc, else nFramesPerStep
  int32_t nClassesPerFrame = 0;
  LstmForm form = LstmForm::kFloat;  // what the pointers hold
  int32_t nMlpType = kMlpUnknown;
  // Ownership. pBlock holds every tensor; the compensation arrays of the int8 form are allocations of their own.
  AlignedBuffer<uint8_t> pBlock;
  std::vector<AlignedBuffer<float>> compensation;
};

constexpr int kDnnMaxLayers = 32;

// The integer tables of a feed-forward network.
struct DnnQuantTable {
  int32_t* apBias[kDnnMaxLayers] = {};
  void* apWeights[kDnnMaxLayers] = {};        // int16_t* for layer 0, int8_t* beyond it; none in pQuantFirst
  uint8_t aActShift[kDnnMaxLayers][2] = {};   // fraction bits of the pre-activation (a) and of the 8-bit output (b)
  uint8_t aBiasShift[kDnnMaxLayers][2] = {};  // p and q: fraction bits of the product, and of the bias
  bool abUnclipped[kDnnMaxLayers] = {};       // proved of the 8-bit weights and of what enters them (weight_proofs.h)
  AlignedBuffer<uint8_t> block;
};

struct DnnModel {
  int32_t nMlpType = kMlpUnknown;
  char szName[16] = {};      // "NEW_RES"
  int32_t nLayers = 0;       // weight layers, hidden and output together; at least 2, at most 9
  int32_t nFeatureDim = 0;   // length of "mean": 75
  int32_t nContext = 11;     // the block is nContext runs of nFeatureDim values
  int32_t nOutputDim = 0;    // width of the last layer: 2
  int32_t nInputShift = 11;  // fraction bits of the first layer's 16-bit input
  int32_t n_input_frames = 4;
  int32_t anLayerDim[kDnnMaxLayers] = {};   // padded rows of each layer
  int32_t anLayerCols[kDnnMaxLayers] = {};  // padded columns of each layer
  int32_t nInputStride = 0;                 // padded columns of layer 0: 832
  float* pMean = nullptr;
  float* pInvStd = nullptr;
  float* pPrior = nullptr;
  DnnQuantTable pQuant;       // all but the bias of layer 0 and its two bytes
  DnnQuantTable pQuantFirst;  // bias of layer 0, and the bytes of all layers, of which (p, q) of layer 0 count
  AlignedBuffer<uint8_t> pBlock;
};

}  // namespace TSEG

#endif  // WVAD_NN_NETWORK_MODELS_H_
