// SPDX-License-Identifier: Apache-2.0
//
// Shape first, then the floats, then the shifts and the two integer tables, and last what the forward pass could not bear. The first thing
// that does not fit ends the load; nothing of it stays in the holder but its type code.
#include "res/dnn_loader.h"

#include <cstring>
#include <string>
#include <vector>

#include "log/log.h"
#include "nn/model_limits.h"
#include "nn/weight_proofs.h"
#include "platform/platform.h"
#include "res/header_check.h"
#include "res/header_parser.h"
#include "res/state_map.h"
#include "res/variable_reader.h"

namespace TSEG {
namespace {

using Parser = MlpResHeaderParser<MlpResImageV3>;
using Reader = VariableReader<MlpResImageV3>;

constexpr int kMaxWeightLayers = 9;
// The table sigmoid shifts by a - 8 and adds 2 to the a + 4, and shifts entries of 30 fraction bits to b of them, half a unit added. Of an
// output with more than 8 the low byte is kept.
constexpr int kLowestPreActivationBits = 8;
constexpr int kHighestPreActivationBits = 27;
constexpr int kHighestActivationBits = 29;
// More fraction bits than this leave nothing of a 32-bit number.
constexpr int kHighestShift = 31;

std::string WeightsName(int i) { return "weights" + std::to_string(i) + std::to_string(i + 1); }
std::string BiasName(int i) { return "bias" + std::to_string(i + 1); }
std::string InLayer(const char* what, int value, int layer) {
  return std::string(what) + " " + std::to_string(value) + " in layer " + std::to_string(layer + 1) + " cannot be computed with";
}

// Dimensions, from the header alone.
void ReadShape(const MlpResFileHeaderV3& header, Reader* reader, DnnModel* model) {
  model->nFeatureDim = header.nOuter[reader->Require("mean")];
  model->nOutputDim = header.nOuter[reader->Require("pri")];
  for (int i = 0; i < model->nLayers; ++i) {
    const int weights = reader->Require(WeightsName(i + 1));
    const int bias = reader->Require(BiasName(i + 1));
    if (!reader->ok()) return;
    model->anLayerCols[i] = static_cast<int32_t>(Parser::padded_inner(header, weights));
    model->anLayerDim[i] = static_cast<int32_t>(Parser::padded_outer(header, weights));
    if (i > 0 && model->anLayerCols[i] != model->anLayerDim[i - 1]) {
      reader->Refuse("the inputs of " + WeightsName(i + 1) + " are not the outputs of the layer before it");
    }
    if (Parser::padded_elements(header, bias) != static_cast<uint64_t>(model->anLayerDim[i])) {
      reader->Refuse("the length of " + BiasName(i + 1) + " is not the number of rows of " + WeightsName(i + 1));
    }
  }
  model->nInputStride = model->anLayerCols[0];
  const auto needed = static_cast<uint64_t>(model->nFeatureDim);
  if (Parser::padded_elements(header, reader->Require("var")) < needed) reader->Refuse("variable var is shorter than mean");
  if (Parser::padded_elements(header, reader->Require("mean")) < needed) reader->Refuse("variable mean is shorter than it says");
}

// "map" to the state rows of the holder. Its copy keeps padded rows, its entries stand one after another.
void ReadStateMap(const MlpResFileHeaderV3& header, BlockCursor* cursor, HMMResourceLink* link) {
  int16_t* copy = nullptr;
  if (Parser::register_map(header, &copy, cursor) == nullptr) {
    WVAD_LOG_WARN("parse_float_res_new_headerV3 | map is not short");
    return;
  }
  const int index = Parser::find_var(header, "map");
  const int64_t stride = Parser::padded_inner(header, index);
  std::vector<int16_t> entries;
  for (int64_t r = 0; r < header.nOuter[index]; ++r)
    entries.insert(entries.end(), copy + r * stride, copy + r * stride + header.nInner[index]);
  StateMap map = UnpackStateMap(entries, header.nOuter[Parser::find_var(header, "pri")], SilenceTest::kPlain);
  link->pGeneral = std::move(map.rows);
  link->nSilenceRow = map.silence_row;
}

void ReadFloats(const MlpResFileHeaderV3& header, Reader* reader, DnnModel* model, HMMResourceLink* link) {
  BlockCursor cursor(&model->pBlock, StatedBytes(Parser::padded_bytes(header), 1.1));
  model->pMean = reader->Copy("mean", &cursor);
  model->pInvStd = reader->Copy("var", &cursor);
  model->pPrior = reader->Copy("pri", &cursor);
  for (int i = 0; i < model->nLayers; ++i) {
    reader->Place(WeightsName(i + 1), &cursor);
    reader->Place(BiasName(i + 1), &cursor);
  }
  if (reader->ok()) ReadStateMap(header, &cursor, link);
}

uint8_t Shift(const MlpResFileHeaderV3& header, const std::string& name, ShiftTable table) {
  return Parser::header_shift(header, Parser::find_var(header, name.c_str()), table);
}

// The two pairs of bytes of each layer: what the product and the bias are scaled by, and what comes in and goes out of the sigmoid.
void CollectShifts(const MlpResFileHeaderV3& header, const DnnModel& model, ShiftTable table, DnnQuantTable* quant) {
  auto input_bits = static_cast<uint8_t>(model.nInputShift);
  for (int i = 0; i < model.nLayers; ++i) {
    const uint8_t b = Shift(header, BiasName(i + 1), table);
    const uint8_t w = Shift(header, WeightsName(i + 1), table);
    uint8_t next_bits = 0;  // the last layer has no 8-bit output
    if (i + 1 < model.nLayers) {
      next_bits = static_cast<uint8_t>(Shift(header, BiasName(i + 2), table) - Shift(header, WeightsName(i + 2), table));
    }
    quant->aBiasShift[i][0] = static_cast<uint8_t>(w + input_bits);
    quant->aBiasShift[i][1] = b;
    quant->aActShift[i][0] = b;
    quant->aActShift[i][1] = next_bits;
    input_bits = next_bits;
  }
}

// The 8-bit form of the network: bias and weights of all layers as integers, the weights of the first with 16 bits.
void BuildTable(const MlpResFileHeaderV3& header, const DnnModel& model, Reader* reader, DnnQuantTable* quant) {
  uint64_t bytes = 0;
  for (int i = 0; i < model.nLayers; ++i) {
    const auto rows = static_cast<uint64_t>(model.anLayerDim[i]);
    bytes += rows * 4 + rows * static_cast<uint64_t>(model.anLayerCols[i]) * (i == 0 ? 2 : 1);
  }
  BlockCursor cursor(&quant->block, static_cast<size_t>(bytes));
  for (int i = 0; i < model.nLayers; ++i) {
    const std::string bias = BiasName(i + 1);
    const std::string weights = WeightsName(i + 1);
    void* at_bias = nullptr;
    Parser::register_value_fixed(header, &at_bias, bias.c_str(), &cursor, 4, Shift(header, bias, ShiftTable::k8), ShiftTable::k8);
    Parser::register_value_fixed(header, &quant->apWeights[i], weights.c_str(), &cursor, i == 0 ? 2 : 1,
                                 Shift(header, weights, ShiftTable::k8), ShiftTable::k8);
    quant->apBias[i] = static_cast<int32_t*>(at_bias);
    if (at_bias == nullptr || quant->apWeights[i] == nullptr)
      reader->Refuse("the tables of layer " + std::to_string(i + 1) + " do not fit");
    if (header.mapping != nullptr) header.mapping->ForgetPages();
  }
}

// What the first layer takes of the 16-bit form: its bias.
void BuildFirstBias(const MlpResFileHeaderV3& header, const DnnModel& model, Reader* reader, DnnQuantTable* quant) {
  BlockCursor cursor(&quant->block, static_cast<size_t>(model.anLayerDim[0]) * 4);
  const std::string bias = BiasName(1);
  void* at_bias = nullptr;
  Parser::register_value_fixed(header, &at_bias, bias.c_str(), &cursor, 4, Shift(header, bias, ShiftTable::k16), ShiftTable::k16);
  quant->apBias[0] = static_cast<int32_t*>(at_bias);
  if (at_bias == nullptr) reader->Refuse("the tables of layer 1 do not fit");
}

// The bytes that the forward pass will read, against what its shifts can be.
void CheckShifts(const DnnModel& model, Reader* reader) {
  for (int i = 0; i < model.nLayers; ++i) {
    const DnnQuantTable& quant = model.pQuant;
    const uint8_t* scale = i == 0 ? model.pQuantFirst.aBiasShift[0] : quant.aBiasShift[i];
    const int input_bits = i == 0 ? model.nInputShift : quant.aActShift[i - 1][1];
    const int a = quant.aActShift[i][0];
    const int b = quant.aActShift[i][1];
    const int weight_bits = static_cast<uint8_t>(scale[0] - input_bits);
    if (weight_bits > kHighestShift) reader->Refuse(InLayer("a weight shift of", weight_bits, i));
    if (scale[1] > kHighestShift) reader->Refuse(InLayer("a bias shift of", scale[1], i));
    if (i + 1 == model.nLayers) continue;  // no sigmoid behind the last layer
    if (a < kLowestPreActivationBits || a > kHighestPreActivationBits) reader->Refuse(InLayer("a bias shift of", a, i));
    if (b > kHighestActivationBits) reader->Refuse(InLayer("an output shift of", static_cast<int8_t>(b), i));
  }
}

int ResParsing(const MlpResFileHeaderV3& header, DnnModel* model, HMMResourceLink* link) {
  Reader reader(header);
  std::memcpy(model->szName, "NEW_RES", sizeof "NEW_RES");
  model->nLayers = Parser::count_matching(header, "bias*");
  model->n_input_frames = -1;
  if (model->nLayers == 1) {
    return WVAD_FAIL(kResType, "ret", "ResLoader_ftr::load | model file refused, a network of a single layer is not supported");
  }
  if (model->nLayers < 1 || model->nLayers > kMaxWeightLayers) {
    return RefuseModel("the number of layers is " + std::to_string(model->nLayers));
  }
  ReadShape(header, &reader, model);
  if (reader.ok()) ReadFloats(header, &reader, model, link);
  if (reader.ok()) {
    CollectShifts(header, *model, ShiftTable::k8, &model->pQuant);
    CollectShifts(header, *model, ShiftTable::k16, &model->pQuantFirst);
    BuildTable(header, *model, &reader, &model->pQuant);
    BuildFirstBias(header, *model, &reader, &model->pQuantFirst);
    CheckShifts(*model, &reader);
  }
  if (!reader.ok()) return RefuseModel(reader.flaw());
  if (!DnnModelFits(*model)) return RefuseModel("the network does not fit the buffers of the forward pass");
  MarkProvenWeights(model);
  return 0;
}

}  // namespace

int MlpResLoader::load(const MlpResFileHeaderV3& header, const CFG_RESMGR& cfg, bool gpu_available, HMMResourceLink* link) {
  auto model = std::make_unique<DnnModel>();
  link->nSilenceRow = -1;
  link->nMlpType = Parser::network_type_code(header);
  model->nMlpType = link->nMlpType;
  const int ret = ResParsing(header, model.get(), link);
  if (cfg.resetUseNvidiaGPUAvailable) {
    WVAD_LOG_INFO("Compute With CPU with DNN ");
  } else if (!gpu_available) {
    WVAD_LOG_INFO("Gpu DNN res not created.\n");
  }
  if (ret != 0) return WVAD_FAIL(ret, "ret", "Mlp_res_loader::load | mlp_res_ac->ResParsing err, ret = %d", ret);
  link->pDnn = std::move(model);
  return 0;
}

}  // namespace TSEG
