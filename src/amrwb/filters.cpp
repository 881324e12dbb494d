// SPDX-License-Identifier: Apache-2.0
// Pre-emphasis, de-emphasis, LP synthesis and residual (TS 26.190 5.1, 5.3, 6.3), and the pitch
// enhancer's three-tap filter (6.1).
#include "amrwb/amrwb.h"

#include "vector/simd.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc {
namespace {

using namespace basop;

/// x[i] - c * (x[i-1] + x[i+1]) on samples widened to 32 bits, each product saturating.
constexpr Qol16s enhance(Qol16s before, Qol16s x, Qol16s behind, Qol16s c) {
    return round_fx(L_msu(L_msu(L_deposit_h(x), behind, c), before, c));
}

/// The bits 4..31 of a past output count: split as upper 16 and lower 12 bits with one cut of the
/// low products, which is one sum of 28 by 16 bits cut by 11.
constexpr Qol32s synthesisStep(Qol64s products, Qol16s excitation, Qol32s gain) {
    const Qol64s sum = -products * 2;
    return L_shl(saturate32((sum >> 12) + 2 * Qol64s{excitation} * gain), 3);
}

template <int Order>
void synthesis(const Qol16s* pSrcLPC, int order, const Qol16s* pSrc, Qol32s* pSrcDst, int len) {
    const int taps = Order != 0 ? Order : order;
    const Qol32s gain = pSrcLPC[0] >> 4;
    for (int n = 0; n < len; ++n) {
        Qol64s products = 0;
        for (int j = 1; j <= taps; ++j) {
            products += Qol64s{pSrcDst[n - j] >> 4} * pSrcLPC[j];
        }
        pSrcDst[n] = synthesisStep(products, pSrc[n], gain);
    }
}

void residualPlain(const Qol16s* pSrcLPC, int order, const Qol16s* pSrc, Qol16s* pDst, int len,
                   int scaleFactor) {
    for (int n = 0; n < len; ++n) {
        Qol64s sum = 0;
        for (int j = 0; j <= order; ++j) {
            sum += Qol64s{pSrcLPC[j]} * pSrc[n - j];
        }
        pDst[n] = scaleNear<Qol16s>(2 * sum, scaleFactor + 1);
    }
}

/// Order 16 and coefficients whose magnitudes sum to less than 65535: then 32 bits hold every
/// partial sum, and the rounding half (2^14 at most) as well. Four outputs at a time.
void residual_order16_len4(const Qol16s* pSrcLPC, const Qol16s* pSrc, Qol16s* pDst, int len,
                           int scaleFactor) {
    using namespace simd;
    // Pairs of coefficients, the higher index first since older samples come first in memory.
    i128 pairs[8];
    for (int k = 0; k < 8; ++k) {
        pairs[k] = splat32(static_cast<Qol32s>(static_cast<Qol16u>(pSrcLPC[2 * k + 1])) |
                           static_cast<Qol32s>(static_cast<Qol32u>(pSrcLPC[2 * k]) << 16));
    }
    const i128 last = splat32(static_cast<Qol16u>(pSrcLPC[16]));
    const i128 half = splat32(scaleFactor == 0 ? 0 : 1 << (scaleFactor - 1));
    for (int n = 0; n < len; n += 4) {
        const Qol16s* x = pSrc + n;
        i128 sum = maddPairs(widenLow(loadLow64(x - 16)), last);
        for (int k = 0; k < 8; ++k) {
            const i128 older = loadLow64(x - 2 * k - 1), newer = loadLow64(x - 2 * k);
            sum = add32(sum, maddPairs(_mm_unpacklo_epi16(older, newer), pairs[k]));
        }
        sum = _mm_sra_epi32(add32(sum, half), _mm_cvtsi32_si128(scaleFactor));
        storeLow64(pDst + n, packSat16(sum, sum));
    }
}

} // namespace

