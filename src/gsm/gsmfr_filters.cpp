// SPDX-License-Identifier: Apache-2.0
// Offset compensation, emphasis, Schur recursion, weighting filter and inverse APCM of GSM full
// rate. GSM 06.10 §5.2.1 to §5.2.5, §5.2.13, §5.2.16, §5.3.5 to §5.3.7.
#include "gsm/gsmfr_filters.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/basop.h"
#include "vector/simd.h"

namespace qolsc {

namespace {

using namespace basop;
using simd::i128;

constexpr Qol16s kOffsetPole = 32735; // 0.999 in Q15
constexpr Qol16s kEmphasis = 28180;   // 0.86 in Q15
constexpr int kRpeSamples = 13;

// The recursive part in Q15: the two-word product of the standard is the rounded product of all 32
// bits, since its upper part is a whole number. Saturation needs memories that no input produces.
void highPass(const Qol16s* pSrc, Qol16s* pDst, int len, Qol32s* pMem) {
    Qol32s prev = pMem[0];
    Qol64s z = pMem[1];
    for (int i = 0; i < len; ++i) {
        const Qol32s s = (pSrc[i] >> 1) & ~3;
        z = ((z * kOffsetPole + 0x4000) >> 15) + ((Qol64s{s} - prev) * 32768);
        if (z != static_cast<Qol32s>(z)) [[unlikely]] {
            z = saturate32(z);
        }
        prev = s;
        pDst[i] = wrap16(saturate32(z + 0x4000) >> 15);
    }
    pMem[0] = prev;
    pMem[1] = static_cast<Qol32s>(z);
}

void preemphasize(const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem) {
    Qol16s prev = *pMem;
    int i = 0;
    i128 last = _mm_insert_epi16(simd::zero(), prev, 7);
    for (; i + 8 <= len; i += 8) {
        const i128 x = simd::load(pSrc + i);
        const i128 before = _mm_alignr_epi8(x, last, 14);
        simd::store(pDst + i,
                    simd::addSat16(x, simd::mulRound15(before, simd::splat16(-kEmphasis))));
        last = x;
    }
    prev = static_cast<Qol16s>(_mm_extract_epi16(last, 7));
    for (; i < len; ++i) {
        const Qol16s x = pSrc[i];
        pDst[i] = add(mult_r(prev, -kEmphasis), x);
        prev = x;
    }
    *pMem = prev;
}

void deemphasize(Qol16s* pSrcDst, int len, Qol16s* pMem) {
    Qol32s d = *pMem;
    for (int i = 0; i < len; ++i) {
        d = ((d * kEmphasis + 0x4000) >> 15) + pSrcDst[i];
        if (d != static_cast<Qol16s>(d)) [[unlikely]] {
            d = saturate16(d);
        }
        pSrcDst[i] = static_cast<Qol16s>(d);
    }
    *pMem = static_cast<Qol16s>(d);
    for (int i = 0; i < len; ++i) {
        pSrcDst[i] = static_cast<Qol16s>(saturate16(2 * pSrcDst[i]) & ~7);
    }
}

Qol16s reflection(Qol16s P0, Qol16s P1, Qol16s magnitude) {
    const Qol16s r = magnitude == 0 ? Qol16s{0} : div_s(magnitude, P0);
    return P1 > 0 ? static_cast<Qol16s>(-r) : r;
}

// §5.2.5; K and P as there. P[m + 1] is read before the step m replaces it.
void schur(const Qol32s* pSrc, Qol16s* pDst, int order) {
    for (int i = 0; i < order; ++i) {
        pDst[i] = 0;
    }
    if (pSrc[0] == 0) {
        return;
    }
    const int n = norm_l(pSrc[0]);
    Qol16s K[gsmfr::kOrder + 1], P[gsmfr::kOrder + 1];
    for (int i = 0; i <= order; ++i) {
        K[i] = P[i] = extract_h(wrap32(Qol64s{pSrc[i]} * (Qol64s{1} << n)));
    }
    for (int i = 0; i < order; ++i) {
        const Qol16s magnitude = abs_s(P[1]);
        if (P[0] < magnitude) {
            return;
        }
        const Qol16s r = pDst[i] = reflection(P[0], P[1], magnitude);
        P[0] = add(P[0], mult_r(P[1], r));
        for (int m = 1; m < order - i; ++m) {
            P[m] = add(P[m + 1], mult_r(K[m], r));
            K[m] = add(K[m], mult_r(P[m + 1], r));
        }
    }
}

constexpr Qol16s H[11] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};

Qol16s weighted(const Qol16s* pSrc) {
    Qol32s sum = 0x1000;
    for (int k = 0; k < 11; ++k) {
        sum += pSrc[k - 5] * H[k];
    }
    return saturate16(sum >> 13);
}

// Eight outputs from five pairs of taps (two taps are 0). The magnitudes of H sum up to 24800, so
// a 32-bit sum can't overflow.
i128 weighted8(const Qol16s* pSrc) {
    i128 lo = simd::splat32(0x1000), hi = lo;
    const auto taps = [&](int first, int second, Qol16s h1, Qol16s h2) {
        const i128 a = simd::load(pSrc + first), b = simd::load(pSrc + second);
        const i128 h = _mm_unpacklo_epi16(simd::splat16(h1), simd::splat16(h2));
        lo = simd::add32(lo, simd::maddPairs(_mm_unpacklo_epi16(a, b), h));
        hi = simd::add32(hi, simd::maddPairs(_mm_unpackhi_epi16(a, b), h));
    };
    taps(-5, -4, H[0], H[1]);
    taps(-2, -1, H[3], H[4]);
    taps(0, 1, H[5], H[6]);
    taps(2, 4, H[7], H[9]);
    taps(5, 5, H[10], 0);
    return simd::packSat16(_mm_srai_epi32(lo, 13), _mm_srai_epi32(hi, 13));
}

} // namespace

