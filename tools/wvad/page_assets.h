// SPDX-License-Identifier: Apache-2.0
//
// The files of tools/wvad/page as the build has put them into the program.
#ifndef WVAD_WVAD_PAGE_ASSETS_H_
#define WVAD_WVAD_PAGE_ASSETS_H_

#include <string_view>

namespace TSEG::tool {

extern const std::string_view kPageFrame;   // page.html, with {{title}}, {{style}}, {{data}} and {{script}} where those belong
extern const std::string_view kPageStyle;   // page.css
extern const std::string_view kPageScript;  // the scripts, one behind the other

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PAGE_ASSETS_H_
