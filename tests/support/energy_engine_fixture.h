// SPDX-License-Identifier: Apache-2.0
//
// EnergyEngineTest: an EngineTest on the model in which the energy floor alone decides.
#ifndef WVAD_SUPPORT_ENERGY_ENGINE_FIXTURE_H_
#define WVAD_SUPPORT_ENERGY_ENGINE_FIXTURE_H_

#include <string>

#include "support/energy_model.h"
#include "support/engine_fixture.h"

namespace TSEG::testing_support {

class EnergyEngineTest : public EngineTest {
 protected:
  // Writes the model and a configuration that names it, with `extra` entries in the section "vad".
  void ConfigureEnergy(const std::string& extra = "") {
    modelfile::WriteFileBytes(folder_.file("energy.bin"), modelfile::WriteModel(EnergyModel()));
    Configure(folder_.file("energy.bin"), extra);
  }

  // The same, and the engine up with an instance in inst_.
  void UpEnergy(const std::string& extra = "") {
    ConfigureEnergy(extra);
    ASSERT_EQ(wVadInitialize(nullptr), 0) << Log();
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
  }
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_ENERGY_ENGINE_FIXTURE_H_
