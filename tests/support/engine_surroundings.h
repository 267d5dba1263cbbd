// SPDX-License-Identifier: Apache-2.0
//
// The surroundings in which the engine of the process comes up, for tests, benchmarks and fuzzers alike: a configuration that leads to a
// model file anywhere, and a logger as the caller wants it, which start-up finds and uses.
#ifndef WVAD_SUPPORT_ENGINE_SURROUNDINGS_H_
#define WVAD_SUPPORT_ENGINE_SURROUNDINGS_H_

#include <stdexcept>
#include <string>

#include "log/log.h"
#include "support/temp_folder.h"
#include "wvad/path_from_anywhere.h"

namespace TSEG::testing_support {

// The entries of the section "vad" that name the model file `model`, an absolute path.
inline std::string ModelEntries(const std::string& model) {
  const size_t name = model.rfind('/') + 1;
  return "wvad_param_model_path = " + tool::PathFromAnywhere(model.substr(0, name)) + "\nwvad_param_model_name = " + model.substr(name) +
         "\n";
}

// Writes "w_tseg.cfg" into `folder`: the model file at `model` and `extra` entries in the section "vad".
inline void ConfigureEngine(const TempFolder& folder, const std::string& model, const std::string& extra = "") {
  folder.write("w_tseg.cfg", "[vad]\n" + ModelEntries(model) + extra + "\n");
}

// The entry of a logger that writes nothing.
inline constexpr const char* kNoLog = "output=0\n";

// Puts a logger with the configuration `entries`, kept in `folder`, in the place of the one that may be open. Gives the path of the
// configuration.
inline std::string PutLogger(const TempFolder& folder, const std::string& entries) {
  if (srlog_exists()) srlog_close();
  const std::string path = folder.write("logger.cfu", "[logger]\n" + entries);
  if (srlog_open(path.c_str(), "logger", {"unnamed.log", "Logger"}) != 0) throw std::runtime_error("no logger");
  return path;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_ENGINE_SURROUNDINGS_H_