QolStatus qolsHighPassFilter_GSMFR_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                       Qol32s* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    highPass(pSrc, pDst, len, pMem);
    return qolStsNoErr;
}

QolStatus qolsPreemphasize_GSMFR_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                     Qol16s* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    preemphasize(pSrc, pDst, len, pMem);
    return qolStsNoErr;
}

QolStatus qolsDeemphasize_GSMFR_16s_I(Qol16s* pSrcDst, Qol32s len, Qol16s* pMem) noexcept {
    if (anyNull(pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    deemphasize(pSrcDst, len, pMem);
    return qolStsNoErr;
}

QolStatus qolsSchur_GSMFR_32s16s(const Qol32s* pSrc, Qol16s* pDst, Qol32s valOrder) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (valOrder == 0 || valOrder > gsmfr::kOrder) {
        return qolStsSizeErr;
    }
    if (valOrder == gsmfr::kOrder) {
        schur(pSrc, pDst, gsmfr::kOrder); // inlined with the constant order
    } else if (valOrder > 0) {
        schur(pSrc, pDst, valOrder);
    }
    return qolStsNoErr;
}

QolStatus qolsWeightingFilter_GSMFR_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        simd::store(pDst + i, weighted8(pSrc + i));
    }
    for (; i < len; ++i) {
        pDst[i] = weighted(pSrc + i);
    }
    return qolStsNoErr;
}

QolStatus qolsRPEQuantDecode_GSMFR_16s(const Qol16s* pSrc, Qol16s valFactor, Qol16s valShift,
                                       Qol16s* pDst) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (valShift < 0) {
        return qolStsScaleRangeErr;
    }
    const Qol16s half =
        valShift == 0 || valShift > 16 ? Qol16s{0} : wrap16(Qol32s{1} << (valShift - 1));
    for (int i = 0; i < kRpeSamples; ++i) {
        const Qol16s level = wrap16((2 * pSrc[i] - 7) * 4096);
        pDst[i] = shr(add(mult_r(valFactor, level), half), valShift);
    }
    return qolStsNoErr;
}

} // namespace qolsc
