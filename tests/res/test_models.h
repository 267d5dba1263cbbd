// SPDX-License-Identifier: Apache-2.0
//
// Small sound models of the three kinds that run, with weights by formula, and little helpers around them.
#ifndef WVAD_TESTS_RES_TEST_MODELS_H_
#define WVAD_TESTS_RES_TEST_MODELS_H_

#include <cstring>
#include <string>
#include <vector>

#include "modelfile/modelfile.h"
#include "nn/cpu_features.h"
#include "res/loader_registry.h"
#include "res/res_loader.h"
#include "res/res_mgr.h"

namespace TSEG::testing_support {

using modelfile::Bytes;
using modelfile::ModelContents;
using modelfile::Variable;

// Values k / 64 with k running from -20 to 20, in another order for each `seed`: exact in every form.
inline std::vector<double> Pattern(size_t n, unsigned seed) {
  std::vector<double> data(n);
  for (size_t i = 0; i < n; ++i) data[i] = (static_cast<double>((i * 7 + seed * 13 + 5) % 41) - 20.0) / 64.0;
  return data;
}

inline Variable Matrix(const std::string& name, int32_t outer, int32_t inner, unsigned seed, int32_t shift = 0) {
  Variable v;
  v.name = name;
  v.outer = outer;
  v.inner = inner;
  v.data = Pattern(static_cast<size_t>(outer) * static_cast<size_t>(inner), seed);
  v.nShift16 = v.nShift8 = shift;
  return v;
}

inline Variable Vector(const std::string& name, int32_t n, unsigned seed, int32_t shift = 0) { return Matrix(name, n, 1, seed, shift); }

inline void SevenKeys(ModelContents* contents, bool lstm, const char* type) {
  contents->keys = {{"0", "1"}, {"1", lstm ? "1" : "0"}, {"2", type}, {"3", "32"}, {"4", "16000"}, {"5", "0"}, {"6", "0"}};
}

// 75 features, 11 frames, layers of 40 and 2.
inline ModelContents SmallDnn() {
  ModelContents contents;
  contents.network_type = "MLP_RES_DNN";
  SevenKeys(&contents, false, "dnn_fb75");
  contents.variables = {Vector("mean", 75, 1),      Vector("var", 75, 2),
                        Vector("pri", 2, 3),        Matrix("weights12", 40, 825, 4, 12),
                        Vector("bias2", 40, 5, 16), Matrix("weights23", 2, 40, 6, 4),
                        Vector("bias3", 2, 7, 11)};
  return contents;
}

inline void AddLstmLayer(ModelContents* contents, int k, int32_t cells, int32_t inputs) {
  const std::string p = "lstmp" + std::to_string(k);
  const unsigned s = static_cast<unsigned>(k) * 10;
  contents->variables.push_back(Vector(p + "_bias_", 4 * cells, s));
  contents->variables.push_back(Matrix(p + "_w_gifo_r_", 4 * cells, 96, s + 1));
  contents->variables.push_back(Matrix(p + "_w_gifo_x_", 4 * cells, inputs, s + 2));
  contents->variables.push_back(Matrix(p + "_w_projection_", 96, cells, s + 3));
  contents->variables.push_back(Vector(p + "_peephole_i_c_", cells, s + 4));
  contents->variables.push_back(Vector(p + "_peephole_f_c_", cells, s + 5));
  contents->variables.push_back(Vector(p + "_peephole_o_c_", cells, s + 6));
}

inline void AddOutputs(ModelContents* contents) {
  contents->variables.push_back(Matrix("fc2_weight_", 32, 480, 71));
  contents->variables.push_back(Vector("fc2_bias_", 32, 72));
  contents->variables.push_back(Matrix("softmax_weight_", 8, 32, 73));
  contents->variables.push_back(Vector("softmax_bias_", 8, 74));
}

// The 40-feature kind with quantisation ranges: one layer of 32 cells.
inline ModelContents SmallLstm40() {
  ModelContents contents;
  contents.shape = modelfile::Shape::kV2;
  contents.network_type = "MLP_RES_RNNCNNPAD28";
  SevenKeys(&contents, true, "lstm_fb40");
  contents.fScale = {0.5F, 0.25F, 0.5F, 1.0F, 2.0F, 16.0F, 1.0F, 4.0F, 8.0F};
  contents.variables = {Vector("mean", 40, 1), Vector("var", 40, 2), Vector("pri", 8, 3)};
  AddLstmLayer(&contents, 1, 32, 160);
  AddOutputs(&contents);
  return contents;
}

// The 75-feature kind: two layers of 32 cells.
inline ModelContents SmallLstm75() {
  ModelContents contents;
  contents.network_type = "MLP_RES_RNNCATDNN";
  SevenKeys(&contents, true, "lstm_fb75");
  contents.variables = {Vector("mean", 75, 1), Vector("var", 75, 2), Vector("pri", 8, 3)};
  AddLstmLayer(&contents, 1, 32, 300);
  AddLstmLayer(&contents, 2, 32, 96);
  AddOutputs(&contents);
  return contents;
}

inline void Drop(ModelContents* contents, const std::string& name) {
  std::vector<Variable> kept;
  for (Variable& v : contents->variables) {
    if (v.name != name) kept.push_back(std::move(v));
  }
  contents->variables = std::move(kept);
}

inline constexpr WREC_RES_SET kModelKey = {9, "MLP"};

// A holder that has taken `file` through the model loader.
struct Loaded {
  explicit Loaded(const Bytes& file, const WREC_RES_SET& key = kModelKey) : link(key, "memres") {
    ResLoader_Ftr loader(nullptr);
    ret = loader.load(&link, file.data(), file.size(), key, nullptr, 0);
  }
  HMMResourceLink link;
  int ret = -1;
};

// Processor records with and without the instructions of the int8 form, for as long as the object lives.
class CpuGuard {
 public:
  explicit CpuGuard(bool sse41) {
    cpu_.leaf1Edx = (1U << 25) | (1U << 26);
    cpu_.leaf1Ecx = (1U << 9) | (sse41 ? 1U << 19 : 0U);
    SetCpuForTest(&cpu_);
  }
  ~CpuGuard() { SetCpuForTest(nullptr); }
  CpuGuard(const CpuGuard&) = delete;
  CpuGuard& operator=(const CpuGuard&) = delete;

 private:
  CpuFeatures cpu_;
};

// Element `i` of a packed array.
template <typename T>
T At(const void* packed, size_t i) {
  T value;
  std::memcpy(&value, static_cast<const unsigned char*>(packed) + i * sizeof value, sizeof value);
  return value;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_RES_TEST_MODELS_H_
