// SPDX-License-Identifier: Apache-2.0
// Exponential, logarithm, sine and cosine of float vectors: polynomials in double on a reduced
// argument, four lanes, so that the rounding to float is nearly the only error.
#include "vector/map.h"
#include "vector/vector.h"

#include <math.h>

namespace qolsc {

using namespace simd;

namespace {

/// Polynomial of x, coefficients from the highest power down.
template <int N>
d256 horner(const Qol64f (&c)[N], d256 x) {
    d256 y = splatd(c[0]);
    for (int i = 1; i < N; ++i) {
        y = addd(muld(y, x), splatd(c[i]));
    }
    return y;
}

d256 nearest(d256 x) { return _mm256_round_pd(x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
d256 fromHalves(i128 lo, i128 hi) { return _mm256_castsi256_pd(_mm256_set_m128i(hi, lo)); }

/// 2 to the power of whole numbers within the range of normal doubles.
d256 powerOfTwo(d256 n) {
    const i128 biased = add32(_mm256_cvtpd_epi32(n), splat32(1023));
    const i128 lo = _mm_unpacklo_epi32(biased, zero()), hi = _mm_unpackhi_epi32(biased, zero());
    return fromHalves(_mm_slli_epi64(lo, 52), _mm_slli_epi64(hi, 52));
}

__m128 expOf(const Qol32f* p) {
    constexpr Qol64f kLog2e = 1.4426950408889634074, kLn2 = 0.69314718055994530942;
    // Taylor series: |r| is at most ln(2)/2, the first term left out is below 2^-32.
    constexpr Qol64f kSeries[] = {1.0 / 40320, 1.0 / 5040, 1.0 / 720, 1.0 / 120, 1.0 / 24,
                                  1.0 / 6,     0.5,        1.0,       1.0};
    // Beyond 200 the float result is infinite or 0 anyway; a NaN passes as the second operand.
    const d256 x = _mm256_min_pd(splatd(200), _mm256_max_pd(splatd(-200), widened(p)));
    const d256 n = nearest(muld(x, splatd(kLog2e)));
    const d256 r = _mm256_sub_pd(x, muld(n, splatd(kLn2)));
    return _mm256_cvtpd_ps(muld(horner(kSeries, r), powerOfTwo(n)));
}

struct Logarithm {
    __m128 value;
    int zeros, negatives; ///< lane masks
};

Logarithm logOf(const Qol32f* p) {
    constexpr Qol64f kLn2 = 0.69314718055994530942;
    // 2 artanh(u) = 2 u (1 + u^2/3 + u^4/5 + ...), |u| at most 0.1716: left out below 2^-38.
    constexpr Qol64f kSeries[] = {2.0 / 13, 2.0 / 11, 2.0 / 9, 2.0 / 7, 2.0 / 5, 2.0 / 3, 2.0};
    const __m128 x = _mm_loadu_ps(p);
    const d256 wide = _mm256_cvtps_pd(x); // normal also where x is not
    // Exponent such that the mantissa lies in sqrt(1/2) to sqrt(2): the bits of sqrt(1/2) are
    // subtracted, which moves the border between exponents there.
    constexpr Qol32s kSqrtHalfTop = 0x3FE6A09F; // upper word of the double sqrt(1/2)
    const i128 lo = _mm256_castsi256_si128(_mm256_castpd_si256(wide)),
               hi = _mm256_extractf128_si256(_mm256_castpd_si256(wide), 1);
    const i128 tops =
        _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(lo), _mm_castsi128_ps(hi), 0xDD));
    const i128 exponent = _mm_srai_epi32(sub32(tops, splat32(kSqrtHalfTop)), 20);
    const i128 step = _mm_slli_epi32(exponent, 20);
    const d256 m = fromHalves(_mm_sub_epi64(lo, _mm_unpacklo_epi32(zero(), step)),
                              _mm_sub_epi64(hi, _mm_unpackhi_epi32(zero(), step)));
    const d256 u = _mm256_div_pd(_mm256_sub_pd(m, splatd(1)), addd(m, splatd(1)));
    const d256 series = muld(u, horner(kSeries, muld(u, u)));
    const d256 sum = addd(muld(_mm256_cvtepi32_pd(exponent), splatd(kLn2)), series);

    const __m128 none = _mm_setzero_ps(), infinity = _mm_set1_ps(__builtin_inff());
    const __m128 isZero = _mm_cmpeq_ps(x, none), isNegative = _mm_cmplt_ps(x, none);
    // NaNs and the positive infinity are their own logarithms.
    const __m128 passes = _mm_or_ps(_mm_cmpunord_ps(x, x), _mm_cmpeq_ps(x, infinity));
    __m128 y = _mm256_cvtpd_ps(sum);
    y = _mm_blendv_ps(y, x, passes);
    y = _mm_blendv_ps(y, _mm_set1_ps(-__builtin_inff()), isZero);
    y = _mm_blendv_ps(y, _mm_set1_ps(__builtin_nanf("")), isNegative);
    return {y, _mm_movemask_ps(isZero), _mm_movemask_ps(isNegative)};
}

constexpr Qol32f kFarAngle = 0x1p20f; // up to here the reduction is exact enough

/// Sine (Quarter 0) or cosine (1) for angles within kFarAngle.
template <int Quarter>
__m128 sineOf(__m128 angle) {
    // pi/2 in parts: products of the first with whole numbers below 2^20 are exact.
    constexpr Qol64f kHalfPi = 0x1.921fb544p0, kHalfPiRest = 0x1.0b4611a626331p-34;
    constexpr Qol64f kSine[] = {-1.0 / 39916800, 1.0 / 362880, -1.0 / 5040,
                                1.0 / 120,       -1.0 / 6,     1.0};
    constexpr Qol64f kCosine[] = {1.0 / 479001600, -1.0 / 3628800, 1.0 / 40320, -1.0 / 720,
                                  1.0 / 24,        -0.5,           1.0};
    const d256 x = _mm256_cvtps_pd(angle);
    const d256 n = nearest(muld(x, splatd(0.63661977236758134308)));
    const d256 r =
        _mm256_sub_pd(_mm256_sub_pd(x, muld(n, splatd(kHalfPi))), muld(n, splatd(kHalfPiRest)));
    const d256 r2 = muld(r, r);
    const d256 sine = muld(r, horner(kSine, r2)), cosine = horner(kCosine, r2);
    // Quadrant bits: the lowest chooses the series, the next one the sign.
    const i128 quadrant = add32(_mm256_cvtpd_epi32(n), splat32(Quarter));
    const __m128 useCosine = _mm_castsi128_ps(_mm_slli_epi32(quadrant, 31));
    const __m128 sign = _mm_castsi128_ps(_mm_slli_epi32(_mm_srli_epi32(quadrant, 1), 31));
    return _mm_xor_ps(_mm_blendv_ps(_mm256_cvtpd_ps(sine), _mm256_cvtpd_ps(cosine), useCosine),
                      sign);
}

template <int Quarter>
void sineAll(const Qol32f* pSrc, Qol32f* pDst, int len) {
    mapBlocks<4>(
        [](const Qol32f* p) {
            const __m128 x = _mm_loadu_ps(p);
            const __m128 size = _mm_andnot_ps(_mm_set1_ps(-0.0f), x);
            if (_mm_movemask_ps(_mm_cmple_ps(size, _mm_set1_ps(kFarAngle))) == 15) {
                return sineOf<Quarter>(x);
            }
            Qol32f y[4]; // far angles, infinities, NaNs
            for (int i = 0; i < 4; ++i) {
                const Qol64f v = static_cast<Qol64f>(p[i]);
                y[i] = static_cast<Qol32f>(Quarter ? cos(v) : sin(v));
            }
            return _mm_loadu_ps(y);
        },
        pDst, len, pSrc);
}

} // namespace

void qolsExp_32f_A21(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    mapBlocks<4>(expOf, pDst, len, pSrc);
}
int qolsLn_32f_A21(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    int zeros = 0, negatives = 0;
    mapBlocks<4>(
        [&](const Qol32f* p) {
            const Logarithm l = logOf(p);
            zeros |= l.zeros;
            negatives |= l.negatives;
            return l.value;
        },
        pDst, len, pSrc);
    return negatives ? 1 : zeros ? 2 : 0;
}
void qolsSin_32f_A24(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    sineAll<0>(pSrc, pDst, len);
}
void qolsCos_32f_A24(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    sineAll<1>(pSrc, pDst, len);
}

QolStatus qolsExp_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    const QolStatus status = vectorArgs(len, pSrc, pDst);
    if (status == qolStsNoErr) {
        qolsExp_32f_A21(pSrc, pDst, len);
    }
    return status;
}
QolStatus qolsLn_32f(const Qol32f* pSrc, Qol32f* pDst, int len) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    const int code = qolsLn_32f_A21(pSrc, pDst, len);
    return code == 0 ? qolStsNoErr : code == 2 ? qolStsLnZeroArg : qolStsLnNegArg;
}

} // namespace qolsc
