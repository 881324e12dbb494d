// SPDX-License-Identifier: Apache-2.0
// Orders 7 to 19: Stockham's self-sorting transform of the half-length complex signal, radix 8
// first, then radix 8 and 4, eight lanes everywhere, no bit reversal. A stage reads one buffer and
// writes another; before a stage with sub-transform length n the data consists of s = H/n
// interleaved signals. The first stage (s = 1) runs over eight butterflies at once and transposes,
// all others run over the interleaved signals.
#include "vector/fft_lanes.h"

#include <string.h>

#include <utility>

namespace qolsc::fft {
namespace {

/// A split buffer of H complex numbers.
struct Split {
    Qol32f *re, *im;
};

/// Radix of stage i: 8 first, then as many 8 as leave a multiple of 2 bits for radix 4, which stand
/// last.
constexpr int radixFours(int order) {
    constexpr int kFours[] = {0, 2, 1}; // bits left after the first stage, modulo 3
    return kFours[(order - 1 - 3) % 3];
}
constexpr int stageCount(int order) {
    const int fours = radixFours(order), bits = order - 1;
    return fours + (bits - 2 * fours) / 3;
}
constexpr int radixOf(int order, int stage) {
    return stage < stageCount(order) - radixFours(order) ? 8 : 4;
}

/// Twiddles of the stages before the last: the first by blocks of eight butterflies, the others by
/// butterfly.
template <typename T>
constexpr void fillTwiddles(int order, T* pTwiddle) {
    const int half = 1 << (order - 1);
    T* w = pTwiddle;
    for (int p = 0; p < half / 8; p += 8) {
        for (int r = 1; r < 8; ++r) {
            for (int lane = 0; lane < 8; ++lane) {
                const Root z = root(static_cast<long long>(r) * (p + lane), half);
                w[lane] = static_cast<T>(z.c);
                w[8 + lane] = static_cast<T>(-z.s);
            }
            w += 16;
        }
    }
    int n = half / 8;
    for (int stage = 1; stage < stageCount(order) - 1; ++stage) {
        const int radix = radixOf(order, stage);
        for (int p = 0; p < n / radix; ++p) {
            for (int r = 1; r < radix; ++r) {
                const Root z = root(static_cast<long long>(r) * p, n);
                *w++ = static_cast<T>(z.c);
                *w++ = static_cast<T>(-z.s);
            }
        }
        n /= radix;
    }
}

/// Roots of the recombination of bins k and H - k, k from 1 to H/2, by blocks of eight.
template <typename T>
constexpr void fillRecombination(int order, T* pTable) {
    const int length = 1 << order;
    for (int k = 1; k <= length / 4; ++k) {
        T* block = pTable + (k - 1) / 8 * 16 + (k - 1) % 8;
        const Root z = root(k, length);
        block[0] = static_cast<T>(z.c);
        block[8] = static_cast<T>(z.s);
    }
}

struct Tables7 {
    alignas(64) Qol32f twiddle[112];
    alignas(64) Qol32f recombination[64];
};
constexpr Tables7 kTables7 = [] {
    Tables7 t{};
    fillTwiddles(7, t.twiddle);
    fillRecombination(7, t.recombination);
    return t;
}();

template <typename Load>
QOLSC_INLINE void firstStage(Load load, Split y, int half, const Qol32f* w) {
    const f256 sqrtHalf = simd::splatf(kSqrtHalf);
    const int eighth = half / 8;
    for (int p = 0; p < eighth; p += 8, w += 7 * 16) {
        Complex<f256> x[8];
        for (int r = 0; r < 8; ++r) {
            x[r] = load(p + r * eighth);
        }
        butterfly8(x, sqrtHalf);
        f256 re[8], im[8];
        re[0] = x[0].re;
        im[0] = x[0].im;
        for (int r = 1; r < 8; ++r) {
            const Complex<f256> t =
                product(x[r], loadf(w + 16 * (r - 1)), loadf(w + 16 * (r - 1) + 8));
            re[r] = t.re;
            im[r] = t.im;
        }
        transpose8(re);
        transpose8(im);
        for (int r = 0; r < 8; ++r) {
            storef(y.re + 8 * (p + r), re[r]);
            storef(y.im + 8 * (p + r), im[r]);
        }
    }
}

/// Sub-transform length n, s interleaved signals.
template <int R>
void middleStage(Split x, Split y, int n, int s, const Qol32f* w) {
    const f256 sqrtHalf = simd::splatf(kSqrtHalf);
    const int groups = n / R, step = s * groups;
    for (int p = 0; p < groups; ++p, w += 2 * (R - 1)) {
        const Qol32f *xr = x.re + s * p, *xi = x.im + s * p;
        Qol32f *yr = y.re + s * R * p, *yi = y.im + s * R * p;
        for (int q = 0; q < s; q += 8) {
            Complex<f256> t[R];
            for (int r = 0; r < R; ++r) {
                t[r] = {loadf(xr + q + r * step), loadf(xi + q + r * step)};
            }
            butterfly<R>(t, sqrtHalf);
            storef(yr + q, t[0].re);
            storef(yi + q, t[0].im);
            for (int r = 1; r < R; ++r) {
                const Complex<f256> u =
                    product(t[r], simd::splatf(w[2 * r - 2]), simd::splatf(w[2 * r - 1]));
                storef(yr + q + r * s, u.re);
                storef(yi + q + r * s, u.im);
            }
        }
    }
}

/// The last stage, n = R: no twiddles.
template <int R, typename Store>
QOLSC_INLINE void lastStage(Split x, int half, Store store) {
    const f256 sqrtHalf = simd::splatf(kSqrtHalf);
    const int s = half / R;
    for (int q = 0; q < s; q += 8) {
        Complex<f256> t[R];
        for (int r = 0; r < R; ++r) {
            t[r] = {loadf(x.re + q + r * s), loadf(x.im + q + r * s)};
        }
        butterfly<R>(t, sqrtHalf);
        for (int r = 0; r < R; ++r) {
            store(q + r * s, t[r]);
        }
    }
}

/// Stages 1 to the last but one, from x to y and back; x is where the last stage reads at the end.
void middleStages(int order, Split& x, Split& y, const Qol32f* pTwiddle) {
    const int half = 1 << (order - 1);
    const Qol32f* w = pTwiddle + half / 64 * 112;
    int n = half / 8, s = 8;
    for (int stage = 1; stage < stageCount(order) - 1; ++stage) {
        const int radix = radixOf(order, stage);
        if (radix == 8) {
            middleStage<8>(x, y, n, s, w);
        } else {
            middleStage<4>(x, y, n, s, w);
        }
        w += 2 * (radix - 1) * (n / radix);
        n /= radix;
        s *= radix;
        std::swap(x, y);
    }
}

template <typename Store>
QOLSC_INLINE void finalStage(int order, Split x, Store store) {
    const int half = 1 << (order - 1);
    if (radixOf(order, stageCount(order) - 1) == 8) {
        lastStage<8>(x, half, store);
    } else {
        lastStage<4>(x, half, store);
    }
}

/// Complex spectrum z to the real one.
void toSpectrum(Split z, int half, const Qol32f* table, Spectrum dst, Qol32f factor) {
    const Qol32f re = z.re[0] * factor, im = z.im[0] * factor;
    const f256 gain = simd::splatf(0.5f * factor);
    for (int k = 1; k < half / 2; k += 8, table += 16) {
        Complex<f256> a = {loadf(z.re + k), loadf(z.im + k)};
        const int mirror = half - k - 7;
        Complex<f256> b = reversed(Complex<f256>{loadf(z.re + mirror), loadf(z.im + mirror)});
        recombineForward(a, b, loadf(table), loadf(table + 8), gain);
        storePairs8(dst.pairs + 2 * (k - 1), a);
        storePairsReversed8(dst.pairs + 2 * (mirror - 1), b);
    }
    *dst.first = re + im;
    *dst.last = re - im;
}

/// Real spectrum to the complex one.
void fromSpectrum(ConstSpectrum src, int half, const Qol32f* table, Split z, Qol32f factor) {
    const f256 gain = simd::splatf(factor);
    for (int k = 1; k < half / 2; k += 8, table += 16) {
        const int mirror = half - k - 7;
        Complex<f256> a = loadPairs8(src.pairs + 2 * (k - 1));
        Complex<f256> b = reversed(loadPairs8(src.pairs + 2 * (mirror - 1)));
        recombineInverse(a, b, loadf(table), loadf(table + 8), gain);
        storef(z.re + k, a.re);
        storef(z.im + k, a.im);
        b = reversed(b);
        storef(z.re + mirror, b.re);
        storef(z.im + mirror, b.im);
    }
    z.re[0] = (src.first + src.last) * factor;
    z.im[0] = (src.first - src.last) * factor;
}

Split splitOf(Qol32f* p, int half) { return {p, p + half}; }
Split exchanged(Split x) { return {x.im, x.re}; }

bool overlap(const Qol32f* a, int lenA, const Qol32f* b, int lenB) {
    return reinterpret_cast<uintptr_t>(a) < reinterpret_cast<uintptr_t>(b + lenB) &&
           reinterpret_cast<uintptr_t>(b) < reinterpret_cast<uintptr_t>(a + lenA);
}

} // namespace

int stagedTwiddleCount(int order) {
    const int half = 1 << (order - 1);
    int count = half / 64 * 112, n = half / 8;
    for (int stage = 1; stage < stageCount(order) - 1; ++stage) {
        const int radix = radixOf(order, stage);
        count += 2 * (radix - 1) * (n / radix);
        n /= radix;
    }
    return (count + 15) & ~15; // whole cache lines
}

void buildStagedTables(int order, Qol32f* pTwiddle, Qol32f* pTwdReal) {
    fillTwiddles(order, pTwiddle);
    fillRecombination(order, pTwdReal);
}

void forward7(const Qol32f* pSrc, Spectrum dst, Qol32f factor) {
    constexpr int kHalf = 64;
    alignas(64) Qol32f a[2 * kHalf], b[2 * kHalf];
    const Split x = splitOf(a, kHalf), y = splitOf(b, kHalf);
    firstStage([pSrc](int i) { return loadPairs8(pSrc + 2 * i); }, x, kHalf, kTables7.twiddle);
    lastStage<8>(x, kHalf, [y](int i, Complex<f256> v) {
        storef(y.re + i, v.re);
        storef(y.im + i, v.im);
    });
    toSpectrum(y, kHalf, kTables7.recombination, dst, factor);
}

void inverse7(ConstSpectrum src, Qol32f* pDst, Qol32f factor) {
    constexpr int kHalf = 64;
    alignas(64) Qol32f a[2 * kHalf], b[2 * kHalf];
    fromSpectrum(src, kHalf, kTables7.recombination, splitOf(a, kHalf), factor);
    const Split z = exchanged(splitOf(a, kHalf)), x = splitOf(b, kHalf);
    firstStage(
        [z](int i) {
            return Complex<f256>{loadf(z.re + i), loadf(z.im + i)};
        },
        x, kHalf, kTables7.twiddle);
    lastStage<8>(x, kHalf, [pDst](int i, Complex<f256> v) {
        storePairs8(pDst + 2 * i, {v.im, v.re});
    });
}

void forwardStaged(int order, const Qol32f* pTwiddle, const Qol32f* pTwdReal, const Qol32f* pSrc,
                   Spectrum dst, Qol32f* pSpan, Qol32f factor, Qol32f* pWork) {
    const int half = 1 << (order - 1);
    // The complex spectrum has to end in the work buffer.
    const bool odd = stageCount(order) & 1;
    Split x = splitOf(odd ? pWork : pSpan, half), y = splitOf(odd ? pSpan : pWork, half);
    if (!odd && overlap(pSrc, 2 * half, pSpan, 2 * half)) {
        memcpy(pWork, pSrc, sizeof(Qol32f) * 2 * static_cast<size_t>(half));
        pSrc = pWork;
    }
    firstStage([pSrc](int i) { return loadPairs8(pSrc + 2 * i); }, x, half, pTwiddle);
    middleStages(order, x, y, pTwiddle);
    finalStage(order, x, [y](int i, Complex<f256> v) {
        storef(y.re + i, v.re);
        storef(y.im + i, v.im);
    });
    toSpectrum(y, half, pTwdReal, dst, factor);
}

void inverseStaged(int order, const Qol32f* pTwiddle, const Qol32f* pTwdReal, ConstSpectrum src,
                   const Qol32f* pSrcSpan, int srcLen, Qol32f* pDst, Qol32f factor, Qol32f* pWork) {
    const int half = 1 << (order - 1);
    // The last stage has to read the work buffer, since it writes pDst.
    const bool odd = stageCount(order) & 1;
    const Split z = splitOf(odd ? pWork : pDst, half);
    if (!odd && overlap(pSrcSpan, srcLen, pDst, 2 * half)) {
        memcpy(pWork, pSrcSpan, sizeof(Qol32f) * static_cast<size_t>(srcLen));
        src.pairs = pWork + (src.pairs - pSrcSpan);
    }
    fromSpectrum(src, half, pTwdReal, z, factor);
    const Split in = exchanged(z);
    Split x = splitOf(odd ? pDst : pWork, half), y = z;
    firstStage(
        [in](int i) {
            return Complex<f256>{loadf(in.re + i), loadf(in.im + i)};
        },
        x, half, pTwiddle);
    middleStages(order, x, y, pTwiddle);
    finalStage(order, x, [pDst](int i, Complex<f256> v) {
        storePairs8(pDst + 2 * i, {v.im, v.re});
    });
}

} // namespace qolsc::fft
