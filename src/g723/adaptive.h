// SPDX-License-Identifier: Apache-2.0
// Closed-loop search of lag and gain vector: the pieces, and the plain forms that define them.
#pragma once

#include "g723/g723.h"

namespace qolsc::g723 {

/// Row limits of the two gain codebooks that keep the encoder's error in bounds. G.723.1 2.14.
struct RowLimits {
    int high; ///< of 85
    int low;  ///< of 170
};
RowLimits tamingLimits(int baseDelay, bool odd, const Qol32s* errHist, Qol16s sinDet);

/// Filtered versions of the five taps, F[4] first made. h[0] counts as 8192 for the taps 0 to 3.
void ownImpResponse_G723_16s(const Qol16s* z, const Qol16s* h, Qol16s filtered[kTaps][kSubframe]);

/// Scores of rows gain vectors of a codebook: 20 products each, summed with saturation.
void ownMulCdbkTbl20_D2D1_16s32s(const Qol16s* values, const Qol16s (*table)[kProducts], int rows,
                                 Qol32s* scores);
void ownScorePlain_G723(const Qol16s* values, const Qol16s (*table)[kProducts], int rows,
                        Qol32s* scores);

/// Rows whose magnitudes add up to 65536 or more: only their scores can leave 32 bits.
inline constexpr int kHeavyHigh[] = {70, 71};
inline constexpr int kHeavyLow[] = {136, 139, 154, 157, 158, 162, 169};

} // namespace qolsc::g723
