// SPDX-License-Identifier: Apache-2.0
// Block floating point of ITU-T G.728 Annex G: exact sums of products, mantissas with exponents,
// division. For the library and for codecs around it.
#pragma once

#include "numeric/basop.h"

#include <algorithm>
#include <bit>

namespace qolsc::blockfloat {

/// Product sums are exact in 64 bits; this is the upper half, rounded, after a limit to 32 bits.
constexpr Qol16s roundHigh(Qol64s x) { return basop::round_fx(saturate32(x)); }

/// Left shifts that bring x to a word of that many bits; negative when x is wider. bits - 1 for 0.
constexpr int normBits(Qol64s x, int bits) {
    return std::countl_zero(static_cast<Qol64u>(x < 0 ? ~x : x)) - (65 - bits);
}

/// The same for the largest of n values.
inline int normVector(const Qol16s* x, int n, int bits) {
    Qol16s least = 0, greatest = 0;
    for (int i = 0; i < n; ++i) {
        least = std::min(least, x[i]);
        greatest = std::max(greatest, x[i]);
    }
    return normBits(least < -greatest ? least : greatest, bits);
}

/// Arithmetic right shift; counts above 62 leave the sign.
constexpr Qol64s shiftRight(Qol64s x, int n) { return x >> (n > 62 ? 62 : n); }

/// x times 2^n for n of either sign, limited to T.
template <typename T>
constexpr T scaleUp(Qol64s x, int n) {
    return n < 0 ? saturate<T>(shiftRight(x, -n)) : shiftLeftSaturate<T>(x, n);
}

/// Quotient of two normalised mantissas with exponents; sixteen bits by strict comparisons, as the
/// division of G.728 Annex G.
struct Quotient {
    Qol16s mantissa;
    int exponent;
};
constexpr Quotient divide(Qol16s num, int numExponent, Qol16s den, int denExponent) {
    int exponent = numExponent - denExponent + 14;
    Qol32s a = num < 0 ? -num : num, q = 0;
    const Qol32s b = den < 0 ? -den : den;
    if (a < b) {
        ++exponent;
        a *= 2;
    }
    for (int i = 0; i < 15; ++i) {
        q *= 2;
        if (a > b) {
            ++q;
            a -= b;
        }
        a = saturate32(Qol64s{a} * 2);
    }
    q += a > b;
    return {saturate16((num < 0) != (den < 0) ? -q : q), exponent};
}

} // namespace qolsc::blockfloat
