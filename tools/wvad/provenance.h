// SPDX-License-Identifier: Apache-2.0
//
// How a result came about, as JSON: with which version, model and parameters, from which recording, and whether that was heard whole. The
// forms that have room for it say the same, JSON as members, others as comments of one line.
#ifndef WVAD_WVAD_PROVENANCE_H_
#define WVAD_WVAD_PROVENANCE_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "wvad/report.h"

namespace TSEG::tool {

struct SentenceOptions;

// With the model that `options` name, {"program":"wvad 0.1.0","model":"lstm_fb75","model_sha256":...,"parameters":{...}}, where the
// parameters are what was said on the command line, the profile, plain settings under the engine's names, and the defaults of channel and
// gain. Reads the model. Throws Failure as FindModel and Sha256Of.
nlohmann::ordered_json ProvenanceOfRun(const SentenceOptions& options);

// All ways in which the results of a run with these options may come about, one for each form of the model, each JSON in one line.
std::vector<std::string> ProvenancesOfRun(const SentenceOptions& options);

// Throws Failure(kUsage) where one of the recordings cannot be read a second time for its checksum.
void CheckChecksums(const std::vector<std::string>& recordings);

// {"rate":44100,"channels":2,"length":5.0,"sha256":...}: length in seconds, null where it is not known; the sum where it was asked for.
nlohmann::ordered_json ProvenanceOfRecording(const FileEnd& end);

// All of a recording was decoded and heard, and nothing was wrong with it.
bool HeardWhole(const FileEnd& end);

// How this recording's results came about; `whole` is told for all of an output, and holds where the recording says nothing of its own.
const std::string& MadeBy(const FileEnd& end, const std::string& whole);

// The members of how this recording's results came about that are others than those of `whole`: its model, and settings that hang on it.
nlohmann::ordered_json OwnMembers(const FileEnd& end, const std::string& whole);

// One line for a comment behind a recording: {"file":...,"recording":{...},"whole":true}, "heard" and "stopped_by" where it was not heard
// to its end, "damage" where there is some, and its OwnMembers.
std::string ProvenanceLine(const std::string& name, const FileEnd& end, const std::string& whole);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PROVENANCE_H_
