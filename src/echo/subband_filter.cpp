// SPDX-License-Identifier: Apache-2.0
// Filters of the sub-band canceller: complex coefficients over the past frames of each band.
#include "echo/subband_filter.h"

#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/simd.h"

namespace qolsc {

namespace echo {

void firSubbandPlain_32fc(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                          Qol32s numSegments, Qol32s first, Qol32s numSubbands) {
    for (Qol32s i = first; i < numSubbands; ++i) {
        Qol32f re = 0, im = 0;
        for (Qol32s j = 0; j < numSegments; ++j) {
            const Qol64f xr = ppSrc[j][i].re, xi = ppSrc[j][i].im;
            const Qol64f cr = ppCoefs[j][i].re, ci = ppCoefs[j][i].im;
            re += static_cast<Qol32f>(xr * cr - xi * ci);
            im += static_cast<Qol32f>(xr * ci + xi * cr);
        }
        pDst[i] = {re, im};
    }
}

namespace {

using simd::d256;

/// Products of two complex numbers, in double precision, rounded to float.
inline __m128 product2(const Qol32fc* x, const Qol32fc* c) {
    const d256 xd = simd::widen2(x), cd = simd::widen2(c);
    const d256 byRe = simd::muld(_mm256_movedup_pd(xd), cd);
    const d256 byIm = simd::muld(_mm256_permute_pd(xd, 0xF), _mm256_permute_pd(cd, 0x5));
    return _mm256_cvtpd_ps(_mm256_addsub_pd(byRe, byIm));
}

/// Bands i to i + 2 * Pairs - 1.
template <int Pairs>
inline void firTile(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                    Qol32s numSegments, Qol32s i) {
    __m128 sum[Pairs];
    for (int p = 0; p < Pairs; ++p) {
        sum[p] = _mm_setzero_ps();
    }
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32fc *x = ppSrc[j] + i, *c = ppCoefs[j] + i;
        for (int p = 0; p < Pairs; ++p) {
            sum[p] = _mm_add_ps(sum[p], product2(x + 2 * p, c + 2 * p));
        }
    }
    for (int p = 0; p < Pairs; ++p) {
        _mm_storeu_ps(&pDst[i + 2 * p].re, sum[p]);
    }
}

} // namespace

void firSubbandPairs_32fc(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                          Qol32s numSegments, Qol32s numSubbands) {
    Qol32s i = 0;
    for (; i + 8 <= numSubbands; i += 8) {
        firTile<4>(ppSrc, ppCoefs, pDst, numSegments, i);
    }
    for (; i + 2 <= numSubbands; i += 2) {
        firTile<1>(ppSrc, ppCoefs, pDst, numSegments, i);
    }
    firSubbandPlain_32fc(ppSrc, ppCoefs, pDst, numSegments, i, numSubbands);
}

} // namespace echo

namespace {

using namespace echo;

constexpr Qol64s kMost64 = 0x7FFFFFFFFFFFFFFF;

/// Sum with saturation to 64 bits.
Qol64s addSaturate64(Qol64s a, Qol64s b) {
    Qol64s sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? (a < 0 ? -kMost64 - 1 : kMost64) : sum;
}

/// Imaginary part of x * c; the one sum beyond 64 bits, of two products 2^62, is clamped.
Qol64s imaginary(Qol32sc x, Qol32sc c) {
    return addSaturate64(Qol64s{x.re} * c.im, Qol64s{x.im} * c.re);
}
Qol64s real(Qol32sc x, Qol32sc c) { return wrapSub64(Qol64s{c.re} * x.re, Qol64s{x.im} * c.im); }

/// sum * 2^-scaleFactor towards zero, saturated to 32 bits.
Qol32s scaleToZero(Qol64s sum, Qol32s scaleFactor) {
    if (scaleFactor < 0) {
        return shiftLeftSaturate<Qol32s>(sum, -scaleFactor);
    }
    return saturate32(sum / (Qol64s{1} << scaleFactor));
}

} // namespace

QolStatus qolsFIRSubband_EC_32fc(const Qol32fc** ppSrc, const Qol32fc** ppCoefs, Qol32fc* pDst,
                                 Qol32s numSegments, Qol32s numSubbands) noexcept {
    if (anyNull(ppSrc, ppCoefs) || anyNull(pDst)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkCounts(numSegments, numSubbands);
    if (status == qolStsNoErr) {
        firSubbandPairs_32fc(ppSrc, ppCoefs, pDst, numSegments, numSubbands);
    }
    return status;
}

QolStatus qolsFIRSubband_EC_32sc_Sfs(const Qol32sc** ppSrc, const Qol32sc** ppCoefs, Qol32sc* pDst,
                                     Qol32s numSegments, Qol32s numSubbands,
                                     Qol32s scaleFactor) noexcept {
    if (anyNull(ppSrc, ppCoefs) || anyNull(pDst)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkCounts(numSegments, numSubbands);
    if (status != qolStsNoErr) {
        return status;
    }
    if (scaleFactor < -31 || scaleFactor > 31) {
        return qolStsRangeErr;
    }
    for (Qol32s i = 0; i < numSubbands; ++i) {
        Qol64s re = 0, im = 0;
        for (Qol32s j = 0; j < numSegments; ++j) {
            const Qol32sc x = ppSrc[j][i], c = ppCoefs[j][i];
            re = addSaturate64(re, real(x, c));
            im = addSaturate64(im, imaginary(x, c));
        }
        pDst[i] = {scaleToZero(re, scaleFactor), scaleToZero(im, scaleFactor)};
    }
    return qolStsNoErr;
}

QolStatus qolsFIRSubbandLow_EC_32sc_Sfs(const Qol32sc** ppSrc, const Qol32sc** ppCoefs,
                                        Qol32s numSegments, Qol32sc* pDst, Qol32s startSubband,
                                        Qol32s numSubbands, Qol32s scaleFactor) noexcept {
    if (anyNull(ppSrc, ppCoefs) || anyNull(pDst)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkRange(numSegments, startSubband, numSubbands, scaleFactor);
    if (status != qolStsNoErr) {
        return status;
    }
    for (Qol32s i = startSubband; i < numSubbands; ++i) {
        Qol64s re = 0, im = 0;
        for (Qol32s j = 0; j < numSegments; ++j) {
            const Qol32sc x = ppSrc[j][i], c = ppCoefs[j][i];
            re = wrapAdd64(re, real(x, c));
            im = wrapAdd64(im, wrapAdd64(Qol64s{x.re} * c.im, Qol64s{x.im} * c.re));
        }
        pDst[i] = {wrap32(re >> scaleFactor), wrap32(im >> scaleFactor)};
    }
    return qolStsNoErr;
}

} // namespace qolsc