QolStatus qolsHighPassFilter_Direct_AMRWB_16s(const Qol16s* pCoeffs, const Qol16s* pSrc,
                                              Qol16s* pDst, Qol32s len, Qol32s valMode) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    const Qol16s c = pCoeffs[1];
    const Qol16s before = valMode == 0 ? Qol16s{0} : pSrc[-1],
                 behind = valMode == 0 ? Qol16s{0} : pSrc[len];
    for (int i = 0; i < len; ++i) {
        pDst[i] =
            enhance(i == 0 ? before : pSrc[i - 1], pSrc[i], i == len - 1 ? behind : pSrc[i + 1], c);
    }
    return qolStsNoErr;
}

QolStatus qolsPreemphasize_AMRWB_16s_ISfs(Qol16s val, Qol16s* pSrcDst, Qol32s len,
                                          Qol32s scaleFactor, Qol16s* pMem) noexcept {
    if (anyNull(pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (scaleFactor < 0 || scaleFactor > 15) {
        return qolStsScaleRangeErr;
    }
    const Qol16s last = pSrcDst[len - 1];
    for (int i = len - 1; i >= 0; --i) {
        const Qol16s before = i == 0 ? *pMem : pSrcDst[i - 1];
        pSrcDst[i] =
            scaleNear<Qol16s>(Qol64s{pSrcDst[i]} * 32768 - Qol32s{val} * before, scaleFactor + 1);
    }
    *pMem = last;
    return qolStsNoErr;
}

QolStatus qolsDeemphasize_AMRWB_NR_16s_I(Qol16s val, Qol16s* pSrcDst, Qol32s len,
                                         Qol16s* pMem) noexcept {
    if (anyNull(pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    Qol16s y = *pMem;
    for (int i = 0; i < len; ++i) {
        y = scaleNear<Qol16s>(Qol64s{pSrcDst[i]} * 16384 + Qol32s{y} * val, 15);
        pSrcDst[i] = y;
    }
    *pMem = y;
    return qolStsNoErr;
}

QolStatus qolsDeemphasize_AMRWB_32s16s(Qol16s val, const Qol32s* pSrc, Qol16s* pDst, Qol32s len,
                                       Qol16s* pMem) noexcept {
    if (anyNull(pSrc) || anyNull(pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    Qol16s y = *pMem;
    for (int i = 0; i < len; ++i) {
        const Qol64s x = saturate32(Qol64s{pSrc[i] & ~15} * 4);
        const Qol64s sum = std::clamp<Qol64s>(x + Qol32s{y} * val, -0x20000000, 0x20000000);
        y = round_fx(saturate32(sum * 4));
        pDst[i] = y;
    }
    *pMem = y;
    return qolStsNoErr;
}

QolStatus qolsSynthesisFilter_AMRWB_16s32s_I(const Qol16s* pSrcLPC, Qol32s order,
                                             const Qol16s* pSrc, Qol32s* pSrcDst,
                                             Qol32s len) noexcept {
    if (anyNull(pSrcLPC, pSrc) || anyNull(pSrcDst)) {
        return qolStsNullPtrErr;
    }
    if (order < 1 || len < 1) {
        return qolStsSizeErr;
    }
    if (order == 16) {
        synthesis<16>(pSrcLPC, order, pSrc, pSrcDst, len);
    } else {
        synthesis<0>(pSrcLPC, order, pSrc, pSrcDst, len);
    }
    return qolStsNoErr;
}

QolStatus qolsResidualFilter_AMRWB_16s_Sfs(const Qol16s* pSrcLPC, Qol32s order, const Qol16s* pSrc,
                                           Qol16s* pDst, Qol32s len, Qol32s scaleFactor) noexcept {
    if (anyNull(pSrcLPC, pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (order < 1 || len < 1 || order > len) {
        return qolStsSizeErr;
    }
    if (scaleFactor < 0 || scaleFactor > 15) {
        return qolStsScaleRangeErr;
    }
    int magnitude = 0;
    for (int j = 0; order == 16 && j <= 16; ++j) {
        magnitude += std::abs(pSrcLPC[j]);
    }
    if (order == 16 && magnitude < 65535) {
        const int blocks = len & ~3;
        residual_order16_len4(pSrcLPC, pSrc, pDst, blocks, scaleFactor);
        pSrc += blocks;
        pDst += blocks;
        len -= blocks;
    }
    residualPlain(pSrcLPC, order, pSrc, pDst, len, scaleFactor);
    return qolStsNoErr;
}

} // namespace qolsc
