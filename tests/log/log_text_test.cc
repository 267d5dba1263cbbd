// SPDX-License-Identifier: Apache-2.0
//
// Conversions between wide and multibyte text.
#include "log/log_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace TSEG {
namespace {

class InLocale {
 public:
  explicit InLocale(const char* name) : before_(std::setlocale(LC_ALL, nullptr)), ok_(std::setlocale(LC_ALL, name) != nullptr) {}
  ~InLocale() { std::setlocale(LC_ALL, before_.c_str()); }
  bool ok() const { return ok_; }

 private:
  std::string before_;
  bool ok_;
};

TEST(LogText, ConvertsByTheLocale) {
  const InLocale locale("C.UTF-8");
  if (!locale.ok()) GTEST_SKIP() << "no UTF-8 locale here";
  EXPECT_EQ(WidenText("a\xc3\xa9\xe2\x82\xac"), L"a\u00e9\u20ac");
  EXPECT_EQ(NarrowText(L"a\u00e9\u20ac"), "a\xc3\xa9\xe2\x82\xac");
}

TEST(LogText, BytesOutsideTheLocaleComeBackAsTheyWere) {
  const InLocale locale("C");
  std::string bytes;
  for (int i = 1; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(NarrowText(WidenText(bytes.c_str()).c_str()), bytes);
}

TEST(LogText, BrokenSequencesLoseNothingButThemselves) {
  const InLocale locale("C.UTF-8");
  if (!locale.ok()) GTEST_SKIP() << "no UTF-8 locale here";
  EXPECT_EQ(WidenText("a\xff"
                      "b"),
            L"a\u00ff"
            L"b");
  EXPECT_EQ(WidenText("a\xc3"), L"a\u00c3");  // cut in the middle
}

TEST(LogText, WideCharactersWithoutBytesBecomeQuestionMarks) {
  const InLocale locale("C");
  EXPECT_EQ(NarrowText(L"x\u20acy"), "x?y");
}

TEST(LogText, FormatsToAnyLength) {
  EXPECT_EQ(FormatText("%d-%s", 7, "x"), "7-x");
  EXPECT_EQ(FormatText("%s", ""), "");
  EXPECT_EQ(FormatText("%s!", std::string(200000, 'y').c_str()), std::string(200000, 'y') + "!");
}

}  // namespace
}  // namespace TSEG
