// SPDX-License-Identifier: Apache-2.0
// Orders 0 to 6: straight-line kernels, everything in registers.
#include "vector/fft_lanes.h"

#include <utility>

namespace qolsc::fft {
namespace {

// ---- orders 5 and 6: four-lane first stage, transposed in registers ----

/// Twiddles of the first stage, R rows of four lanes, and the roots of the recombination.
template <int Half, int R>
struct SmallTables {
    alignas(32) Qol32f re[R][4], im[R][4];
    alignas(32) Qol32f c[Half / 2], s[Half / 2];
};
template <int Half, int R>
constexpr SmallTables<Half, R> kTables = [] {
    SmallTables<Half, R> t{};
    for (int r = 0; r < R; ++r) {
        for (int p = 0; p < 4; ++p) {
            const Root z = root(r * p, Half);
            t.re[r][p] = static_cast<Qol32f>(z.c);
            t.im[r][p] = static_cast<Qol32f>(-z.s);
        }
    }
    for (int k = 1; k <= Half / 2; ++k) {
        const Root z = root(k, 2 * Half);
        t.c[k - 1] = static_cast<Qol32f>(z.c);
        t.s[k - 1] = static_cast<Qol32f>(z.s);
    }
    return t;
}();

template <int Half, int R>
QOLSC_INLINE void twiddleRows(Complex<f128>* x) {
    for (int r = 1; r < R; ++r) {
        x[r] =
            product(x[r], _mm_load_ps(kTables<Half, R>.re[r]), _mm_load_ps(kTables<Half, R>.im[r]));
    }
}

/// Sixteen points, four lanes: x[r] holds points 4 r to 4 r + 3, before and after.
QOLSC_INLINE void transform16(Complex<f128>* x) {
    butterfly4(x[0], x[1], x[2], x[3]);
    twiddleRows<16, 4>(x);
    transpose4(x[0].re, x[1].re, x[2].re, x[3].re);
    transpose4(x[0].im, x[1].im, x[2].im, x[3].im);
    butterfly4(x[0], x[1], x[2], x[3]);
}

/// 32 points: x[r] holds points 4 r to 4 r + 3 before, y[r] points 8 r to 8 r + 7 after.
QOLSC_INLINE void transform32(Complex<f128>* x, Complex<f256>* y) {
    butterfly8(x, _mm_set1_ps(kSqrtHalf));
    twiddleRows<32, 8>(x);
    transpose4(x[0].re, x[1].re, x[2].re, x[3].re);
    transpose4(x[4].re, x[5].re, x[6].re, x[7].re);
    transpose4(x[0].im, x[1].im, x[2].im, x[3].im);
    transpose4(x[4].im, x[5].im, x[6].im, x[7].im);
    for (int r = 0; r < 4; ++r) {
        y[r] = {joined(x[r].re, x[r + 4].re), joined(x[r].im, x[r + 4].im)};
    }
    butterfly4(y[0], y[1], y[2], y[3]);
}

void forward5(const Qol32f* pSrc, Spectrum dst, Qol32f factor) {
    Complex<f128> z[4];
    for (int r = 0; r < 4; ++r) {
        z[r] = loadPairs4(pSrc + 8 * r);
    }
    transform16(z);
    const f128 gain = _mm_set1_ps(0.5f * factor);
    const auto& t = kTables<16, 4>;
    const Qol32f re = _mm_cvtss_f32(z[0].re) * factor, im = _mm_cvtss_f32(z[0].im) * factor;
    for (int i = 0; i < 2; ++i) { // bins 1 to 4 with 12 to 15, 5 to 8 with 8 to 11
        Complex<f128> a = shiftedIn(z[i], z[i + 1]), b = reversed(z[3 - i]);
        recombineForward(a, b, _mm_load_ps(t.c + 4 * i), _mm_load_ps(t.s + 4 * i), gain);
        storePairs4(dst.pairs + 8 * i, a);
        storePairsReversed4(dst.pairs + 2 * (11 - 4 * i), b);
    }
    *dst.first = re + im;
    *dst.last = re - im;
}

void inverse5(ConstSpectrum src, Qol32f* pDst, Qol32f factor) {
    const f128 gain = _mm_set1_ps(factor);
    const auto& t = kTables<16, 4>;
    Complex<f128> low[2], z[4];
    for (int i = 0; i < 2; ++i) {
        low[i] = loadPairs4(src.pairs + 8 * i);
        z[3 - i] = reversed(loadPairs4(src.pairs + 2 * (11 - 4 * i)));
        recombineInverse(low[i], z[3 - i], _mm_load_ps(t.c + 4 * i), _mm_load_ps(t.s + 4 * i),
                         gain);
        z[3 - i] = reversed(z[3 - i]);
    }
    // Bins 0, 1 to 3 and 4 to 7: the low ones one lane further.
    const Complex<f128> zero = {_mm_set1_ps((src.first + src.last) * factor),
                                _mm_set1_ps((src.first - src.last) * factor)};
    const auto behind = [](f128 v, f128 before) { // lane 3 of before, lanes 0 to 2 of v
        return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(v), _mm_castps_si128(before), 12));
    };
    z[0] = {behind(low[0].re, zero.re), behind(low[0].im, zero.im)};
    z[1] = {behind(low[1].re, low[0].re), behind(low[1].im, low[0].im)};
    for (int r = 0; r < 4; ++r) {
        std::swap(z[r].re, z[r].im);
    }
    transform16(z);
    for (int r = 0; r < 4; ++r) {
        storePairs4(pDst + 8 * r, {z[r].im, z[r].re});
    }
}

