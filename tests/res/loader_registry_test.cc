// SPDX-License-Identifier: Apache-2.0
#include "res/loader_registry.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "res/res_loader.h"
#include "res/res_mgr.h"

namespace TSEG {
namespace {

TEST(LoaderRegistry, SweepsWhatIsSharedThroughALoaderOfItsCategory) {
  static int released = 0;
  struct Counting : ResLoader {
    using ResLoader::load;
    using ResLoader::ResLoader;
    int load(IRes*, const void*, uint64_t, const WREC_RES_SET&, IRes* const*, int) override { return 0; }
    void Delete(IRes* res) override {
      ++released;
      delete res;
    }
    IRes* CreateRes(const WREC_RES_SET& key, const char* path) override { return new Res(key, path); }
  };
  {
    LoaderRegistry registry;
    registry.set(16, std::make_unique<ConcreateResLoaderCreate<Counting>>());
    const WREC_RES_SET key = {1, "APT"};
    auto* res = new Res(key, "path");
    registry.share("label", res);
    EXPECT_EQ(registry.find_shared("label"), res);
    EXPECT_EQ(registry.find_shared("other"), nullptr);
    EXPECT_EQ(registry.find(4), nullptr);
  }
  EXPECT_EQ(released, 1);
}

TEST(ResCategory, NumbersTheNamesInOrder) {
  EXPECT_EQ(ResCategory("HMM_8K"), 0);
  EXPECT_EQ(ResCategory("MLP"), 4);
  EXPECT_EQ(ResCategory("WFST"), 5);
  EXPECT_EQ(ResCategory("LM"), 6);
  EXPECT_EQ(ResCategory("HMM_8KTele"), 10);
  EXPECT_EQ(ResCategory("ORVAFST"), 15);
  EXPECT_EQ(ResCategory("IVEC"), 17);
  EXPECT_EQ(ResCategory("WORDS_TRIE"), 25);
  EXPECT_EQ(ResCategory("FSA"), 32);
  EXPECT_EQ(ResCategory("mlp"), std::nullopt);
  EXPECT_EQ(ResCategory(""), std::nullopt);
}

}  // namespace
}  // namespace TSEG
