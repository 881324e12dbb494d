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

/// Quotient of two normalised mantissas with exponents; a numerator may be 0. G.728 Annex G divides
/// bit by bit with strict comparisons: 15 bits, of an exact quotient the one just below it, rounded
/// by one more comparison.
struct Quotient {
    Qol16s mantissa;
    int exponent;
};
constexpr Quotient divide(Qol16s num, int numExponent, Qol16s den, int denExponent) {
    int exponent = numExponent - denExponent + 14;
    auto a = static_cast<Qol32u>(num < 0 ? -num : num);
    const auto b = static_cast<Qol32u>(den < 0 ? -den : den);
    if (a < b) {
        ++exponent;
        a *= 2;
    }
    Qol32s q = 0;
    if (a > 0) {
        a <<= 14;
        const Qol32u bits = (a - 1) / b;
        q = static_cast<Qol32s>(bits + (2 * (a - bits * b) > b));
    }
    return {saturate16((num < 0) != (den < 0) ? -q : q), exponent};
}

} // namespace qolsc::blockfloat
