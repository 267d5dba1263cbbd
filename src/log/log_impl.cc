// SPDX-License-Identifier: Apache-2.0
//
// The one instantiation of the logger. Its parts lie in three files: life, line and rotation.
#include "log/log_impl.h"

#include "log/log_impl_life.h"
#include "log/log_impl_line.h"
#include "log/log_impl_rotation.h"

namespace TSEG {

template class Log_Impl_T<Log_Uni_Type<Log_IO_FILE>, Log_Thread_Mutex, Log_Cfg_Heap_Reg>;

}  // namespace TSEG
