// SPDX-License-Identifier: Apache-2.0
// Gain control behind the post-filters of G.729 Annex A and AMR, over subframes of 40 samples
// (ITU-T G.729 §A.4.2.4, TS 26.090 §6.2.2).
#pragma once

#include "qolsc/types.h"

namespace qolsc {

/// Doubled energy of a quarter of the signal, saturated.
Qol32s quarterEnergy40(const Qol16s* x);

/// A tenth of the square root of in/out, Q12.
Qol16s ownCalcG0_G729A_16s(Qol32s out, Qol32s in);

/// g = 0.9 g + target, y = x g. The gain is an unsigned word.
void ownCalcGain_G729A_16s(Qol16s target, Qol16s* x, Qol16s* pGain);

} // namespace qolsc
