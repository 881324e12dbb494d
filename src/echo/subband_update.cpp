// SPDX-License-Identifier: Apache-2.0
// Adaptation of the sub-band filters by normalised least mean squares and over several past frames.
#include "echo/echo.h"
#include "echo/subband_filter.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/simd.h"

namespace qolsc {

namespace echo {

void updatePlain_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s numSubbands) {
    for (Qol32s i = 0; i < numSubbands; ++i) {
        const Qol64f ar = pStepSize[i] * static_cast<Qol64f>(pError[i].re);
        const Qol64f ai = pStepSize[i] * static_cast<Qol64f>(pError[i].im);
        for (Qol32s j = 0; j < numSegments; ++j) {
            const Qol64f xr = ppSrc[j][i].re, xi = ppSrc[j][i].im;
            ppCoefs[j][i].re += static_cast<Qol32f>(xr * ar + xi * ai);
            ppCoefs[j][i].im += static_cast<Qol32f>(xr * ai - xi * ar);
        }
    }
}

namespace {

using simd::d256;

/// Scaled errors as products with conjugates need them: (ar, -ar) for x as it is, (ai, ai) for x
/// with its parts exchanged.
struct ScaledErrors {
    d256 straight, crossed;
};

ScaledErrors scaleErrors(d256 steps, d256 errors) {
    const d256 a = simd::muld(steps, errors);
    return {_mm256_xor_pd(_mm256_movedup_pd(a), _mm256_setr_pd(0.0, -0.0, 0.0, -0.0)),
            _mm256_permute_pd(a, 0xF)};
}
/// conj(x) * a.
inline d256 conjugateProduct(d256 x, ScaledErrors a) {
    return simd::addd(simd::muld(x, a.straight), simd::muld(simd::exchange(x), a.crossed));
}
/// c + increment, rounded to float first.
inline __m128 updated(__m128 c, d256 increment) {
    return _mm_add_ps(c, _mm256_cvtpd_ps(increment));
}
/// The scaled errors of two bands, or of one for two taps a vector.
inline ScaledErrors scaleErrors2(const Qol64f* pStepSize, const Qol32fc* pError) {
    return scaleErrors(_mm256_setr_pd(pStepSize[0], pStepSize[0], pStepSize[1], pStepSize[1]),
                       simd::widen2(pError));
}
inline ScaledErrors scaleErrors1(const Qol64f* pStepSize, const Qol32fc* pError) {
    return scaleErrors(simd::splatd(*pStepSize), simd::widenTaps(pError, pError));
}

/// Bands i to i + 2 * Pairs - 1.
template <int Pairs>
inline void updateTile(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                       Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s i) {
    ScaledErrors a[Pairs];
    for (int p = 0; p < Pairs; ++p) {
        a[p] = scaleErrors2(pStepSize + i + 2 * p, pError + i + 2 * p);
    }
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32fc* const x = ppSrc[j] + i;
        Qol32f* const c = &ppCoefs[j][i].re;
        for (int p = 0; p < Pairs; ++p) {
            _mm_storeu_ps(c + 4 * p, updated(_mm_loadu_ps(c + 4 * p),
                                             conjugateProduct(simd::widen2(x + 2 * p), a[p])));
        }
    }
}

/// One band, two taps a vector.
void updateBand(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s i) {
    const ScaledErrors a = scaleErrors1(pStepSize + i, pError + i);
    Qol32s j = 0;
    for (; j + 2 <= numSegments; j += 2) {
        Qol32fc *const c = ppCoefs[j] + i, *const d = ppCoefs[j + 1] + i;
        const d256 x = simd::widenTaps(ppSrc[j] + i, ppSrc[j + 1] + i);
        simd::storeTaps(c, d, updated(simd::loadTaps(c, d), conjugateProduct(x, a)));
    }
    if (j < numSegments) {
        Qol32fc* const c = ppCoefs[j] + i;
        simd::store1(c, updated(simd::load1(c), conjugateProduct(simd::widen1(ppSrc[j] + i), a)));
    }
}

} // namespace

