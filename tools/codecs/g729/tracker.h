// SPDX-License-Identifier: Apache-2.0
// Pitch tracker of the Annex E decoder: keeps the lag that a lost frame repeats clear of multiples
// and sub-multiples of a steady pitch.
#pragma once

#include "codecs/g729/bits.h"

namespace qolsc::tools::g729 {

struct PitchTracker {
    int previous = 30;
    int steadiness = 0; ///< 0 to 7
    Lag steady{60, 0};
};

/// The lag to be repeated after one that was received.
Lag track(PitchTracker& tracker, Lag lag);

} // namespace qolsc::tools::g729
