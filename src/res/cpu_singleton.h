// SPDX-License-Identifier: Apache-2.0
//
// CPUSingleton: the choice of the compute device and the thread-binding strategy, from the sections "heterogeneous" and "numa" of
// "w_tseg.cfg" in the current folder.
//
// Networks run on the processor whatever stands there, and no thread is bound to anything: the values choose log lines, and a strategy
// that does not parse is told on standard output. Built once for the process, read-only afterwards.
#ifndef WVAD_RES_CPU_SINGLETON_H_
#define WVAD_RES_CPU_SINGLETON_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace TSEG {

class CPUSingleton {
 public:
  // Reads the file as it is now.
  CPUSingleton();
  // The one of the process, built at the first call.
  static const CPUSingleton& instance();

  bool bUseGpu = false;
  bool bGpuAvailable = false;
  int32_t nDevice = 1;
  std::map<std::string, uint32_t> bind_strategy;  // name to mask
  int32_t nDeviceId = -1;

  // Splits "name:0xMASK|name:0xMASK|..." into `bind_strategy`. Masks are read from their last digit towards the front.
  void parse_bing_stragy_str(std::string_view text);  // (sic)
};

}  // namespace TSEG

#endif  // WVAD_RES_CPU_SINGLETON_H_
