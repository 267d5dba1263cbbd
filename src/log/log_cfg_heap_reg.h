// SPDX-License-Identifier: Apache-2.0
//
// Log_Cfg_Heap_Reg: the storage behind a log configuration. It stands for one section of a text file, or a key of the registry, and gives
// one value at a time; `load` lays a whole section over a configuration. A missing file or section leaves everything as it was.
//
// A system with a reader for such files reads them itself; elsewhere the engine's own grammar serves (base/config_file.h).
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

  // Takes `section` of the file `path`. Without a path `section` is a key of the registry; -1 if that cannot be opened.
  int open(const char* path, const char* section);
  // The value of `key`, or the empty string.
  std::string read(const char* key) const;

  // Lays the section over `cfg` and remembers where it came from. A null or empty `path` keeps the one that `cfg` holds; a relative one is
  // taken from the module's folder. 0, or -1 where there is neither a path nor a key of the registry.
  static int load(Log_Cfg_T& cfg, const char* section, const char* path);

 private:
  std::string path_;  // empty: in the registry
  std::string name_;
  ConfigSection section_;
};

// `path` with the system's separators, and made absolute against the module's folder if it is relative.
std::string AbsoluteLogPath(const char* path);

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_CFG_HEAP_REG_H_
