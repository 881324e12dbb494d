// SPDX-License-Identifier: Apache-2.0
// What the adaptive-codebook search, its gain and the gain quantiser share (G.729 3.4, 3.7).
#pragma once

#include "qolsc/types.h"

namespace qolsc {

inline constexpr int kSubframe = 40;
inline constexpr int kPastExcitation = 154;
inline constexpr int kMinLag = 20, kMaxLag = 143;

/// Normalised 16-bit words and left shifts of the energy 2 <y,y> + 1 and of the correlation 2
/// <x,y>.
struct GainWords {
    Qol16s yy, yyExp;
    Qol16s xy, xyExp;
};

/// Gain of the filtered adaptive vector y against the target x, Q14, 0 to 19661.
Qol16s _qolsComputeAdaptiveCodebookGain_16s(const Qol16s* x, const Qol16s* y, GainWords* words);

/// Upper word of a 32-bit value rounded, after n left shifts that normalise it.
Qol16s normalisedWord(Qol32s value, int n);

/// Adaptive vector of 40 samples at exc from the samples before it; integer lag 18 to 144, fraction
/// -1 to 1.
void ownAdaptiveCodebookVector_G729_16s(Qol16s* exc, int lag, int fraction);

} // namespace qolsc
