// SPDX-License-Identifier: Apache-2.0
//
// A recording that can be read only once (a pipe, an address), kept in a temporary file while it is heard, for a second reading of the same
// samples.
#ifndef WVAD_WVAD_SPOOLED_SOURCE_H_
#define WVAD_WVAD_SPOOLED_SOURCE_H_

#include <memory>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/temporary_file.h"

namespace TSEG::tool {

class SampleSpool {
 public:
  // `name` is for messages. Throws Failure(kOutput) where no temporary file can be made.
  explicit SampleSpool(const std::string& name);

  // What passes `source` on and keeps all that is read of it. Its Read throws Failure(kOutput) where that finds no room. The spool outlives
  // it.
  std::unique_ptr<AudioSource> Keep(std::unique_ptr<AudioSource> source);
  // What was kept, from its begin.
  std::unique_ptr<AudioSource> Again() const;

 private:
  friend class KeepingSource;
  friend class KeptSource;

  TemporaryFile file_;
  int rate_hz_ = 0;
  int channels_ = 0;
  SampleDepth depth_ = SampleDepth::k16;
  int64_t frames_ = 0;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SPOOLED_SOURCE_H_
