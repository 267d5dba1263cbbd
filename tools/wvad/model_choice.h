// SPDX-License-Identifier: Apache-2.0
//
// Which of its forms a bundled model is taken in: NAME hears 16000 Hz, NAME_8k hears 8000 Hz, each as it was trained.
//
// A recording of 8000 Hz holds nothing above 4 kHz. Brought to 16000 Hz it would leave the upper bands of NAME empty, and cost twice the
// work.
#ifndef WVAD_WVAD_MODEL_CHOICE_H_
#define WVAD_WVAD_MODEL_CHOICE_H_

#include <string>
#include <vector>

#include "wvad/engine_options.h"
#include "wvad/input.h"

namespace TSEG::tool {

constexpr int kNarrowRate = 8000;
constexpr const char* kNarrowEnding = "_8k";

// The highest rate of what a run hears: what the settings ask of its sessions, if they do; else that of the recordings. Raw samples have
// the rate that was given for them, and so have a pipe and an address, which are heard only once; what cannot be opened has none, and is
// told later. 0 if nothing has a rate.
int RateOfRun(const EngineOptions& engine, const InputOptions& input);

// What --model stands for in that run: `engine.model`, or the name with kNarrowEnding where the rate is kNarrowRate at most, the model is
// asked for by its bare name, and there is such a model in the first folder that has either.
std::string ModelForRun(const EngineOptions& engine, const InputOptions& input);

// The same for engines that hear one recording side by side at one rate: all of them, or none.
void ChooseForms(std::vector<EngineOptions>& engines, const InputOptions& input);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MODEL_CHOICE_H_
