// SPDX-License-Identifier: Apache-2.0
//
// The transform of this tree: its definition against an implementation in exact steps and against a direct sum in double, every form
// against the definition by its bytes.
#include "frontend/transform/transform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <fstream>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "buffers/aligned_buffer.h"
#ifdef WVAD_TEST_AVX2
#include "platform/x86/cpuid.h"
#endif

namespace TSEG::transform {
namespace {

constexpr int32_t kSizes[] = {256, 512, 1024};

struct NamedForm {
  std::string name;
  Form* transform;
};

// Those that were built in and run on this machine, the definition left out.
std::vector<NamedForm> OtherForms() {
  std::vector<NamedForm> forms = {{"vec4", vec4::Transform}, {"chosen", FormOfThisProcessor()}};
#ifdef WVAD_TEST_AVX2
  if (((platform::Cpuid(7, 0).ebx >> 5) & 1u) != 0 && platform::OsSavesYmm()) forms.push_back({"avx2", avx2::Transform});
#endif
  return forms;
}

using Signal = std::function<float(int32_t i)>;

// What comes out, and behind it three floats that hold -1 before and must hold it afterwards.
std::vector<float> ResultOf(Form* form, int32_t size, const Signal& signal) {
  const size_t n = static_cast<size_t>(size);
  AlignedBuffer<float> in(n);
  AlignedBuffer<float> out(n + 5);
  for (size_t i = 0; i < n; ++i) in[i] = signal(static_cast<int32_t>(i));
  for (float& value : out) value = -1.0f;
  form(*PlanOf(size), in.data(), out.data());
  for (size_t i = 0; i < n; ++i) {
    const float kept = signal(static_cast<int32_t>(i));
    EXPECT_EQ(std::memcmp(&in[i], &kept, sizeof kept), 0) << "input " << i;
  }
  for (size_t i = n + 2; i < n + 5; ++i) EXPECT_EQ(out[i], -1.0f) << "behind the output";
  return {out.begin(), out.begin() + n + 2};
}

std::vector<std::pair<std::string, Signal>> Signals() {
  const auto noise = [](uint32_t seed, float amplitude) {
    std::vector<float> values(1024);
    std::mt19937 random(seed);
    for (float& value : values) value = amplitude * (static_cast<float>(random()) / 2147483648.0f - 1.0f);
    return [values](int32_t i) { return values[static_cast<size_t>(i)]; };
  };
  return {
      {"noise", noise(1, 32768.0f)},
      {"other noise", noise(2, 1.0f)},
      {"products below the normal floats", noise(3, 1e-38f)},
      {"sums near the largest float", noise(4, 1e35f)},
      {"zeros", [](int32_t) { return 0.0f; }},
      {"negative zeros", [](int32_t) { return -0.0f; }},
      {"lowest sample", [](int32_t) { return -32768.0f; }},
      {"alternating", [](int32_t i) { return i % 2 == 0 ? 32767.0f : -32768.0f; }},
      {"one impulse", [](int32_t i) { return i == 77 ? 1.0f : 0.0f; }},
  };
}

TEST(Transform, FormsEqualTheDefinitionByTheirBytes) {
  for (const NamedForm& form : OtherForms()) {
    for (const int32_t size : kSizes) {
      for (const auto& [name, signal] : Signals()) {
        const std::vector<float> want = ResultOf(ref::Transform, size, signal);
        const std::vector<float> got = ResultOf(form.transform, size, signal);
        for (size_t i = 0; i < want.size(); ++i) {
          ASSERT_EQ(std::memcmp(&got[i], &want[i], sizeof want[i]), 0) << form.name << " " << size << " " << name << " at " << i;
        }
      }
    }
  }
}

TEST(Transform, DefinitionEqualsTheReferenceNumbersByTheirBytes) {
  for (const int32_t size : kSizes) {
    std::vector<float> want(static_cast<size_t>(size) + 2);
    std::ifstream file(std::string(WVAD_TEST_DATA_DIR) + "/frontend/transform_" + std::to_string(size) + ".f32", std::ios::binary);
    ASSERT_TRUE(file.read(reinterpret_cast<char*>(want.data()), static_cast<std::streamsize>(want.size() * sizeof(float)))) << size;
    const std::vector<float> got = ResultOf(ref::Transform, size, [](int32_t i) {
      return static_cast<float>((static_cast<int64_t>(i) * i * 7919 + 31 * i) % 60013 - 30006) + static_cast<float>(i % 8) / 8.0f;
    });
    for (size_t i = 0; i < want.size(); ++i) ASSERT_EQ(std::memcmp(&got[i], &want[i], sizeof want[i]), 0) << size << " at " << i;
  }
}

TEST(Transform, ErrorAgainstADirectSumInDoubleIsBelowOneInAMillion) {
  for (const int32_t size : kSizes) {
    for (const auto& [name, signal] : Signals()) {
      if (name == "products below the normal floats") continue;
      const std::vector<float> got = ResultOf(ref::Transform, size, signal);
      double error = 0;
      double largest_error = 0;
      double power = 0;
      for (int32_t k = 0; k <= size / 2; ++k) {
        std::complex<double> sum = 0;
        for (int32_t i = 0; i < size; ++i) {
          sum += static_cast<double>(signal(i)) * std::polar(1.0, -2 * std::numbers::pi * (i * k % size) / size);
        }
        const size_t at = 2 * static_cast<size_t>(k);
        const double squared = std::norm(sum - std::complex<double>(got[at], got[at + 1]));
        error += squared;
        largest_error = std::max(largest_error, squared);
        power += std::norm(sum);
      }
      // Over all results, and each one against their root mean square.
      EXPECT_LE(std::sqrt(error), 1e-6 * std::sqrt(power)) << size << " " << name;
      EXPECT_LE(std::sqrt(largest_error), 1e-6 * std::sqrt(power)) << size << " " << name;
    }
  }
}

TEST(Transform, FactorsAreTheNearestSinglesAndNoZeroIsNegative) {
  for (const int32_t size : kSizes) {
    const Plan& plan = *PlanOf(size);
    const auto expect_part = [&](float part, long double exact) {
      // The nearest: no neighbour is nearer.
      const long double distance = std::fabs(exact - static_cast<long double>(part));
      EXPECT_LE(distance, std::fabs(exact - static_cast<long double>(std::nextafter(part, 2.0f)))) << size;
      EXPECT_LE(distance, std::fabs(exact - static_cast<long double>(std::nextafter(part, -2.0f)))) << size;
      EXPECT_FALSE(part == 0.0f && std::signbit(part)) << size;
    };
    // exp(-2*pi*i * t / of), where a whole number of eighths is left to exact values.
    const auto expect_factor = [&](float re, float im, int64_t t, int64_t of, float scale) {
      const long double angle = 2 * std::numbers::pi_v<long double> * static_cast<long double>(t) / static_cast<long double>(of);
      const bool quarter = 4 * t % of == 0;
      expect_part(re / scale, quarter ? std::round(std::cos(angle)) : std::cos(angle));
      expect_part(im / scale, quarter ? 0.0L - std::round(std::sin(angle)) : -std::sin(angle));
    };
    for (int32_t p = 0; p < plan.second; ++p) {
      for (int32_t h = 1; h < plan.first; ++h) {
        const float* turn = plan.first_turns + 2 * (p * (plan.first - 1) + h - 1);
        expect_factor(turn[0], turn[1], p * h, plan.rows, 1.0f);
      }
    }
    for (int32_t c = 1; c < kColumns; ++c) {
      for (int32_t k = 0; k < plan.rows; ++k) {
        const float* turn = plan.row_turns + (c - 1) * 2 * plan.rows + k;
        expect_factor(turn[0], turn[plan.rows], k * c, plan.points, 1.0f);
      }
    }
    for (int32_t k = 0; k < plan.points / 2; ++k) expect_factor(plan.split_turns[k], plan.split_turns[plan.points / 2 + k], k, size, 0.5f);
  }
}

TEST(Transform, OtherSizesHaveNoPlan) {
  for (const int32_t size : {-512, 0, 1, 128, 192, 257, 384, 511, 768, 2048}) EXPECT_EQ(PlanOf(size), nullptr) << size;
}

}  // namespace
}  // namespace TSEG::transform