void updatePairs_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s numSubbands) {
    Qol32s i = 0;
    for (; i + 8 <= numSubbands; i += 8) {
        updateTile<4>(pStepSize, ppSrc, pError, ppCoefs, numSegments, i);
    }
    for (; i + 2 <= numSubbands; i += 2) {
        updateTile<1>(pStepSize, ppSrc, pError, ppCoefs, numSegments, i);
    }
    if (i < numSubbands) {
        updateBand(pStepSize, ppSrc, pError, ppCoefs, numSegments, i);
    }
}

void updateApPlain_32fc(const Qol64f* const* ppStepSize, const Qol32fc* const* ppSrc,
                        const Qol32fc* const* ppError, Qol32fc* const* ppCoefs, Qol32s numSegments,
                        Qol32s numSubbands, Qol32u apOrder) {
    const Qol64f g = static_cast<Qol64f>(1.0f / static_cast<Qol32f>(apOrder));
    for (Qol32s j = 0; j < numSegments; ++j) {
        for (Qol32s i = 0; i < numSubbands; ++i) {
            Qol64f re = 0, im = 0;
            for (Qol32u k = 0; k < apOrder; ++k) {
                const Qol64f xr = ppSrc[j + k][i].re, xi = ppSrc[j + k][i].im;
                const Qol64f ar = ppStepSize[k][i] * static_cast<Qol64f>(ppError[k][i].re);
                const Qol64f ai = ppStepSize[k][i] * static_cast<Qol64f>(ppError[k][i].im);
                re += xr * ar + xi * ai;
                im += xr * ai - xi * ar;
            }
            ppCoefs[j][i].re += static_cast<Qol32f>(g * re);
            ppCoefs[j][i].im += static_cast<Qol32f>(g * im);
        }
    }
}

namespace {

/// Order 2, bands i to i + 2 * Pairs - 1. A row of the far end serves two taps: it is widened once,
/// and kept with its parts exchanged. Halving the scaled errors in place of the sum is exact.
template <int Pairs>
inline void updateTileOverTwo(const Qol64f* const* ppStepSize, const Qol32fc* const* ppSrc,
                              const Qol32fc* const* ppError, Qol32fc* const* ppCoefs,
                              Qol32s numSegments, Qol32s i) {
    ScaledErrors a[2][Pairs];
    d256 x[Pairs], crossed[Pairs]; // the newer row's
    const d256 half = simd::splatd(0.5);
    for (int p = 0; p < Pairs; ++p) {
        const Qol32s band = i + 2 * p;
        for (int k = 0; k < 2; ++k) {
            a[k][p] = scaleErrors2(ppStepSize[k] + band, ppError[k] + band);
            a[k][p] = {simd::muld(half, a[k][p].straight), simd::muld(half, a[k][p].crossed)};
        }
        x[p] = simd::widen2(ppSrc[0] + band);
        crossed[p] = simd::exchange(x[p]);
    }
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32fc* const older = ppSrc[j + 1] + i;
        Qol32f* const c = &ppCoefs[j][i].re;
        for (int p = 0; p < Pairs; ++p) {
            const d256 newer = simd::addd(simd::muld(x[p], a[0][p].straight),
                                          simd::muld(crossed[p], a[0][p].crossed));
            x[p] = simd::widen2(older + 2 * p);
            crossed[p] = simd::exchange(x[p]);
            const d256 sum = simd::addd(newer, simd::addd(simd::muld(x[p], a[1][p].straight),
                                                          simd::muld(crossed[p], a[1][p].crossed)));
            _mm_storeu_ps(c + 4 * p, updated(_mm_loadu_ps(c + 4 * p), sum));
        }
    }
}

