// SPDX-License-Identifier: Apache-2.0
// Choice between forward and backward LP filters in the encoder of G.729 Annex E (E.3.2.7).
#pragma once

#include "codecs/g729/backward.h"

namespace qolsc::tools::g729 {

/// What the choice looks at; energies in powers of ten, Q11.
struct ModeMeasures {
    Qol16s energy;               ///< of the frame
    Qol16s backward;             ///< prediction gain of the backward filter over the frame
    Qol16s interpolatedBackward; ///< of the two interpolated backward filters
    Qol16s forward;              ///< of the forward filter of the frame's end, not quantised
    Qol32s lspChange;            ///< doubled squared distance to the last frame's LSP
};

struct ModeState {
    int stationarity = 10000; ///< 0 to 32000; from 13000 on backward frames are allowed
    int run = 0;              ///< backward frames in a row
    bool last = false;
};

/// Power of ten of 1 plus the energy of count samples, Q11.
Qol16s logEnergy(const Qol16s* x, int count);

/// True for a backward frame. Counts it in b.
bool chooseBackward(ModeState& s, Backward& b, const ModeMeasures& m);

} // namespace qolsc::tools::g729
