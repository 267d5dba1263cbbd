// SPDX-License-Identifier: Apache-2.0
//
// The three entry points differ by the header shape and by the form that the walk leaves behind.
#include "res/lstm_loader.h"

#include <memory>

#include "nn/model_limits.h"
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
  link->pLstm = std::move(model);
  return 0;
}

}  // namespace

int LoadLstmFixed(const MlpResFileHeaderV3& header, HMMResourceLink* link) { return LoadLstm(header, LstmForm::kFixed, link); }
int LoadLstmInt8(const MlpResFileHeaderV2& header, HMMResourceLink* link) { return LoadLstm(header, LstmForm::kInt8, link); }
int LoadLstmFloat(const MlpResFileHeaderV2& header, HMMResourceLink* link) { return LoadLstm(header, LstmForm::kFloat, link); }

}  // namespace TSEG
