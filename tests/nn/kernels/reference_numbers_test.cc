// SPDX-License-Identifier: Apache-2.0
//
// Every kernel at every level against numbers of an independent implementation: integers equal, floats equal bit for bit.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "nn/kernels/guarded.h"

namespace TSEG {
namespace {

using nlohmann::json;

// A vector or a matrix of numbers, flat.
template <typename T>
std::vector<T> Flat(const json& values) {
  std::vector<T> flat;
  for (const json& value : values) {
    if (value.is_array()) {
      const std::vector<T> row = Flat<T>(value);
      flat.insert(flat.end(), row.begin(), row.end());
    } else {
      flat.push_back(static_cast<T>(value.get<double>()));
    }
  }
  return flat;
}

template <typename T>
std::vector<T> Front(const std::vector<float>& packed, size_t n) {
  std::vector<T> values(n);
  std::memcpy(values.data(), packed.data(), n * sizeof(T));
  return values;
}

int32_t Rows(const json& matrix) { return static_cast<int32_t>(matrix.size()); }
int32_t Cols(const json& matrix) { return static_cast<int32_t>(matrix[0].size()); }
int32_t Count(const json& vector) { return static_cast<int32_t>(vector.size()); }

void CheckLstmCase(const json& c, const std::string& name, const KernelLevel& level) {
  const LstmKernels& k = level.lstm;
  if (name == "QuantInt8" || name == "QuantInt16") {
    std::vector<float> x = Flat<float>(c["x"]);
    const size_t n = x.size();
    if (name == "QuantInt8") {
      k.quant_int8(x.data(), Count(c["x"]), c["R"].get<float>());
      EXPECT_EQ(Front<int8_t>(x, n), Flat<int8_t>(c["y"]));
    } else {
      k.quant_int16(x.data(), Count(c["x"]), c["R"].get<float>());
      EXPECT_EQ(Front<int16_t>(x, n), Flat<int16_t>(c["y"]));
    }
    return;
  }
  const json& w = c["W"];
  const auto rows = static_cast<size_t>(Rows(w));
  if (name == "GemvInt16ToFloat" || name == "GemvInt8ToFloat") {
    std::vector<float> y(rows);
    if (name == "GemvInt16ToFloat") {
      k.gemv_int16(Flat<int16_t>(c["x"]).data(), Rows(w), Cols(w), Flat<int16_t>(w).data(), y.data(), c["s"].get<float>());
    } else {
      k.gemv_int8(Flat<int8_t>(c["x"]).data(), Rows(w), Cols(w), Flat<int8_t>(w).data(), y.data(), c["s"].get<float>());
    }
    EXPECT_EQ(y, Flat<float>(c["y"]));
  } else if (name == "GemvFixed" || name == "GemvFixedClamped") {
    std::vector<int16_t> y(rows);
    (name == "GemvFixed" ? k.gemv_fixed : k.gemv_fixed_clamped)(Flat<int16_t>(c["x"]).data(), Rows(w), Cols(w), Flat<int16_t>(w).data(),
                                                                y.data(), c["qx"].get<int>(), c["qw"].get<int>(), c["qy"].get<int>());
    EXPECT_EQ(y, Flat<int16_t>(c["y"]));
  } else {
    std::vector<float> y(rows);
    (name == "GemvFloatSse" ? k.gemv_float_sse : k.gemv_float_x87)(Flat<float>(c["x"]).data(), Rows(w), Cols(w), Flat<float>(w).data(),
                                                                   y.data());
    EXPECT_EQ(y, Flat<float>(c["y"]));
  }
}

void CheckDnnCase(const json& c, const std::string& name, const KernelLevel& level) {
  const DnnKernels& k = level.dnn;
  const json& w = c["W"];
  const auto results = static_cast<size_t>(4 * Rows(w));
  if (name == "DnnGemmInt8") {
    std::vector<int16_t> y(results);
    k.gemm_int8(Flat<uint8_t>(c["frames"]).data(), Rows(w), Cols(w), Flat<int8_t>(w).data(), y.data());
    EXPECT_EQ(y, Flat<int16_t>(c["y"]));
  } else {
    std::vector<int32_t> y(results);
    k.gemm_int16(Flat<int16_t>(c["frames"]).data(), Rows(w), Cols(w), Flat<int16_t>(w).data(), y.data());
    EXPECT_EQ(y, Flat<int32_t>(c["y"]));
  }
}

void CheckActivationCase(const json& c, const std::string& name, const KernelLevel& level) {
  if (name == "SigmoidTable8") {
    const std::vector<int32_t> v = Flat<int32_t>(c["v"]);
    std::vector<uint8_t> y(v.size());
    level.dnn.sigmoid8_of32(v.data(), Count(c["v"]), c["a"].get<int>(), c["b"].get<int>(), y.data());
    EXPECT_EQ(y, Flat<uint8_t>(c["y"]));
  } else if (name == "Softmax") {
    std::vector<float> y(c["x"].size());
    Softmax(Count(c["x"]), Flat<float>(c["x"]).data(), y.data());
    EXPECT_EQ(y, Flat<float>(c["y"]));
  } else {
    std::vector<int16_t> v = Flat<int16_t>(c["v"]);
    (name == "SigmoidFixed" ? ref::SigmoidFixed : ref::TanhFixed)(v.data(), Count(c["v"]), c["q_in"].get<int>(), c["q_out"].get<int>());
    EXPECT_EQ(v, Flat<int16_t>(c["y"]));
  }
}

TEST(ReferenceNumbers, EveryKernelAgreesAtEveryLevel) {
  std::ifstream file(WVAD_TEST_DATA_DIR "/nn/kernels.json");
  ASSERT_TRUE(file.is_open());
  const json cases = json::parse(file);
  ASSERT_EQ(cases.size(), 32u);
  const std::set<std::string> activations = {"SigmoidTable8", "Softmax", "SigmoidFixed", "TanhFixed"};
  for (const KernelLevel& level : test::AllLevels()) {
    for (size_t i = 0; i < cases.size(); ++i) {
      const std::string name = cases[i]["kernel"].get<std::string>();
      SCOPED_TRACE(name + " case " + std::to_string(i) + " " + level.name);
      if (activations.count(name) != 0) {
        CheckActivationCase(cases[i], name, level);
      } else if (name.rfind("DnnGemm", 0) == 0) {
        CheckDnnCase(cases[i], name, level);
      } else {
        CheckLstmCase(cases[i], name, level);
      }
    }
  }
}

}  // namespace
}  // namespace TSEG
