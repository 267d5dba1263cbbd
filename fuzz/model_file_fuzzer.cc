// SPDX-License-Identifier: Apache-2.0
//
// The input is a model file, loaded from memory in the three forms of processors below and now and then from a
// file. A model that loads is run: what has passed the loader must not lead a forward pass outside of its buffers.
#include <cstring>
#include <memory>
#include <vector>

#include "engine/model_parameters.h"
#include "fuzz_support.h"
#include "modelfile/modelfile.h"
#include "nn/cpu_features.h"
#include "nn/dnn_forward.h"
#include "nn/lstm_forward.h"
#include "res/model_format.h"
#include "res/res_mgr.h"
#include "scoring/network_kinds.h"

namespace TSEG::fuzz {
namespace {

// Forms of a processor: none of the vector sets, SSE alone, everything up to SSE4.1.
const CpuFeatures* Processor(int form) {
  static const std::vector<CpuFeatures> records = [] {
    std::vector<CpuFeatures> made(3);
    made[1].leaf1Edx = (1u << 25) | (1u << 26);
    made[2].leaf1Edx = made[1].leaf1Edx;
    made[2].leaf1Ecx = (1u << 9) | (1u << 19);
    return made;
  }();
  return &records[static_cast<size_t>(form)];
}

const std::vector<float>& Block() {
  static const std::vector<float> block = [] {
    std::vector<float> made(832);
    for (size_t i = 0; i < made.size(); ++i) made[i] = static_cast<float>((i * 37) % 101) * 0.25f - 8.0f;
    return made;
  }();
  return block;
}

void RunDnn(const DnnModel* model) {
  const auto forward = std::make_unique<DnnForward>();
  DnnForwardBind(forward.get(), model);
  float out[16];
  int32_t stride = 0;
  for (int i = 0; i < 11; ++i) {
    if (!DnnForwardAddBlock(forward.get(), Block().data(), 825, i == 10)) continue;
    FUZZ_CHECK(DnnForwardRead(forward.get(), out, &stride) <= 8);
    FUZZ_CHECK(stride == 2);
  }
  DnnForwardForget(forward.get());
}

void RunLstm(const LstmModel* model) {
  const auto forward = std::make_unique<LstmForward>();
  LstmForwardBind(forward.get(), model);
  // As a session does: the frame loops drive a model by its kind, so a 40-value one never sees blocks of 75 values.
  const bool small = model->form != LstmForm::kFixed;
  float out[16];
  int32_t stride = 0;
  const auto add = [&](bool flush) {
    const bool ready = small ? LstmForwardAddBlock40(forward.get(), Block().data(), 160, flush)
                             : LstmForwardAddBlock75(forward.get(), Block().data(), 300, flush);
    if (ready) FUZZ_CHECK(LstmForwardRead(forward.get(), out, &stride) <= 8);
  };
  if (small) LstmForwardPrime(forward.get(), 32);
  for (int i = 0; i < 5; ++i) add(false);
  LstmForwardClearState(forward.get());
  add(false);
  add(true);
  if (small && LstmForwardFlushBlock(forward.get(), Block().data(), 160, true)) LstmForwardRead(forward.get(), out, &stride);
  LstmForwardClearAll(forward.get());
}

void Use(IRes_mgr* manager, const WREC_RES_SET& key) {
  auto* link = dynamic_cast<HMMResourceLink*>(manager->Res_query(&key));
  FUZZ_CHECK(link != nullptr);
  CFG_VAD cfg;
  if (model_res_config_load(link, &cfg) == 0) ModelsServe({link->pDnn.get(), link->pLstm.get()}, link->pLstm != nullptr, "lstm_fb40");
  if (link->pDnn != nullptr) RunDnn(link->pDnn.get());
  if (link->pLstm != nullptr) RunLstm(link->pLstm.get());
}

// Without the magic word the engine ends the process on purpose; with it there is something to read. A file that says it is a container is
// given its own size, without which it is none.
void Repair(std::vector<uint8_t>* file) {
  if (file->size() >= kPrefixMagic + kPrefixMagicBytes) {
    std::memset(file->data() + kPrefixMagic, 0, kPrefixMagicBytes);
    std::memcpy(file->data() + kPrefixMagic, kModelMagic, sizeof kModelMagic);
  }
  const ByteView view(file->data(), file->size());
  if (!view.matches(kPrefixContainerMagic, kModelMagic, kPrefixContainerMagicBytes) || !view.holds(kPrefixFileSize, 8)) return;
  const uint64_t size = file->size();
  std::memcpy(file->data() + kPrefixFileSize, &size, sizeof size);
}

void Load(const std::vector<uint8_t>& file, bool from_file) {
  const WREC_RES_SET key = {10000, "MLP"};
  IRes_mgr* manager = createResMgr();
  FUZZ_CHECK(manager != nullptr);
  int ret = 0;
  if (from_file) {
    modelfile::WriteFileBytes("input.bin", file);
    ret = manager->Res_add(&key, (Scratch() + "/input.bin").c_str(), nullptr, 0);
  } else {
    ret = manager->Res_addM(&key, file.data(), static_cast<long>(file.size()), nullptr, 0);
  }
  FUZZ_CHECK(ret == 0 || (ret >= 30000 && ret <= 30020));
  if (ret == 0) {
    Use(manager, key);
    FUZZ_CHECK(manager->Res_delete(&key) == 0);
  }
  destroyResMgr(manager);
}

}  // namespace
}  // namespace TSEG::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace TSEG::fuzz;
  Scratch();
  OpenLog();
  std::vector<uint8_t> file(data, data + size);
  Repair(&file);
  file.shrink_to_fit();
  for (int form = 0; form < 3; ++form) {
    TSEG::SetCpuForTest(Processor(form));
    Load(file, form == 2 && size % 8 == 0);
  }
  TSEG::SetCpuForTest(nullptr);
  return 0;
}
