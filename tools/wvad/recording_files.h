// SPDX-License-Identifier: Apache-2.0
//
// The files that one recording consists of: itself, and where it is a list, the pieces that it leads to. Whoever asks whether a recording
// is still the same asks all of them.
#ifndef WVAD_WVAD_RECORDING_FILES_H_
#define WVAD_WVAD_RECORDING_FILES_H_

#include <cstdint>
#include <string>
#include <vector>

namespace TSEG::tool {

// `name`, and behind it each piece once in the list's order, as far as it is an ordinary file that is there.
std::vector<std::string> FilesOfRecording(const std::string& name);

// The bytes of all of them; 0 for what is no ordinary file.
uint64_t SizeOfRecording(const std::string& name);

// Whether one of them has been written to behind the file `than`.
bool IsRecordingNewer(const std::string& name, const std::string& than);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RECORDING_FILES_H_
