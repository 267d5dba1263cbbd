// SPDX-License-Identifier: Apache-2.0
//
// The table of categories and the process-wide registry.
#include "res/loader_registry.h"

#include <cstring>

namespace TSEG {
namespace {

// In the order of their numbers. Only "MLP" has a loader; "WFST", "LM" and "ORVAFST" have rules of their own; the others are known by name.
constexpr const char* kCategories[] = {
    "HMM_8K",      "HMM_6K",       "HMM_16K",      "HMM_FB",         "MLP",        "WFST",       "LM",
    "LM_PERSONAL", "PERSONAL",     "PERSONALASNY", "HMM_8KTele",     "WFST_GRAM",  "RLM",        "RLMHIST",
    "SPEAKERCODE", "ORVAFST",      "APT",          "IVEC",           "MLP_ZORIN",  "WFST_PATCH", "WFST_PATCHASNY",
    "AC_DICT",     "LEXICON_DICT", "SERICOMB",     "SEMANTIC",       "WORDS_TRIE", "WORDSYMS",   "TRIPHONESYMS",
    "PHONESYMS",   "STATESYMS",    "PINYINSYMS",   "PHONE_DISTANCE", "FSA"};
static_assert(std::size(kCategories) == 33);

}  // namespace

std::optional<int> ResCategory(std::string_view name) {
  for (size_t i = 0; i < std::size(kCategories); ++i) {
    if (name == kCategories[i]) return static_cast<int>(i);
  }
  return std::nullopt;
}

LoaderRegistry& LoaderRegistry::instance() {
  static LoaderRegistry registry;
  return registry;
}

LoaderRegistry::~LoaderRegistry() {
  for (auto& [label, res] : shared_) {
    const char* type = res->GetResSet()->szResType;
    const std::optional<int> category = ResCategory(std::string_view(type, strnlen(type, sizeof res->GetResSet()->szResType)));
    ResLoaderCreater* creator = category ? find(*category) : nullptr;
    if (creator != nullptr) creator->create(nullptr)->Delete(res);
  }
}

ResLoaderCreater* LoaderRegistry::find(int category) const {
  const auto found = creators_.find(category);
  return found == creators_.end() ? nullptr : found->second.get();
}

IRes* LoaderRegistry::find_shared(const std::string& label) const {
  const auto found = shared_.find(label);
  return found == shared_.end() ? nullptr : found->second;
}

}  // namespace TSEG
