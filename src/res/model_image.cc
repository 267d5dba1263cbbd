// SPDX-License-Identifier: Apache-2.0
#include "res/model_image.h"

#include <optional>

#include "platform/platform.h"
#include "res/res_loader.h"

namespace TSEG {

std::unique_ptr<HMMResourceLink> LoadModelImage(const void* data, size_t length, const std::string& name, int* code) {
  // Not the type "MLP", for which a file of the old kind ends the process.
  const WREC_RES_SET key = {0, "IMAGE"};
  auto link = std::make_unique<HMMResourceLink>(key, name.c_str());
  const CFG_RESMGR configuration;
  ResLoader_Ftr loader(nullptr);
  loader.SetConfiguration(&configuration);
  *code = loader.load(link.get(), data, length, key, nullptr, 0);
  return *code == 0 ? std::move(link) : nullptr;
}

std::unique_ptr<HMMResourceLink> LoadModelFile(const std::string& path, int* code) {
  *code = kResNotExist;
  if (platform::KindOfPath(path) != platform::PathKind::kFile) return nullptr;
  const std::optional<std::string> bytes = platform::ReadWholeFile(path);
  if (!bytes) return nullptr;
  return LoadModelImage(bytes->data(), bytes->size(), path, code);
}

}  // namespace TSEG
