// SPDX-License-Identifier: Apache-2.0
//
// `wvad segment`: recordings in, sentences out.
#ifndef WVAD_WVAD_SEGMENT_COMMAND_H_
#define WVAD_WVAD_SEGMENT_COMMAND_H_

#include <string>
#include <vector>

#include "wvad/failure.h"

namespace TSEG::tool {

struct SegmentOptions {
  std::vector<std::string> files;     // "-" for raw PCM on standard input
  std::string format = "table";       // table, json, jsonl, csv
  std::string output;                 // empty: standard output
  std::string model;                  // a name or a file
  std::string models_dir;             // empty: where models usually lie
  std::string config;                 // a further configuration file for the engine, empty for none
  std::vector<std::string> settings;  // NAME=VALUE
  std::string channel = "mix";        // or a number from 1
  std::string gain = "0";             // decibels, or "auto"
  int chunk_ms = 100;
  int rate_hz = 16000;  // of standard input
  int channels = 1;     // of standard input
  bool endpoint = false;
  bool quiet = false;
};

// Works through all files; a file that fails gives its line on standard error and the others are still worked on. The result is the code of
// the first failure. What concerns all files (model, parameters, output) leaves as Failure.
ExitCode RunSegment(const SegmentOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SEGMENT_COMMAND_H_
