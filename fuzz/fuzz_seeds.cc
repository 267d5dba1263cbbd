// SPDX-License-Identifier: Apache-2.0
//
// Writes the first inputs of the corpora below the folder that is its one argument: sound models and containers, configuration files, pairs
// of parameters, sequences of calls, one input for each kernel. What a fuzzer found later lies beside them.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "modelfile/modelfile.h"
#include "params/param_table.h"

namespace TSEG::fuzz {
namespace {

namespace fs = std::filesystem;

void Save(const fs::path& folder, const std::string& name, const std::vector<uint8_t>& bytes) {
  fs::create_directories(folder);
  modelfile::WriteFileBytes((folder / name).string(), bytes);
}

std::vector<uint8_t> BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

void Models(const fs::path& folder) {
  const char* names[kModels] = {"dnn", "lstm75", "lstm40"};
  for (uint32_t kind = 0; kind < kModels; ++kind) {
    Save(folder, names[kind], SmallModel(kind));
    std::vector<uint8_t> cut = SmallModel(kind);
    cut.resize(cut.size() / 2);
    Save(folder, std::string(names[kind]) + "_cut", cut);
  }
  Save(folder, "container", modelfile::WriteContainer({{1, SmallModel(0)}, {2, {1, 0, 0, 0, 2, 0, 0, 0}}, {0, {9}}, {7, {}}}));
  Save(folder, "empty", {});
}

void Configurations(const fs::path& folder) {
  std::string all = "[vad]\n";
  for (int i = 0; i < kParamNormalCount; ++i) all += std::string(ParamName(i)) + " = " + std::to_string(i) + "\n";
  Save(folder, "every_parameter", BytesOf(all));
  Save(folder, "sections",
       BytesOf("# a comment\n; another\n[VAD]\nwvad_param_nReadType = 0x1\nwvad_param_vad_threshold=\"0.5\"\n"
               "wvad_param_bKelOn = true\n[kel]\nwkel_param_snr_threshold='3'\n[resMgr]\nwresMgr_param_is_calc_md5=1\n"));
  Save(folder, "switches",
       BytesOf("[vad]\nwvad_param_isVadDegOn=1\nwvad_param_isDebugWatch=1\nwvad_param_isReadFtrDoCMN=1\nwvad_param_srec_cmn_type=4\n"
               "wvad_param_isPostProcessWinSlideOn=1\nwvad_param_isSilenceAutoResetOn=1\nwvad_param_cmn_type=3\n"));
  Save(folder, "logger",
       BytesOf("[logger]\nlevel=all\nstyle=full\nflush=1\nmaxsize=65536\nmaxcount=2\nhead=1\ntitle=a title\nsubjects=0xFF\n"
               "include=x;y\nexclude=z,w\ncharset=2\nmode=1\noverwrite=1\nconsole_level=none\n"));
  Save(folder, "odd_lines",
       BytesOf("[\n]\n[[vad]]\n=\n==\n'\n\"\nkey\n key = \"v\n\t\r\n[vad\nwvad_param_nFrameGap=-99999999999999999999\n"));
}

// A pair as parameter_text_fuzzer.cc takes it.
void Pair(std::vector<uint8_t>* out, const std::string& name, const std::string& value) {
  out->push_back(200);
  out->push_back(static_cast<uint8_t>(name.size()));
  out->insert(out->end(), name.begin(), name.end());
  out->push_back(static_cast<uint8_t>(value.size()));
  out->insert(out->end(), value.begin(), value.end());
  out->push_back(64);
}

void Parameters(const fs::path& folder) {
  const std::vector<std::pair<std::string, std::string>> sets[] = {
      {{"wvad_param_nFrameGap", "20"}, {"wvad_param_vad_threshold", "-1.0"}, {"wvad_param_nReadType", "1"}},
      {{"wvad_param_nFrameGap", "2147483647"}, {"wvad_param_nSpeechTailMS", "-2147483648"}, {"wvad_param_nFrameStartMargin", "2147483647"}},
      {{"VAD_PARAM_SAMPLERATE", "8000"}, {"VAD_PARAM_SID", "a/b\\c"}, {"wvad_param_isDebugWatch", "1"}, {"wvad_param_isVadDegOn", "1"}},
      {{"wvad_param_nFrameEndMargin", "2147483647"}, {"wvad_param_vad_StartPointJudgeWinLen", "-5"}, {"wvad_param_nFrameJump", "0"}},
      {{"no_such_name", "1"}, {"wvad_param_nFrameGap", "12x"}, {"wkel_param_sid", "id"}, {"wvad_param_TsegModelType", "none"}}};
  int n = 0;
  for (const auto& set : sets) {
    for (const uint32_t setup : {0x00u, 0x41u, 0x82u}) {
      std::vector<uint8_t> input = {static_cast<uint8_t>(setup)};
      for (const auto& [name, value] : set) Pair(&input, name, value);
      Save(folder, "set" + std::to_string(n++), input);
    }
  }
}

void Sequences(const fs::path& folder) {
  // Model, extras, running start, model kept, then calls: writes of words, reads, results, a stop, a restart, a last write.
  for (uint8_t kind = 0; kind < 3; ++kind) {
    std::vector<uint8_t> input = {kind, static_cast<uint8_t>(kind * 13), 1, 1};
    for (uint8_t i = 0; i < 12; ++i) {
      input.insert(input.end(), {15, 0, 100, 0x80, 0x3e, static_cast<uint8_t>(20 * i + 1), 1, 1});
      input.insert(input.end(), {8, 1, 0, 13, 1, 0, 9, 64, 0, 1});
    }
    input.insert(input.end(),
                 {15, 0, 6, 1, 1, 1, 8, 1, 0, 14, 0, 3, 1, 7, 0, 0, 2, 9, 3, 0, 1, 1, 6, 0, 15, 0, 200, 8, 1, 1, 5, 1, 0, 1, 0});
    Save(folder, "session" + std::to_string(kind), input);
  }
  // All functions before the engine is up.
  std::vector<uint8_t> cold = {0, 0, 0};
  for (uint8_t f = 1; f < 18; ++f) cold.insert(cold.end(), {f, 1, 1, 1, 1});
  Save(folder, "cold", cold);
}

void Streams(const fs::path& folder) {
  // Model; a first stream: rate, channels, form, channel, wants, callback, limit, size, profile, settings, values; then pushes of sound,
  // events, information, an end.
  for (uint8_t rate = 0; rate < 7; ++rate) {
    std::vector<uint8_t> input = {static_cast<uint8_t>(rate % 3), rate, 1, 1, 0, rate, static_cast<uint8_t>(rate % 2), 255, 0,
                                  static_cast<uint8_t>(rate % 5), 0,    0};
    for (uint8_t i = 0; i < 30; ++i) {
      input.insert(input.end(), {9, 0, 200, 0x10, 0x27, 1, static_cast<uint8_t>(40 * i), static_cast<uint8_t>(9 * i), 1});
      input.insert(input.end(), {3, 0, 9, 4, 0, 0});
    }
    input.insert(input.end(), {1, 0, 2, 0, 9, 0, 200, 0x10, 0x27, 1, 0, 0, 1, 1, 0});
    Save(folder, "rate" + std::to_string(rate), input);
  }
  const std::string text = "profile=fast,min_silence=0.3 threshold=0.5";
  std::vector<uint8_t> settings = {0, 0, 2, 4, 1, 7, 1, 255, 0, 1, static_cast<uint8_t>(text.size())};
  settings.insert(settings.end(), text.begin(), text.end());
  settings.insert(settings.end(), {0, 9, 0, 200, 0x10, 0x27, 1, 0, 0, 1, 5, 0, 3, 'a', '=', '1', 1, 0});
  Save(folder, "settings", settings);
}

void Kernels(const fs::path& folder) {
  for (uint8_t kernel = 0; kernel < 26; ++kernel) {
    std::vector<uint8_t> input = {kernel, 35, 99};
    uint32_t state = kernel;
    for (int i = 0; i < 400; ++i) {
      state = state * 1664525u + 1013904223u;
      input.push_back(static_cast<uint8_t>(state >> 24));
    }
    Save(folder, "kernel" + std::to_string(kernel), input);
    // The extremes: all bits set, and the lowest values.
    Save(folder, "kernel" + std::to_string(kernel) + "_low", {kernel, 8, 64, 0x80, 0x80, 0x80, 0x80, 0x00, 0x80, 0x00, 0x80});
  }
}

}  // namespace
}  // namespace TSEG::fuzz

int main(int argc, char** argv) {
  using namespace TSEG::fuzz;
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  const fs::path folder = fs::absolute(argv[1]);
  Models(folder / "model_file");
  Configurations(folder / "config_file");
  Parameters(folder / "parameter_text");
  Sequences(folder / "call_sequence");
  Kernels(folder / "kernels");
  Streams(folder / "stream");
  return 0;
}
