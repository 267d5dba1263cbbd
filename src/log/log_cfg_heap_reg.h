// SPDX-License-Identifier: Apache-2.0
//
// Log_Cfg_Heap_Reg: the storage behind a log configuration. It holds one section of a text file and gives one key at a time; `load` lays a
// whole section over a configuration. A missing file or section leaves everything as it was.
#ifndef WVAD_LOG_LOG_CFG_HEAP_REG_H_
#define WVAD_LOG_LOG_CFG_HEAP_REG_H_

#include <string>

#include "base/config_file.h"
#include "log/log_cfg.h"

namespace TSEG {

class Log_Cfg_Heap_Reg {
 public:
  // Longest value that is taken, its end mark included.
  static constexpr size_t kValueLimit = 1024;

  // Reads `section` of the file `path`; -1 without a path: this system has no registry that could stand in for a file.
  int open(const char* path, const char* section);
  // The value of `key`, or the empty string.
  std::string read(const char* key) const;

  // Lays the section over `cfg` and remembers where it came from. A null or empty `path` keeps the one that `cfg` holds; a relative one is
  // taken from the module's folder. 0, or -1 without any path.
  static int load(Log_Cfg_T& cfg, const char* section, const char* path);

 private:
  ConfigSection section_;
};

// `path` with "/" as separator, and made absolute against the module's folder if it is relative.
std::string AbsoluteLogPath(const char* path);

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_CFG_HEAP_REG_H_
