// SPDX-License-Identifier: Apache-2.0
//
// The exported functions about models, versions and errors.
#include "stream/handles.h"
#include "stream/last_error.h"
#include "stream/sized_struct.h"
#include "wvad.h"
#include "wvad_stream.h"

namespace {

using namespace TSEG::stream;

// Opens by `open` and hands out; null first, so that a refusal leaves it so.
template <typename Opener>
wvad_status OpenModel(wvad_model** model, const Opener& open) {
  return AtBorder([&] {
    NeedPointer(model, "model");
    *model = nullptr;
    *model = new wvad_model(open());
    return WVAD_OK;
  });
}

}  // namespace

const char* wvad_last_error(void) { return LastError(); }

const char* wvad_status_name(wvad_status status) {
  switch (status) {
#define WVAD_NAME(name) \
  case name:            \
    return #name
    WVAD_NAME(WVAD_OK);
    WVAD_NAME(WVAD_E_NULL);
    WVAD_NAME(WVAD_E_HANDLE);
    WVAD_NAME(WVAD_E_SIZE);
    WVAD_NAME(WVAD_E_PARAMETER);
    WVAD_NAME(WVAD_E_RANGE);
    WVAD_NAME(WVAD_E_FORMAT);
    WVAD_NAME(WVAD_E_LENGTH);
    WVAD_NAME(WVAD_E_SAMPLES);
    WVAD_NAME(WVAD_E_STATE);
    WVAD_NAME(WVAD_E_BUSY);
    WVAD_NAME(WVAD_E_QUEUE_FULL);
    WVAD_NAME(WVAD_E_MODEL_MISSING);
    WVAD_NAME(WVAD_E_MODEL_DAMAGED);
    WVAD_NAME(WVAD_E_MODEL_KIND);
    WVAD_NAME(WVAD_E_MEMORY);
    WVAD_NAME(WVAD_E_INTERNAL);
#undef WVAD_NAME
    default:
      return "unknown";
  }
}

const char* wvad_stream_version(void) { return WVAD_VERSION; }
int32_t wvad_stream_abi(void) { return WVAD_STREAM_ABI; }

wvad_status wvad_model_open(const char* path, wvad_model** model) {
  return OpenModel(model, [&] {
    NeedPointer(path, "path");
    return SharedModel::Open(path);
  });
}

wvad_status wvad_model_open_memory(const void* data, size_t n_bytes, wvad_model** model) {
  return OpenModel(model, [&] {
    NeedPointer(data, "data");
    return SharedModel::Open(data, n_bytes);
  });
}

wvad_status wvad_model_open_bundled(const char* name, wvad_model** model) {
  return OpenModel(model, [&] { return SharedModel::OpenBundled(name == nullptr ? "" : name); });
}

wvad_status wvad_model_get_info(const wvad_model* model, wvad_model_info* info) {
  return AtBorder([&] {
    NeedModel(model);
    NeedPointer(info, "info");
    HandOut(info, {sizeof *info, model->model->rate_hz(), model->model->kind()}, "wvad_model_info");
    return WVAD_OK;
  });
}

wvad_status wvad_model_close(wvad_model** model) {
  return AtBorder([&] {
    NeedPointer(model, "model");
    if (*model == nullptr) return WVAD_OK;
    NeedModel(*model);
    delete *model;
    *model = nullptr;
    return WVAD_OK;
  });
}
