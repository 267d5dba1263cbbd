// SPDX-License-Identifier: Apache-2.0
//
// The transform of this tree in each of its forms beside FFTW's plans, estimated (as the front end makes them) and measured.
//
//   wvad_fft_bench                     nanoseconds of one transform, and times that of the estimated plan: one row a size
//   wvad_fft_bench FORM SIZE COUNT     COUNT transforms and nothing else, for a counter of instructions
//
// The forms take turns in short batches, so that all of them see the same machine in the same state; of each the median batch counts.
#include <fftw3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench_support.h"
#include "buffers/aligned_buffer.h"
#include "frontend/transform/transform.h"

namespace TSEG::bench {
namespace {

struct Buffers {
  explicit Buffers(int size) : in(static_cast<size_t>(size)), out(static_cast<size_t>(size) + 2) {
    for (int i = 0; i < size; ++i) in[static_cast<size_t>(i)] = static_cast<float>(i * i % 20011 - 10005);
  }
  AlignedBuffer<float> in;
  AlignedBuffer<float> out;
};

struct Row {
  std::string name;
  std::function<void()> transform;
  std::vector<double> seconds = {};  // of one transform, a batch each
};

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Its plan is never given back: the process ends with it.
Row Fftw(const std::string& name, int size, Buffers& buffers, unsigned how) {
  auto* out = reinterpret_cast<fftwf_complex*>(buffers.out.data());
  const std::vector<float> kept(buffers.in.begin(), buffers.in.end());  // measuring writes there
  fftwf_plan plan = fftwf_plan_dft_r2c_1d(size, buffers.in.data(), out, how | FFTW_PRESERVE_INPUT);
  std::copy(kept.begin(), kept.end(), buffers.in.begin());
  return {name, [plan, out, &buffers] { fftwf_execute_dft_r2c(plan, buffers.in.data(), out); }};
}

Row Own(const std::string& name, transform::Form* form, int size, Buffers& buffers) {
  const transform::Plan* plan = transform::PlanOf(size);
  return {name, [form, plan, &buffers] { form(*plan, buffers.in.data(), buffers.out.data()); }};
}

// The first is the one that the others are held against.
std::vector<Row> RowsOf(int size, Buffers& buffers, bool measured) {
  std::vector<Row> rows = {Fftw("fftw_estimated", size, buffers, FFTW_ESTIMATE)};
  if (measured) rows.push_back(Fftw("fftw_measured", size, buffers, FFTW_MEASURE));
  rows.push_back(Own("chosen", transform::FormOfThisProcessor(), size, buffers));
  rows.push_back(Own("vec4", transform::vec4::Transform, size, buffers));
  rows.push_back(Own("ref", transform::ref::Transform, size, buffers));
  return rows;
}

void Compare(int size) {
  constexpr int kBatches = 1000;
  constexpr int kBatch = 100;
  Buffers buffers(size);
  std::vector<Row> rows = RowsOf(size, buffers, true);
  for (int batch = 0; batch < kBatches; ++batch) {
    for (Row& row : rows) {
      const double begin = ThreadSeconds();
      for (int i = 0; i < kBatch; ++i) row.transform();
      row.seconds.push_back((ThreadSeconds() - begin) / kBatch);
    }
  }
  std::printf("%d points:", size);
  const double estimated = Median(rows[0].seconds);
  for (const Row& row : rows) {
    const double median = Median(row.seconds);
    std::printf("  %s %.0f ns (%.2f)", row.name.c_str(), median * 1e9, median / estimated);
  }
  std::printf("\n");
}

int Repeat(const std::string& name, int size, int count) {
  Buffers buffers(size);
  for (const Row& row : RowsOf(size, buffers, name == "fftw_measured")) {
    if (row.name != name) continue;
    for (int i = 0; i < count; ++i) row.transform();
    return 0;
  }
  std::fprintf(stderr, "there is no form %s\n", name.c_str());
  return 2;
}

}  // namespace
}  // namespace TSEG::bench

int main(int argc, char** argv) {
  using namespace TSEG::bench;
  if (argc == 4 && TSEG::transform::PlanOf(std::atoi(argv[2])) != nullptr) return Repeat(argv[1], std::atoi(argv[2]), std::atoi(argv[3]));
  if (argc != 1) {
    std::fprintf(stderr, "usage: %s [FORM SIZE COUNT]\n", argv[0]);
    return 2;
  }
  for (const int size : {256, 512, 1024}) Compare(size);
  return 0;
}
