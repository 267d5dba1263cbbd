// SPDX-License-Identifier: Apache-2.0
//
// SharedModel: an engine on a model, read only once it is open. The handles and the streams that listen with it hold it together.
#ifndef WVAD_STREAM_SHARED_MODEL_H_
#define WVAD_STREAM_SHARED_MODEL_H_

#include <cstddef>
#include <memory>
#include <string>

#include "engine/engine.h"

namespace TSEG::stream {

class SharedModel {
 public:
  // `path` of a file, or `n_bytes` at `data`, copied. Throws Refusal with a status of models.
  static std::shared_ptr<SharedModel> Open(const std::string& path);
  static std::shared_ptr<SharedModel> Open(const void* data, size_t n_bytes);
  // By name, beside the library. Throws Refusal; WVAD_E_PARAMETER for a name that could lead elsewhere.
  static std::shared_ptr<SharedModel> OpenBundled(const std::string& name);

  explicit SharedModel(EngineSource source, const std::string& who);
  ~SharedModel() { engine_.Close(); }
  SharedModel(const SharedModel&) = delete;
  SharedModel& operator=(const SharedModel&) = delete;

  // For instances, which several threads may make and use at once.
  Engine& engine() { return engine_; }
  int rate_hz() const { return rate_hz_; }
  const char* kind() const { return kind_.c_str(); }

 private:
  Engine engine_;
  int rate_hz_ = 0;
  std::string kind_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SHARED_MODEL_H_
