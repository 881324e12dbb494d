// SPDX-License-Identifier: Apache-2.0
// Products and weighted sums with add-half rounding, bandwidth expansion, inverse square root of
// vectors.
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/q15.h"

#include <algorithm>

namespace qolsc {

namespace {

using namespace simd;

/// Products shifted right by a count of 0 to 30, rounded; half is at most 2^29, so that nothing
/// leaves 32 bits.
inline i128 mulShift(i128 a, i128 b, i128 half, i128 shift) {
    const i128 low = _mm_mullo_epi16(a, b), high = _mm_mulhi_epi16(a, b);
    const i128 p0 = add32(_mm_unpacklo_epi16(low, high), half),
               p1 = add32(_mm_unpackhi_epi16(low, high), half);
    return packSat16(_mm_sra_epi32(p0, shift), _mm_sra_epi32(p1, shift));
}

/// pDst[i] = product i scaled by Rule N; vector(i) gives the second factors from i on, scalar(i)
/// one of them.
template <typename Vector, typename Scalar>
inline void multiply(const Qol16s* pSrc, Qol16s* pDst, int len, int s, Vector vector,
                     Scalar scalar) {
    int i = 0;
    if (s == 15) {
        for (; i + 8 <= len; i += 8) {
            store(pDst + i, mulRoundSatQ15(load(pSrc + i), vector(i)));
        }
    } else if (s <= 30) {
        const i128 half = splat32(s > 0 ? 1 << (s - 1) : 0), shift = _mm_cvtsi32_si128(s);
        for (; i + 8 <= len; i += 8) {
            store(pDst + i, mulShift(load(pSrc + i), vector(i), half, shift));
        }
    }
    for (; i < len; ++i) {
        pDst[i] = scaleNear<Qol16s>(Qol32s{pSrc[i]} * scalar(i), s);
    }
}

inline void multiplyVectors(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len,
                            int s) {
    multiply(
        pSrc1, pDst, len, s, [=](int i) { return load(pSrc2 + i); },
        [=](int i) { return pSrc2[i]; });
}

inline void multiplyConstant(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, int len, int s) {
    const i128 v = splat16(val);
    multiply(
        pSrc, pDst, len, s, [=](int) { return v; }, [=](int) { return val; });
}

/// w1 x1 + w2 x2 with one shift of 16 - m, in eights; the sum with its rounding fits 32 bits.
/// Returns the elements done.
int interpolateFast(const Qol16s* x1, int w1, const Qol16s* x2, int w2, int m, Qol16s* pDst,
                    int len) {
    const i128 w =
        splat32(static_cast<Qol32s>(static_cast<Qol16u>(w1) | static_cast<Qol32u>(w2) << 16));
    const i128 half = splat32(m < 16 ? 1 << (15 - m) : 0), shift = _mm_cvtsi32_si128(16 - m);
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const i128 a = load(x1 + i), b = load(x2 + i);
        const i128 low = add32(maddPairs(w, _mm_unpacklo_epi16(a, b)), half);
        const i128 high = add32(maddPairs(w, _mm_unpackhi_epi16(a, b)), half);
        store(pDst + i, packSat16(_mm_sra_epi32(low, shift), _mm_sra_epi32(high, shift)));
    }
    return i;
}

} // namespace

QolStatus qolsMul_NR_16s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, Qol32s len,
                             Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (scaleFactor < 0) {
        return qolStsScaleRangeErr;
    }
    multiplyVectors(pSrc1, pSrc2, pDst, len, scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsMul_NR_16s_ISfs(const Qol16s* pSrc, Qol16s* pSrcDst, Qol32s len,
                              Qol32s scaleFactor) noexcept {
    return qolsc::qolsMul_NR_16s_Sfs(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
}

QolStatus qolsMulC_NR_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, Qol32s len,
                              Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (scaleFactor < 0) {
        return qolStsScaleRangeErr;
    }
    multiplyConstant(pSrc, val, pDst, len, scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsMulC_NR_16s_ISfs(Qol16s val, Qol16s* pSrcDst, Qol32s len,
                               Qol32s scaleFactor) noexcept {
    return qolsc::qolsMulC_NR_16s_Sfs(pSrcDst, val, pSrcDst, len, scaleFactor);
}

QolStatus qolsMulPowerC_NR_16s_Sfs(const Qol16s* pSrc, Qol16s val, Qol16s* pDst, Qol32s len,
                                   Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (scaleFactor < 0) {
        return qolStsScaleRangeErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    pDst[0] = pSrc[0];
    Qol16s power = val;
    for (int i = 1; i < len; ++i) {
        pDst[i] = wrap16(roundShift(Qol32s{pSrc[i]} * power, scaleFactor));
        power = wrap16(roundShift(Qol32s{power} * val, scaleFactor));
    }
    return qolStsNoErr;
}

QolStatus qolsInterpolateC_NR_16s(const Qol16s* pSrc1, Qol16s val1, Qol32s scaleFactor1,
                                  const Qol16s* pSrc2, Qol16s val2, Qol32s scaleFactor2,
                                  Qol16s* pDst, Qol32s len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (scaleFactor1 < 0 || scaleFactor2 < 0) {
        return qolStsScaleRangeErr;
    }
    // The weights on one scale. From 2^32 between the scales on the greater term alone decides, by
    // saturation.
    const int m = std::min(scaleFactor1, scaleFactor2);
    const Qol64s w1 = Qol64s{val1} * (Qol64s{1} << std::min(scaleFactor1 - m, 32));
    const Qol64s w2 = Qol64s{val2} * (Qol64s{1} << std::min(scaleFactor2 - m, 32));
    int i = 0;
    // 65534 * 32768 and a rounding of 32768 stay below 2^31.
    if (m <= 16 && w1 == wrap16(w1) && w2 == wrap16(w2) &&
        (w1 < 0 ? -w1 : w1) + (w2 < 0 ? -w2 : w2) <= 65534) {
        i = interpolateFast(pSrc1, static_cast<int>(w1), pSrc2, static_cast<int>(w2), m, pDst, len);
    }
    for (; i < len; ++i) {
        const Qol64s sum = w1 * pSrc1[i] + w2 * pSrc2[i];
        pDst[i] = m > 16 ? shiftLeftSaturate<Qol16s>(sum, m - 16) : scaleNear<Qol16s>(sum, 16 - m);
    }
    return qolStsNoErr;
}

QolStatus qolsInvSqrt_32s_I(Qol32s* pSrcDst, Qol32s len) noexcept {
    if (anyNull(pSrcDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    for (int i = 0; i < len; ++i) {
        const Qol32s x = pSrcDst[i];
        if (x <= 0) {
            pSrcDst[i] = 0x3FFFFFFF;
            continue;
        }
        const int n = norm(x), e = 32 - n;
        pSrcDst[i] = invSqrtMantissa((x << n) >> ((e & 1) ^ 1)) >> (e >> 1);
    }
    return qolStsNoErr;
}

} // namespace qolsc
