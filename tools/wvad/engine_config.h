// SPDX-License-Identifier: Apache-2.0
//
// A configuration file of the user's, read as strictly as --set: the engine itself takes anything and makes 0 of what it does not
// understand.
#ifndef WVAD_WVAD_ENGINE_CONFIG_H_
#define WVAD_WVAD_ENGINE_CONFIG_H_

#include <string>

namespace TSEG::tool {

// The text of the file `path`, which may be a pipe; empty for an empty path. Every line has to be empty, a comment, a section that the
// engine knows, or an entry of one with a value that makes sense. `endpoint`: as for settings. Entries that name a model are passed over,
// with a note unless `quiet`: a w_tseg.cfg has them, and --model decides. Throws Failure(kBadParameter), naming the line.
std::string ReadConfiguration(const std::string& path, bool endpoint, bool quiet);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_ENGINE_CONFIG_H_