/// Order is apOrder, or 0 where that is known at run time only.
template <int Order>
void updateAp(const Qol64f* const* ppStepSize, const Qol32fc* const* ppSrc,
              const Qol32fc* const* ppError, Qol32fc* const* ppCoefs, Qol32s numSegments,
              Qol32s numSubbands, Qol32s apOrder) {
    const Qol32s order = Order ? Order : apOrder;
    const d256 g = simd::splatd(static_cast<Qol64f>(1.0f / static_cast<Qol32f>(order)));
    ScaledErrors a[Order ? Order : kMostOrderInPairs];
    // g times the sum of the products, far(k) being the far end k frames back.
    const auto increment = [&](auto far) {
        d256 sum = simd::zerod();
        for (Qol32s k = 0; k < order; ++k) {
            sum = simd::addd(sum, conjugateProduct(far(k), a[k]));
        }
        return simd::muld(g, sum);
    };
    Qol32s i = 0;
    if constexpr (Order == 2) {
        for (; i + 4 <= numSubbands; i += 4) {
            updateTileOverTwo<2>(ppStepSize, ppSrc, ppError, ppCoefs, numSegments, i);
        }
    }
    for (; i + 2 <= numSubbands; i += 2) {
        for (Qol32s k = 0; k < order; ++k) {
            a[k] = scaleErrors2(ppStepSize[k] + i, ppError[k] + i);
        }
        for (Qol32s j = 0; j < numSegments; ++j) {
            Qol32f* const c = &ppCoefs[j][i].re;
            const auto far = [=](Qol32s k) { return simd::widen2(ppSrc[j + k] + i); };
            _mm_storeu_ps(c, updated(_mm_loadu_ps(c), increment(far)));
        }
    }
    if (i == numSubbands) {
        return;
    }
    for (Qol32s k = 0; k < order; ++k) {
        a[k] = scaleErrors1(ppStepSize[k] + i, ppError[k] + i);
    }
    for (Qol32s j = 0; j < numSegments; ++j) {
        Qol32fc* const c = ppCoefs[j] + i;
        const auto far = [=](Qol32s k) { return simd::widen1(ppSrc[j + k] + i); };
        simd::store1(c, updated(simd::load1(c), increment(far)));
    }
}

} // namespace

void updateApPairs_32fc(const Qol64f* const* ppStepSize, const Qol32fc* const* ppSrc,
                        const Qol32fc* const* ppError, Qol32fc* const* ppCoefs, Qol32s numSegments,
                        Qol32s numSubbands, Qol32s apOrder) {
    const auto update = apOrder == 1   ? updateAp<1>
                        : apOrder == 2 ? updateAp<2>
                        : apOrder == 3 ? updateAp<3>
                                       : updateAp<0>;
    update(ppStepSize, ppSrc, ppError, ppCoefs, numSegments, numSubbands, apOrder);
}

namespace {

using simd::i128;

/// A band's error times its mantissa, and the shift of its increments: right by `shift` modulo 64
/// when that isn't negative, else left.
struct ErrorStep {
    Qol32sc error;
    Qol64s shift;
};
ErrorStep errorStep(Qol32sc error, QolStepSize_EC step, Qol32s scaleFactor) {
    const auto scaled = [step](Qol32s e) {
        return wrap32((Qol64s{e} * step.mantissa + 0x40000000) >> 31);
    };
    return {{scaled(error.re), scaled(error.im)}, Qol64s{step.exponent} - scaleFactor - 31};
}

/// Rounded from a shift by two on; the shift by one is cut.
constexpr Qol64s rounding(Qol64s shift) {
    return shift < 2 ? 0 : static_cast<Qol64s>(Qol64u{1} << ((shift - 1) & 63));
}
Qol64s shiftRight(Qol64s p, Qol64s shift) { return wrapAdd64(p, rounding(shift)) >> (shift & 63); }

/// Limited to one beyond what changes a 32-bit coefficient from end to end.
Qol64s shiftLeft(Qol64s p, Qol64s shift) {
    const int n = shift > 63 ? 63 : static_cast<int>(shift);
    const Qol64s limit = 0x7FFFFFFFFFFFFFFF >> n;
    return p >= limit    ? 0xFFFFFFFE
           : p <= -limit ? -0x100000000
                         : static_cast<Qol64s>(static_cast<Qol64u>(p) << n);
}

/// A coefficient's next value. The sum has 64 bits and may run over beside an increment at their
/// end. The cheap form wraps at 32 bits where it shifts to the right.
template <bool Cheap>
Qol32s moved(Qol32s c, Qol64s p, Qol64s shift) {
    if (shift < 0) {
        return saturate32(wrapAdd64(c, shiftLeft(p, -shift)));
    }
    const Qol64s sum = wrapAdd64(c, shiftRight(p, shift));
    return Cheap ? wrap32(sum) : saturate32(sum);
}

/// One band. The least value has no negative: the cheap form keeps it, the other limits.
template <bool Cheap>
void updateBand(ErrorStep step, const Qol32sc* const* ppSrc, Qol32sc* const* ppCoefs,
                Qol32s numSegments, Qol32s i) {
    const Qol32sc a = step.error;
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32s xr = ppSrc[j][i].re, xi = ppSrc[j][i].im;
        const Qol32s negXi = Cheap ? wrapSub32(0, xi) : basop::L_negate(xi);
        Qol32sc& c = ppCoefs[j][i];
        const Qol64s re = wrapSub64(Qol64s{a.re} * xr, Qol64s{a.im} * negXi);
        const Qol64s im = wrapAdd64(Qol64s{xr} * a.im, Qol64s{negXi} * a.re);
        c = {moved<Cheap>(c.re, re, step.shift), moved<Cheap>(c.im, im, step.shift)};
    }
}

