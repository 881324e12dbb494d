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

/// Taps of four neighbouring outputs on pairs of old outputs (the older one in the low half):
/// old[p] for y[n-6-2p], y[n-5-2p] in all four, near for y[n-4], y[n-3] in all but the first, last
/// for y[n-2], y[n-1] in the last. The other taps are scalar: their products are wanted sooner than
/// a vector could give them.
struct Taps {
    simd::i128 first, old[3], near, last;
    Qol32u minus[5]; // -a[k]
};

inline Taps spreadTaps(const Qol16s* a) {
    using namespace simd;
    Taps t;
    t.first = splat32(static_cast<Qol16u>(a[0]));
    // a[3] to a[10]; shifted down by k - 3 elements it begins with a[k], zeros behind a[10].
    const i128 v = load(a + 3), from3 = _mm_unpacklo_epi16(_mm_srli_si128(v, 2), v);
    t.old[0] = _mm_unpacklo_epi16(_mm_srli_si128(v, 6), _mm_srli_si128(v, 4));
    t.old[1] = _mm_unpacklo_epi16(_mm_srli_si128(v, 10), _mm_srli_si128(v, 8));
    t.old[2] = _mm_unpacklo_epi16(_mm_srli_si128(v, 14), _mm_srli_si128(v, 12));
    t.near = _mm_and_si128(from3, _mm_setr_epi32(0, -1, -1, -1));
    t.last = _mm_slli_si128(_mm_shuffle_epi32(from3, 1), 12);
    for (int k = 1; k < 5; ++k) {
        t.minus[k] = 0 - static_cast<Qol32u>(Qol32s{a[k]});
    }
    return t;
}

/// Two outputs as a pair, the older one low.
inline Qol32u pairOf(Qol32s older, Qol32s newer) {
    return static_cast<Qol16u>(older) | static_cast<Qol32u>(newer) << 16;
}

/// recursePlain four outputs at a time, with a copy of the outputs to pDst, which may be x; before:
/// the kOrder outputs before, as they stand in front of y. Only the way from one output to the next
/// (multiply, subtract, shift) is serial: what the outputs owe to those more than four samples old
/// comes as four sums from pairs of products. Outputs run unlimited, and a block in which one
/// leaves 16 bits is done again by the definition.
template <Overflow mode, int s>
bool recurseByFour(const Qol16s* a, const Qol16s* x, Qol16s* y, Qol16s* pDst, int len,
                   const Qol16s* before) {
    using namespace simd;
    const Taps t = spreadTaps(a);
    const i128 half = splat32(1 << (s - 1));
    bool saturated = false;
    i128 p1, p2, p3, p4, p5; // pairs of outputs, newest first, each in all lanes
    Qol32s w0, w1, w2, w3;   // the last four outputs, oldest first
    const auto recall = [&](const Qol16s* at) {
        w0 = at[-4], w1 = at[-3], w2 = at[-2], w3 = at[-1];
        p1 = splatPair(at - 2), p2 = splatPair(at - 4), p3 = splatPair(at - 6),
        p4 = splatPair(at - 8);
        p5 = splatPair(at - 10);
    };
    recall(before + kOrder);
    int n = 0;
    for (; n + 4 <= len; n += 4) {
        const i128 input = add32(maddPairs(_mm_cvtepu16_epi32(loadLow64(x + n)), t.first), half);
        const i128 far = add32(maddPairs(p4, t.old[1]), maddPairs(p5, t.old[2]));
        const i128 early = sub32(sub32(input, far), maddPairs(p3, t.old[0]));
        const i128 late = sub32(early, maddPairs(p2, t.near));
        const i128 latest = sub32(late, maddPairs(p1, t.last));
        const auto u0 = static_cast<Qol32u>(w0), u1 = static_cast<Qol32u>(w1);
        const auto u2 = static_cast<Qol32u>(w2), u3 = static_cast<Qol32u>(w3);
        const Qol32u b0 = static_cast<Qol32u>(_mm_cvtsi128_si32(early)) + t.minus[4] * u0 +
                          t.minus[3] * u1 + t.minus[2] * u2;
        const Qol32u b1 =
            static_cast<Qol32u>(_mm_extract_epi32(late, 1)) + t.minus[3] * u2 + t.minus[2] * u3;
        const Qol32u b2 =
            static_cast<Qol32u>(_mm_extract_epi32(late, 2)) + t.minus[4] * u2 + t.minus[3] * u3;
        const auto b3 = static_cast<Qol32u>(_mm_extract_epi32(latest, 3));
        const Qol32s v0 = static_cast<Qol32s>(b0 + t.minus[1] * u3) >> s;
        const auto z0 = static_cast<Qol32u>(v0);
        const Qol32s v1 = static_cast<Qol32s>(b1 + t.minus[1] * z0) >> s;
        const auto z1 = static_cast<Qol32u>(v1);
        const Qol32s v2 = static_cast<Qol32s>(b2 + t.minus[2] * z0 + t.minus[1] * z1) >> s;
        const auto z2 = static_cast<Qol32u>(v2);
        const Qol32s v3 =
            static_cast<Qol32s>(b3 + t.minus[3] * z0 + t.minus[2] * z1 + t.minus[1] * z2) >> s;
        const auto z3 = static_cast<Qol32u>(v3);
        if (((z0 + 0x8000) | (z1 + 0x8000) | (z2 + 0x8000) | (z3 + 0x8000)) >> 16) [[unlikely]] {
            saturated |= recursePlain<mode>(a, x + n, y + n, 4, s);
            std::copy_n(y + n, 4, pDst + n);
            recall(y + n + 4);
            continue;
        }
        const Qol32u older = pairOf(v0, v1), newer = pairOf(v2, v3);
        for (Qol16s* to : {y, pDst}) {
            std::memcpy(to + n, &older, sizeof older);
            std::memcpy(to + n + 2, &newer, sizeof newer);
        }
        p5 = p3;
        p4 = p2;
        p3 = p1;
        p2 = splat32(static_cast<Qol32s>(older));
        p1 = splat32(static_cast<Qol32s>(newer));
        w0 = v0, w1 = v1, w2 = v2, w3 = v3;
    }
    saturated |= recursePlain<mode>(a, x + n, y + n, len - n, s);
    std::copy(y + n, y + len, pDst + n);
    return saturated;
}

template <Overflow mode>
bool synthesize(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst, int len, int s,
                const Qol16s* pMem) {
    constexpr int kBlock = 160;
    static constexpr Qol16s kZeros[kOrder] = {};
    Qol16s y[kOrder + kBlock];
    const Qol16s* before = pMem != nullptr ? pMem : kZeros;
    std::copy_n(before, kOrder, y);
    bool saturated = false;
    for (int n = 0; n < len; n += kBlock, before = y) {
        const int count = std::min(kBlock, len - n);
        saturated |=
            s == 12 ? recurseByFour<mode, 12>(pLPC, pSrc + n, y + kOrder, pDst + n, count, before)
                    : recurseByFour<mode, 13>(pLPC, pSrc + n, y + kOrder, pDst + n, count, before);
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