void forward6(const Qol32f* pSrc, Spectrum dst, Qol32f factor) {
    Complex<f128> x[8];
    for (int r = 0; r < 8; ++r) {
        x[r] = loadPairs4(pSrc + 8 * r);
    }
    Complex<f256> z[4];
    transform32(x, z);
    const f256 gain = simd::splatf(0.5f * factor);
    const auto& t = kTables<32, 8>;
    const Qol32f re = _mm256_cvtss_f32(z[0].re) * factor, im = _mm256_cvtss_f32(z[0].im) * factor;
    for (int i = 0; i < 2; ++i) { // bins 1 to 8 with 24 to 31, 9 to 16 with 16 to 23
        Complex<f256> a = shiftedIn(z[i], z[i + 1]), b = reversed(z[3 - i]);
        recombineForward(a, b, loadf(t.c + 8 * i), loadf(t.s + 8 * i), gain);
        storePairs8(dst.pairs + 16 * i, a);
        storePairsReversed8(dst.pairs + 2 * (23 - 8 * i), b);
    }
    *dst.first = re + im;
    *dst.last = re - im;
}

void inverse6(ConstSpectrum src, Qol32f* pDst, Qol32f factor) {
    const f128 gain = _mm_set1_ps(factor);
    const auto& t = kTables<32, 8>;
    Complex<f128> low[4], z[8];
    for (int i = 0; i < 4; ++i) { // bins 4 i + 1 to 4 i + 4 with 28 - 4 i to 31 - 4 i
        low[i] = loadPairs4(src.pairs + 8 * i);
        z[7 - i] = reversed(loadPairs4(src.pairs + 2 * (27 - 4 * i)));
        recombineInverse(low[i], z[7 - i], _mm_load_ps(t.c + 4 * i), _mm_load_ps(t.s + 4 * i),
                         gain);
        z[7 - i] = reversed(z[7 - i]);
    }
    Complex<f128> before = {_mm_set1_ps((src.first + src.last) * factor),
                            _mm_set1_ps((src.first - src.last) * factor)};
    const auto behind = [](f128 v, f128 u) {
        return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(v), _mm_castps_si128(u), 12));
    };
    for (int i = 0; i < 4; ++i) {
        z[i] = {behind(low[i].re, before.re), behind(low[i].im, before.im)};
        before = low[i];
    }
    for (int r = 0; r < 8; ++r) {
        std::swap(z[r].re, z[r].im);
    }
    Complex<f256> y[4];
    transform32(z, y);
    for (int r = 0; r < 4; ++r) {
        storePairs8(pDst + 16 * r, {y[r].im, y[r].re});
    }
}

