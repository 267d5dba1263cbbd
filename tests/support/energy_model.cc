// SPDX-License-Identifier: Apache-2.0
//
// wvad-energy-model FILE RATE: writes the model that calls every frame speech, so that the energy floor alone tells speech from silence and
// what the engine finds in a made signal can be worked out by hand, for sessions of RATE Hz.
#include "support/energy_model.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    TSEG::modelfile::WriteFileBytes(argv[1], TSEG::modelfile::WriteModel(TSEG::testing_support::EnergyModel(std::atoi(argv[2]))));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
