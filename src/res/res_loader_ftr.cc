// SPDX-License-Identifier: Apache-2.0
//
// Taking a model file apart: the version rule, the section table of a container, the choice of a network loader. Every offset that the file
// names is compared with its length before anything is read there.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "log/refusal.h"
#include "nn/cpu_features.h"
#include "platform/platform.h"
#include "res/cpu_singleton.h"
#include "res/dnn_loader.h"
#include "res/header_check.h"
#include "res/header_parser.h"
#include "res/lstm_loader.h"
#include "res/res_loader.h"
#include "res/state_map.h"

namespace TSEG {
namespace {

// A model of the old kind ends the process: nothing that this engine could do with it would be right.
[[noreturn]] void EndOnOldResource() {
  for (int i = 0; i < 10; ++i) {
    std::printf("VAD or acmod resource too old, not supported anymore.\nPlease update resource.\n");
  }
  std::fflush(stdout);
  platform::FaultAtZero();
}

int RefuseType() {
  WVAD_LOG_ERROR("resLoader_ftr | load MLP_RES TYPE not supported.");
  return kResType;
}

// Whether a fixed field, which need not be terminated, holds `text`.
template <size_t kBytes>
bool FieldIs(const char (&field)[kBytes], const char* text) {
  const size_t n = std::strlen(text) + 1;
  return n <= kBytes && std::memcmp(field, text, n) == 0;
}

bool HasMagic(const ByteView& file) { return file.matches(kPrefixMagic, kModelMagic, kPrefixMagicBytes); }

// A section of words becomes the holder's general table.
void LoadGeneral(const ByteView& section, HMMResourceLink* link) {
  std::vector<int32_t> words(section.size() / sizeof(int32_t));
  if (!words.empty()) std::memcpy(words.data(), section.data(), words.size() * sizeof(int32_t));
  link->nSilenceRow = FindSilenceRow(words);
  link->pGeneral = std::move(words);
}

// Copies and checks the header of one shape; 30002 where it does not stand in the file or does not hold together.
template <class Image>
int TakeHeader(const ByteView& file, uint64_t offset, MlpResFileHeader<Image>* header) {
  if (!CopyHeader(file, offset, header)) return RefuseModel("the header reaches beyond the end of the file");
  const std::string flaw = FindFlaw(*header);
  return flaw.empty() ? 0 : RefuseModel(flaw);
}

template <class Image>
void TakeTables(const Image& header, HMMResourceLink* link) {
  static_assert(sizeof header.szKey == sizeof link->szModelKey && sizeof header.szValue == sizeof link->szModelValue);
  std::memcpy(link->szModelKey, header.szKey, sizeof header.szKey);
  std::memcpy(link->szModelValue, header.szValue, sizeof header.szValue);
}

int LoadPad28(const MlpResFileHeaderV2& header, HMMResourceLink* link) {
  if (TheCpu().int8_form()) {
    const int ret = LoadLstmInt8(header, link);
    WVAD_LOG_INFO("the CPU support SSE4.1, load int8 res");
    return ret;
  }
  const int ret = LoadLstmFloat(header, link);
  WVAD_LOG_INFO("the CPU do not support SSE4.1, load float res");
  return ret;
}

}  // namespace

int ResLoader_Ftr::load(IRes* res, const void* data, uint64_t length, const WREC_RES_SET& key, IRes* const*, int) {
  auto* link = dynamic_cast<HMMResourceLink*>(res);
  if (link == nullptr) {
    return WVAD_REFUSE(kResInvalidValue, "ResLoader_ftr::load | HMM link should not be NULL");
  }
  const ByteView file(data, static_cast<size_t>(length));
  if (!file.holds(kPrefixMagic, kPrefixMagicBytes)) return RefuseModel("the file is shorter than its prefix");
  const bool is_mlp = FieldIs(key.szResType, "MLP");
  if (is_mlp && !HasMagic(file)) EndOnOldResource();

  const uint16_t sections = file.u16(kPrefixSections).value_or(0);
  const bool size_fits = file.u32(kPrefixFileSize).value_or(0) == length && file.u32(kPrefixFileSize + 4).value_or(1) == 0;
  const bool is_container = file.matches(kPrefixContainerMagic, kModelMagic, kPrefixContainerMagicBytes) && sections >= 1 && size_fits;
  return is_container ? LoadContainer(file, sections, link) : LoadPlain(file, link);
}

int ResLoader_Ftr::LoadContainer(const ByteView& file, uint16_t sections, HMMResourceLink* link) {
  const auto table = file.sub(kPrefixSectionTable, sections * kSectionBytes);
  if (!table) return RefuseModel("the section table reaches beyond the end of the file");
  int result = 0;
  for (uint64_t i = 0; i < sections; ++i) {
    const uint64_t record = i * kSectionBytes;
    const uint32_t kind = *table->u32(record + kSectionKind);
    if (kind == kSectionSkip) continue;
    if (kind != kSectionModel && kind != kSectionGeneral) {
      result = RefuseModel("section " + std::to_string(i) + " is of the unknown kind " + std::to_string(kind));
      continue;
    }
    const auto section = file.sub(*table->u32(record + kSectionOffset), *table->u32(record + kSectionLength));
    if (!section) {
      result |= RefuseModel("section " + std::to_string(i) + " reaches beyond the end of the file");
    } else if (kind == kSectionModel) {
      result |= MLPResourceAddM(*section);
    } else {
      LoadGeneral(*section, link);
    }
  }
  return result;
}

// No network type of a section runs in this engine, and a section without the magic is the image of an old record. Either is refused.
int ResLoader_Ftr::MLPResourceAddM(const ByteView& section) {
  int ret = kResType;
  if (!section.holds(kPrefixMagic, kPrefixMagicBytes)) {
    ret = RefuseModel("a section is shorter than its prefix");
  } else if (!HasMagic(section)) {
    ret = kResMagic;
  } else if (!section.holds(*section.u16(kPrefixHeaderSize) + kHeaderTypeOffset, kHeaderTypeBytes)) {
    ret = RefuseModel("the header reaches beyond the end of a section");
  }
  WVAD_LOG_ERROR("ResLoader_ftr::MLPResourceAddM | load resource err, ret = %d", ret);
  return ret;
}

int ResLoader_Ftr::LoadPlain(const ByteView& file, HMMResourceLink* link) {
  if (!HasMagic(file)) return kResMagic;
  const uint64_t offset = *file.u16(kPrefixHeaderSize);
  const auto type_field = file.sub(offset + kHeaderTypeOffset, kHeaderTypeBytes);
  if (!type_field) return RefuseModel("the header reaches beyond the end of the file");
  char type[kHeaderTypeBytes];
  std::memcpy(type, type_field->data(), sizeof type);

  if (FieldIs(type, "MLP_RES_RNNCNNPAD28")) {
    MlpResFileHeaderV2 header;
    if (const int ret = TakeHeader(file, offset, &header)) return ret;
    header.mapping = mapping_;
    TakeTables(header, link);
    return LoadPad28(header, link);
  }
  const bool is_dnn = FieldIs(type, "MLP_RES_DNN");
  const bool is_fixed_lstm = FieldIs(type, "MLP_RES_RNNCATDNN");
  if (!is_dnn && !is_fixed_lstm) return RefuseType();
  MlpResFileHeaderV3 header;
  if (const int ret = TakeHeader(file, offset, &header)) return ret;
  header.mapping = mapping_;
  TakeTables(header, link);
  if (!is_dnn) return LoadLstmFixed(header, link);
  const bool gpu_available = device_ != nullptr && device_->bGpuAvailable;
  return MlpResLoader::load(header, cfg_ != nullptr ? *cfg_ : CFG_RESMGR{}, gpu_available, link);
}

}  // namespace TSEG
