// SPDX-License-Identifier: Apache-2.0
//
// The Fourier transform of real input behind one small interface; the FFT library is known to fft.cc alone.
//
//   X[k] = sum over n of x[n] * exp(-2*pi*i*k*n / size),  k = 0 .. size/2
//
// Planning is serialised over the whole process; a planned transform runs without a lock, on any buffers that keep the alignment.
#ifndef WVAD_FRONTEND_FFT_H_
#define WVAD_FRONTEND_FFT_H_

#include <complex>
#include <mutex>

namespace TSEG {

// Held by whoever makes or unmakes the transforms of a front end: the planner of the library is not re-entrant.
std::mutex& FrontEndLock();

class RealFft {
 public:
  static constexpr int kAlignment = 64;  // bytes, for both buffers of Execute

  RealFft() = default;  // unplanned
  // Plans for `size` points, an even number. A failure leaves the object unplanned.
  explicit RealFft(int size);
  ~RealFft();
  RealFft(RealFft&& other) noexcept;
  RealFft& operator=(RealFft&& other) noexcept;

  // Transforms `in` [size], which keeps its values, into `out` [size/2 + 1]. Unplanned, it does nothing.
  void Execute(float* in, std::complex<float>* out) const;
  bool planned() const { return plan_ != nullptr; }
  int size() const { return size_; }

 private:
  void* plan_ = nullptr;
  int size_ = 0;
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_FFT_H_