/// One band's step as vectors need it; lanes are the real and the imaginary part of an increment.
struct WideStep {
    i128 byRe, byIm; // factors of the far end's parts
    i128 round, count, sign;

    /// The increment. There is no arithmetic shift of 64 bits: the sign bit, added with the
    /// rounding, is taken off behind a logical one.
    template <bool Cheap>
    i128 increment(const Qol32sc* x) const {
        using namespace simd;
        const i128 xi = Cheap ? sub32(zero(), splatAt32(&x->im))
                              : _mm_max_epi32(splatAt32(&x->im), splat32(-basop::MAX_32));
        const i128 p = add64(mulLower32(splatAt32(&x->re), byRe), mulLower32(xi, byIm));
        return sub64(_mm_srl_epi64(add64(p, round), count), sign);
    }
};

/// Whether a step can be taken in vectors: to the right, and with factors that have a negative.
template <bool Cheap>
bool isWide(ErrorStep s) {
    return s.shift >= 0 && (!Cheap || s.error.im != basop::MIN_32);
}
/// The cheap form works on the negated imaginary part, the other on one limited to +-(2^31 - 1).
template <bool Cheap>
WideStep widen(ErrorStep s) {
    const Qol32sc a = s.error;
    const auto pair = [](Qol32s lower, Qol32s upper) { return _mm_setr_epi32(lower, 0, upper, 0); };
    constexpr Qol64u kSign = Qol64u{1} << 63;
    const Qol64u round = static_cast<Qol64u>(rounding(s.shift)) + kSign;
    return {pair(a.re, a.im), Cheap ? pair(-a.im, a.re) : pair(a.im, -a.re),
            simd::splat64(static_cast<Qol64s>(round)), _mm_cvtsi64_si128(s.shift & 63),
            simd::splat64(static_cast<Qol64s>(kSign >> (s.shift & 63)))};
}

/// Four parts and their increments, the sums saturated to 32 bits.
[[gnu::noinline]] i128 addSaturating(i128 c, i128 low, i128 high) {
    Qol32s p[4];
    Qol64s d[4];
    simd::store(p, c);
    simd::store(d, low);
    simd::store(d + 2, high);
    for (int k = 0; k < 4; ++k) {
        p[k] = saturate32(wrapAdd64(p[k], d[k]));
    }
    return simd::load(p);
}

/// Two coefficients, moved by the steps s for x and t for y.
template <bool Cheap>
inline i128 moved2(i128 c, const Qol32sc* x, const WideStep& s, const Qol32sc* y,
                   const WideStep& t) {
    using namespace simd;
    const i128 low = s.increment<Cheap>(x), high = t.increment<Cheap>(y);
    const i128 d = lowerHalves(low, high), sums = add32(c, d);
    if (Cheap) {
        return sums;
    }
    const i128 narrow = _mm_cmpeq_epi32(upperHalves(low, high), _mm_srai_epi32(d, 31));
    const i128 over = _mm_and_si128(_mm_xor_si128(c, sums), _mm_xor_si128(d, sums)); // its sign
    const bool exact = _mm_movemask_ps(_mm_castsi128_ps(_mm_andnot_si128(over, narrow))) == 0xF;
    return __builtin_expect(exact, 1) ? sums : addSaturating(c, low, high);
}

