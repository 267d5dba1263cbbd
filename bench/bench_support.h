// SPDX-License-Identifier: Apache-2.0
//
// What the benchmarks share: made-up audio that holds speech-like stretches and pauses, an engine that is up on a given model without a
// log, and clocks of processor time, which other programs on the machine disturb less than they do the clock on the wall.
#ifndef WVAD_BENCH_BENCH_SUPPORT_H_
#define WVAD_BENCH_BENCH_SUPPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "wvad.h"

namespace TSEG::bench {

// `seconds` of 16-bit audio at `rate_hz`: voiced stretches of 0.6 to 1.6 s with harmonics that move, pauses of noise between them. The same
// for the same arguments.
std::vector<int16_t> MakeAudio(int rate_hz, int seconds);

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
