// SPDX-License-Identifier: Apache-2.0
//
// What the benchmarks share: speech with pauses, an engine that is up on a given model without a log, and clocks of processor time, which
// other programs on the machine disturb less than they do the clock on the wall.
#ifndef WVAD_BENCH_BENCH_SUPPORT_H_
#define WVAD_BENCH_BENCH_SUPPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "wvad.h"

namespace TSEG::bench {

// `seconds` of 16-bit audio at 16000 Hz: a reading with its pauses, again and again. Real speech, since the networks take nothing else for
// it, and what becomes of a frame behind the network depends on that. Exits with a line where the recording cannot be read.
std::vector<int16_t> SpeechAudio(int seconds);

// Brings the engine up on the model file `path` with its log off, by a configuration in a temporary folder. Exits with a line on failure.
// Gives the seconds of processor time that wVadInitialize took.
double BringUp(const std::string& path);

// A started instance that neither the tail nor a missing first sentence ends, giving PCM to its reader.
WVADInst StartInstance();

// Writes `n` samples and, with `read`, reads until nothing is left. Exits with a line on an error code.
void WriteAndRead(WVADInst inst, const int16_t* samples, size_t n, bool read);

// Processor time of this thread and of the whole process, in seconds.
double ThreadSeconds();
double ProcessSeconds();

// Peak memory of this process so far, in bytes.
uint64_t PeakMemory();
// Memory that this process holds now, in bytes.
uint64_t CurrentMemory();

}  // namespace TSEG::bench

#endif  // WVAD_BENCH_BENCH_SUPPORT_H_
