// SPDX-License-Identifier: Apache-2.0
// What the files of the echo canceller share: bounds, powers, smoothing, the normalised division.
#pragma once

#include "numeric/basop.h"
#include "qolsc/echo.h"

#include <cstring>

namespace qolsc::echo {

constexpr Qol32s kMostSubbands = 4097; // bins of a real transform of 2^13 samples
constexpr Qol32s kMostSegments = 255;

/// First multiple of 16 at or behind a size.
constexpr Qol64s roundUp16(Qol64s bytes) { return (bytes + 15) & ~Qol64s{15}; }

/// Products and sums of 64 bits that may run over with inputs at the ends of their range.
constexpr Qol64s wrapMul64(Qol64s a, Qol64s b) {
    return static_cast<Qol64s>(static_cast<Qol64u>(a) * static_cast<Qol64u>(b));
}
constexpr Qol64s wrapAdd64(Qol64s a, Qol64s b) {
    return static_cast<Qol64s>(static_cast<Qol64u>(a) + static_cast<Qol64u>(b));
}
constexpr Qol64s wrapSub64(Qol64s a, Qol64s b) {
    return static_cast<Qol64s>(static_cast<Qol64u>(a) - static_cast<Qol64u>(b));
}

/// |z|^2; exact, at most 2^63.
constexpr Qol64u power(Qol32sc z) {
    return static_cast<Qol64u>(Qol64s{z.re} * z.re) + static_cast<Qol64u>(Qol64s{z.im} * z.im);
}
inline Qol32f power(Qol32fc z) { return z.re * z.re + z.im * z.im; }

/// |z|^2 in units of 2^shift, halves upward.
constexpr Qol64s scaledPower(Qol32sc z, int shift) {
    return static_cast<Qol64s>((power(z) + (Qol64u{1} << (shift - 1))) >> shift);
}

/// alpha * old + (1 - alpha) * next, alpha Q14, rounded.
constexpr Qol64s smooth_Q14(Qol64s alpha_Q14, Qol64s old, Qol64s next) {
    const Qol64s sum = wrapAdd64(wrapMul64(alpha_Q14, old), wrapMul64(16384 - alpha_Q14, next));
    return wrapAdd64(sum, 8192) >> 14;
}
inline Qol32f smooth(Qol32f alpha, Qol32f old, Qol32f next) {
    return alpha * old + (1.0f - alpha) * next;
}

/// exp(-frameSize / (sampleFreq * tau)) to the second order, tau in seconds.
inline Qol32f smoothing(Qol32s frameSize, Qol32s sampleFreq, Qol64f tau) {
    const Qol64f x = -1.0 / (sampleFreq * tau / frameSize);
    return static_cast<Qol32f>(1.0 + x + x * x / 2.0);
}
/// The same to the first order in Q14; rate_Q14 is 1/tau. The product has 32 bits and wraps for
/// frames longer than any in use.
constexpr Qol32s smoothing_Q14(Qol32s frameSize, Qol32s sampleFreq, Qol32s rate_Q14) {
    return 16384 - wrapMul32(frameSize, rate_Q14) / sampleFreq;
}
constexpr Qol32s kRate15_Q14 = 1097728, kRate9_Q14 = 1818624; // 67 and 111 per second
constexpr Qol32s kRate50_Q14 = 327680, kRate20_Q14 = 819200, kRate10_Q14 = 1638400;

/// Quotient of a step size; a denominator of 0 comes only from absurd sizes and gives no step.
constexpr Qol32s quotientOrZero(Qol32s numerator, Qol32s denominator) {
    return denominator == 0 ? 0 : numerator / denominator;
}

/// num / den = mantissa_Q30 * 2^(shift - 30).
struct Quotient {
    Qol32s mantissa_Q30;
    Qol32s shift;
};

/// Quotient of two positive numbers (a numerator of 0 counts as 1), within about 4e-8: one Newton
/// step from a 15-bit reciprocal.
constexpr Quotient divideNormalised(Qol32s num, Qol32s den) {
    num = num == 0 ? 1 : num;
    const int c = basop::norm_l(num), s = basop::norm_l(den);
    const Qol32s n = num << c, d = den << s;
    const Qol32s dh = d >> 16, dl = d >> 1 & 0x7FFF, r = wrap16(0x1FFF8000 / dh);
    const Qol32s u = 0x7FFFFFFF - 2 * dh * r - 2 * ((dl * r) >> 15);
    const Qol32s v = (u >> 16) * r + (((u >> 1 & 0x7FFF) * r) >> 15);
    const Qol32s vh = wrap16(v >> 15), vl = v & 0x7FFF;
    const bool whole = n >= d;
    const Qol32s m = whole ? n - d : n;
    const Qol32s nh = m >> 17, nl = m >> 2 & 0x7FFF;
    const Qol32s q = wrapMul32(nh * vh + ((vl * nh) >> 15) + ((nl * vh) >> 15), 8);
    return {wrapAdd32(whole ? 0x40000000 : 0, q), s - c};
}

/// Leaning of the transfers, 1 (16384) where coefficients had to be put back: one step to 0, to 1.
constexpr Qol32s trendDown_Q14(Qol32s trend_Q14, Qol32s alpha_Q14) {
    return wrap32((Qol64s{trend_Q14} * alpha_Q14 + 8192) >> 14);
}
constexpr Qol32s trendUp_Q14(Qol32s trend_Q14, Qol32s alpha_Q14) {
    return wrap32((alpha_Q14 * (Qol64s{trend_Q14} - 16384) + 0x10002000) >> 14);
}
/// One step of the factor for the caller towards its target, both Q15.
constexpr Qol32s gainStep_Q15(Qol32s gain_Q15, Qol32s target_Q15, Qol32s alpha_Q14) {
    return wrap32(smooth_Q14(alpha_Q14, gain_Q15, target_Q15));
}

/// Bytes copied between the rows of two filters, for all taps.
template <typename T>
inline void copyRows(T* const* ppFrom, T* const* ppTo, Qol32s rows, Qol32s len) {
    for (Qol32s j = 0; j < rows; ++j) {
        std::memcpy(ppTo[j], ppFrom[j], static_cast<std::size_t>(len) * sizeof(T));
    }
}

} // namespace qolsc::echo
