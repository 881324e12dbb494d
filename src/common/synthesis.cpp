// SPDX-License-Identifier: Apache-2.0
// Synthesis filter 1/A(z) of order 10 (ITU-T G.729 §4.1.6, TS 26.090 §6.1) with the standards'
// rounding, and its impulse response.
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"

#include <algorithm>

namespace qolsc {

namespace {

constexpr int kOrder = 10;

/// How an output outside 16 bits is met: kept by its low bits, or saturated and reported.
enum class Overflow { wrap, saturate };

/// The definition, one sample after the other; true when a sample was saturated. y: the output,
/// kOrder outputs before it.
template <Overflow mode>
bool recursePlain(const Qol16s* a, const Qol16s* x, Qol16s* y, int len, int s) {
    bool saturated = false;
    for (int n = 0; n < len; ++n) {
        Qol32u acc = static_cast<Qol32u>(Qol32s{a[0]} * x[n]) + (Qol32u{1} << (s - 1));
        for (int k = 1; k <= kOrder; ++k) {
            acc -= static_cast<Qol32u>(Qol32s{a[k]} * y[n - k]);
        }
        const Qol32s v = static_cast<Qol32s>(acc) >> s;
        y[n] = mode == Overflow::wrap ? wrap16(v) : saturate16(v);
        saturated |= mode == Overflow::saturate && y[n] != v;
    }
    return saturated;
}

template <Overflow mode>
bool synthesize(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst, int len, int s,
                const Qol16s* pMem) {
    constexpr int kBlock = 160;
    Qol16s y[kOrder + kBlock];
    if (pMem != nullptr) {
        std::copy_n(pMem, kOrder, y);
    } else {
        std::fill_n(y, kOrder, Qol16s{0});
    }
    bool saturated = false;
    for (int n = 0; n < len; n += kBlock) {
        const int count = std::min(kBlock, len - n);
        saturated |= recursePlain<mode>(pLPC, pSrc + n, y + kOrder, count, s);
        std::copy_n(y + kOrder, count, pDst + n);
        std::copy(y + count, y + count + kOrder, y);
    }
    return saturated;
}

constexpr bool knownScale(Qol32s scaleFactor) { return scaleFactor == 12 || scaleFactor == 13; }

} // namespace

void ownSynthesisFilterLP11_NoOvf_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst,
                                             int len, int scaleFactor, const Qol16s* pMem) {
    synthesize<Overflow::wrap>(pLPC, pSrc, pDst, len, scaleFactor, pMem);
}

void ownSynthesisFilterLP11_NoHis_NoOvf_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc,
                                                   Qol16s* pDst, int len, int scaleFactor) {
    synthesize<Overflow::wrap>(pLPC, pSrc, pDst, len, scaleFactor, nullptr);
}

bool ownSynthesisFilterLP11_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst,
                                       int len, int scaleFactor, const Qol16s* pMem) {
    return synthesize<Overflow::saturate>(pLPC, pSrc, pDst, len, scaleFactor, pMem);
}

QolStatus qolsSynthesisFilter_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst,
                                         Qol32s len, Qol32s scaleFactor,
                                         const Qol16s* pMem) noexcept {
    if (anyNull(pLPC, pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (!knownScale(scaleFactor)) {
        return qolStsScaleRangeErr;
    }
    if (pMem == nullptr) {
        ownSynthesisFilterLP11_NoHis_NoOvf_NR_16s_Sfs(pLPC, pSrc, pDst, len, scaleFactor);
        return qolStsNoErr;
    }
    return ownSynthesisFilterLP11_NR_16s_Sfs(pLPC, pSrc, pDst, len, scaleFactor, pMem)
               ? qolStsOverflow
               : qolStsNoErr;
}

QolStatus qolsSynthesisFilter_NR_16s_ISfs(const Qol16s* pLPC, Qol16s* pSrcDst, Qol32s len,
                                          Qol32s scaleFactor, const Qol16s* pMem) noexcept {
    if (anyNull(pLPC, pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    return qolsc::qolsSynthesisFilter_NR_16s_Sfs(pLPC, pSrcDst, pSrcDst, len, scaleFactor, pMem);
}

QolStatus qolsSynthesisFilterLow_NR_16s_ISfs(const Qol16s* pLPC, Qol16s* pSrcDst, Qol32s len,
                                             Qol32s scaleFactor, const Qol16s* pMem) noexcept {
    if (anyNull(pLPC, pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (!knownScale(scaleFactor)) {
        return qolStsScaleRangeErr;
    }
    ownSynthesisFilterLP11_NoOvf_NR_16s_Sfs(pLPC, pSrcDst, pSrcDst, len, scaleFactor, pMem);
    return qolStsNoErr;
}

QolStatus qolsSynthesisFilterZeroStateResponse_NR_16s(const Qol16s* pLPC, Qol16s* pDst, Qol32s len,
                                                      Qol32s scaleFactor) noexcept {
    if (anyNull(pLPC, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (!knownScale(scaleFactor)) {
        return qolStsScaleRangeErr;
    }
    // The first output is a[0] itself, not its product with an impulse; behind it the filter runs
    // on a zero source.
    Qol16s memory[kOrder] = {};
    memory[kOrder - 1] = pDst[0] = pLPC[0];
    std::fill_n(pDst + 1, len - 1, Qol16s{0});
    ownSynthesisFilterLP11_NoOvf_NR_16s_Sfs(pLPC, pDst + 1, pDst + 1, len - 1, scaleFactor, memory);
    return qolStsNoErr;
}

} // namespace qolsc
