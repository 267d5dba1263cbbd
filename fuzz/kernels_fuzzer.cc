// SPDX-License-Identifier: Apache-2.0
//
// The reference kernels against those of every instruction level that this processor has: the same bytes must come out, and nothing may be
// written outside of the output. The input chooses the kernel, its dimensions and its data, which are repeated where the input is short.
#include <cmath>
#include <functional>
#include <type_traits>

#include "fuzz_support.h"
#include "nn/kernels/dispatch.h"
#include "nn/weight_proofs.h"

namespace TSEG::fuzz {
namespace {

// A buffer of exactly `n` elements on the heap, so that a sanitizer sees its ends.
template <typename T>
class Buffer {
 public:
  explicit Buffer(size_t n) : n_(n), data_(new T[n]()) {}
  Buffer(const Buffer& other) : Buffer(other.n_) {
    if (n_ != 0) std::memcpy(static_cast<void*>(data_), other.data_, n_ * sizeof(T));
  }
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { delete[] data_; }
  T* data() const { return data_; }
  size_t size() const { return n_; }

 private:
  size_t n_;
  T* data_;
};

class Input {
 public:
  Input(const uint8_t* data, size_t size) : source(data, size) {}

  // `n` elements from the bytes that are left, over and over.
  template <typename T>
  Buffer<T> Take(size_t n) {
    Buffer<T> buffer(n);
    std::vector<uint8_t> bytes(n * sizeof(T));
    const size_t have = source.left() < bytes.size() ? source.left() : bytes.size();
    source.Fill(bytes.data(), have);
    for (size_t i = have; i < bytes.size(); ++i) bytes[i] = have == 0 ? 0 : bytes[i - have];
    if (n != 0) std::memcpy(static_cast<void*>(buffer.data()), bytes.data(), bytes.size());
    return buffer;
  }
  // Singles: bit patterns as they come, or moderate values made from words, in which low bits matter.
  Buffer<float> Floats(size_t n) {
    if (source.Byte() % 4 == 0) return Take<float>(n);
    const Buffer<int16_t> words = Take<int16_t>(n);
    Buffer<float> buffer(n);
    for (size_t i = 0; i < n; ++i) buffer.data()[i] = static_cast<float>(words.data()[i]) / 1000.0f;
    return buffer;
  }

