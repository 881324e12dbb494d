// SPDX-License-Identifier: Apache-2.0
// Tools of a G.722 decoder around lost frames: class of the past signal, high-band filter,
// decimation (after ITU-T G.722 Appendix IV).
#include "entry/entries.h"
#include "numeric/basop.h"
#include "tables/g722.h"
#include "waveform/g722.h"

namespace qolsc {

namespace {

constexpr Qol32s kTransient = 2, kWeaklyVoiced = 3, kTransition = 4;

Qol16s max16(Qol16s a, Qol16s b) { return a > b ? a : b; }

/// Limits every element of the second period to the greatest of the five around its counterpart of
/// the first. The first period's end may be the second's changed beginning, so the order counts.
/// Returns how many stood out eightfold.
int limitOutliers(Qol16s* pSrcDst, int lag) {
    using basop::abs_s;
    int outliers = 0;
    for (int j = 0; j < lag; ++j) {
        Qol16s m = 0;
        for (int k = j - 2; k <= j + 2; ++k) {
            m = max16(m, abs_s(pSrcDst[k]));
        }
        Qol16s& x = pSrcDst[j + lag];
        const Qol16s t = abs_s(x);
        if (m < t) {
            outliers += m <= t >> 3 ? 1 : 0;
            x = static_cast<Qol16s>(x < 0 ? -m : m);
        }
    }
    return outliers;
}

} // namespace

QolStatus qolsClassifyFrame_G722_16s_I(Qol16s* pSrcDst, Qol32s lag, Qol32s* pClass,
                                       const QolsSBADPCMState_G722* pState) noexcept {
    if (anyNull(pSrcDst, pClass) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    const auto period = static_cast<Qol16u>(lag);
    if (period > 143) {
        return qolStsRangeErr;
    }
    const QolsSBADPCMState_G722& s = g722Record(pState);
    if (s.nbh > s.nbl) {
        *pClass = *pClass == 0 ? kWeaklyVoiced : kTransition;
    }
    if (*pClass != kWeaklyVoiced && *pClass != kTransition) {
        return qolStsNoErr;
    }
    if (limitOutliers(pSrcDst, period) > 0) {
        *pClass = kTransient;
    }
    return qolStsNoErr;
}

QolStatus qolsFilterHighband_G722_16s_I(Qol16s* pSrcDst, Qol32s len,
                                        QolsFilterHighbandMem_G722* pMem) noexcept {
    if (anyNull(pSrcDst) || anyNull(pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    const int count = len / 2 + len % 2;
    for (int k = 0; k < count; ++k) {
        Qol16s& x = pSrcDst[2 * k + 1];
        const auto a = static_cast<Qol16s>((x * tables::hb_coeff[0] + 16384) >> 15);
        const Qol16s b =
            wrap16(((pMem->lastOut * tables::hb_coeff[1] + 16384) >> 15) - pMem->lastScaled);
        pMem->lastScaled = a;
        x = pMem->lastOut = saturate16(a + b);
    }
    return qolStsNoErr;
}

QolStatus qolsDownsampleFilter_G722_16s(const Qol16s* pSrc, Qol32s len, Qol16s* pDst) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    for (int m = 0; m < len / 4; ++m) {
        // The coefficients sum to 67493 in Q16, a little more than 1: full scale saturates.
        Qol32s acc = 0;
        for (int k = 0; k < 9; ++k) {
            acc = basop::L_mac0(acc, tables::G722PLC_fir_lp[k], pSrc[4 * m + 3 - k]);
        }
        pDst[m] = basop::round_fx(acc);
    }
    return qolStsNoErr;
}

} // namespace qolsc
