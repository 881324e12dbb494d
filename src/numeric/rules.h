// SPDX-License-Identifier: Apache-2.0
// The rules of scaling: S (saturation), E (half to even), N (half upward), T (truncation). x is the
// exact result.
#pragma once

#include "qolsc/types.h"

#include <limits>

namespace qolsc {

/// Rule S: x limited to the range of T.
template <typename T>
constexpr T saturate(Qol64s x) {
    constexpr Qol64s lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    return static_cast<T>(x < lo ? lo : x > hi ? hi : x);
}

constexpr Qol16s saturate16(Qol64s x) { return saturate<Qol16s>(x); }
constexpr Qol32s saturate32(Qol64s x) { return saturate<Qol32s>(x); }

/// Keeps the low bits as a signed value, for sums that are meant to wrap.
constexpr Qol16s wrap16(Qol64s x) { return static_cast<Qol16s>(static_cast<Qol16u>(x)); }
constexpr Qol32s wrap32(Qol64s x) {
    return static_cast<Qol32s>(static_cast<Qol32u>(static_cast<Qol64u>(x)));
}

/// Wrapping 32-bit sum, difference and product.
constexpr Qol32s wrapAdd32(Qol32s a, Qol32s b) {
    return static_cast<Qol32s>(static_cast<Qol32u>(a) + static_cast<Qol32u>(b));
}
constexpr Qol32s wrapSub32(Qol32s a, Qol32s b) {
    return static_cast<Qol32s>(static_cast<Qol32u>(a) - static_cast<Qol32u>(b));
}
constexpr Qol32s wrapMul32(Qol32s a, Qol32s b) {
    return static_cast<Qol32s>(static_cast<Qol32u>(a) * static_cast<Qol32u>(b));
}

/// x shifted left by s (0 or more), saturated to T.
template <typename T>
constexpr T shiftLeftSaturate(Qol64s x, int s) {
    if (x == 0) {
        return 0;
    }
    if (s > 62 || x > (std::numeric_limits<Qol64s>::max() >> s) ||
        x < (std::numeric_limits<Qol64s>::min() >> s)) {
        return x > 0 ? std::numeric_limits<T>::max() : std::numeric_limits<T>::min();
    }
    return saturate<T>(static_cast<Qol64s>(static_cast<Qol64u>(x) << s));
}

/// Rule E: x times 2^-s, an exact half to the even neighbour, saturated to T; s below 0 shifts
/// left.
template <typename T>
constexpr T scaleEven(Qol64s x, int s) {
    if (s < 0) {
        return shiftLeftSaturate<T>(x, -(s < -64 ? -64 : s));
    }
    if (s == 0) {
        return saturate<T>(x);
    }
    if (s > 63) {
        return 0;
    }
    // Quotient and remainder apart, so that the rounding term can't overflow.
    const Qol64s q = s == 63 ? (x < 0 ? -1 : 0) : x >> s;
    const Qol64u rest = static_cast<Qol64u>(x) & ((Qol64u{1} << s) - 1),
                 half = Qol64u{1} << (s - 1);
    const Qol64s up = rest > half || (rest == half && (q & 1)) ? 1 : 0;
    return saturate<T>(q + up);
}

/// Rule N: (x + 2^(s-1)) >> s for s above 0, an exact half upward; x for s of 0. s is not negative
/// here.
constexpr Qol64s roundShift(Qol64s x, int s) {
    if (s <= 0) {
        return x;
    }
    if (s > 63) {
        return 0;
    }
    const Qol64s q =
        x >> (s - 1); // one bit more than wanted, then the half: no overflow at either end
    return (q >> 1) + (q & 1);
}

/// Rule N with saturation to T.
template <typename T>
constexpr T scaleNear(Qol64s x, int s) {
    return saturate<T>(roundShift(x, s));
}

/// Rule T: arithmetic right shift by s (0 to 63), saturated to T.
template <typename T>
constexpr T scaleTruncate(Qol64s x, int s) {
    return saturate<T>(x >> (s > 63 ? 63 : s));
}

} // namespace qolsc
