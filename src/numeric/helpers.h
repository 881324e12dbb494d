// SPDX-License-Identifier: Apache-2.0
// Fixed-point helpers shared by the families: normalisation, base-2 logarithm and power, inverse
// square root, double-precision products. Integer only, table look-up and one multiply.
#pragma once

#include "numeric/basop.h"
#include "tables/numeric.h"

namespace qolsc {

/// Left shifts that bring a non-negative x to the form with bit 30 set; 0 for 0.
constexpr int norm(Qol32s x) { return basop::norm_l(x); }

/// Count of significant bits of a 16-bit magnitude; 0 for 0.
constexpr int bitLength(Qol16u v) { return std::bit_width(v); }

/// Base-2 logarithm of a positive x: integer part and Q15 fraction; both 0 for x below 1.
constexpr void ownLog2(Qol32s x, Qol16s* pExp, Qol16s* pFrac) {
    if (x < 1) {
        *pExp = *pFrac = 0;
        return;
    }
    const int n = norm(x);
    const Qol32s y = x << n;
    const int i = (y >> 25) - 32;
    const Qol32s a = y >> 10 & 0x7FFF;
    *pExp = static_cast<Qol16s>(30 - n);
    *pFrac = static_cast<Qol16s>(
        (tables::Log2Table[i] * 32768 - a * (tables::Log2Table[i] - tables::Log2Table[i + 1])) >>
        15);
}

/// 2^(exponent + fraction/32768), fraction Q15 in 0..32767. From exponent 31 on the result
/// saturates; 30 has no rounding bit.
constexpr Qol32s ownPow2(Qol16s exponent, Qol16s fraction) {
    const int i = fraction >> 10;
    const Qol32s a = fraction << 6 & 0xFFFE; // twice the low 10 bits, Q15
    const Qol32s L =
        tables::tabpow[i] * 65536 - a * (Qol32s{tables::tabpow[i]} - tables::tabpow[i + 1]);
    const int n = 30 - exponent;
    if (n <= 0) {
        return shiftLeftSaturate<Qol32s>(L, -n);
    }
    // Counts of 32 and more give 0, as the standards' L_shr_r.
    return n > 31 ? 0 : (L >> n) + (L >> (n - 1) & 1);
}

/// Inverse square root by table and one product of a normalised mantissa (bits 25.. select,
/// bits 10..24 interpolate).
constexpr Qol32s invSqrtMantissa(Qol32s value) {
    const int i = (value >> 25) - 16;
    const Qol32s a = value >> 10 & 0x7FFF;
    return tables::tabsqr[i] -
           2 * tables::tabsqr_d[i] * a; // Q31 less the doubled Q15 product, as L_msu
}

/// 1/sqrt of a normalised mantissa with exponent, in place; a value below 1 gives 0x7FFFFFFF and
/// exponent 0.
constexpr void ownInvSqrt_32s16s_I(Qol32s* pValue, Qol16s* pExp) {
    if (*pValue < 1) {
        *pExp = 0;
        *pValue = 0x7FFFFFFF;
        return;
    }
    if (*pExp & 1) {
        *pValue >>= 1;
    }
    *pExp = static_cast<Qol16s>(-((*pExp - 1) >> 1));
    *pValue = invSqrtMantissa(*pValue);
}

/// Double-precision product of two Q31 values; the sum wraps, it doesn't saturate.
constexpr Qol32s mul32Wrap(Qol32s x, Qol32s y) {
    const Qol32s h1 = x >> 16, l1 = x >> 1 & 0x7FFF, h2 = y >> 16, l2 = y >> 1 & 0x7FFF;
    // The sum fits 32 bits; its double wraps.
    return wrapMul32(h1 * h2 + ((h1 * l2) >> 15) + ((h2 * l1) >> 15), 2);
}

/// Element-wise mul32Wrap; pDst may be either source.
constexpr void ownMul_32s16s(const Qol32s* pSrc1, const Qol32s* pSrc2, Qol32s* pDst, int len) {
    for (int i = 0; i < len; ++i) {
        pDst[i] = mul32Wrap(pSrc1[i], pSrc2[i]);
    }
}

/// Rule T: each value shifted right by s (clipped at 31), saturated to 16 bits.
constexpr void ownConvert_32s16s_sfs(const Qol32s* pSrc, Qol16s* pDst, int len, int s) {
    for (int i = 0; i < len; ++i) {
        pDst[i] = scaleTruncate<Qol16s>(pSrc[i], s > 31 ? 31 : s);
    }
}

} // namespace qolsc
