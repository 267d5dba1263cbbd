// SPDX-License-Identifier: Apache-2.0
//
// The engine's log in this program: there is none. Who runs a program sees on standard error what went wrong, and expects no log in the
// folder beside the one it is installed in, nor one of settings that know nothing of the program's inputs and outputs.
#ifndef WVAD_WVAD_ENGINE_LOG_H_
#define WVAD_WVAD_ENGINE_LOG_H_

namespace TSEG::tool {

// Before an engine is made, which would open the log: opens one for the process that drops every line and has no file. Nothing happens
// where there is one already.
void KeepNoLog();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_ENGINE_LOG_H_
