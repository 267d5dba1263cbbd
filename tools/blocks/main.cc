// SPDX-License-Identifier: Apache-2.0
//
// wvad-blocks: writes the exact blocks that a network sees of a recording in the program or in a stream, or with --ready-means 0 in a
// session of libwvad, one .npy file a recording, for training.
//
// It links the static parts of the engine, since no exported function hands out blocks. Recordings are worked on in parallel with --jobs;
// the files do not depend on how many run at once.
#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "blocks/audio_input.h"
#include "blocks/block_source.h"
#include "blocks/npy_file.h"
#include "blocks/score_source.h"
#include "platform/platform.h"
#include "scoring/network_kinds.h"

namespace {

using TSEG::kNetworkKinds;
using TSEG::NetworkKind;
using TSEG::NetworkKindAt;
using TSEG::blocks::BlockOptions;
using TSEG::blocks::BlockSource;
using TSEG::blocks::ScoreModel;
using TSEG::blocks::ScoreSource;

struct Options {
  BlockOptions blocks;
  std::string out;
  std::string scores;  // model file, or empty for blocks
  std::vector<std::string> files;
  bool centre = false, half = false;
  int jobs = 1;
};

[[noreturn]] void Fail(const std::string& text) {
  std::cerr << "wvad-blocks: " << text << '\n';
  std::exit(2);
}

// Appends the lines of a file that are not empty.
void ReadList(const std::string& name, std::vector<std::string>* files) {
  std::ifstream list(name);
  if (!list) Fail(name + ": cannot be read");
  for (std::string line; std::getline(list, line);) {
    if (!line.empty()) files->push_back(line);
  }
}

constexpr const char* kAbout =
    "Writes FOLDER/NAME.npy for each recording: one row a block, float32, as the network sees it before its own normalisation. "
    "No two may be of one name. Recordings are raw 16-bit samples (.s16, .raw, .pcm) or anything that libsndfile reads, mono, at the rate "
    "given.";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("FILE", options.files, "Recordings");
  app.add_option("--out", options.out, "Where the files go; made if missing")->required()->type_name("FOLDER");
  app.add_option_function<std::string>(
         "--list", [&options](const std::string& name) { ReadList(name, &options.files); }, "More recordings, one path a line")
      ->type_name("FILE");
  std::vector<std::string> kinds;
  std::string words;  // "dnn_fb75 (blocks of 825), lstm_fb75 (300), ..."
  for (size_t i = 0; i < kNetworkKinds; ++i) {
    const NetworkKind& kind = NetworkKindAt(i);
    kinds.emplace_back(kind.model_type);
    words += (i == 0 ? "" : ", ") + kinds.back() + (i == 0 ? " (blocks of " : " (") + std::to_string(kind.block_floats) + ")";
  }
  app.add_option("--model", options.blocks.model_type, words)->check(CLI::IsMember(kinds))->capture_default_str();
  CLI::Option* centre = app.add_flag("--centre", options.centre, "dnn_fb75: only the 75 values of the frame in the middle of each block");
  app.add_option("--scores", options.scores, "Instead of blocks, the score pairs of this model file: two values a row, speech first")
      ->type_name("MODEL")
      ->excludes(centre);
  app.add_flag("--half", options.half, "Write float16 instead of float32");
  app.add_option("--rate", options.blocks.rate_hz, "Sample rate in Hz")->check(CLI::IsMember({16000, 8000, 6000}))->capture_default_str();
  app.add_option_function<std::string>(
         "--cmn-type",
         [&options](const std::string& type) {
           options.blocks.mean_removal = type != "off";
           if (options.blocks.mean_removal) options.blocks.cmn_type = type[0] - '0';
         },
         "Mean removal")
      ->check(CLI::IsMember({"0", "1", "2", "3", "off"}))
      ->default_str("0");
  app.add_option(
         "--ready-means", options.blocks.ready_means,
         "Frames of the usual means that a recording begins with; 0: begin as sessions of libwvad do, with the means of the first two "
         "seconds together")
      ->check(CLI::Range(0, 10000))
      ->capture_default_str();
  app.add_option("--jobs", options.jobs, "Recordings at a time")->check(CLI::Range(1, 256))->capture_default_str();
}

Options Parse(int argc, char** argv) {
  Options options;
  CLI::App app(kAbout, "wvad-blocks");
  AddOptions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) std::exit(app.exit(error));
    Fail(std::string(error.what()) + " (see --help)");
  }
  if (options.files.empty()) Fail("no recordings given (see --help)");
  if (options.centre && options.blocks.model_type != "dnn_fb75") Fail("--centre goes with dnn_fb75 only");
  return options;
}

std::string NameOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name;
}

// Two recordings of one name would be written into one file.
void RefuseDoubledNames(const std::vector<std::string>& files) {
  std::map<std::string, std::string> named;
  for (const std::string& path : files) {
    const auto [first, is_first] = named.emplace(NameOf(path), path);
    if (!is_first) Fail(path + ": its file would be called " + first->first + ".npy, as that of " + first->second);
  }
}

// Turns recordings into rows, on one thread.
class Converter {
 public:
  Converter(const Options& options, const ScoreModel* model) : options_(options), blocks_(options.blocks), scores_(options.blocks, model) {}

  // Writes the rows of one recording. False with a reason on failure.
  bool Convert(const std::string& path, std::string* error) {
    std::vector<int16_t> samples;
    if (!TSEG::blocks::ReadAudio(path, options_.blocks.rate_hz, &samples, error)) return false;
    std::vector<float> rows;
    int columns = 2;
    if (!options_.scores.empty()) {
      scores_.Run(samples, &rows);
    } else {
      const int first = options_.centre ? TSEG::blocks::kCentreFirst : 0;
      columns = options_.centre ? TSEG::blocks::kCentreFloats : TSEG::blocks::BlockFloats(options_.blocks.model_type);
      blocks_.Run(samples, [&](const float* block, bool) { rows.insert(rows.end(), block + first, block + first + columns); });
    }
    const std::string out = options_.out + "/" + NameOf(path) + ".npy";
    if (!TSEG::blocks::WriteNpy(out, rows, static_cast<size_t>(columns), options_.half)) {
      *error = out + ": cannot be written";
      return false;
    }
    return true;
  }

 private:
  const Options& options_;
  BlockSource blocks_;
  ScoreSource scores_;
};

}  // namespace

int main(int argc, char** argv) {
  const Options options = Parse(argc, argv);
  RefuseDoubledNames(options.files);
  if (!TSEG::platform::MakeFolders(options.out)) Fail(options.out + ": cannot be made");
  std::unique_ptr<ScoreModel> model;
  if (!options.scores.empty()) {
    std::string error;
    model = ScoreModel::Load(options.scores, &error);
    if (!model) Fail(error);
  }
  std::atomic<size_t> next{0};
  std::atomic<bool> failed{false};
  std::mutex print;
  const auto work = [&] {
    Converter converter(options, model.get());
    for (size_t i = next++; i < options.files.size(); i = next++) {
      std::string error;
      if (!converter.Convert(options.files[i], &error)) {
        failed = true;
        const std::lock_guard<std::mutex> lock(print);
        std::cerr << "wvad-blocks: " << error << '\n';
      }
    }
  };
  std::vector<std::thread> threads;
  for (int i = 1; i < options.jobs; ++i) threads.emplace_back(work);
  work();
  for (std::thread& thread : threads) thread.join();
  return failed ? 1 : 0;
}
