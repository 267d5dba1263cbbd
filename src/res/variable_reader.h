// SPDX-License-Identifier: Apache-2.0
//
// VariableReader: how a loader takes the variables it cannot do without. The first one that is missing, of a wrong type or without room
// stays on record, and everything after it is passed over, so that a loader asks once at the end of each stage.
#ifndef WVAD_RES_VARIABLE_READER_H_
#define WVAD_RES_VARIABLE_READER_H_

#include <string>

#include "res/header_parser.h"

namespace TSEG {

template <class Image>
class VariableReader {
 public:
  using Parser = MlpResHeaderParser<Image>;
  explicit VariableReader(const MlpResFileHeader<Image>& header) : header_(header) {}

  // The index of a variable that has to be there, 0 after a failure.
  int Require(const std::string& name) {
    const int index = Parser::find_var(header_, name.c_str());
    if (index >= 0) return index;
    // A registration without a place tells the log that it is missing.
    float* nothing = nullptr;
    if (ok()) Parser::register_value_typed(header_, &nothing, name.c_str(), nullptr);
    Refuse("variable " + name + " is missing");
    return 0;
  }
  // Copies `name` to the cursor; null after a failure.
  float* Copy(const std::string& name, BlockCursor* cursor) {
    if (!ok()) return nullptr;
    float* to = nullptr;
    Parser::register_value_typed(header_, &to, name.c_str(), cursor);
    if (to == nullptr) Fail(name);
    return to;
  }
  // The place that Copy would fill, with nothing copied to it: for what is needed in another form alone. Null after a failure, which is
  // that of Copy.
  float* Place(const std::string& name, BlockCursor* cursor) {
    if (!ok()) return nullptr;
    float* to = Parser::place_for_value(header_, name.c_str(), cursor);
    if (to == nullptr) Fail(name);
    return to;
  }
  void Refuse(const std::string& flaw) {
    if (ok()) flaw_ = flaw;
  }
  bool ok() const { return flaw_.empty(); }
  const std::string& flaw() const { return flaw_; }

 private:
  void Fail(const std::string& name) {
    if (Parser::find_var(header_, name.c_str()) < 0) {
      flaw_ = "variable " + name + " is missing";
    } else if (Parser::get_var_datatype(header_, name.c_str()) != kTypeFloat) {
      flaw_ = "variable " + name + " is not of type float";
    } else {
      flaw_ = "variable " + name + " does not fit the model's block";
    }
  }

  const MlpResFileHeader<Image>& header_;
  std::string flaw_;
};

}  // namespace TSEG

#endif  // WVAD_RES_VARIABLE_READER_H_
