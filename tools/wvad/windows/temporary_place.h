// SPDX-License-Identifier: Apache-2.0
//
// Where temporary files and folders lie on Windows, and what they are called.
#ifndef WVAD_WVAD_WINDOWS_TEMPORARY_PLACE_H_
#define WVAD_WVAD_WINDOWS_TEMPORARY_PLACE_H_

#include <string>

namespace TSEG::tool {

// That of TMP, or what the system takes in its place, with a backslash at its end; empty if the system does not tell.
std::string FolderForTemporary();
// A name that no other run has at the same time.
std::string NameForTemporary();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_WINDOWS_TEMPORARY_PLACE_H_