/// Steps of two neighbouring bands, or of one band for two taps a vector.
template <bool Cheap>
void updateTwo(const ErrorStep* pStep, const Qol32sc* const* ppSrc, Qol32sc* const* ppCoefs,
               Qol32s numSegments, Qol32s i) {
    const WideStep s = widen<Cheap>(pStep[0]), t = widen<Cheap>(pStep[1]);
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32sc* const x = ppSrc[j] + i;
        Qol32sc* const c = ppCoefs[j] + i;
        simd::store(c, moved2<Cheap>(simd::load(c), x, s, x + 1, t));
    }
}
template <bool Cheap>
void updateOne(ErrorStep step, const Qol32sc* const* ppSrc, Qol32sc* const* ppCoefs,
               Qol32s numSegments, Qol32s i) {
    const WideStep s = widen<Cheap>(step);
    Qol32s j = 0;
    for (; j + 2 <= numSegments; j += 2) {
        Qol32sc *const c = ppCoefs[j] + i, *const d = ppCoefs[j + 1] + i;
        simd::storeTaps(c, d,
                        moved2<Cheap>(simd::loadTaps(c, d), ppSrc[j] + i, s, ppSrc[j + 1] + i, s));
    }
    if (j < numSegments) {
        Qol32sc* const c = ppCoefs[j] + i;
        const Qol32sc* const x = ppSrc[j] + i;
        simd::storeLow64(c, moved2<Cheap>(simd::loadLow64(c), x, s, x, s));
    }
}

/// Where the cheap form leaves the scaled errors; null in the full form.
void keepError(Qol32sc* pTmp, Qol32s i, ErrorStep step) {
    if (pTmp) {
        pTmp[i] = step.error;
    }
}

template <bool Cheap>
void updatePairs(const QolStepSize_EC* pStepSize, const Qol32sc* const* ppSrc,
                 const Qol32sc* pError, Qol32sc* pTmp, Qol32sc* const* ppCoefs, Qol32s numSegments,
                 Qol32s first, Qol32s numSubbands, Qol32s scaleFactor) {
    const auto step = [=](Qol32s i) { return errorStep(pError[i], pStepSize[i], scaleFactor); };
    for (Qol32s i = first; i < numSubbands; ++i) {
        ErrorStep steps[2] = {step(i), {}};
        keepError(pTmp, i, steps[0]);
        if (!isWide<Cheap>(steps[0])) {
            updateBand<Cheap>(steps[0], ppSrc, ppCoefs, numSegments, i);
            continue;
        }
        if (i + 1 < numSubbands) {
            steps[1] = step(i + 1);
            if (isWide<Cheap>(steps[1])) {
                updateTwo<Cheap>(steps, ppSrc, ppCoefs, numSegments, i++);
                keepError(pTmp, i, steps[1]);
                continue;
            }
        }
        updateOne<Cheap>(steps[0], ppSrc, ppCoefs, numSegments, i);
    }
}

template <bool Cheap>
void updatePlain(const QolStepSize_EC* pStepSize, const Qol32sc* const* ppSrc,
                 const Qol32sc* pError, Qol32sc* pTmp, Qol32sc* const* ppCoefs, Qol32s numSegments,
                 Qol32s first, Qol32s numSubbands, Qol32s scaleFactor) {
    for (Qol32s i = first; i < numSubbands; ++i) {
        const ErrorStep step = errorStep(pError[i], pStepSize[i], scaleFactor);
        keepError(pTmp, i, step);
        updateBand<Cheap>(step, ppSrc, ppCoefs, numSegments, i);
    }
}

} // namespace

void updatePlain_32sc(const QolStepSize_EC* pStepSize, const Qol32sc* const* ppSrc,
                      const Qol32sc* pError, Qol32sc* pTmp, Qol32sc* const* ppCoefs,
                      Qol32s numSegments, Qol32s first, Qol32s numSubbands, Qol32s scaleFactor) {
    (pTmp ? updatePlain<true> : updatePlain<false>)(pStepSize, ppSrc, pError, pTmp, ppCoefs,
                                                    numSegments, first, numSubbands, scaleFactor);
}
void updatePairs_32sc(const QolStepSize_EC* pStepSize, const Qol32sc* const* ppSrc,
                      const Qol32sc* pError, Qol32sc* pTmp, Qol32sc* const* ppCoefs,
                      Qol32s numSegments, Qol32s first, Qol32s numSubbands, Qol32s scaleFactor) {
    (pTmp ? updatePairs<true> : updatePairs<false>)(pStepSize, ppSrc, pError, pTmp, ppCoefs,
                                                    numSegments, first, numSubbands, scaleFactor);
}

} // namespace echo

