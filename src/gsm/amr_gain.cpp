// SPDX-License-Identifier: Apache-2.0
// Adaptive-codebook gain of AMR. 3GPP TS 26.090 §5.6.2.
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_rates.h"
#include "numeric/basop.h"

namespace qolsc {

namespace {

using namespace basop;
using amr::kSubframe;

constexpr Qol16s kMostGain_Q14 = 19661; // 1.2

/// Rounded mantissa and count of left shifts of a 32-bit sum.
struct Word {
    Qol16s mantissa;
    int shifts;
};
Word wordOf(Qol32s s, int drop) {
    const int n = norm_l(s);
    return {round_fx(L_shl(s, n)), n - drop};
}

// 1 + 2 <x, y>, saturating after every product; false where it had to.
bool correlate(const Qol16s* x, const Qol16s* y, Qol32s* pSum) {
    Qol64s s = 1;
    bool fits = true;
    for (int i = 0; i < kSubframe; ++i) {
        s += 2 * x[i] * Qol64s{y[i]};
        fits = fits && s == static_cast<Qol32s>(s);
    }
    *pSum = saturate32(s);
    return fits;
}

Qol16s gainOf(const Qol16s* pTarget, const Qol16s* pFltVec, Qol16s* pCoeffs) {
    Qol16s quarter[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        quarter[i] = static_cast<Qol16s>(pFltVec[i] >> 2);
    }
    const Qol64s energy = energyExact(pFltVec, kSubframe);
    const bool loud = energy >= 0x3FFFFFFF;
    const Word yy =
        wordOf(saturate32(2 * (loud ? energyExact(quarter, kSubframe) : energy) + 1), loud ? 4 : 0);
    Qol32s correlation;
    const bool fits = correlate(pTarget, pFltVec, &correlation);
    if (!fits) {
        correlate(pTarget, quarter, &correlation);
    }
    const Word xy = wordOf(correlation, fits ? 0 : 2);
    pCoeffs[0] = yy.mantissa;
    pCoeffs[1] = static_cast<Qol16s>(15 - yy.shifts);
    pCoeffs[2] = xy.mantissa;
    pCoeffs[3] = static_cast<Qol16s>(15 - xy.shifts);
    if (xy.mantissa < 4) {
        return 0;
    }
    const Qol16s ratio = div_s(static_cast<Qol16s>(xy.mantissa >> 1), yy.mantissa);
    const Qol16s gain = shr(ratio, xy.shifts - yy.shifts);
    return gain > kMostGain_Q14 ? kMostGain_Q14 : gain;
}

} // namespace

QolStatus qolsAdaptiveCodebookGain_GSMAMR_16s(const Qol16s* pTarget, const Qol16s* pFltVec,
                                              Qol16s* pGain) noexcept {
    if (anyNull(pTarget, pFltVec, pGain)) {
        return qolStsNullPtrErr;
    }
    Qol16s coeffs[4];
    *pGain = gainOf(pTarget, pFltVec, coeffs);
    return qolStsNoErr;
}

QolStatus qolsAdaptiveCodebookGainCoeffs_GSMAMR_16s(const Qol16s* pTarget, const Qol16s* pFltVec,
                                                    Qol16s* pGain, Qol16s* pCoeffs) noexcept {
    if (anyNull(pTarget, pFltVec, pGain, pCoeffs)) {
        return qolStsNullPtrErr;
    }
    *pGain = gainOf(pTarget, pFltVec, pCoeffs);
    return qolStsNoErr;
}

} // namespace qolsc
