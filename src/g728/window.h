// SPDX-License-Identifier: Apache-2.0
// Kernels of the hybrid window: the definition, and the one for spans of the standard's lengths.
#pragma once

#include "g728/g728.h"

namespace qolsc::g728 {

/// The history as the window sees it: oldest sample first, the table newest first.
struct HybridSpan {
    const Qol16s* samples;
    const Qol16s* window;
    int length;
    int shift;               ///< common exponent: the left shift, or the smallest block exponent
    const Qol16s* exponents; ///< one for each block; null when there are none
    int block, blocks;
};

/// Recursive update and output (order + 1) by the definition, for any order and lengths.
void ownHybridPlain_G728(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst);

/// The same with lags in lanes; false, with nothing done, for spans below 8 or above 112 samples,
/// orders above 51 and mantissas of blocks above 14 bits.
bool ownHybridFast_G728(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst);

} // namespace qolsc::g728
