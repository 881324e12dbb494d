// SPDX-License-Identifier: Apache-2.0
// Sums of products that all coders spend their time in: dot products, several lags at once,
// truncated convolution. 32-bit sums wrap unless told otherwise; the order of summation is then
// without effect, so every path gives one result. No alignment is asked for anywhere, and nothing
// outside the stated elements is read.
#pragma once

#include "vector/simd.h"
#include "vector/vector.h"

#include <cstddef>
#include <cstring>

namespace qolsc {

/// -1 from element 8 on: a load at 8 - n gives a mask whose last n elements are set (n of 0 to 8).
alignas(16) inline constexpr Qol16s kLastMask[16] = {0,  0,  0,  0,  0,  0,  0,  0,
                                                     -1, -1, -1, -1, -1, -1, -1, -1};

inline simd::i128 lastMask(int n) { return simd::load(kLastMask + n); }

/// Two neighbouring 16-bit values in all four 32-bit lanes.
inline simd::i128 splatPair(const Qol16s* p) {
    Qol32s pair;
    std::memcpy(&pair, p, sizeof pair);
    return simd::splat32(pair);
}

/// Four sums of four lanes each, one a lane.
inline simd::i128 sums32(simd::i128 a, simd::i128 b, simd::i128 c, simd::i128 d) {
    return _mm_hadd_epi32(_mm_hadd_epi32(a, b), _mm_hadd_epi32(c, d));
}

/// Wrapping 32-bit dot product.
inline Qol32s dotWrap(const Qol16s* a, const Qol16s* b, int len) {
    using namespace simd;
    if (len < 8) {
        Qol32u s = 0;
        for (int i = 0; i < len; ++i) {
            s += static_cast<Qol32u>(Qol32s{a[i]} * b[i]);
        }
        return static_cast<Qol32s>(s);
    }
    i128 s0 = zero(), s1 = zero();
    int i = 0;
    for (; i <= len - 16; i += 16) {
        s0 = add32(s0, maddPairs(load(a + i), load(b + i)));
        s1 = add32(s1, maddPairs(load(a + i + 8), load(b + i + 8)));
    }
    if (i <= len - 8) {
        s0 = add32(s0, maddPairs(load(a + i), load(b + i)));
        i += 8;
    }
    // The rest by the last eight elements, those counted already masked out.
    const i128 rest = _mm_and_si128(load(a + len - 8), lastMask(len - i));
    return sum32(add32(add32(s0, s1), maddPairs(rest, load(b + len - 8))));
}

/// Exact 64-bit dot product; 0 for no elements.
inline Qol64s dotExact(const Qol16s* a, const Qol16s* b, int len) {
    Qol64s sum = 0;
    qolsDotProd_16s64s(a, b, len, &sum);
    return sum;
}
/// Exact energy.
inline Qol64s energyExact(const Qol16s* a, int len) {
    Qol64s sum = 0;
    qolsNorm_L2Sqr_16s64s_Sfs(a, len, &sum, 0);
    return sum;
}

/// pDst[k] = sum of x[i] y[i+k] over i below len, k below lags; y has len + lags - 1 elements.
void corrLags(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags);

/// pDst[k] = sum of x[i] y[i+k] over i below len - k, k below lags; x and y have len elements, sums
/// without terms are 0.
void corrTriangle(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags);

/// pDst[n - first] = sum of a[k] b[n-k] over k of 0 to n, for count outputs n from first on: the
/// response of a filter to a block. a and b have first + count elements.
void convTruncated(const Qol16s* a, const Qol16s* b, Qol32s* pDst, int first, int count);

} // namespace qolsc
