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
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s first,
                      Qol32s numSubbands) {
    for (Qol32s i = first; i < numSubbands; ++i) {
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

/// Two scaled errors as the products with conjugates need them: as they are, and with real and
/// imaginary part exchanged and negated.
struct ScaledErrors {
    d256 straight, crossed;
};

inline d256 steps2(const Qol64f* pStepSize) {
    return _mm256_setr_pd(pStepSize[0], pStepSize[0], pStepSize[1], pStepSize[1]);
}
inline ScaledErrors scaleErrors(const Qol64f* pStepSize, const Qol32fc* pError) {
    const d256 a = simd::muld(steps2(pStepSize), simd::widen2(pError));
    return {a, _mm256_xor_pd(_mm256_permute_pd(a, 0x5), simd::splatd(-0.0))};
}
/// conj(x) * a for two bands.
inline d256 conjugateProduct(const Qol32fc* x, ScaledErrors a) {
    const d256 xd = simd::widen2(x);
    return _mm256_addsub_pd(simd::muld(_mm256_movedup_pd(xd), a.straight),
                            simd::muld(_mm256_permute_pd(xd, 0xF), a.crossed));
}
inline void addRounded(Qol32fc* c, d256 increment) {
    _mm_storeu_ps(&c->re, _mm_add_ps(_mm_loadu_ps(&c->re), _mm256_cvtpd_ps(increment)));
}

template <int Pairs>
inline void updateTile(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                       Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s i) {
    ScaledErrors a[Pairs];
    for (int p = 0; p < Pairs; ++p) {
        a[p] = scaleErrors(pStepSize + i + 2 * p, pError + i + 2 * p);
    }
    for (Qol32s j = 0; j < numSegments; ++j) {
        for (int p = 0; p < Pairs; ++p) {
            addRounded(ppCoefs[j] + i + 2 * p, conjugateProduct(ppSrc[j] + i + 2 * p, a[p]));
        }
    }
}

} // namespace

void updatePairs_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s numSubbands) {
    Qol32s i = 0;
    for (; i + 4 <= numSubbands; i += 4) {
        updateTile<2>(pStepSize, ppSrc, pError, ppCoefs, numSegments, i);
    }
    for (; i + 2 <= numSubbands; i += 2) {
        updateTile<1>(pStepSize, ppSrc, pError, ppCoefs, numSegments, i);
    }
    updatePlain_32fc(pStepSize, ppSrc, pError, ppCoefs, numSegments, i, numSubbands);
}

} // namespace echo

namespace {

using namespace echo;

/// error * mantissa * 2^-31, rounded, low 32 bits.
Qol32s scaleError(Qol32s error, Qol32s mantissa) {
    return wrap32((Qol64s{error} * mantissa + 0x40000000) >> 31);
}

/// Shift of an increment: right by `shift` modulo 64 when that isn't negative, else left.
Qol64s incrementShift(QolStepSize_EC step, Qol32s scaleFactor) {
    return Qol64s{step.exponent} - scaleFactor - 31;
}

/// Rounded from a shift by two on; the shift by one is cut.
Qol64s shiftRight(Qol64s p, Qol64s shift) {
    const Qol64s r = shift < 2 ? 0 : static_cast<Qol64s>(Qol64u{1} << ((shift - 1) & 63));
    return wrapAdd64(p, r) >> (shift & 63);
}

/// Limited to one beyond what changes a 32-bit coefficient from end to end.
Qol64s shiftLeft(Qol64s p, Qol64s shift) {
    const int n = shift > 63 ? 63 : static_cast<int>(shift);
    const Qol64s limit = 0x7FFFFFFFFFFFFFFF >> n;
    return p >= limit    ? 0xFFFFFFFE
           : p <= -limit ? -0x100000000
                         : static_cast<Qol64s>(static_cast<Qol64u>(p) << n);
}

/// The sum has 64 bits and may run over beside an increment at their end.
Qol32s addLimited(Qol32s c, Qol64s increment) { return saturate32(wrapAdd64(c, increment)); }

/// conj(x) * a, the negated imaginary part given.
struct Product {
    Qol64s re, im;
};
Product conjugateProduct(Qol32sc a, Qol32s xr, Qol32s negXi) {
    return {wrapSub64(Qol64s{a.re} * xr, Qol64s{a.im} * negXi),
            wrapAdd64(Qol64s{xr} * a.im, Qol64s{negXi} * a.re)};
}

void addSaturating(Qol32sc& c, Product p, Qol64s shift) {
    if (shift >= 0) {
        c = {addLimited(c.re, shiftRight(p.re, shift)), addLimited(c.im, shiftRight(p.im, shift))};
    } else {
        c = {addLimited(c.re, shiftLeft(p.re, -shift)), addLimited(c.im, shiftLeft(p.im, -shift))};
    }
}

} // namespace

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
    for (Qol32s i = 0; i < numSubbands; ++i) {
        if (pStepSize[i] < 0.0) {
            return qolStsSizeErr;
        }
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
    for (Qol32s i = 0; i < numSubbands; ++i) {
        if (pStepSize[i].mantissa < 0) {
            return qolStsSizeErr;
        }
    }
    for (Qol32s i = 0; i < numSubbands; ++i) {
        const Qol32sc a{scaleError(pError[i].re, pStepSize[i].mantissa),
                        scaleError(pError[i].im, pStepSize[i].mantissa)};
        const Qol64s shift = incrementShift(pStepSize[i], scaleFactor);
        for (Qol32s j = 0; j < numSegments; ++j) {
            const Qol32sc x = ppSrc[j][i];
            addSaturating(ppCoefs[j][i], conjugateProduct(a, x.re, basop::L_negate(x.im)), shift);
        }
    }
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
    for (Qol32s i = startSubband; i < numSubbands; ++i) {
        const Qol32sc a{scaleError(pError[i].re, pStepSize[i].mantissa),
                        scaleError(pError[i].im, pStepSize[i].mantissa)};
        pTmp[i] = a;
        const Qol64s shift = incrementShift(pStepSize[i], scaleFactor);
        for (Qol32s j = 0; j < numSegments; ++j) {
            const Qol32sc x = ppSrc[j][i];
            Qol32sc& c = ppCoefs[j][i];
            const Product p = conjugateProduct(a, x.re, wrapSub32(0, x.im));
            if (shift >= 0) {
                c = {wrap32(wrapAdd64(c.re, shiftRight(p.re, shift))),
                     wrap32(wrapAdd64(c.im, shiftRight(p.im, shift)))};
            } else {
                addSaturating(c, p, shift);
            }
        }
    }
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
    const Qol64f g = static_cast<Qol64f>(1.0f / static_cast<Qol32f>(apOrder));
    for (Qol32u j = 0; j < numSegments; ++j) {
        for (Qol32u i = 0; i < numSubbands; ++i) {
            Qol64f re = 0, im = 0;
            for (Qol32u k = 0; k < apOrder; ++k) {
                const Qol64f xr = ppSrc[j + k][i].re, xi = ppSrc[j + k][i].im;
                const Qol64f er = ppError[k][i].re, ei = ppError[k][i].im;
                const Qol64f step = ppStepSize[k][i];
                re += (xr * er + xi * ei) * step;
                im += (xr * ei - xi * er) * step;
            }
            ppCoefs[j][i].re += static_cast<Qol32f>(g * re);
            ppCoefs[j][i].im += static_cast<Qol32f>(g * im);
        }
    }
    return qolStsNoErr;
}

} // namespace qolsc
