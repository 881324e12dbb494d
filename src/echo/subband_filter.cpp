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
                          Qol32s numSegments, Qol32s numSubbands) {
    for (Qol32s i = 0; i < numSubbands; ++i) {
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

/// Sums over the taps of x * c in double precision, the four products apart: (xr cr, xi ci) and
/// (xr ci, xi cr) of two complex numbers. A sum costs an exchange of c and no rounding to float.
struct ProductSums {
    d256 direct = simd::zerod(), crossed = simd::zerod();

    void add(d256 x, d256 c) {
        direct = simd::addd(direct, simd::muld(x, c));
        crossed = simd::addd(crossed, simd::muld(x, simd::exchange(c)));
    }
    /// The two complex sums.
    d256 complex() const {
        const d256 minus = _mm256_setr_pd(0.0, -0.0, 0.0, -0.0);
        return _mm256_hadd_pd(_mm256_xor_pd(direct, minus), crossed);
    }
};

/// Bands i to i + 2 * Pairs - 1.
template <int Pairs>
inline void firTile(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                    Qol32s numSegments, Qol32s i) {
    ProductSums sums[Pairs];
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32fc *x = ppSrc[j] + i, *c = ppCoefs[j] + i;
        for (int p = 0; p < Pairs; ++p) {
            sums[p].add(simd::widen2(x + 2 * p), simd::widen2(c + 2 * p));
        }
    }
    for (int p = 0; p < Pairs; ++p) {
        _mm_storeu_ps(&pDst[i + 2 * p].re, _mm256_cvtpd_ps(sums[p].complex()));
    }
}

/// One band, two taps a vector.
void firBand(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
             Qol32s numSegments, Qol32s i) {
    ProductSums sums;
    Qol32s j = 0;
    for (; j + 2 <= numSegments; j += 2) {
        sums.add(simd::widenTaps(ppSrc[j] + i, ppSrc[j + 1] + i),
                 simd::widenTaps(ppCoefs[j] + i, ppCoefs[j + 1] + i));
    }
    if (j < numSegments) {
        sums.add(simd::widen1(ppSrc[j] + i), simd::widen1(ppCoefs[j] + i));
    }
    const d256 both = sums.complex();
    const __m128d sum = _mm_add_pd(_mm256_castpd256_pd128(both), _mm256_extractf128_pd(both, 1));
    simd::store1(pDst + i, _mm_cvtpd_ps(sum));
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
    if (i < numSubbands) {
        firBand(ppSrc, ppCoefs, pDst, numSegments, i);
    }
}

namespace {

using simd::i128;

constexpr Qol64s kMost64 = 0x7FFFFFFFFFFFFFFF;

/// Sum with saturation to 64 bits.
Qol64s addSaturate64(Qol64s a, Qol64s b) {
    Qol64s sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? (a < 0 ? -kMost64 - 1 : kMost64) : sum;
}

struct Wide {
    Qol64s re, im;
};

Wide product(Qol32sc x, Qol32sc c) {
    return {wrapSub64(Qol64s{c.re} * x.re, Qol64s{x.im} * c.im),
            wrapAdd64(Qol64s{x.re} * c.im, Qol64s{x.im} * c.re)};
}

/// Sum of one band with saturation at every step. The one sum of two products beyond 64 bits, twice
/// 2^62 in the imaginary part, is clamped.
Wide sumSaturating(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32s numSegments,
                   Qol32s i) {
    Wide sum{0, 0};
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32sc x = ppSrc[j][i], c = ppCoefs[j][i];
        const Qol64s im = addSaturate64(Qol64s{x.re} * c.im, Qol64s{x.im} * c.re);
        sum = {addSaturate64(sum.re, product(x, c).re), addSaturate64(sum.im, im)};
    }
    return sum;
}

Wide sumWrapping(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32s numSegments,
                 Qol32s i) {
    Wide sum{0, 0};
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Wide p = product(ppSrc[j][i], ppCoefs[j][i]);
        sum = {wrapAdd64(sum.re, p.re), wrapAdd64(sum.im, p.im)};
    }
    return sum;
}

/// Wrapping sums over the taps of two complex numbers, which begin at 2^62. A term has 64 bits, so
/// that the first step by which a sum leaves +-2^62 makes it negative: where `signs` has stayed
/// positive nothing can have saturated. (A clamped term is -2^63 here and makes the sum negative.)
struct WideSums {
    static constexpr Qol64s kBegin = Qol64s{1} << 62;
    i128 re = simd::splat64(kBegin), im = re, signs = simd::zero();

    void add(i128 x, i128 c) {
        using namespace simd;
        const i128 xi = upperLanes(x), ci = upperLanes(c);
        re = add64(re, sub64(mulLower32(x, c), mulLower32(xi, ci)));
        im = add64(im, add64(mulLower32(x, ci), mulLower32(xi, c)));
        signs = _mm_or_si128(signs, _mm_or_si128(re, im));
    }
    bool within() const { return _mm_movemask_pd(_mm_castsi128_pd(signs)) == 0; }
    void store(Wide* p) const {
        const i128 begin = simd::splat64(kBegin);
        const i128 r = simd::sub64(re, begin), i = simd::sub64(im, begin);
        simd::store(p, _mm_unpacklo_epi64(r, i));
        simd::store(p + 1, _mm_unpackhi_epi64(r, i));
    }
};

