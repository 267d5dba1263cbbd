// SPDX-License-Identifier: Apache-2.0
//
// What all loaders share, and the making and releasing of a model's holder. The file is mapped for the time of a load and no longer, unless
// the loader asks to keep it.
#include "res/res_loader.h"

#include <algorithm>
#include <boost/interprocess/exceptions.hpp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "log/refusal.h"
#include "platform/platform.h"
#include "res/cpu_singleton.h"
#include "res/md5.h"

namespace TSEG {
namespace {

constexpr uint64_t kPageBytes = 4096;
constexpr uint32_t kPagesPerReport = 32768;
constexpr uint32_t kPagesAtOnce = 64;

// `key`'s type, which need not be terminated when it fills its field.
std::string TypeText(const WREC_RES_SET& key) { return std::string(key.szResType, strnlen(key.szResType, sizeof key.szResType)); }

std::string TypeAndNumber(const WREC_RES_SET& key) { return "NULL" + TypeText(key) + std::to_string(key.nResID); }

// A file at one moment.
struct FileState {
  std::string path;
  std::optional<uint64_t> size;
  int64_t changed = 0;
  explicit FileState(const char* file) : path(file), size(platform::FileSize(path)), changed(platform::ModificationTime(path)) {}
};

// The MD5 of the file, or `otherwise` if it is no longer the one of then.
std::string Md5OfFile(const FileState& then, const std::string& otherwise) {
  const FileState now(then.path.c_str());
  if (now.size != then.size || now.changed != then.changed) return otherwise;
  const std::optional<std::string> bytes = platform::ReadWholeFile(now.path);
  return bytes && bytes->size() == then.size ? Md5Hex(bytes->data(), bytes->size()) : otherwise;
}

}  // namespace

PreloadResult PreloadPages(const void* data, uint64_t size, const char* path, const platform::FileMapping* mapping) {
  PreloadResult result;
  const auto* bytes = static_cast<const volatile signed char*>(data);  // volatile: the walk is wanted, not its result
  bool told = false;
  for (uint64_t offset = 0; offset < size; offset += kPageBytes) {
    result.checkSum += bytes[offset];
    ++result.nPages;
    if (mapping != nullptr && result.nPages % kPagesAtOnce == 0) mapping->ForgetPages();
    if (result.nPages % kPagesPerReport == 0) {
      std::printf("Reading: %s->%u MB\r", path, result.nPages >> 8);
      told = true;
    }
  }
  if (told) std::printf("\n");
  return result;
}

int ResLoader::load(IRes* res, const char* path, const WREC_RES_SET& key, IRes* const* deps, int nDeps) {
  if (!platform::IsReadable(path)) return kResUnreadable;
  // Files of 4 GiB and more are not supported: only the low word of the size counts.
  const FileState file(path);
  const auto size = static_cast<uint32_t>(file.size.value_or(0));
  if (size == 0) return kResUnreadable;
  try {
    auto mapping = std::make_unique<platform::FileMapping>(path);
    // The file may have changed its size meanwhile; what is mapped is what there is.
    const uint64_t mapped = std::min<uint64_t>(size, mapping->size());
    const uint32_t begin = platform::TickCount();
    WVAD_LOG_INFO("preload res to memory...%s : %lld", res->GetResURI(), static_cast<long long>(size));
    const PreloadResult preload = PreloadPages(mapping->data(), mapped, path, mapping.get());
    mapping_ = mapping.get();
    WVAD_LOG_INFO("load res cost time : %d ms", static_cast<int>(platform::TickCount() - begin));
    WVAD_LOG_INFO("successed to map file -> %d : checkSum = %d", key.nResID, preload.checkSum);
    auto* holder = dynamic_cast<Res*>(res);
    int ret = 0;
    if (holder != nullptr && LabelsByMd5() && file.size == mapped) {
      device_ = &CPUSingleton::instance();
      holder->LabelWhenAsked([file, otherwise = TypeAndNumber(key)] { return Md5OfFile(file, otherwise); });
      ret = load(res, mapping->data(), mapped, key, deps, nDeps);
    } else {
      ret = LoadLabelled(res, mapping->data(), mapped, key, deps, nDeps);
    }
    mapping_ = nullptr;
    if (ret == 0 && KeepMapping() && holder != nullptr) holder->KeepMapping(std::move(mapping));
    return ret;
  } catch (const boost::interprocess::interprocess_exception& failure) {
    std::printf("ResLoader::interprocess lock err :%s :%s\n", path, failure.what());
    return kResUnreadable;
  }
}

int ResLoader::LoadLabelled(IRes* res, const void* data, uint64_t length, const WREC_RES_SET& key, IRes* const* deps, int nDeps) {
  device_ = &CPUSingleton::instance();
  char label[64] = {};
  std::snprintf(label, sizeof label, "%s", (LabelsByMd5() ? Md5Hex(data, length) : TypeAndNumber(key)).c_str());
  res->SetResKey(label);
  return load(res, data, length, key, deps, nDeps);
}

IRes* ResLoader_Ftr::CreateRes(const WREC_RES_SET& key, const char* path) { return new HMMResourceLink(key, path); }

void ResLoader_Ftr::Delete(IRes* res) {
  if (res == nullptr) return;
  auto* link = dynamic_cast<HMMResourceLink*>(res);
  if (link == nullptr) {
    WVAD_REFUSE(kResInvalidValue, "ResLoader_ftr::load | HMM link should not be NULL");
  } else {
    link->pGeneral.clear();
    link->pDnn.reset();
    link->pLstm.reset();
  }
  delete res;
}

}  // namespace TSEG
