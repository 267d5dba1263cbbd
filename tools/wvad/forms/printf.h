// SPDX-License-Identifier: Apache-2.0
//
// Forms of the user's own: text with fields in braces, printed for each sentence.
//
//   {begin} {end:3}\t{file}\n      a field; a number with so many decimals; escapes \n \t \r \\ \0 \xHH; {{ and }} for braces
#ifndef WVAD_WVAD_FORMS_PRINTF_H_
#define WVAD_WVAD_FORMS_PRINTF_H_

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "wvad/forms/line_report.h"

namespace TSEG::tool {

struct PrintfField {
  const char* name;
  const char* words;
  int decimals;  // by default; -1 for a field that is no decimal number
  // A field is one or the other: a number, none where the sentence has none, which is printed as "-"; or text.
  std::optional<double> (*number)(const Line& line);
  std::string (*text)(const Line& line);
};
std::span<const PrintfField> PrintfFields();

class PrintfFormat {
 public:
  // Throws Failure(kUsage), saying what is wrong and what there is.
  explicit PrintfFormat(const std::string& format);
  std::string Print(const Line& line) const;

 private:
  struct Piece {
    std::string text;                    // stands as it is
    const PrintfField* field = nullptr;  // behind the text; null: none
    int decimals = 0;
  };
  Piece TakeField(const std::string& format, size_t* at) const;

  std::vector<Piece> pieces_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FORMS_PRINTF_H_
