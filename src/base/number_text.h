// SPDX-License-Identifier: Apache-2.0
//
// Numbers to text and back, with a decimal point whatever the locale: FixedText, ShortestText, ReadNumber.
//
// Result texts are JSON: a client that sets a locale with a decimal comma must not turn them into something else. Where the standard
// library has no conversions of floating point (libc++ 13), those of printf and strtod stand in: C libraries of such systems know no comma.
#ifndef WVAD_BASE_NUMBER_TEXT_H_
#define WVAD_BASE_NUMBER_TEXT_H_

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace TSEG {

// The stand-ins.
namespace c_library {

// As printf's "%.*f". No allocation.
inline void WriteFixed(char* text, size_t size, double value, int decimals) { std::snprintf(text, size, "%.*f", decimals, value); }

inline std::string ShortestText(double value) {
  char plain[64];
  char scientific[64];
  for (int decimals = 0; decimals <= 17; ++decimals) {
    std::snprintf(plain, sizeof plain, "%.*f", decimals, value);
    if (std::strtod(plain, nullptr) == value) break;
  }
  for (int digits = 0; digits <= 16; ++digits) {
    std::snprintf(scientific, sizeof scientific, "%.*e", digits, value);
    if (std::strtod(scientific, nullptr) == value) break;
  }
  const bool is_plain = std::strtod(plain, nullptr) == value && std::string_view(plain).size() <= std::string_view(scientific).size();
  return is_plain ? plain : scientific;
}

template <typename T = double>
std::optional<T> ReadNumber(std::string_view text) {
  // strtod and strtof take more: blanks in front, a plus, hexadecimal digits, and they stop at a zero.
  constexpr std::string_view kNotInFront = " \t\n\v\f\r+";
  if (text.empty() || kNotInFront.find(text.front()) != kNotInFront.npos) return std::nullopt;
  if (text.find_first_of(std::string_view("xX\0", 3)) != text.npos) return std::nullopt;
  const std::string closed(text);
  char* end = nullptr;
  errno = 0;
  T value = 0;
  if constexpr (std::is_same_v<T, float>) {
    value = std::strtof(closed.c_str(), &end);
  } else {
    value = std::strtod(closed.c_str(), &end);
  }
  if (errno == ERANGE || end != closed.c_str() + closed.size()) return std::nullopt;
  return value;
}

}  // namespace c_library

class FixedText {
 public:
  // `decimals` digits behind the point, rounded half to even on the exact value. Holds every single-precision number.
  FixedText(float value, int decimals) {
#ifdef __cpp_lib_to_chars
    const std::to_chars_result end = std::to_chars(text_, text_ + sizeof text_ - 1, value, std::chars_format::fixed, decimals);
    *end.ptr = '\0';
#else
    c_library::WriteFixed(text_, sizeof text_, static_cast<double>(value), decimals);
#endif
  }
  const char* c_str() const { return text_; }

 private:
  char text_[64];  // 39 digits, sign, point and up to 20 decimals
};

// The fewest digits that give `value` when they are read.
inline std::string ShortestText(double value) {
#ifdef __cpp_lib_to_chars
  char text[64];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
#else
  return c_library::ShortestText(value);
#endif
}

// The number that `text` is, from its first character to its last, in decimal digits, with an exponent or as "inf" or "nan"; nothing where
// it is none or does not fit. `T` is double, or float, to which the text is rounded once.
template <typename T = double>
std::optional<T> ReadNumber(std::string_view text) {
#ifdef __cpp_lib_to_chars
  T value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
#else
  return c_library::ReadNumber<T>(text);
#endif
}

}  // namespace TSEG

#endif  // WVAD_BASE_NUMBER_TEXT_H_
