// SPDX-License-Identifier: Apache-2.0
//
// Variables of this process's environment. Not beside other threads that read them.
#ifndef WVAD_SUPPORT_ENVIRONMENT_H_
#define WVAD_SUPPORT_ENVIRONMENT_H_

#include <cstdlib>
#include <string>

namespace TSEG::testing_support {

inline void SetVariable(const std::string& name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), value.c_str());
#else
  ::setenv(name.c_str(), value.c_str(), 1);
#endif
}

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_ENVIRONMENT_H_
