// SPDX-License-Identifier: Apache-2.0
// What the filter-bank voice activity detectors have in common: AMR option 1 (TS 26.094 3.3, nine
// bands) and AMR-WB (TS 26.194 3.3, twelve bands). All-pass sections of the band tree, levels,
// signal-to-noise sum and the background estimate.
#pragma once

#include "numeric/basop.h"

namespace qolsc {

inline constexpr Qol16s kVadCoeff5First = 21955; // Q15, branches of the fifth-order section
inline constexpr Qol16s kVadCoeff5Second = 6390;
inline constexpr Qol16s kVadCoeff3 = 13363; // third-order section

/// First-order all-pass; every step saturates.
constexpr Qol16s vadAllpass(Qol16s x, Qol16s coeff, Qol16s* pMem) {
    const Qol16s t = basop::sub(x, basop::mult(coeff, *pMem));
    const Qol16s y = basop::add(*pMem, basop::mult(coeff, t));
    *pMem = t;
    return y;
}

/// Fifth-order half-band split of the pair (u, v): u becomes the low band, v the high band.
constexpr void vadFilter5(Qol16s* pLow, Qol16s* pHigh, Qol16s pMem[2]) {
    const int a = vadAllpass(*pLow, kVadCoeff5First, &pMem[0]),
              b = vadAllpass(*pHigh, kVadCoeff5Second, &pMem[1]);
    *pLow = static_cast<Qol16s>((a + b) >> 1);
    *pHigh = static_cast<Qol16s>((a - b) >> 1);
}

/// Third-order half-band split. The narrowband detector lets the difference wrap, the wideband one
/// saturates it; they part only beyond full scale.
template <bool Wraps>
constexpr void vadFilter3(Qol16s* pLow, Qol16s* pHigh, Qol16s* pMem) {
    const int difference = *pHigh - basop::mult(kVadCoeff3, *pMem);
    const Qol16s t = Wraps ? wrap16(difference) : saturate16(difference);
    const int sum = *pMem + basop::mult(kVadCoeff3, t);
    const int b = Wraps ? wrap16(sum) : saturate16(sum);
    const int u = *pLow;
    *pMem = t;
    *pHigh = static_cast<Qol16s>((u - b) >> 1);
    *pLow = static_cast<Qol16s>((u + b) >> 1);
}

/// Where a band's samples lie in the work buffer of the tree: start + i * step. The last
/// count2 - count1 of them are the frame's tail, which enters the next frame's level as well.
struct VadBand {
    int start;
    int step;
    int count1;
    int count2;
    int scale; ///< left shift of the sum before its upper half is taken
};

/// Levels of all bands; pSubLevel carries the tails from frame to frame.
void vadSignalLevels(const Qol16s* pTree, const VadBand* pBands, int bands, Qol16s* pSubLevel,
                     Qol16s* pLevel);

/// Twice the sum of the squared ratios level / background, saturating. shift: bits by which a
/// normalised quotient is brought down.
Qol32s vadSnrSum(const Qol16s* pLevel, const Qol16s* pBackground, int bands, int shift);

/// The caller's estimates, one value a band.
struct VadEstimates {
    Qol16s* bckrEst;
    Qol16s* aveLevel;
    Qol16s* oldLevel;
    Qol16s* statCount;
};

/// What the update of the background looks at; the wideband detector leaves the last three at 0.
struct VadIndicators {
    Qol16s vadReg;   ///< intermediate decisions, newest in bit 14
    Qol16s toneFlag; ///< tone register
    Qol16s pitchReg;
    Qol16s complexWarning;
    Qol16s complexHangCount;
};

/// Background estimate from the levels of the frame before, speed and direction by stationarity;
/// mostBackground is its upper limit (16000 narrowband, 20000 wideband).
void ownNoiseEstimateUpdate(const Qol16s* pLevel, int bands, Qol16s mostBackground,
                            const VadIndicators& indicators, const VadEstimates& estimates);

} // namespace qolsc
