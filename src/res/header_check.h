// SPDX-License-Identifier: Apache-2.0
//
// What has to hold of a model header before anybody reads a variable through it, and the one refusal of a model that is cut short or does
// not fit together.
//
// Every extent is compared with the bytes that are there, in 64 bits and without overflow, before anything is read by it.
#ifndef WVAD_RES_HEADER_CHECK_H_
#define WVAD_RES_HEADER_CHECK_H_

#include <string>

#include "res/model_format.h"

namespace TSEG {

// What is wrong with the variables, in words; empty if nothing is. A data type that is not known, and that others depend on, is also told
// to the log as var_offset would. The table of keys is no part of it: lookups there stay inside of it whatever it holds.
template <class Image>
std::string FindFlaw(const MlpResFileHeader<Image>& header);
// What is wrong with the table of keys, for those who take all of its rows as texts.
template <class Image>
std::string FindKeyFlaw(const MlpResFileHeader<Image>& header);
extern template std::string FindFlaw(const MlpResFileHeaderV1& header);
extern template std::string FindFlaw(const MlpResFileHeaderV2& header);
extern template std::string FindFlaw(const MlpResFileHeaderV3& header);
extern template std::string FindKeyFlaw(const MlpResFileHeaderV1& header);
extern template std::string FindKeyFlaw(const MlpResFileHeaderV2& header);
extern template std::string FindKeyFlaw(const MlpResFileHeaderV3& header);

// Reports `what` and gives 30002.
int RefuseModel(const std::string& what);

}  // namespace TSEG

#endif  // WVAD_RES_HEADER_CHECK_H_
