// SPDX-License-Identifier: Apache-2.0
// Multipulse search of 6.3 kbit/s: the placing of pulses, plain and by vectors.
#pragma once

#include "g723/g723.h"

namespace qolsc::g723 {

inline constexpr int kGridPlaces = 30, kMostPulses = 6;
/// Places padded to whole vectors.
inline constexpr int kPadded = 32;

/// What the pulses of one grid are placed by: correlation of response and target at the grid's
/// places, twice the autocorrelation of the response at even lags from -31 to 31.
struct PulseField {
    alignas(16) Qol32s correlation[kPadded];
    alignas(16) Qol32s response[2 * kPadded];
    Qol32s most; ///< largest magnitude of the correlation
    int place;   ///< the last place that has it
};

/// Places `pulses` pulses of that height, the first at the field's maximum, each further one at the
/// first largest magnitude that is left; places in 0..29, signed amplitudes.
void ownPlacePulsesPlain_G723(const PulseField& field, Qol16s level, int pulses, Qol16s* places,
                              Qol16s* amplitudes);
void ownQuantGain_G723_BestPulse(const PulseField& field, Qol16s level, int pulses, Qol16s* places,
                                 Qol16s* amplitudes);

/// Position code and sign mask of a vector of pulses on a grid (60), G.723.1 2.15.
struct PulseCode {
    Qol16s signs;
    Qol32s code;
};
PulseCode codePulses_G723(const Qol16s* vector, int grid, int pulses);

} // namespace qolsc::g723
