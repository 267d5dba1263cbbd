// SPDX-License-Identifier: Apache-2.0
//
// The one engine of the process, which the exported functions hold.
//
// Process-wide objects of the library, all function-local: this engine, the worker of the debug text (dumps/file_log_singleton), the logger
// and its mutex (log), the loader registry and device settings (res), the processor record and the choice of kernels (nn), the choice of
// loops and transform and the lock of its planner (frontend), the path of this module (platform).
#ifndef WVAD_API_PROCESS_ENGINE_H_
#define WVAD_API_PROCESS_ENGINE_H_

#include "engine/engine.h"

namespace TSEG {

Engine& ProcessEngine();

}  // namespace TSEG

#endif  // WVAD_API_PROCESS_ENGINE_H_
