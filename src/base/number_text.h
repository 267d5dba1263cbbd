// SPDX-License-Identifier: Apache-2.0
//
// FixedText: a number with a stated count of decimals, as printf's "%.*f" gives it in the "C" locale.
//
// Result texts are JSON: a client that sets a locale with a decimal comma must not turn them into something else. No allocation.
#ifndef WVAD_BASE_NUMBER_TEXT_H_
#define WVAD_BASE_NUMBER_TEXT_H_

#include <charconv>

namespace TSEG {

class FixedText {
 public:
  // `decimals` digits behind the point, rounded half to even on the exact value. Holds every single-precision number.
  FixedText(float value, int decimals) {
    const std::to_chars_result end = std::to_chars(text_, text_ + sizeof text_ - 1, value, std::chars_format::fixed, decimals);
    *end.ptr = '\0';
  }
  const char* c_str() const { return text_; }

 private:
  char text_[64];  // 39 digits, sign, point and up to 20 decimals
};

}  // namespace TSEG

#endif  // WVAD_BASE_NUMBER_TEXT_H_
