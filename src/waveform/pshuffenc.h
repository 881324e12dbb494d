// SPDX-License-Identifier: Apache-2.0
// The scalar quantiser of a G.722.1 region (ITU-T G.722.1 clause 3.5).
#pragma once

#include "qolsc/types.h"

namespace qolsc {

inline constexpr int kRegion = 20; ///< coefficients of a region

/// Inverse step size over the region's standard deviation, in two parts (Q13 and two bits more),
/// and the rounding offset likewise.
struct HuffmanStep {
    Qol16s lo, hi;
    Qol16s offsetLo, offset;
};
HuffmanStep huffmanStep(int category, int rmsIndex);

/// Quantised magnitude of one coefficient, not limited to the category's greatest bin: the
/// definition.
Qol16s ownPreHuffman_16s(Qol16s x, const HuffmanStep& step);

/// The bins of a region, limited to maxBin.
void quantiseRegion(const Qol16s* pSrc, const HuffmanStep& step, int maxBin, Qol16s* pBins);

} // namespace qolsc
