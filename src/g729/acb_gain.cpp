// SPDX-License-Identifier: Apache-2.0
// Gain of the adaptive codebook and its contribution to the target (G.729 3.7.3, 3.8.1).
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/pitch.h"
#include "numeric/helpers.h"

namespace qolsc {

namespace {
constexpr Qol32s kDoubleLimit = 0x3FFFFFFF;
constexpr Qol16s kMostGain_Q14 = 19661; // 1.2
} // namespace

Qol16s normalisedWord(Qol32s value, int n) { return basop::round_fx(basop::L_shl(value, n)); }

Qol16s _qolsComputeAdaptiveCodebookGain_16s(const Qol16s* x, const Qol16s* y, GainWords* words) {
    Qol64s yy = energyExact(y, kSubframe), xy = dotExact(x, y, kSubframe);
    const bool energyOver = yy >= kDoubleLimit;
    const bool correlationOver = xy >= kDoubleLimit || xy < -kDoubleLimit;
    if (energyOver || correlationOver) {
        Qol16s quarter[kSubframe];
        for (int i = 0; i < kSubframe; ++i) {
            quarter[i] = static_cast<Qol16s>(y[i] >> 2);
        }
        yy = energyOver ? energyExact(quarter, kSubframe) : yy;
        xy = correlationOver ? dotExact(x, quarter, kSubframe) : xy;
    }
    const Qol32s energy = saturate32(2 * yy + 1), correlation = saturate32(2 * xy);
    const int yyNorm = norm(energy), xyNorm = norm(correlation);
    words->yy = normalisedWord(energy, yyNorm);
    words->xy = normalisedWord(correlation, xyNorm);
    words->yyExp = static_cast<Qol16s>(yyNorm - (energyOver ? 4 : 0));
    words->xyExp = static_cast<Qol16s>(xyNorm - (correlationOver ? 2 : 0));
    if (words->xy < 4) {
        return 0;
    }
    const Qol16s ratio =
        words->yy > 0 ? saturate16((words->xy & ~1) * 16384 / words->yy) : basop::MAX_16;
    const Qol16s gain = basop::shr(ratio, words->xyExp - words->yyExp);
    return gain > kMostGain_Q14 ? kMostGain_Q14 : gain;
}

QolStatus qolsAdaptiveCodebookGain_G729_16s(const Qol16s* pSrcAdptTarget,
                                            const Qol16s* pSrcImpulseResponse,
                                            const Qol16s* pSrcAdptVector, Qol16s* pDstFltAdptVector,
                                            Qol16s* pResultAdptGain) noexcept {
    if (anyNull(pSrcAdptTarget, pSrcImpulseResponse, pSrcAdptVector, pDstFltAdptVector,
                pResultAdptGain)) {
        return qolStsNullPtrErr;
    }
    qolsc::qolsConvPartial_16s_Sfs(pSrcAdptVector, pSrcImpulseResponse, pDstFltAdptVector,
                                   kSubframe, 12);
    GainWords words;
    *pResultAdptGain =
        _qolsComputeAdaptiveCodebookGain_16s(pSrcAdptTarget, pDstFltAdptVector, &words);
    return qolStsNoErr;
}

QolStatus qolsAdaptiveCodebookGain_G729A_16s(const Qol16s* pSrcAdptTarget, const Qol16s* pSrcLPC,
                                             const Qol16s* pSrcAdptVector,
                                             Qol16s* pDstFltAdptVector,
                                             Qol16s* pResultAdptGain) noexcept {
    if (anyNull(pSrcAdptTarget, pSrcLPC, pSrcAdptVector, pDstFltAdptVector, pResultAdptGain)) {
        return qolStsNullPtrErr;
    }
    constexpr Qol16s kNoMemory[10] = {};
    qolsc::qolsSynthesisFilter_NR_16s_Sfs(pSrcLPC, pSrcAdptVector, pDstFltAdptVector, kSubframe, 12,
                                          kNoMemory);
    GainWords words;
    *pResultAdptGain =
        _qolsComputeAdaptiveCodebookGain_16s(pSrcAdptTarget, pDstFltAdptVector, &words);
    return qolStsNoErr;
}

QolStatus qolsAdaptiveCodebookContribution_G729_16s(Qol16s valGain, const Qol16s* pFltAdptVector,
                                                    const Qol16s* pSrcAdptTarget,
                                                    Qol16s* pDstAdptContribution) noexcept {
    if (anyNull(pFltAdptVector, pSrcAdptTarget, pDstAdptContribution)) {
        return qolStsNullPtrErr;
    }
    for (int i = 0; i < kSubframe; ++i) {
        pDstAdptContribution[i] = wrap16(pSrcAdptTarget[i] - ((pFltAdptVector[i] * valGain) >> 14));
    }
    return qolStsNoErr;
}

QolStatus qolsAdaptiveCodebookContribution_G729_32f(Qol32f valGain, const Qol32f* pFltAdptVector,
                                                    const Qol32f* pSrcAdptTarget,
                                                    Qol32f* pDstAdptContribution) noexcept {
    if (anyNull(pFltAdptVector, pSrcAdptTarget, pDstAdptContribution)) {
        return qolStsNullPtrErr;
    }
    for (int i = 0; i < kSubframe; ++i) {
        pDstAdptContribution[i] = pSrcAdptTarget[i] - valGain * pFltAdptVector[i];
    }
    return qolStsNoErr;
}

QolStatus qolsFilteredExcitation_G729_32f(const Qol32f* pSrc, Qol32f* pSrcDst, int len,
                                          Qol32f val) noexcept {
    if (anyNull(pSrc, pSrcDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    for (int i = len - 1; i > 0; --i) {
        pSrcDst[i] = pSrcDst[i - 1] + val * pSrc[i];
    }
    pSrcDst[0] = val * pSrc[0];
    return qolStsNoErr;
}

} // namespace qolsc