using namespace echo;

QolStatus qolsFIRSubbandCoeffUpdate_EC_32fc_I(const Qol64f* pStepSize, const Qol32fc** ppSrc,
                                              const Qol32fc* pError, Qol32fc** ppCoefs,
                                              Qol32s numSegments, Qol32s numSubbands) noexcept {
    if (anyNull(pStepSize, ppSrc, pError, ppCoefs)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkCounts(numSegments, numSubbands);
    if (status != qolStsNoErr) {
        return status;
    }
    bool negative = false;
    for (Qol32s i = 0; i < numSubbands; ++i) {
        negative |= pStepSize[i] < 0.0;
    }
    if (negative) {
        return qolStsSizeErr;
    }
    updatePairs_32fc(pStepSize, ppSrc, pError, ppCoefs, numSegments, numSubbands);
    return qolStsNoErr;
}

QolStatus qolsFIRSubbandCoeffUpdate_EC_32sc_I(const QolStepSize_EC* pStepSize,
                                              const Qol32sc** ppSrc, const Qol32sc* pError,
                                              Qol32sc** ppCoefs, Qol32s numSegments,
                                              Qol32s numSubbands, Qol32s scaleFactor) noexcept {
    if (anyNull(pStepSize, ppSrc, pError, ppCoefs)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkCounts(numSegments, numSubbands);
    if (status != qolStsNoErr) {
        return status;
    }
    if (scaleFactor < 0 || scaleFactor > 31) {
        return qolStsRangeErr;
    }
    bool negative = false;
    for (Qol32s i = 0; i < numSubbands; ++i) {
        negative |= pStepSize[i].mantissa < 0;
    }
    if (negative) {
        return qolStsSizeErr;
    }
    updatePairs_32sc(pStepSize, ppSrc, pError, nullptr, ppCoefs, numSegments, 0, numSubbands,
                     scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsFIRSubbandLowCoeffUpdate_EC_32sc_I(const Qol32sc** ppSrc, const Qol32sc* pError,
                                                 Qol32sc** ppCoefs, Qol32s numSegments,
                                                 Qol32sc* pTmp, const QolStepSize_EC* pStepSize,
                                                 Qol32s startSubband, Qol32s numSubbands,
                                                 Qol32s scaleFactor) noexcept {
    if (anyNull(ppSrc, pError, ppCoefs) || anyNull(pTmp, pStepSize)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkRange(numSegments, startSubband, numSubbands, scaleFactor);
    if (status != qolStsNoErr) {
        return status;
    }
    updatePairs_32sc(pStepSize, ppSrc, pError, pTmp, ppCoefs, numSegments, startSubband,
                     numSubbands, scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsFIRSubbandAPCoeffUpdate_EC_32fc_I(const Qol64f** ppStepSize, const Qol32fc** ppSrc,
                                                const Qol32fc** ppError, Qol32fc** ppCoefs,
                                                Qol32u numSegments, Qol32u numSubbands,
                                                Qol32u apOrder) noexcept {
    if (anyNull(ppStepSize, ppSrc, ppError, ppCoefs)) {
        return qolStsNullPtrErr;
    }
    if (numSubbands == 0 || numSubbands > kMostSubbands) {
        return qolStsSubbandCountErr;
    }
    if (numSegments == 0 || numSegments > kMostSegments || apOrder == 0) {
        return qolStsRangeErr;
    }
    const auto taps = static_cast<Qol32s>(numSegments), bands = static_cast<Qol32s>(numSubbands);
    if (apOrder <= kMostOrderInPairs) {
        updateApPairs_32fc(ppStepSize, ppSrc, ppError, ppCoefs, taps, bands,
                           static_cast<Qol32s>(apOrder));
    } else {
        updateApPlain_32fc(ppStepSize, ppSrc, ppError, ppCoefs, taps, bands, apOrder);
    }
    return qolStsNoErr;
}

} // namespace qolsc
