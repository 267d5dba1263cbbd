// SPDX-License-Identifier: Apache-2.0
//
// The engine's log in this program. Who runs a program sees on standard error what went wrong, and expects no log in the folder beside the
// one it is installed in; so there is none, unless a configuration of logs ("tseg.cfu") beside the program asks for it.
#ifndef WVAD_WVAD_ENGINE_LOG_H_
#define WVAD_WVAD_ENGINE_LOG_H_

namespace TSEG::tool {

// Before an engine is made, which would open the log: opens one for the process that drops every line and has no file. Nothing happens
// where "tseg.cfu" lies beside the program, or where there is a log already.
void KeepNoLogUnasked();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_ENGINE_LOG_H_
