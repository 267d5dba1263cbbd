// SPDX-License-Identifier: Apache-2.0
//
// Holders. A resource's own lock guards its count and the making of its label; key and path do not change.
#include <algorithm>
#include <cstring>

#include "log/log.h"
#include "res/res_mgr.h"

namespace TSEG {

Res::Res(const WREC_RES_SET& key, const char* path) : set_(key), path_{}, label_{} {
  std::memcpy(path_, path, std::min(std::strlen(path), sizeof path_ - 1));
}
Res::~Res() = default;

const char* Res::GetResURI() { return path_; }
WREC_RES_SET* Res::GetResSet() { return &set_; }

char* Res::GetResKey() {
  const std::lock_guard<std::mutex> hold(lock_);
  if (make_label_) {
    const std::string label = make_label_();
    std::memset(label_, 0, sizeof label_);
    std::memcpy(label_, label.data(), std::min(label.size(), sizeof label_));
    make_label_ = nullptr;
  }
  return label_;
}

void Res::SetResKey(const char* key) { std::memcpy(label_, key, sizeof label_); }
void Res::LabelWhenAsked(std::function<std::string()> make) { make_label_ = std::move(make); }

int32_t Res::IncRefCount() {
  const std::lock_guard<std::mutex> hold(lock_);
  return ++ref_count_;
}

int32_t Res::DecRefCount() {
  const std::lock_guard<std::mutex> hold(lock_);
  if (--ref_count_ < 0) {
    WVAD_LOG_ERROR("DecRefCount | refCount number should not be negative");
    ref_count_ = 0;
  }
  return ref_count_;
}

int32_t Res::GetRefCount() {
  const std::lock_guard<std::mutex> hold(lock_);
  return ref_count_;
}

HMMResourceLink::HMMResourceLink(const WREC_RES_SET& key, const char* path) : Res(key, path) {}
HMMResourceLink::~HMMResourceLink() = default;

}  // namespace TSEG