  ByteSource source;
};

// A not-a-number has no bits of its own: which operand's it takes is the processor's business, and no decision looks at them.
bool Same(float a, float b) { return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0; }
template <typename T>
bool Same(T a, T b) requires(std::is_integral_v<T>) {
  return a == b;
}

// Runs `kernel` of the reference and of each level on its own copy of `out`, and compares the first `n` elements.
template <typename Table, typename T>
void Compare(const std::function<void(const Table&, T*)>& kernel, const Buffer<T>& out, size_t n) {
  const auto table = [](const KernelLevel& level) -> const Table& {
    if constexpr (std::is_same_v<Table, DnnKernels>) {
      return level.dnn;
    } else {
      return level.lstm;
    }
  };
  Buffer<T> want(out);
  kernel(table(ref::kLevel), want.data());
  for (const KernelLevel& level : KernelLevels()) {
    if (!RunsOn(level, DetectedCpu())) continue;
    Buffer<T> got(out);
    kernel(table(level), got.data());
    for (size_t i = 0; i < n; ++i) FUZZ_CHECK(Same(want.data()[i], got.data()[i]));
  }
}

template <typename T>
using DnnRun = std::function<void(const DnnKernels&, T*)>;
template <typename T>
using LstmRun = std::function<void(const LstmKernels&, T*)>;

// The narrow values that a quantiser leaves at the front of a float array.
template <typename T>
void CompareQuant(const std::function<void(const LstmKernels&, float*)>& kernel, const Buffer<float>& x) {
  Compare<LstmKernels, T>(
      [&](const LstmKernels& k, T* out) {
        Buffer<float> copy(x);
        kernel(k, copy.data());
        if (x.size() != 0) std::memcpy(out, copy.data(), x.size() * sizeof(T));
      },
      Buffer<T>(x.size()), x.size());
}

// A range as a model's scale is, zero and negative among them.
float Range(Input& in) {
  float range;
  in.source.Fill(&range, sizeof range);
  return in.source.Byte() % 2 == 0 ? range : static_cast<float>(in.source.Word()) / 256.0f;
}

// The products and what is done to their sums.
void DnnProducts(uint32_t kernel, Input& in) {
  const auto rows = static_cast<int32_t>(in.source.Below(40));
  const auto cols = static_cast<int32_t>(in.source.Below(130));
  const auto width = static_cast<size_t>(cols);
  const size_t cells = static_cast<size_t>(rows) * width;
  const size_t out = 4 * static_cast<size_t>(rows);
  const int32_t p = in.source.Byte();
  const int32_t q = in.source.Byte();
  switch (kernel) {
    case 0: {
      const auto x = in.Take<int16_t>(4 * width), w = in.Take<int16_t>(cells);
      return Compare<DnnKernels, int32_t>(
          DnnRun<int32_t>([&](const DnnKernels& k, int32_t* y) { k.gemm_int16(x.data(), rows, cols, w.data(), y); }), Buffer<int32_t>(out),
          out);
    }
    case 1: {
      const auto x = in.Take<uint8_t>(4 * width);
      const auto w = in.Take<int8_t>(cells);
      if (DnnGemmInt8CannotClip(w.data(), rows, cols, 255)) {
        Compare<DnnKernels, int16_t>(
            DnnRun<int16_t>([&](const DnnKernels& k, int16_t* y) { k.gemm_int8_unclipped(x.data(), rows, cols, w.data(), y); }),
            Buffer<int16_t>(out), out);
      }
      return Compare<DnnKernels, int16_t>(
          DnnRun<int16_t>([&](const DnnKernels& k, int16_t* y) { k.gemm_int8(x.data(), rows, cols, w.data(), y); }), Buffer<int16_t>(out),
          out);
    }
    case 2: {
      const auto bias = in.Take<int32_t>(width);
      return Compare<DnnKernels, int32_t>(
          DnnRun<int32_t>([&](const DnnKernels& k, int32_t* y) { k.bias32(y, rows, cols, bias.data(), p, q); }), in.Take<int32_t>(cells),
          cells);
    }
    default: {
      const auto bias = in.Take<int32_t>(width);
      return Compare<DnnKernels, int16_t>(
          DnnRun<int16_t>([&](const DnnKernels& k, int16_t* y) { k.bias16(y, rows, cols, bias.data(), p, q); }), in.Take<int16_t>(cells),
          cells);
    }
  }
}

// What goes value by value through a row.
void DnnValues(uint32_t kernel, Input& in) {
  const auto cols = static_cast<int32_t>(in.source.Below(130));
  const auto width = static_cast<size_t>(cols);
  const auto a = static_cast<int32_t>(8 + in.source.Below(20));
  const auto b = static_cast<int32_t>(in.source.Below(30));
  switch (kernel) {
    case 0: {
      const auto x = in.Take<int32_t>(width);
      return Compare<DnnKernels, uint8_t>(
          DnnRun<uint8_t>([&](const DnnKernels& k, uint8_t* y) { k.sigmoid8_of32(x.data(), cols, a, b, y); }), Buffer<uint8_t>(width),
          width);
    }
    case 1: {
      const auto x = in.Take<int16_t>(width);
      return Compare<DnnKernels, uint8_t>(
          DnnRun<uint8_t>([&](const DnnKernels& k, uint8_t* y) { k.sigmoid8_of16(x.data(), cols, a, b, y); }), Buffer<uint8_t>(width),
          width);
    }
    case 2: {
      const auto mean = in.Floats(width), inv = in.Floats(width);
      return Compare<DnnKernels, float>(
          DnnRun<float>([&](const DnnKernels& k, float* y) { k.normalise(y, cols, mean.data(), inv.data()); }), in.Floats(width), width);
    }
    default: {
      const auto x = in.Floats(width);
      const float scale = std::ldexp(1.0f, static_cast<int>(in.source.Below(16)));
      return Compare<DnnKernels, int16_t>(
          DnnRun<int16_t>([&](const DnnKernels& k, int16_t* y) { k.cut_to_int16(x.data(), cols, scale, y); }), Buffer<int16_t>(width),
          width);
    }
  }
}

void LstmProducts(uint32_t kernel, Input& in) {
  const auto rows = static_cast<int32_t>(in.source.Below(40));
  const auto cols = static_cast<int32_t>(in.source.Below(130));
  const auto width = static_cast<size_t>(cols);
  const auto out = static_cast<size_t>(rows);
  const size_t cells = out * width;
  // Shifts of 0 to 31 in all.
  const auto qx = static_cast<int32_t>(in.source.Below(16));
  const auto qw = static_cast<int32_t>(in.source.Below(16));
  switch (kernel) {
    case 0: {
      const auto x = in.Floats(width), w = in.Floats(cells);
      return Compare<LstmKernels, float>(
          LstmRun<float>([&](const LstmKernels& k, float* y) { k.gemv_float_sse(x.data(), rows, cols, w.data(), y); }), Buffer<float>(out),
          out);
    }
    case 1: {
      const auto x = in.Take<int16_t>(width), w = in.Take<int16_t>(cells);
      const float s = Range(in);
      return Compare<LstmKernels, float>(
          LstmRun<float>([&](const LstmKernels& k, float* y) { k.gemv_int16(x.data(), rows, cols, w.data(), y, s); }), Buffer<float>(out),
          out);
    }
    case 2: {
      const auto x = in.Take<int8_t>(width), w = in.Take<int8_t>(cells);
      const float s = Range(in);
      if (GemvInt8CannotClip(w.data(), rows, cols)) {
        Compare<LstmKernels, float>(
            LstmRun<float>([&](const LstmKernels& k, float* y) { k.gemv_int8_unclipped(x.data(), rows, cols, w.data(), y, s); }),
            Buffer<float>(out), out);
      }
      return Compare<LstmKernels, float>(
          LstmRun<float>([&](const LstmKernels& k, float* y) { k.gemv_int8(x.data(), rows, cols, w.data(), y, s); }), Buffer<float>(out),
          out);
    }
    case 3: {
      const auto x = in.Take<int16_t>(width), w = in.Take<int16_t>(cells);
      return Compare<LstmKernels, int16_t>(
          LstmRun<int16_t>([&](const LstmKernels& k, int16_t* y) { k.gemv_fixed(x.data(), rows, cols, w.data(), y, qx, qw, 0); }),
          Buffer<int16_t>(out), out);
    }
    default: {
      const auto x = in.Take<int16_t>(width), w = in.Take<int16_t>(cells);
      return Compare<LstmKernels, int16_t>(
          LstmRun<int16_t>([&](const LstmKernels& k, int16_t* y) { k.gemv_fixed_clamped(x.data(), rows, cols, w.data(), y, qx, qw, 0); }),
          Buffer<int16_t>(out), out);
    }
  }
}

void LstmVectors(uint32_t kernel, Input& in) {
  const auto n = static_cast<int32_t>(in.source.Below(130));
  const auto width = static_cast<size_t>(n);
  const auto shift = static_cast<int32_t>(in.source.Below(32));
  const float range = Range(in);
  switch (kernel) {
    case 0:
      return CompareQuant<int16_t>([&](const LstmKernels& k, float* x) { k.quant_int16(x, n, range); }, in.Floats(width));
    case 1:
      return CompareQuant<int8_t>([&](const LstmKernels& k, float* x) { k.quant_int8(x, n, range); }, in.Floats(width));
    case 2: {
      const auto b = in.Floats(width);
      return Compare<LstmKernels, float>(LstmRun<float>([&](const LstmKernels& k, float* y) { k.add(y, b.data(), n); }), in.Floats(width),
                                         width);
    }
    case 3: {
      const auto b = in.Take<int16_t>(width);
      return Compare<LstmKernels, int16_t>(LstmRun<int16_t>([&](const LstmKernels& k, int16_t* y) { k.add_wrap16(y, b.data(), n); }),
                                           in.Take<int16_t>(width), width);
    }
    case 4: {
      const auto c = in.Floats(width), p = in.Floats(width);
      return Compare<LstmKernels, float>(LstmRun<float>([&](const LstmKernels& k, float* y) { k.mul_add(c.data(), p.data(), y, n); }),
                                         in.Floats(width), width);
    }
    case 5: {
      const auto a = in.Floats(width), b = in.Floats(width);
      return Compare<LstmKernels, float>(LstmRun<float>([&](const LstmKernels& k, float* y) { k.mul(a.data(), b.data(), y, n); }),
                                         Buffer<float>(width), width);
    }
    case 6: {
      const auto f = in.Floats(width), i = in.Floats(width), g = in.Floats(width);
      return Compare<LstmKernels, float>(
          LstmRun<float>([&](const LstmKernels& k, float* y) { k.cell_update(f.data(), i.data(), g.data(), y, n); }), in.Floats(width),
          width);
    }
    case 7:
      return Compare<LstmKernels, float>(LstmRun<float>([&](const LstmKernels& k, float* y) { k.sigmoid(y, n); }), in.Floats(width), width);
    case 8:
      return Compare<LstmKernels, float>(LstmRun<float>([&](const LstmKernels& k, float* y) { k.tanh(y, n); }), in.Floats(width), width);
    case 9: {
      const auto t = in.Take<int16_t>(width), p = in.Take<int16_t>(width);
      return Compare<LstmKernels, int16_t>(
          LstmRun<int16_t>([&](const LstmKernels& k, int16_t* y) { k.peephole_fixed(t.data(), p.data(), y, n, shift); }),
          in.Take<int16_t>(width), width);
    }
    case 10: {
      const auto f = in.Take<int16_t>(width), i = in.Take<int16_t>(width), g = in.Take<int16_t>(width);
      return Compare<LstmKernels, int16_t>(
          LstmRun<int16_t>([&](const LstmKernels& k, int16_t* y) { k.cell_update_fixed(f.data(), i.data(), g.data(), y, n); }),
          in.Take<int16_t>(width), width);
    }
    default: {
      const auto t = in.Take<int16_t>(width), h = in.Take<int16_t>(width);
      return Compare<LstmKernels, int16_t>(
          LstmRun<int16_t>([&](const LstmKernels& k, int16_t* y) { k.mul_fixed(t.data(), h.data(), y, n); }), Buffer<int16_t>(width),
          width);
    }
  }
}

// The tables of the 16-bit activations against the arithmetic that they stand for.
void FixedActivations(Input& in) {
  const auto values = in.Take<int16_t>(in.source.Below(130));
  const auto n = static_cast<int32_t>(values.size());
  const auto same = [&](void (*table)(int16_t*, int32_t), void (*formula)(int16_t*, int32_t, int32_t, int32_t), int32_t q_in,
                        int32_t q_out) {
    Buffer<int16_t> want(values), got(values);
    formula(want.data(), n, q_in, q_out);
    table(got.data(), n);
    for (size_t i = 0; i < values.size(); ++i) FUZZ_CHECK(want.data()[i] == got.data()[i]);
  };
  same(&SigmoidFixed10To14, &ref::SigmoidFixed, 10, 14);
  same(&TanhFixed10To9, &ref::TanhFixed, 10, 9);
  same(&TanhFixed9To14, &ref::TanhFixed, 9, 14);
}

}  // namespace
}  // namespace TSEG::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace TSEG::fuzz;
  Input in(data, size);
  const uint32_t kernel = in.source.Below(26);
  if (kernel < 8) {
    kernel < 4 ? DnnProducts(kernel, in) : DnnValues(kernel - 4, in);
  } else if (kernel < 13) {
    LstmProducts(kernel - 8, in);
  } else if (kernel < 25) {
    LstmVectors(kernel - 13, in);
  } else {
    FixedActivations(in);
  }
  return 0;
}
