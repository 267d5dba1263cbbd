// SPDX-License-Identifier: Apache-2.0
//
// The three entry points differ by the header shape and by the form that the walk leaves behind.
#include "res/lstm_loader.h"

#include <memory>
#include <string>

#include "nn/model_limits.h"
#include "nn/weight_proofs.h"
#include "res/header_check.h"
#include "res/lstm_walk.h"

namespace TSEG {
namespace {

template <class Image>
int LoadLstm(const MlpResFileHeader<Image>& header, LstmForm form, HMMResourceLink* link) {
  auto model = std::make_unique<LstmModel>();
  model->nMlpType = MlpResHeaderParser<Image>::network_type_code(header);
  link->nMlpType = model->nMlpType;
  LstmWalk<Image> walk(header, form, model.get());
  walk.Run();
  if (!walk.ok()) return RefuseModel(walk.flaw());
  if (!LstmModelFits(*model)) return RefuseModel("the network does not fit the buffers of the forward pass");
  // The 8-bit form waits for half of the steps that a row of the output layer holds, and the first block of a session counts on two.
  constexpr int32_t kLeastSteps = 5;
  const int32_t steps = model->fc.nCols / model->aLayer[model->nLayers - 1].nProjRows;
  if (form == LstmForm::kInt8 && steps < kLeastSteps) {
    return RefuseModel("the rows of fc2_weight_ hold " + std::to_string(steps) + " steps, and answers would come before their frames");
  }
  MarkProvenWeights(model.get());
  link->pLstm = std::move(model);
  return 0;
}

}  // namespace

int LoadLstmFixed(const MlpResFileHeaderV3& header, HMMResourceLink* link) { return LoadLstm(header, LstmForm::kFixed, link); }
int LoadLstmInt8(const MlpResFileHeaderV2& header, HMMResourceLink* link) { return LoadLstm(header, LstmForm::kInt8, link); }
int LoadLstmFloat(const MlpResFileHeaderV2& header, HMMResourceLink* link) { return LoadLstm(header, LstmForm::kFloat, link); }

}  // namespace TSEG
