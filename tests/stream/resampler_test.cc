// SPDX-License-Identifier: Apache-2.0
//
// What a client is told where the library behind the resampler fails. This program stands between the two: its soxr_create and soxr_process
// are found before those of the shared library, and hand on to them but where a test lets them fail.
#include <dlfcn.h>
#include <soxr.h>

#include <string>
#include <vector>

#include "stream/signals.h"

namespace {

const char* create_fails = nullptr;   // with these words
const char* process_fails = nullptr;  // from now on

template <typename Function>
Function* Behind(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) soxr_t soxr_create(double from, double to, unsigned channels, soxr_error_t* error,
                                                                     const soxr_io_spec_t* io, const soxr_quality_spec_t* quality,
                                                                     const soxr_runtime_spec_t* runtime) {
  if (create_fails == nullptr) return Behind(soxr_create, "soxr_create")(from, to, channels, error, io, quality, runtime);
  *error = create_fails;
  return nullptr;
}

extern "C" __attribute__((visibility("default"))) soxr_error_t soxr_process(soxr_t filter, soxr_in_t in, size_t n_in, size_t* taken,
                                                                            soxr_out_t out, size_t room, size_t* made) {
  if (process_fails == nullptr) return Behind(soxr_process, "soxr_process")(filter, in, n_in, taken, out, room, made);
  *taken = n_in;
  *made = 0;
  return process_fails;
}

namespace TSEG::stream::testing {
namespace {

class FailingResampler : public ::testing::Test {
 protected:
  ~FailingResampler() override { create_fails = process_fails = nullptr; }
  wvad_status Open() {
    const wvad_stream_options options = Options(8000);
    const wvad_status status = wvad_stream_open(model_.get(), &options, nullptr, &stream_);
    EXPECT_EQ(stream_ != nullptr, status == WVAD_OK);
    return status;
  }
  void TearDown() override { EXPECT_EQ(wvad_stream_close(&stream_), WVAD_OK); }
  const std::string Words() const { return wvad_last_error(); }

  Model model_;
  wvad_stream* stream_ = nullptr;
  const std::vector<int16_t> second_ = std::vector<int16_t>(8000);
};

TEST_F(FailingResampler, WithoutMemoryForAFilterNoStreamIsOpened) {
  for (const char* words : {"malloc failed", "out of memory"}) {
    create_fails = words;
    EXPECT_EQ(Open(), WVAD_E_MEMORY) << words;
    EXPECT_EQ(Words(), "memory is exhausted");
  }
}

TEST_F(FailingResampler, RateThatItRefusesIsAFormatThatCannotBeServed) {
  create_fails = "no such rate";
  EXPECT_EQ(Open(), WVAD_E_FORMAT);
  EXPECT_EQ(Words(), "no resampling from 8000 to 16000 Hz: no such rate");
}

TEST_F(FailingResampler, StreamBreaksOffWhereTheFilterFailsWithinAPush) {
  ASSERT_EQ(Open(), WVAD_OK);
  ASSERT_EQ(wvad_stream_push(stream_, second_.data(), 16000), WVAD_OK);
  process_fails = "it is broken";
  EXPECT_EQ(wvad_stream_push(stream_, second_.data(), 16000), WVAD_E_INTERNAL);
  EXPECT_EQ(Words(), "resampling failed: it is broken");
  process_fails = nullptr;
  EXPECT_EQ(wvad_stream_push(stream_, second_.data(), 16000), WVAD_E_INTERNAL);
  EXPECT_EQ(Words(), "the stream broke off in an earlier call; close or reset it");
  EXPECT_EQ(wvad_stream_reset(stream_), WVAD_OK);
  EXPECT_EQ(wvad_stream_push(stream_, second_.data(), 16000), WVAD_OK);
}

TEST_F(FailingResampler, StreamBreaksOffWhereTheFilterFailsAtTheEnd) {
  ASSERT_EQ(Open(), WVAD_OK);
  process_fails = "it is broken";
  EXPECT_EQ(wvad_stream_finish(stream_), WVAD_E_INTERNAL);
  EXPECT_EQ(Words(), "resampling failed: it is broken");
}

}  // namespace
}  // namespace TSEG::stream::testing
