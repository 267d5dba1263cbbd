// SPDX-License-Identifier: Apache-2.0
//
// RealFft over the transform of this tree. Its plans are constants: there is nothing to make, to guard or to give back.
#include "frontend/fft.h"
#include "frontend/transform/transform.h"

namespace TSEG {

RealFft::RealFft(int size) : plan_(const_cast<transform::Plan*>(transform::PlanOf(size))), size_(size) {}  // only ever read

RealFft::~RealFft() = default;

void RealFft::Execute(float* in, std::complex<float>* out) const {
  static transform::Form* const form = transform::FormOfThisProcessor();
  if (plan_ != nullptr) form(*static_cast<const transform::Plan*>(plan_), in, reinterpret_cast<float*>(out));
}

}  // namespace TSEG
