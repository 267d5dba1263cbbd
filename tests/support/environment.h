// SPDX-License-Identifier: Apache-2.0
//
// Variables of this process's environment. Not beside other threads that read them.
#ifndef WVAD_SUPPORT_ENVIRONMENT_H_
#define WVAD_SUPPORT_ENVIRONMENT_H_

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace TSEG::testing_support {

inline void SetVariable(const std::string& name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), value.c_str());
#else
  ::setenv(name.c_str(), value.c_str(), 1);
#endif
}

inline void RemoveVariable(const std::string& name) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), "");
#else
  ::unsetenv(name.c_str());
#endif
}

// A variable that has another value for as long as this lives.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, const std::string& value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    SetVariable(name_, value);
  }
  ~ScopedVariable() {
    if (before_) {
      SetVariable(name_, *before_);
    } else {
      RemoveVariable(name_);
    }
  }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_ENVIRONMENT_H_
