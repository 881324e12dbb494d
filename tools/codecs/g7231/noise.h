// SPDX-License-Identifier: Apache-2.0
// Comfort noise of G.723.1 Annex A, shared by encoder and decoder, and the recursion of its
// filters.
#pragma once

#include "codecs/g7231/frame.h"

namespace qolsc::tools::g7231 {

inline constexpr Qol16s kNoiseSeed = 12345;

/// Predictor of an autocorrelation (11 words), Q13; the error is left in the record too. G.723.1
/// 2.4.
struct Solution {
    Vector10 predictor;
    Qol16s error;
    Qol16s second; ///< second reflection coefficient, 32767 when the recursion stopped early
};
Solution solve(const Qol16s* correlation);

/// Index of an energy, 0 to 63, and its gain. G.723.1 A.4.3, A.4.4.
int quantiseNoiseGain(Qol32s energy);
Qol16s decodeNoiseGain(int index);
/// Energy of up to three frames: values and shifts, newest first.
Qol32s meanEnergy(const Qol16s* energies, const Qol16s* shifts, int count);

/// A frame of noise excitation behind the history (145, moved on); the fields tell what was drawn.
void noiseExcitation(Qol16s gain, Qol16s& seed, Qol16s* past, Fields& fields, Qol16s* excitation);

} // namespace qolsc::tools::g7231
