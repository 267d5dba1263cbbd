// SPDX-License-Identifier: Apache-2.0
//
// The built library, loaded as a host of plugins loads it.
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

TEST(StreamLibrary, StaysOnceItIsLoadedSoThatWhatFftwKeepsIsKeptOnce) {
  ASSERT_EQ(::dlopen(WVAD_STREAM_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it was there before the test";
  void* first = ::dlopen(WVAD_STREAM_LIBRARY, RTLD_NOW);
  ASSERT_NE(first, nullptr) << ::dlerror();
  ASSERT_NE(::dlsym(first, "wvad_stream_open"), nullptr);
  ::dlclose(first);
  void* again = ::dlopen(WVAD_STREAM_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again, first);
  ::dlclose(again);
}

}  // namespace
