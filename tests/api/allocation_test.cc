// SPDX-License-Identifier: Apache-2.0
//
// Counts allocations while frames flow: there are none. Frame powers are kept while their sentence is open, and the frame pools take a
// block for each 2048 frames that wait unread; the counted stretch of 1500 frames lies between two steps of either. Sentence table and
// result texts grow at sentence ends, outside the count.
#include <atomic>
#include <cstdlib>
#include <new>

#include "session/tseg_inst.h"
#include "support/engine_fixture.h"

namespace {
std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};

void* Allocate(size_t bytes, size_t alignment) {
  if (g_counting) ++g_allocations;
  void* p = alignment <= alignof(std::max_align_t) ? std::malloc(bytes == 0 ? 1 : bytes)
                                                   : std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
}  // namespace

#if defined(__GNUC__) && !defined(__clang__)
// At low optimisation the compiler sees a pointer of operator new go to free, and not that both are replaced here.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(size_t bytes) { return Allocate(bytes, 0); }
void* operator new[](size_t bytes) { return Allocate(bytes, 0); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes, 0); }
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes, 0); }
void* operator new(size_t bytes, std::align_val_t alignment) { return Allocate(bytes, static_cast<size_t>(alignment)); }
void* operator new[](size_t bytes, std::align_val_t alignment) { return Allocate(bytes, static_cast<size_t>(alignment)); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { std::free(p); }

namespace TSEG::testing_support {
namespace {

class AllocationTest : public EngineTest {
 protected:
  void Feed(const std::vector<int16_t>& pcm, size_t from, size_t to) {
    for (size_t at = from; at < to; at += 320) {
      ASSERT_EQ(Write(pcm.data() + at, 320, WVAD_WRITE_CONTINUE), 0);
      WVadAudioSample read = {};
      ASSERT_EQ(wVadAudioRead(inst_, &read), 0);
    }
  }
};

TEST_F(AllocationTest, SteadyFramesAllocateNothing) {
  // Noise that a threshold below every score makes one long sentence, and one above every score makes silence.
  std::vector<int16_t> pcm(16000 * 40);
  uint32_t state = 1;
  for (int16_t& x : pcm) {
    state = state * 1664525u + 1013904223u;
    x = static_cast<int16_t>((state >> 16) % 2000);
  }
  for (const char* model : {"models/dnn.bin", "models/lstm75.bin", "models/lstm40.bin"}) {
    if (inst_ != nullptr) wVadDestroyInst(inst_);
    inst_ = nullptr;
    UpQuiet(model);
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
    for (const char* threshold : {"-1.0", "2.0"}) {
      ASSERT_EQ(Set("wvad_param_vad_threshold", threshold), 0);
      ASSERT_EQ(Set("wvad_param_nSpeechTimeOut", "1000000"), 0);
      ASSERT_EQ(Set("wvad_param_nResponseTimeOut", "1000000"), 0);
      ASSERT_EQ(wVadStart(inst_), 0);
      Feed(pcm, 0, 16000 * 25);
      g_allocations = 0;
      g_counting = true;
      Feed(pcm, 16000 * 25, pcm.size());
      g_counting = false;
      EXPECT_EQ(g_allocations, 0) << model << " at threshold " << threshold;
      ASSERT_EQ(wVadStop(inst_), 0);
    }
  }
}

}  // namespace
}  // namespace TSEG::testing_support
