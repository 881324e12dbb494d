// SPDX-License-Identifier: Apache-2.0
// Convolution truncated to the block (ITU-T G.729 §3.7, TS 26.090 §5.6).
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"

#include <algorithm>

namespace qolsc {

namespace {

/// Four sums shifted right by 15, an exact half upward; the sum of sum and half can't overflow in
/// this order.
inline simd::i128 round15(simd::i128 v) {
    const simd::i128 half = _mm_and_si128(_mm_srli_epi32(v, 14), simd::splat32(1));
    return simd::add32(_mm_srai_epi32(v, 15), half);
}

/// Low 16 bits of each lane as a signed value, so that packing with saturation keeps them.
inline simd::i128 lowHalf(simd::i128 v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16); }

/// Truncated convolution, narrow(four sums) packed with Rule S into pDst.
template <typename Narrow>
inline void convolve(const Qol16s* a, const Qol16s* b, Qol16s* pDst, int len, Narrow narrow) {
    using namespace simd;
    constexpr int kBatch = 256;
    alignas(16) Qol32s sums[kBatch];
    for (int first = 0; first < len; first += kBatch) {
        const int count = std::min(kBatch, len - first);
        convTruncated(a, b, sums, first, count);
        int n = 0;
        for (; n + 8 <= count; n += 8) {
            store(pDst + first + n, packSat16(narrow(load(sums + n)), narrow(load(sums + n + 4))));
        }
        for (; n < count; ++n) {
            const i128 v = narrow(splat32(sums[n]));
            pDst[first + n] = static_cast<Qol16s>(_mm_cvtsi128_si32(packSat16(v, v)));
        }
    }
}

} // namespace

void ownConvPartial_NR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len) {
    for (int n = 0; n < len; ++n) {
        Qol32s sum = 0;
        for (int k = 0; k <= n; ++k) {
            sum = saturate32(sum + Qol64s{2} * (Qol32s{pSrc1[k]} * pSrc2[n - k]));
        }
        pDst[n] = basop::round_fx(sum);
    }
}

QolStatus qolsConvPartial_16s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                  Qol32s len, Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (scaleFactor < 0) {
        return qolStsBadArgErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    const simd::i128 shift = _mm_cvtsi32_si128(std::min(scaleFactor, 31));
    convolve(pSrc1, pSrc2, pDst, len,
             [=](simd::i128 v) { return lowHalf(_mm_sra_epi32(v, shift)); });
    return qolStsNoErr;
}

QolStatus qolsConvPartial_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s* pDst,
                                 Qol32s len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    convTruncated(pSrc1, pSrc2, pDst, 0, len);
    return qolStsNoErr;
}

QolStatus qolsConvPartial_NR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                 Qol32s len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    // |sum| <= sqrt(e1 e2) below 2^31: the plain sum is exact, only the rounding may leave 16 bits.
    constexpr Qol64s kBound = 0x7FFFFFFE;
    if (energyExact(pSrc1, len) < kBound && energyExact(pSrc2, len) < kBound) {
        convolve(pSrc1, pSrc2, pDst, len, round15);
    } else {
        ownConvPartial_NR_16s(pSrc1, pSrc2, pDst, len);
    }
    return qolStsNoErr;
}

QolStatus qolsConvPartial_NR_Low_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                     Qol32s len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    convolve(pSrc1, pSrc2, pDst, len, [](simd::i128 v) { return lowHalf(round15(v)); });
    return qolStsNoErr;
}

} // namespace qolsc
