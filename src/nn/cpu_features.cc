// SPDX-License-Identifier: Apache-2.0
//
// The processor record of the process: enumerated once, replaceable by tests.
#include "nn/cpu_features.h"

#include <atomic>

namespace TSEG {
namespace {

std::atomic<const CpuFeatures*>& TestRecord() {
  static std::atomic<const CpuFeatures*> record{nullptr};
  return record;
}

}  // namespace

const CpuFeatures& DetectedCpu() {
  static const CpuFeatures features = EnumerateCpu();
  return features;
}

const CpuFeatures& TheCpu() {
  const CpuFeatures* set = TestRecord().load(std::memory_order_acquire);
  return set != nullptr ? *set : DetectedCpu();
}

void SetCpuForTest(const CpuFeatures* features) { TestRecord().store(features, std::memory_order_release); }

}  // namespace TSEG
