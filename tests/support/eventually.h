// SPDX-License-Identifier: Apache-2.0
//
// Eventually: how a test waits for what another thread or process brings about.
//
// It looks every ten milliseconds. The limit is no part of what is tested: it only turns a hang into a failure, and is long enough for a
// machine that is busy with other work and slowed by a sanitizer.
#ifndef WVAD_SUPPORT_EVENTUALLY_H_
#define WVAD_SUPPORT_EVENTUALLY_H_

#include <chrono>
#include <thread>

namespace TSEG::testing_support {

// Whether `holds` gave true before the limit.
template <typename Condition>
bool Eventually(Condition holds, std::chrono::seconds limit = std::chrono::seconds(60)) {
  const auto begin = std::chrono::steady_clock::now();
  while (!holds()) {
    if (std::chrono::steady_clock::now() - begin > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_EVENTUALLY_H_
