// SPDX-License-Identifier: Apache-2.0
//
// Locales with a decimal comma, as a client may have set them: CommaLocale in the C++ library, CommaCLocale in the C library.
//
// The former is made here, so that no system need have one; with the latter a test is skipped where the system has none.
#ifndef WVAD_SUPPORT_COMMA_LOCALE_H_
#define WVAD_SUPPORT_COMMA_LOCALE_H_

#include <clocale>
#include <locale>
#include <string>

namespace TSEG::testing_support {

// While it lives numbers in the global C++ locale have a decimal comma, and points between the thousands.
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

// While it lives the C library's locale is one of the system with a decimal comma, if there is one.
class CommaCLocale {
 public:
  CommaCLocale() : before_(std::setlocale(LC_ALL, nullptr)) {
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "fr_FR"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) return;
    }
  }
  ~CommaCLocale() { std::setlocale(LC_ALL, before_.c_str()); }
  CommaCLocale(const CommaCLocale&) = delete;
  CommaCLocale& operator=(const CommaCLocale&) = delete;
  bool ok() const { return *std::localeconv()->decimal_point == ','; }

 private:
  std::string before_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_COMMA_LOCALE_H_