/// Sums of the bands i to i + 2 * Pairs - 1; whether they are what saturating ones would be.
template <int Pairs>
inline bool sumTile(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32s numSegments,
                    Qol32s i, Wide* pSum) {
    WideSums sums[Pairs];
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32sc *x = ppSrc[j] + i, *c = ppCoefs[j] + i;
        for (int p = 0; p < Pairs; ++p) {
            sums[p].add(simd::load(x + 2 * p), simd::load(c + 2 * p));
        }
    }
    bool within = true;
    for (int p = 0; p < Pairs; ++p) {
        sums[p].store(pSum + 2 * p);
        within = within && sums[p].within();
    }
    return within;
}

/// The same for one band, two taps a vector.
inline bool sumBand(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32s numSegments,
                    Qol32s i, Wide* pSum) {
    WideSums sums;
    Qol32s j = 0;
    for (; j + 2 <= numSegments; j += 2) {
        sums.add(simd::loadTaps(ppSrc[j] + i, ppSrc[j + 1] + i),
                 simd::loadTaps(ppCoefs[j] + i, ppCoefs[j + 1] + i));
    }
    if (j < numSegments) {
        sums.add(simd::loadLow64(ppSrc[j] + i), simd::loadLow64(ppCoefs[j] + i));
    }
    Wide taps[2];
    sums.store(taps);
    *pSum = {wrapAdd64(taps[0].re, taps[1].re), wrapAdd64(taps[0].im, taps[1].im)};
    return sums.within();
}

/// pDst[i] = finish(sum of band i) for the bands from first on, `otherwise` being the sum where a
/// wrapping one may differ.
template <typename Finish, typename Otherwise>
inline void firPairs(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32sc* pDst,
                     Qol32s numSegments, Qol32s first, Qol32s numSubbands, Finish finish,
                     Otherwise otherwise) {
    for (Qol32s i = first, n = 0; i < numSubbands; i += n) {
        const Qol32s left = numSubbands - i;
        n = left >= 4 ? 4 : left >= 2 ? 2 : 1;
        Wide sums[4];
        const bool within = n == 4   ? sumTile<2>(ppSrc, ppCoefs, numSegments, i, sums)
                            : n == 2 ? sumTile<1>(ppSrc, ppCoefs, numSegments, i, sums)
                                     : sumBand(ppSrc, ppCoefs, numSegments, i, sums);
        for (Qol32s k = 0; k < n; ++k) {
            pDst[i + k] = finish(within ? sums[k] : otherwise(i + k, sums[k]));
        }
    }
}

/// sum * 2^-scaleFactor towards zero, saturated to 32 bits.
Qol32s scaleToZero(Qol64s sum, Qol32s scaleFactor) {
    if (scaleFactor < 0) {
        return shiftLeftSaturate<Qol32s>(sum, -scaleFactor);
    }
    const Qol64s upward = sum >> 63 & ((Qol64s{1} << scaleFactor) - 1);
    return saturate32((sum + upward) >> scaleFactor);
}
Qol32sc scaleToZero(Wide sum, Qol32s scaleFactor) {
    return {scaleToZero(sum.re, scaleFactor), scaleToZero(sum.im, scaleFactor)};
}
Qol32sc scaleWrapping(Wide sum, Qol32s scaleFactor) {
    return {wrap32(sum.re >> scaleFactor), wrap32(sum.im >> scaleFactor)};
}

} // namespace

void firSubbandPlain_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32sc* pDst,
                          Qol32s numSegments, Qol32s numSubbands, Qol32s scaleFactor) {
    for (Qol32s i = 0; i < numSubbands; ++i) {
        pDst[i] = scaleToZero(sumSaturating(ppSrc, ppCoefs, numSegments, i), scaleFactor);
    }
}

void firSubbandPairs_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32sc* pDst,
                          Qol32s numSegments, Qol32s numSubbands, Qol32s scaleFactor) {
    firPairs(
        ppSrc, ppCoefs, pDst, numSegments, 0, numSubbands,
        [=](Wide sum) { return scaleToZero(sum, scaleFactor); },
        [=](Qol32s i, Wide) { return sumSaturating(ppSrc, ppCoefs, numSegments, i); });
}

void firSubbandLowPlain_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs,
                             Qol32sc* pDst, Qol32s numSegments, Qol32s startSubband,
                             Qol32s numSubbands, Qol32s scaleFactor) {
    for (Qol32s i = startSubband; i < numSubbands; ++i) {
        pDst[i] = scaleWrapping(sumWrapping(ppSrc, ppCoefs, numSegments, i), scaleFactor);
    }
}

void firSubbandLowPairs_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs,
                             Qol32sc* pDst, Qol32s numSegments, Qol32s startSubband,
                             Qol32s numSubbands, Qol32s scaleFactor) {
    firPairs(
        ppSrc, ppCoefs, pDst, numSegments, startSubband, numSubbands,
        [=](Wide sum) { return scaleWrapping(sum, scaleFactor); },
        [](Qol32s, Wide sum) { return sum; });
}

} // namespace echo

using namespace echo;

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
    firSubbandPairs_32sc(ppSrc, ppCoefs, pDst, numSegments, numSubbands, scaleFactor);
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
    firSubbandLowPairs_32sc(ppSrc, ppCoefs, pDst, numSegments, startSubband, numSubbands,
                            scaleFactor);
    return qolStsNoErr;
}

} // namespace qolsc
