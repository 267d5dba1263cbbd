// SPDX-License-Identifier: Apache-2.0
//
// CommaLocale: a global C++ locale in which numbers have a decimal comma and points between the thousands, as a client may have set it. It
// is made here, so that no system need have such a locale; the C library's own stays as it is.
#ifndef WVAD_SUPPORT_COMMA_LOCALE_H_
#define WVAD_SUPPORT_COMMA_LOCALE_H_

#include <locale>
#include <string>

namespace TSEG::testing_support {

// While it lives.
class CommaLocale {
 public:
  CommaLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Comma))) {}
  ~CommaLocale() { std::locale::global(before_); }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

 private:
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  std::locale before_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_COMMA_LOCALE_H_
