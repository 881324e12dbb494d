// SPDX-License-Identifier: Apache-2.0
// Post-filter of the AMR decoder: formants, tilt, gain (3GPP TS 26.090 §6.2.1).
#include "common/common.h"
#include "common/gain_control.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_rates.h"
#include "qolsc/amr.h"
#include "tables/gsm_dtx.h"

#include <algorithm>

namespace qolsc {
namespace amr {
namespace {

constexpr int kTerms = kOrder + 1;
constexpr int kResponse = 22; // samples of the filter's response that tell its tilt
constexpr int kFrame = 160;
constexpr Qol32s kLoud = 0x3FFFFFFF; // energies from here on are taken of a quarter of the signal
constexpr int kTilt = 26214;         // 0.8, Q15

void weight(const Qol16s* pLpc, const Qol16s* gamma, Qol16s* weighted) {
    weighted[0] = pLpc[0];
    qolsc::qolsMul_NR_16s_Sfs(pLpc + 1, gamma, weighted + 1, kOrder, 15);
}

/// 0.8 r[1]/r[0] of the response of numerator over denominator, Q15, not below 0.
Qol16s tiltOf(const Qol16s* numerator, const Qol16s* denominator) {
    Qol16s h[kResponse] = {};
    std::copy_n(numerator, kTerms, h);
    qolsc::qolsSynthesisFilter_NR_16s_Sfs(denominator, h, h, kResponse, 12, nullptr);
    const Qol16s r0 = wrap16(saturate32(energyExact(h, kResponse)) >> 15);
    const Qol16s r1 = wrap16(saturate32(dotExact(h, h + 1, kResponse - 1)) >> 15);
    return r1 <= 0 ? Qol16s{0} : r0 <= 0 ? basop::MAX_16 : saturate16((r1 * kTilt & ~0x7FFF) / r0);
}

Qol32s energyOf(const Qol16s* x) {
    const Qol64s energy = energyExact(x, kSubframe);
    return energy < kLoud ? static_cast<Qol32s>(energy >> 3) : quarterEnergy40(x);
}

} // namespace
} // namespace amr

QolStatus qolsPostFilter_GSMAMR_16s(const Qol16s* pLpc, const Qol16s* pSrc, Qol16s* pPreempMem,
                                    Qol16s* pPrevGain, Qol16s* pHistory, Qol16s* pSynMem,
                                    Qol16s* pDst, Qol32s valRate) noexcept {
    using namespace amr;
    if (anyNull(pLpc, pSrc, pPreempMem, pPrevGain, pHistory, pSynMem, pDst)) {
        return qolStsNullPtrErr;
    }
    if (!isRate(valRate)) {
        return qolStsRangeErr;
    }
    const bool high = valRate == kRate102 || valRate == kRate122;
    const Qol16s* gammaNumerator = high ? tables::gamma3_MR122 : tables::gamma3;
    const Qol16s* gammaDenominator = high ? tables::gamma4_MR122 : tables::gamma3_MR122;
    Qol16s work[kOrder + kFrame];
    std::copy_n(pHistory, kOrder, work);
    std::copy_n(pSrc, kFrame, work + kOrder);
    for (int first = 0; first < kFrame; first += kSubframe, pLpc += kTerms) {
        const Qol16s* in = work + kOrder + first;
        Qol16s* out = pDst + first;
        Qol16s numerator[kTerms], denominator[kTerms], residual[kSubframe];
        weight(pLpc, gammaNumerator, numerator);
        weight(pLpc, gammaDenominator, denominator);
        qolsc::qolsResidualFilter_G729_16s(in, numerator, residual);
        qolsc::qolsPreemphasize_G729A_16s_I(tiltOf(numerator, denominator), residual, kSubframe,
                                            pPreempMem);
        qolsc::qolsSynthesisFilter_NR_16s_Sfs(denominator, residual, out, kSubframe, 12, pSynMem);
        std::copy_n(out + kSubframe - kOrder, kOrder, pSynMem);
        const Qol32s energy = energyOf(out);
        if (energy == 0) {
            *pPrevGain = 0;
        } else {
            ownCalcGain_G729A_16s(ownCalcG0_G729A_16s(energy, energyOf(in)), out, pPrevGain);
        }
    }
    std::copy_n(work + kFrame, kOrder, pHistory);
    return qolStsNoErr;
}

} // namespace qolsc
