// SPDX-License-Identifier: Apache-2.0
//
// What every command tells of a recording beside its results.
#ifndef WVAD_WVAD_RECORDING_NOTE_H_
#define WVAD_WVAD_RECORDING_NOTE_H_

#include <string>

#include "wvad/input.h"

namespace TSEG::tool {

// What a listener should know of its samples and of what mixing does to them; empty for nothing. Call behind its end.
inline std::string NoteOf(const Input& input) {
  std::string note = input.note();
  if (input.phase().cancels()) note += (note.empty() ? "" : "; ") + PhaseNote(input.phase());
  return note;
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RECORDING_NOTE_H_
