// SPDX-License-Identifier: Apache-2.0
//
// wvad-blocks: writes the exact blocks that the network of a session would see, one .npy file a recording, for training.
//
// It links the static parts of the engine, since no exported function hands out blocks. Recordings are worked on in parallel with --jobs;
// the files do not depend on how many run at once.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
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

namespace {

using TSEG::blocks::BlockOptions;
using TSEG::blocks::BlockSource;
using TSEG::blocks::ScoreModel;
using TSEG::blocks::ScoreSource;

constexpr const char* kUsage =
    "usage: wvad-blocks --out FOLDER [options] [FILE...]\n"
    "\n"
    "Writes FOLDER/NAME.npy for each recording: one row a block, float32, as the network sees it before its own normalisation.\n"
    "Recordings are raw 16-bit samples (.s16, .raw, .pcm) or anything that libsndfile reads, mono, at the rate given.\n"
    "\n"
    "  --out FOLDER     where the files go; made if missing\n"
    "  --list FILE      more recordings, one path a line\n"
    "  --model TYPE     dnn_fb75 (blocks of 825, default), lstm_fb75 (300) or lstm_fb40 (160)\n"
    "  --centre         dnn_fb75: only the 75 values of the frame in the middle of each block\n"
    "  --scores MODEL   instead of blocks, the score pairs of this model file: two values a row, speech first\n"
    "  --half           write float16 instead of float32\n"
    "  --rate HZ        16000 (default), 8000 or 6000\n"
    "  --cmn-type N     mean removal 0 to 3 (default 0), or off\n"
    "  --jobs N         recordings at a time (default 1)\n"
    "  --help           this text\n";

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

int Number(const std::string& text, int low, int high, const char* what) {
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < low || value > high) Fail(std::string(what) + ": '" + text + "' is not allowed");
  return static_cast<int>(value);
}

Options Parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= argc) Fail(arg + " wants a value");
      return argv[++i];
    };
    if (arg == "--help" || arg == "-h") {
      std::cout << kUsage;
      std::exit(0);
    } else if (arg == "--out") {
      options.out = value();
    } else if (arg == "--list") {
      const std::string name = value();
      std::ifstream list(name);
      if (!list) Fail(name + ": cannot be read");
      for (std::string line; std::getline(list, line);) {
        if (!line.empty()) options.files.push_back(line);
      }
    } else if (arg == "--model") {
      options.blocks.model_type = value();
      if (TSEG::blocks::BlockFloats(options.blocks.model_type) == 0)
        Fail("--model: '" + options.blocks.model_type + "' is not a model type");
    } else if (arg == "--centre") {
      options.centre = true;
    } else if (arg == "--scores") {
      options.scores = value();
    } else if (arg == "--half") {
      options.half = true;
    } else if (arg == "--rate") {
      options.blocks.rate_hz = Number(value(), 6000, 16000, "--rate");
      if (options.blocks.rate_hz != 16000 && options.blocks.rate_hz != 8000 && options.blocks.rate_hz != 6000)
        Fail("--rate: 16000, 8000 or 6000");
    } else if (arg == "--cmn-type") {
      const std::string type = value();
      options.blocks.mean_removal = type != "off";
      if (options.blocks.mean_removal) options.blocks.cmn_type = Number(type, 0, 3, "--cmn-type");
    } else if (arg == "--jobs") {
      options.jobs = Number(value(), 1, 256, "--jobs");
    } else if (arg.size() > 1 && arg[0] == '-') {
      Fail("unknown option '" + arg + "', see --help");
    } else {
      options.files.push_back(arg);
    }
  }
  if (options.out.empty()) Fail("--out is missing, see --help");
  if (options.files.empty()) Fail("no recordings given, see --help");
  if (options.centre && options.blocks.model_type != "dnn_fb75") Fail("--centre goes with dnn_fb75 only");
  if (options.centre && !options.scores.empty()) Fail("--centre and --scores exclude each other");
  return options;
}

std::string NameOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name;
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
