// SPDX-License-Identifier: Apache-2.0
//
// Which files earlier runs have saved for a recording (sentence_files.h): their index lists them, or the index that a killed run had begun
// does. Only names that such a run gives are taken from there, never a path: an index may have come from anywhere.
#ifndef WVAD_WVAD_EARLIER_FILES_H_
#define WVAD_WVAD_EARLIER_FILES_H_

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "wvad/output_folder.h"

namespace TSEG::tool {

// Throws Failure(kOutput) where what lies at the place `path` of an index, whole or begun, is of another recording than `input`.
void CheckSameRecording(const std::string& input, const std::string& path);

// The numbered files of the recording `input` that `index` lists as its sentences; none where it is no index.
std::vector<std::string> SavedFiles(const OutputFolder& folder, const std::string& input, const nlohmann::ordered_json& index);

// The same and what they had left over themselves, of all that lies at the place `path` of the index, each once, whether it is still there
// or not.
std::vector<std::string> FilesOfEarlierRuns(const OutputFolder& folder, const std::string& input, const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_EARLIER_FILES_H_
