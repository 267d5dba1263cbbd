// SPDX-License-Identifier: Apache-2.0
//
// CFG_RESMGR: the settings of the resource side, from the section "resMgr" of "w_tseg.cfg" in the current folder.
//
// The process has one default set, read once; each manager works on its own copy. No locks: set it up before loading.
#ifndef WVAD_RES_CFG_RESMGR_H_
#define WVAD_RES_CFG_RESMGR_H_

#include <cstdint>
#include <limits>
#include <string>

namespace TSEG {

struct CFG_RESMGR {
  int32_t normal_none = 0;                                          // the table's start; a file value is read into it
  float timeThreshold = 100.0F;                                     // kept for the parameter interface
  bool is_calc_md5 = true;                                          // whether loading labels a resource with its MD5
  bool resetUseNvidiaGPUAvailable = false;                          // chooses a log line
  float PersonalLMWeight = std::numeric_limits<float>::infinity();  // kept for the parameter interface
  int32_t normal_count = 0;                                         // the table's end

  // Reads the file over the values. A missing file leaves them.
  void init();
  // The four settable values by name. False, after log lines, for any other name, a value of more than 256 characters, or a buffer that
  // is too small for the text and its terminator.
  bool set_para_value(const char* name, const char* value);
  bool get_para_value(const char* name, char* value, unsigned nLen) const;
};

// The default set of the process, read from the file at the first call.
const CFG_RESMGR& DefaultCfgResMgr();

}  // namespace TSEG

#endif  // WVAD_RES_CFG_RESMGR_H_
