// SPDX-License-Identifier: Apache-2.0
// Numbers of eight bands at once: what is decided for each band is written as for one.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace qolsc::tools {

using Eight = float __attribute__((vector_size(32)));
using EightWhole = std::int32_t __attribute__((vector_size(32)));

struct ComplexEight {
    Eight re, im;
};

inline Eight eights(float v) { return Eight{} + v; }
inline Eight largerOf(Eight a, Eight b) { return a > b ? a : b; }
inline Eight smallerOf(Eight a, Eight b) { return a < b ? a : b; }
/// The square of the absolute value.
inline Eight norm(ComplexEight z) { return z.re * z.re + z.im * z.im; }
/// a times the conjugate of b.
inline ComplexEight timesConjugate(ComplexEight a, ComplexEight b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}
inline ComplexEight operator*(ComplexEight a, ComplexEight b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
inline ComplexEight operator*(Eight a, ComplexEight b) { return {a * b.re, a * b.im}; }
inline ComplexEight operator+(ComplexEight a, ComplexEight b) { return {a.re + b.re, a.im + b.im}; }
inline ComplexEight operator-(ComplexEight a, ComplexEight b) { return {a.re - b.re, a.im - b.im}; }

/// Interleaved numbers of any alignment, parts floats or integers of 32 bits.
template <typename T>
ComplexEight loadEight(const T* z) {
    using Parts = std::conditional_t<std::is_same_v<decltype(T{}.re), float>, Eight, EightWhole>;
    Parts low, high;
    std::memcpy(&low, z, sizeof low);
    std::memcpy(&high, z + 4, sizeof high);
    return {__builtin_convertvector(__builtin_shufflevector(low, high, 0, 2, 4, 6, 8, 10, 12, 14),
                                    Eight),
            __builtin_convertvector(__builtin_shufflevector(low, high, 1, 3, 5, 7, 9, 11, 13, 15),
                                    Eight)};
}
/// The same way back; integers are rounded and kept within 32 bits.
template <typename T>
void storeEight(ComplexEight z, T* to) {
    const Eight low = __builtin_shufflevector(z.re, z.im, 0, 8, 1, 9, 2, 10, 3, 11),
                high = __builtin_shufflevector(z.re, z.im, 4, 12, 5, 13, 6, 14, 7, 15);
    if constexpr (std::is_same_v<decltype(T{}.re), float>) {
        std::memcpy(to, &low, sizeof low);
        std::memcpy(to + 4, &high, sizeof high);
    } else {
        constexpr float kMost = 2147483520.0f; // the greatest below 2^31
        for (int k = 0; k < 8; ++k) {
            (k % 2 ? to[k / 2].im : to[k / 2].re) =
                static_cast<decltype(T{}.re)>(std::lrint(std::clamp(low[k], -kMost, kMost)));
            (k % 2 ? to[4 + k / 2].im : to[4 + k / 2].re) =
                static_cast<decltype(T{}.re)>(std::lrint(std::clamp(high[k], -kMost, kMost)));
        }
    }
}

inline Eight loadEight(const double* x) {
    Eight v;
    for (int k = 0; k < 8; ++k) {
        v[k] = static_cast<float>(x[k]);
    }
    return v;
}
inline float sumOf(Eight v) {
    float sum = 0;
    for (int k = 0; k < 8; ++k) {
        sum += v[k];
    }
    return sum;
}

} // namespace qolsc::tools
