// SPDX-License-Identifier: Apache-2.0
// Inner parts of the transforms: roots of unity, butterflies, recombination, and the interface
// between the files of the engine.
//
// The complex transform works on split vectors (real parts, imaginary parts). Its forward form,
// e^(-j...), is the only one: the inverse is the same with the two parts exchanged.
#pragma once

#include "vector/simd.h"

// The vector types' may_alias attribute plays no part where they stand as template arguments.
#pragma GCC diagnostic ignored "-Wignored-attributes"

#define QOLSC_INLINE inline __attribute__((always_inline))

namespace qolsc::fft {

using simd::f256;

// ---- roots of unity, in double ----

struct Root {
    double c, s; ///< cos and sin of 2 pi k / n
};

/// cos and sin for an angle of 0 to pi/4 by their series.
constexpr Root rootOfOctant(double x) {
    const double x2 = x * x;
    double c = 0, s = 0;
    for (int n = 18; n >= 2; n -= 2) { // Horner from the far end
        c = (1 - c) * x2 / (n * (n - 1));
        s = (1 - s) * x2 / (n * (n + 1));
    }
    return {1 - c, x * (1 - s)};
}

/// The k-th of n roots (n a multiple of 8, k from 0 to n), exact at the multiples of a quarter.
constexpr Root root(long long k, long long n) {
    constexpr double kTwoPi = 6.283185307179586476925286766559;
    const long long octant = 8 * k / n, within = 8 * k % n; // in units of 1/(8n) turns
    const bool mirrored = octant & 1;
    const long long rest = mirrored ? n - within : within;
    const Root r =
        rootOfOctant(kTwoPi * static_cast<double>(rest) / (8.0 * static_cast<double>(n)));
    const Root q = mirrored ? Root{r.s, r.c} : r; // in the first quadrant
    switch (octant / 2 & 3) {
    case 0:
        return q;
    case 1:
        return {-q.s, q.c};
    case 2:
        return {-q.c, -q.s};
    default:
        return {q.s, -q.c};
    }
}

// ---- butterflies over V: eight lanes, four lanes or one ----

template <typename V>
struct Complex {
    V re, im;
};
template <typename V>
QOLSC_INLINE Complex<V> operator+(Complex<V> a, Complex<V> b) {
    return {a.re + b.re, a.im + b.im};
}
template <typename V>
QOLSC_INLINE Complex<V> operator-(Complex<V> a, Complex<V> b) {
    return {a.re - b.re, a.im - b.im};
}
template <typename V>
QOLSC_INLINE Complex<V> timesMinusJ(Complex<V> a) {
    return {a.im, -a.re};
}
template <typename V>
QOLSC_INLINE Complex<V> product(Complex<V> a, V wRe, V wIm) {
    return {a.re * wRe - a.im * wIm, a.re * wIm + a.im * wRe};
}

/// Four-point transform in place, natural order.
template <typename V>
QOLSC_INLINE void butterfly4(Complex<V>& a, Complex<V>& b, Complex<V>& c, Complex<V>& d) {
    const Complex<V> sum02 = a + c, diff02 = a - c, sum13 = b + d, diff13 = b - d;
    a = sum02 + sum13;
    c = sum02 - sum13;
    b = {diff02.re + diff13.im, diff02.im - diff13.re};
    d = {diff02.re - diff13.im, diff02.im + diff13.re};
}

inline constexpr float kSqrtHalf = 0.70710678118654752440f;

/// Eight-point transform in place, natural order.
template <typename V>
QOLSC_INLINE void butterfly8(Complex<V>* x, V sqrtHalf) {
    Complex<V> e0 = x[0], e1 = x[2], e2 = x[4], e3 = x[6];
    Complex<V> o0 = x[1], o1 = x[3], o2 = x[5], o3 = x[7];
    butterfly4(e0, e1, e2, e3);
    butterfly4(o0, o1, o2, o3);
    const Complex<V> r1 = {(o1.re + o1.im) * sqrtHalf, (o1.im - o1.re) * sqrtHalf};
    const Complex<V> r3 = {(o3.im - o3.re) * sqrtHalf, (o3.im + o3.re) * sqrtHalf}; // im negated
    x[0] = e0 + o0;
    x[4] = e0 - o0;
    x[1] = e1 + r1;
    x[5] = e1 - r1;
    x[2] = {e2.re + o2.im, e2.im - o2.re};
    x[6] = {e2.re - o2.im, e2.im + o2.re};
    x[3] = {e3.re + r3.re, e3.im - r3.im};
    x[7] = {e3.re - r3.re, e3.im + r3.im};
}

template <int R, typename V>
QOLSC_INLINE void butterfly(Complex<V>* x, V sqrtHalf) {
    if constexpr (R == 4) {
        butterfly4(x[0], x[1], x[2], x[3]);
    } else {
        butterfly8(x, sqrtHalf);
    }
}

/// Bins k and H - k of the real spectrum from the bins of the half-length complex one, times twice
/// the gain; (c, s) is root k of 2H. Afterwards a is bin k and b bin H - k.
template <typename V>
QOLSC_INLINE void recombineForward(Complex<V>& a, Complex<V>& b, V c, V s, V gain) {
    const Complex<V> even = {(a.re + b.re) * gain, (a.im - b.im) * gain};
    const Complex<V> odd = {(a.im + b.im) * gain, (b.re - a.re) * gain};
    const Complex<V> turned = {odd.re * c + odd.im * s, odd.im * c - odd.re * s};
    a = even + turned;
    b = {even.re - turned.re, turned.im - even.im};
}

/// The way back: bins k and H - k of the complex spectrum from those of the real one, times gain.
template <typename V>
QOLSC_INLINE void recombineInverse(Complex<V>& a, Complex<V>& b, V c, V s, V gain) {
    const Complex<V> even = {(a.re + b.re) * gain, (a.im - b.im) * gain};
    const Complex<V> diff = {(a.re - b.re) * gain, (a.im + b.im) * gain};
    const Complex<V> turned = {-(diff.im * c + diff.re * s), diff.re * c - diff.im * s};
    a = even + turned;
    b = {even.re - turned.re, turned.im - even.im};
}

// ---- where a real spectrum lies ----

/// Pairs of bins 1 to H - 1, and the two real bins.
struct Spectrum {
    Qol32f* pairs; ///< bin 1
    Qol32f* first; ///< bin 0
    Qol32f* last;  ///< bin H
};
struct ConstSpectrum {
    const Qol32f* pairs;
    Qol32f first, last;
};

// ---- the engine ----

/// Forward and inverse transforms; factor multiplies the result. Orders 0 to 6, 7, 8 to 19 (with
/// tables and a work buffer of N elements and two more), 20 and up.
void forwardSmall(int order, const Qol32f* pSrc, Spectrum dst, Qol32f factor);
void inverseSmall(int order, ConstSpectrum src, Qol32f* pDst, Qol32f factor);
void forward7(const Qol32f* pSrc, Spectrum dst, Qol32f factor);
void inverse7(ConstSpectrum src, Qol32f* pDst, Qol32f factor);
/// pSpan: the N elements of memory that dst lies in, used as a second work buffer.
void forwardStaged(int order, const Qol32f* pTwiddle, const Qol32f* pTwdReal, const Qol32f* pSrc,
                   Spectrum dst, Qol32f* pSpan, Qol32f factor, Qol32f* pWork);
void inverseStaged(int order, const Qol32f* pTwiddle, const Qol32f* pTwdReal, ConstSpectrum src,
                   const Qol32f* pSrcSpan, int srcLen, Qol32f* pDst, Qol32f factor, Qol32f* pWork);

/// Floats of the stage twiddles of orders 8 to 19; the contents of both tables (the recombination
/// has N/2 floats).
int stagedTwiddleCount(int order);
void buildStagedTables(int order, Qol32f* pTwiddle, Qol32f* pTwdReal);

/// Orders 20 and up: in place on the N elements of pData, spectrum in Perm layout.
int largeTableBytes(int order);
void buildLargeTables(int order, Qol8u* pTable);
void forwardLarge(int order, const Qol8u* pTable, Qol32f* pData, Qol32f factor);
void inverseLarge(int order, const Qol8u* pTable, Qol32f* pData, Qol32f factor);

} // namespace qolsc::fft
