// SPDX-License-Identifier: Apache-2.0
//
// Descriptor: owns one open file descriptor and closes it. Holds -1 where nothing could be opened.
#ifndef WVAD_PLATFORM_LINUX_DESCRIPTOR_H_
#define WVAD_PLATFORM_LINUX_DESCRIPTOR_H_

#include <unistd.h>

namespace TSEG::platform {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  bool ok() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  int release() {
    const int kept = descriptor_;
    descriptor_ = -1;
    return kept;
  }

 private:
  int descriptor_;
};

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_LINUX_DESCRIPTOR_H_
