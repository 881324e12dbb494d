// SPDX-License-Identifier: Apache-2.0
// Moves between lanes that the transforms need, for eight and for four lanes.
#pragma once

#include "vector/fft_kernels.h"

namespace qolsc::fft {

using simd::loadf;
using simd::storef;

// ---- eight lanes ----

/// Eight complex numbers from interleaved memory.
QOLSC_INLINE Complex<f256> loadPairs8(const Qol32f* p) {
    const f256 lo =
        _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p)), _mm_loadu_ps(p + 8), 1);
    const f256 hi =
        _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + 4)), _mm_loadu_ps(p + 12), 1);
    return {_mm256_shuffle_ps(lo, hi, 0x88), _mm256_shuffle_ps(lo, hi, 0xDD)};
}
QOLSC_INLINE void storePairs8(Qol32f* p, Complex<f256> x) {
    const f256 lo = _mm256_unpacklo_ps(x.re, x.im), hi = _mm256_unpackhi_ps(x.re, x.im);
    storef(p, _mm256_permute2f128_ps(lo, hi, 0x20));
    storef(p + 8, _mm256_permute2f128_ps(lo, hi, 0x31));
}
/// The eight numbers in falling order.
QOLSC_INLINE void storePairsReversed8(Qol32f* p, Complex<f256> x) {
    const f256 lo = _mm256_unpacklo_ps(x.im, x.re), hi = _mm256_unpackhi_ps(x.im, x.re);
    const f256 a = _mm256_permute_ps(lo, 0x1B), b = _mm256_permute_ps(hi, 0x1B);
    storef(p, _mm256_permute2f128_ps(b, a, 0x31));
    storef(p + 8, _mm256_permute2f128_ps(b, a, 0x20));
}
QOLSC_INLINE f256 reversed(f256 v) {
    const f256 t = _mm256_permute_ps(v, 0x1B);
    return _mm256_permute2f128_ps(t, t, 1);
}
QOLSC_INLINE Complex<f256> reversed(Complex<f256> x) { return {reversed(x.re), reversed(x.im)}; }
/// Lanes 1 to 7 of v, then lane 0 of next.
QOLSC_INLINE f256 shiftedIn(f256 v, f256 next) {
    const f256 middle = _mm256_permute2f128_ps(v, next, 0x21);
    return _mm256_permute_ps(_mm256_blend_ps(v, middle, 0x11), 0x39);
}

QOLSC_INLINE void transpose8(f256* r) {
    f256 t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = _mm256_unpacklo_ps(r[i], r[i + 1]);
        t[i + 1] = _mm256_unpackhi_ps(r[i], r[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) {
        u[i] = _mm256_shuffle_ps(t[i], t[i + 2], 0x44);
        u[i + 1] = _mm256_shuffle_ps(t[i], t[i + 2], 0xEE);
        u[i + 2] = _mm256_shuffle_ps(t[i + 1], t[i + 3], 0x44);
        u[i + 3] = _mm256_shuffle_ps(t[i + 1], t[i + 3], 0xEE);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = _mm256_permute2f128_ps(u[i], u[i + 4], 0x20);
        r[i + 4] = _mm256_permute2f128_ps(u[i], u[i + 4], 0x31);
    }
}

// ---- four lanes ----

using f128 = __m128;

QOLSC_INLINE Complex<f128> loadPairs4(const Qol32f* p) {
    const f128 lo = _mm_loadu_ps(p), hi = _mm_loadu_ps(p + 4);
    return {_mm_shuffle_ps(lo, hi, 0x88), _mm_shuffle_ps(lo, hi, 0xDD)};
}
QOLSC_INLINE void storePairs4(Qol32f* p, Complex<f128> x) {
    _mm_storeu_ps(p, _mm_unpacklo_ps(x.re, x.im));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(x.re, x.im));
}
QOLSC_INLINE void storePairsReversed4(Qol32f* p, Complex<f128> x) {
    const f128 re = _mm_permute_ps(x.re, 0x1B), im = _mm_permute_ps(x.im, 0x1B);
    storePairs4(p, {re, im});
}
QOLSC_INLINE f128 reversed(f128 v) { return _mm_permute_ps(v, 0x1B); }
QOLSC_INLINE Complex<f128> reversed(Complex<f128> x) { return {reversed(x.re), reversed(x.im)}; }
QOLSC_INLINE f128 shiftedIn(f128 v, f128 next) {
    return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(next), _mm_castps_si128(v), 4));
}
template <typename V>
QOLSC_INLINE Complex<V> shiftedIn(Complex<V> v, Complex<V> next) {
    return {shiftedIn(v.re, next.re), shiftedIn(v.im, next.im)};
}
QOLSC_INLINE void transpose4(f128& a, f128& b, f128& c, f128& d) {
    const f128 ab0 = _mm_unpacklo_ps(a, b), ab1 = _mm_unpackhi_ps(a, b);
    const f128 cd0 = _mm_unpacklo_ps(c, d), cd1 = _mm_unpackhi_ps(c, d);
    a = _mm_movelh_ps(ab0, cd0);
    b = _mm_movehl_ps(cd0, ab0);
    c = _mm_movelh_ps(ab1, cd1);
    d = _mm_movehl_ps(cd1, ab1);
}
QOLSC_INLINE f256 joined(f128 lo, f128 hi) { return _mm256_set_m128(hi, lo); }

} // namespace qolsc::fft
