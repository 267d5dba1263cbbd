// SPDX-License-Identifier: Apache-2.0
//
// Log_Uni_Type: names a device class as the one that the process's logger makes for itself.
#ifndef WVAD_LOG_LOG_UNI_TYPE_H_
#define WVAD_LOG_LOG_UNI_TYPE_H_

#include <memory>

#include "log/log_io.h"

namespace TSEG {

template <typename IO>
struct Log_Uni_Type {
  using Type = IO;
  static std::unique_ptr<Log_IO> Make() { return std::make_unique<IO>(); }
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_UNI_TYPE_H_