// ---- orders 0 to 4: one lane ----

template <int Half>
QOLSC_INLINE void transformFew(Complex<Qol32f>* z) {
    if constexpr (Half == 2) {
        const Complex<Qol32f> a = z[0];
        z[0] = a + z[1];
        z[1] = a - z[1];
    } else if constexpr (Half >= 4) {
        butterfly<Half>(z, kSqrtHalf);
    }
}

template <int Half>
void forwardFew(const Qol32f* pSrc, Spectrum dst, Qol32f factor) {
    Complex<Qol32f> z[Half];
    for (int i = 0; i < Half; ++i) {
        z[i] = {pSrc[2 * i], pSrc[2 * i + 1]};
    }
    transformFew<Half>(z);
    for (int k = 1; k <= Half / 2; ++k) {
        constexpr int kLength = 2 * Half;
        const Root t = root(k, kLength);
        Complex<Qol32f> a = z[k], b = z[Half - k];
        recombineForward(a, b, static_cast<Qol32f>(t.c), static_cast<Qol32f>(t.s), 0.5f * factor);
        dst.pairs[2 * k - 2] = a.re;
        dst.pairs[2 * k - 1] = a.im;
        if (k != Half - k) {
            dst.pairs[2 * (Half - k) - 2] = b.re;
            dst.pairs[2 * (Half - k) - 1] = b.im;
        }
    }
    *dst.first = (z[0].re + z[0].im) * factor;
    *dst.last = (z[0].re - z[0].im) * factor;
}

template <int Half>
void inverseFew(ConstSpectrum src, Qol32f* pDst, Qol32f factor) {
    Complex<Qol32f> z[Half];
    z[0] = {(src.first - src.last) * factor, (src.first + src.last) * factor}; // exchanged
    for (int k = 1; k <= Half / 2; ++k) {
        constexpr int kLength = 2 * Half;
        const Root t = root(k, kLength);
        const int m = Half - k;
        Complex<Qol32f> a = {src.pairs[2 * k - 2], src.pairs[2 * k - 1]};
        Complex<Qol32f> b = {src.pairs[2 * m - 2], src.pairs[2 * m - 1]};
        recombineInverse(a, b, static_cast<Qol32f>(t.c), static_cast<Qol32f>(t.s), factor);
        z[m] = {b.im, b.re};
        z[k] = {a.im, a.re};
    }
    transformFew<Half>(z);
    for (int i = 0; i < Half; ++i) {
        pDst[2 * i] = z[i].im;
        pDst[2 * i + 1] = z[i].re;
    }
}

} // namespace

void forwardSmall(int order, const Qol32f* pSrc, Spectrum dst, Qol32f factor) {
    switch (order) {
    case 0:
        *dst.first = pSrc[0] * factor;
        break;
    case 1:
        return forwardFew<1>(pSrc, dst, factor);
    case 2:
        return forwardFew<2>(pSrc, dst, factor);
    case 3:
        return forwardFew<4>(pSrc, dst, factor);
    case 4:
        return forwardFew<8>(pSrc, dst, factor);
    case 5:
        return forward5(pSrc, dst, factor);
    default:
        return forward6(pSrc, dst, factor);
    }
}

void inverseSmall(int order, ConstSpectrum src, Qol32f* pDst, Qol32f factor) {
    switch (order) {
    case 0:
        pDst[0] = src.first * factor;
        break;
    case 1:
        return inverseFew<1>(src, pDst, factor);
    case 2:
        return inverseFew<2>(src, pDst, factor);
    case 3:
        return inverseFew<4>(src, pDst, factor);
    case 4:
        return inverseFew<8>(src, pDst, factor);
    case 5:
        return inverse5(src, pDst, factor);
    default:
        return inverse6(src, pDst, factor);
    }
}

} // namespace qolsc::fft
