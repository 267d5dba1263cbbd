// SPDX-License-Identifier: Apache-2.0
#include "stream/shared_model.h"

#include <utility>

#include "platform/platform.h"
#include "stream/refusal.h"
#include "wvad.h"

namespace TSEG::stream {
namespace {

constexpr const char* kDefaultModel = "lstm_fb75";

Refusal ModelRefusal(const std::string& who, int code) {
  switch (code) {
    case RES_MGR_ERROR_RESOURCE_NOT_EXIST:
      return Refusal(WVAD_E_MODEL_MISSING, who + ": there is no such file");
    case RES_MGR_ERROR_RESOURCE_MAGIC:
      return Refusal(WVAD_E_MODEL_KIND, who + ": not a model of this engine");
    case RES_MGR_ERROR_RESOURCE_TYPE:
      return Refusal(WVAD_E_MODEL_KIND, who + ": a model of a kind that this engine does not run");
    case RES_MGR_ERROR_RESOURCE_TOO_OLD:
      return Refusal(WVAD_E_MODEL_DAMAGED, who + ": the model lacks one of its settings");
    case RES_MGR_ERROR_INVALID_PARA_VALUE:
      return Refusal(WVAD_E_MODEL_DAMAGED, who + ": the model does not hold the network that its settings name");
    default:
      return Refusal(WVAD_E_MODEL_DAMAGED, who + ": the model is cut short or inconsistent (code " + std::to_string(code) + ")");
  }
}

bool IsPlainName(const std::string& name) {
  constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
  return name.find_first_not_of(kPlain) == std::string::npos;
}

}  // namespace

SharedModel::SharedModel(EngineSource source, const std::string& who) {
  if (const int code = engine_.Open(std::move(source))) throw ModelRefusal(who, code);
  rate_hz_ = engine_.defaults().wvad_param_SampleRate;
  kind_ = engine_.defaults().wvad_param_TsegModelType;
}

std::shared_ptr<SharedModel> SharedModel::Open(const std::string& path) {
  const platform::PathKind kind = platform::KindOfPath(path);
  if (kind == platform::PathKind::kDirectory) throw Refusal(WVAD_E_MODEL_MISSING, path + ": is a folder, not a model file");
  if (kind != platform::PathKind::kFile) throw ModelRefusal(path, RES_MGR_ERROR_RESOURCE_NOT_EXIST);
  if (!platform::IsReadable(path)) throw Refusal(WVAD_E_MODEL_MISSING, path + ": cannot be read");
  EngineSource source;
  source.model_path = path;
  return std::make_shared<SharedModel>(std::move(source), path);
}

std::shared_ptr<SharedModel> SharedModel::Open(const void* data, size_t n_bytes) {
  EngineSource source;
  source.model_data = data;
  source.model_bytes = n_bytes;
  return std::make_shared<SharedModel>(std::move(source), "model in memory");
}

std::shared_ptr<SharedModel> SharedModel::OpenBundled(const std::string& name) {
  if (!IsPlainName(name)) throw Refusal(WVAD_E_PARAMETER, "\"" + name + "\" is not the name of a bundled model");
  const std::string file = (name.empty() ? std::string(kDefaultModel) : name) + ".bin";
  return Open(platform::ModuleFolder() + platform::NormaliseSeparators("vad/" + file));
}

}  // namespace TSEG::stream
