// SPDX-License-Identifier: Apache-2.0
// Scaling to a wanted headroom, and the dot product that scales its operands down until it fits.
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace qolsc {

namespace {

/// Bits set in any magnitude of the vector (negative values by their complement), and in any
/// element.
struct Bits {
    unsigned magnitude, any;
};

Bits usedBits(const Qol16s* pSrc, int len) {
    using namespace simd;
    i128 magnitude = zero(), any = zero();
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const i128 x = load(pSrc + i);
        magnitude = _mm_or_si128(magnitude, _mm_xor_si128(x, _mm_srai_epi16(x, 15)));
        any = _mm_or_si128(any, x);
    }
    unsigned m = 0, a = 0;
    alignas(16) Qol16u lanes[16];
    store(lanes, magnitude);
    store(lanes + 8, any);
    for (int k = 0; k < 8; ++k) {
        m |= lanes[k];
        a |= lanes[8 + k];
    }
    for (; i < len; ++i) {
        m |= static_cast<Qol16u>(pSrc[i] ^ (pSrc[i] >> 15));
        a |= static_cast<Qol16u>(pSrc[i]);
    }
    return {m, a};
}

template <typename Vector, typename Scalar>
void shiftAll(const Qol16s* pSrc, Qol16s* pDst, int len, Vector vector, Scalar scalar) {
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        simd::store(pDst + i, vector(simd::load(pSrc + i)));
    }
    for (; i < len; ++i) {
        pDst[i] = scalar(pSrc[i]);
    }
}
void shiftLeft(const Qol16s* pSrc, Qol16s* pDst, int len, int count) {
    const simd::i128 n = _mm_cvtsi32_si128(count);
    shiftAll(
        pSrc, pDst, len, [n](simd::i128 x) { return _mm_sll_epi16(x, n); },
        [count](Qol16s x) { return wrap16(Qol64s{x} * (Qol64s{1} << count)); });
}
void shiftRight(const Qol16s* pSrc, Qol16s* pDst, int len, int count) {
    const simd::i128 n = _mm_cvtsi32_si128(count);
    shiftAll(
        pSrc, pDst, len, [n](simd::i128 x) { return _mm_sra_epi16(x, n); },
        [count](Qol16s x) { return static_cast<Qol16s>(x >> count); });
}

/// Brings the vector to exactly *pScale bits of headroom; returns the left shifts applied. A vector
/// of zeros has 16.
void autoScale(const Qol16s* pSrc, Qol16s* pDst, int len, Qol32s* pScale) {
    const Qol32s wanted = *pScale;
    const Bits bits = usedBits(pSrc, len);
    const int headroom = bits.any == 0 ? 16 : 15 - std::bit_width(bits.magnitude);
    if (bits.any == 0 || wanted >= headroom) {
        shiftRight(pSrc, pDst, len, bits.any == 0 ? 0 : std::min(wanted - headroom, 15));
    } else {
        shiftLeft(pSrc, pDst, len, headroom - wanted);
    }
    *pScale = headroom - wanted;
}

/// Sum of the doubled products of both vectors shifted right.
Qol64s shiftedDot(const Qol16s* pSrc1, const Qol16s* pSrc2, int len, int shift1, int shift2) {
    constexpr int kBatch = 256;
    Qol16s a[kBatch], b[kBatch];
    Qol64s sum = 0;
    for (int i = 0; i < len; i += kBatch) {
        const int count = std::min(kBatch, len - i);
        shiftRight(pSrc1 + i, a, count, shift1);
        shiftRight(pSrc2 + i, b, count, shift2);
        sum += dotExact(a, b, count);
    }
    return 2 * sum;
}

} // namespace

QolStatus qolsDotProdAutoScale_16s32s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                          Qol32s* pDp, Qol32s* pScale) noexcept {
    if (anyNull(pSrc1, pSrc2, pDp, pScale)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    // The first vector gives way first, then both in turn.
    Qol64s sum = 2 * dotExact(pSrc1, pSrc2, len);
    int shift = 0;
    while (sum != saturate32(sum)) {
        ++shift;
        sum = shiftedDot(pSrc1, pSrc2, len, (shift + 1) / 2, shift / 2);
    }
    *pDp = static_cast<Qol32s>(sum);
    *pScale = shift;
    return qolStsNoErr;
}

QolStatus qolsAutoScale_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len, Qol32s* pScale) noexcept {
    if (anyNull(pSrc, pDst, pScale)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (*pScale < 0) {
        return qolStsScaleRangeErr;
    }
    autoScale(pSrc, pDst, len, pScale);
    return qolStsNoErr;
}

QolStatus qolsAutoScale_16s_I(Qol16s* pSrcDst, Qol32s len, Qol32s* pScale) noexcept {
    return qolsc::qolsAutoScale_16s(pSrcDst, pSrcDst, len, pScale);
}

} // namespace qolsc
