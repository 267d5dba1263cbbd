// SPDX-License-Identifier: Apache-2.0
//
// What somebody who mistyped a name is likely to have meant.
#ifndef WVAD_WVAD_DID_YOU_MEAN_H_
#define WVAD_WVAD_DID_YOU_MEAN_H_

#include <string>
#include <vector>

namespace TSEG::tool {

// How many letters have to be put in, left out, changed or swapped with their neighbour to make one of the other.
size_t Distance(const std::string& one, const std::string& other);

// " (did you mean X?)" with the nearest of the names, if it is near enough: one letter off, or two for names of six letters and more. Names
// that the word begins, such as "--inc", count as near. Empty otherwise.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& names);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_DID_YOU_MEAN_H_
