// SPDX-License-Identifier: Apache-2.0
#include "fuzz_support.h"

#include <cmath>
#include <filesystem>
#include <fstream>

#include "api/process_engine.h"
#include "log/log.h"
#include "modelfile/modelfile.h"
#include "support/engine_surroundings.h"
#include "support/temp_folder.h"

namespace TSEG::fuzz {
namespace {

namespace fs = std::filesystem;

using modelfile::ModelContents;
using modelfile::Variable;

Variable Matrix(const std::string& name, int32_t outer, int32_t inner, uint32_t seed, int32_t shift = 0) {
  Variable v;
  v.name = name;
  v.outer = outer;
  v.inner = inner;
  v.nShift16 = v.nShift8 = shift;
  v.data.resize(static_cast<size_t>(outer) * static_cast<size_t>(inner));
  for (size_t i = 0; i < v.data.size(); ++i) v.data[i] = (static_cast<double>((i * 7 + seed * 13 + 5) % 41) - 20.0) / 64.0;
  return v;
}

void SevenKeys(ModelContents* contents, bool lstm, const char* type) {
  contents->keys = {{"0", "1"}, {"1", lstm ? "1" : "0"}, {"2", type}, {"3", "32"}, {"4", "16000"}, {"5", "0"}, {"6", "0"}};
}

ModelContents Dnn() {
  ModelContents contents;
  contents.network_type = "MLP_RES_DNN";
  SevenKeys(&contents, false, "dnn_fb75");
  contents.variables = {Matrix("mean", 75, 1, 1),           Matrix("var", 75, 1, 2),      Matrix("pri", 2, 1, 3),
                        Matrix("weights12", 2, 825, 4, 12), Matrix("bias2", 2, 1, 5, 16), Matrix("weights23", 2, 2, 6, 4),
                        Matrix("bias3", 2, 1, 7, 11)};
  return contents;
}

ModelContents Lstm(int32_t features) {
  ModelContents contents;
  const bool small = features == 40;
  if (small) {
    contents.shape = modelfile::Shape::kV2;
    contents.fScale = {0.5F, 0.25F, 0.5F, 1.0F, 2.0F, 16.0F, 1.0F, 4.0F, 8.0F};
  }
  contents.network_type = small ? "MLP_RES_RNNCNNPAD28" : "MLP_RES_RNNCATDNN";
  SevenKeys(&contents, true, small ? "lstm_fb40" : "lstm_fb75");
  const int32_t cells = 8;
  const std::string p = "lstmp1";
  contents.variables = {Matrix("mean", features, 1, 1),
                        Matrix("var", features, 1, 2),
                        Matrix("pri", 8, 1, 3),
                        Matrix(p + "_bias_", 4 * cells, 1, 10),
                        Matrix(p + "_w_gifo_r_", 4 * cells, 2, 11),
                        Matrix(p + "_w_gifo_x_", 4 * cells, 4 * features, 12),
                        Matrix(p + "_w_projection_", 2, cells, 13),
                        Matrix(p + "_peephole_i_c_", cells, 1, 14),
                        Matrix(p + "_peephole_f_c_", cells, 1, 15),
                        Matrix(p + "_peephole_o_c_", cells, 1, 16),
                        Matrix("fc2_weight_", 2, 480, 71),
                        Matrix("fc2_bias_", 2, 1, 72),
                        Matrix("softmax_weight_", 8, 2, 73),
                        Matrix("softmax_bias_", 8, 1, 74)};
  return contents;
}

constexpr const char* kModelFolder = "models";

struct ScratchFolder {
  ScratchFolder() {
    fs::current_path(folder.path());
    fs::create_directory(kModelFolder);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::current_path("/", ignored);
  }
  testing_support::TempFolder folder;
};

}  // namespace

const std::string& Scratch() {
  static const ScratchFolder scratch;
  return scratch.folder.path();
}

void ClearScratch() {
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(Scratch(), ignored)) {
    if (entry.path().filename() != kModelFolder) fs::remove_all(entry.path(), ignored);
  }
}

void OpenLog() {
  if (srlog_exists()) return;
  WriteText("models/log.cfu", "[logger]\nfile=/dev/null\nlevel=all\nhead=0\nflush=1\nlocale=skip\n");
  srlog_open((Scratch() + "/models/log.cfu").c_str(), "logger", {"/dev/null", "fuzz"});
}

void ResetDefaults() {
  ProcessEngine().defaults() = CFG_VAD{};
  ProcessEngine().kel().defaults = CFG_KEL{};
}

const std::vector<uint8_t>& SmallModel(uint32_t kind) {
  static const std::vector<uint8_t> models[kModels] = {modelfile::WriteModel(Dnn()), modelfile::WriteModel(Lstm(75)),
                                                       modelfile::WriteModel(Lstm(40))};
  return models[kind];
}

std::string ConfigFor(uint32_t kind) {
  const std::string name = std::to_string(kind) + ".bin";
  const std::string path = Scratch() + "/" + kModelFolder + "/" + name;
  if (!fs::exists(path)) modelfile::WriteFileBytes(path, SmallModel(kind));
  return "[vad]\n" + testing_support::ModelEntries(path) + "wvad_param_debug_log_filename=debug.txt\n";
}

void WriteText(const std::string& name, std::string_view text) {
  std::ofstream(Scratch() + "/" + name, std::ios::binary | std::ios::trunc).write(text.data(), static_cast<std::streamsize>(text.size()));
}

const std::vector<int16_t>& Audio() {
  static const std::vector<int16_t> audio = [] {
    std::vector<int16_t> out(16000 * 20);
    uint32_t state = 1;
    for (size_t i = 0; i < out.size(); ++i) {
      state = state * 1664525u + 1013904223u;
      const double t = static_cast<double>(i) / 16000.0;
      double x = static_cast<double>(state >> 26) - 32.0;
      const uint32_t part = static_cast<uint32_t>(t * 2.0) % 5;
      if (part == 1 || part == 2) {
        for (int h = 1; h < 8; ++h) x += 3000.0 / h * std::sin(2.0 * 3.14159265358979 * 140.0 * t * h);
      }
      if (part == 3) x = 0.0;
      out[i] = static_cast<int16_t>(x);
    }
    return out;
  }();
  return audio;
}

}  // namespace TSEG::fuzz
