// SPDX-License-Identifier: Apache-2.0
// Kernels and checks of the sub-band filters and their updates.
#pragma once

#include "echo/echo.h"
#include "vector/simd.h"

namespace qolsc::simd {

/// One complex number below zeros, and that of a second tap above it.
inline i128 loadTaps(const Qol32sc* first, const Qol32sc* second) {
    return _mm_unpacklo_epi64(loadLow64(first), loadLow64(second));
}
inline void storeTaps(Qol32sc* first, Qol32sc* second, i128 v) {
    storeLow64(first, v);
    storeLow64(second, _mm_unpackhi_epi64(v, v));
}

/// One complex number below zeros; of two taps one above the other.
inline __m128 load1(const Qol32fc* z) { return _mm_castsi128_ps(loadLow64(z)); }
inline __m128 loadTaps(const Qol32fc* first, const Qol32fc* second) {
    return _mm_loadh_pi(load1(first), reinterpret_cast<const __m64*>(second));
}
inline void store1(Qol32fc* z, __m128 v) { _mm_storel_pi(reinterpret_cast<__m64*>(z), v); }
inline void storeTaps(Qol32fc* first, Qol32fc* second, __m128 v) {
    store1(first, v);
    _mm_storeh_pi(reinterpret_cast<__m64*>(second), v);
}

/// Complex numbers in double precision: re, im, re, im.
inline d256 widen2(const Qol32fc* z) { return _mm256_cvtps_pd(_mm_loadu_ps(&z->re)); }
inline d256 widen1(const Qol32fc* z) { return _mm256_cvtps_pd(load1(z)); }
inline d256 widenTaps(const Qol32fc* first, const Qol32fc* second) {
    return _mm256_cvtps_pd(loadTaps(first, second));
}
/// Real and imaginary parts exchanged.
inline d256 exchange(d256 z) { return _mm256_permute_pd(z, 0x5); }

} // namespace qolsc::simd

namespace qolsc::echo {

/// Definition of the float filter: products in double precision, each part rounded to float, float
/// sums over rising taps.
void firSubbandPlain_32fc(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                          Qol32s numSegments, Qol32s numSubbands);
/// The same up to the rounding of the sums, which stay in double precision to the end.
void firSubbandPairs_32fc(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                          Qol32s numSegments, Qol32s numSubbands);

/// Definition of the fixed-point filter: sums of 64 bits that saturate at every step.
void firSubbandPlain_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32sc* pDst,
                          Qol32s numSegments, Qol32s numSubbands, Qol32s scaleFactor);
/// The same, two bands a vector.
void firSubbandPairs_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs, Qol32sc* pDst,
                          Qol32s numSegments, Qol32s numSubbands, Qol32s scaleFactor);
/// Definition of the cheap filter, with sums that wrap, for the bands from startSubband on.
void firSubbandLowPlain_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs,
                             Qol32sc* pDst, Qol32s numSegments, Qol32s startSubband,
                             Qol32s numSubbands, Qol32s scaleFactor);
/// The same, two bands a vector.
void firSubbandLowPairs_32sc(const Qol32sc* const* ppSrc, const Qol32sc* const* ppCoefs,
                             Qol32sc* pDst, Qol32s numSegments, Qol32s startSubband,
                             Qol32s numSubbands, Qol32s scaleFactor);

/// Definition of the float update.
void updatePlain_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s numSubbands);
/// The same, two bands a vector; equal to the last bit.
void updatePairs_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s numSubbands);

/// Definition of the float update over apOrder frames.
void updateApPlain_32fc(const Qol64f* const* ppStepSize, const Qol32fc* const* ppSrc,
                        const Qol32fc* const* ppError, Qol32fc* const* ppCoefs, Qol32s numSegments,
                        Qol32s numSubbands, Qol32u apOrder);
/// The same, two bands a vector, for up to kMostOrderInPairs frames; equal to the last bit.
constexpr Qol32s kMostOrderInPairs = 8;
void updateApPairs_32fc(const Qol64f* const* ppStepSize, const Qol32fc* const* ppSrc,
                        const Qol32fc* const* ppError, Qol32fc* const* ppCoefs, Qol32s numSegments,
                        Qol32s numSubbands, Qol32s apOrder);

/// Definition of the fixed-point update for the bands from `first` on: the full form, or with pTmp
/// the cheap one, which leaves the scaled errors there.
void updatePlain_32sc(const QolStepSize_EC* pStepSize, const Qol32sc* const* ppSrc,
                      const Qol32sc* pError, Qol32sc* pTmp, Qol32sc* const* ppCoefs,
                      Qol32s numSegments, Qol32s first, Qol32s numSubbands, Qol32s scaleFactor);
/// The same, two bands a vector.
void updatePairs_32sc(const QolStepSize_EC* pStepSize, const Qol32sc* const* ppSrc,
                      const Qol32sc* pError, Qol32sc* pTmp, Qol32sc* const* ppCoefs,
                      Qol32s numSegments, Qol32s first, Qol32s numSubbands, Qol32s scaleFactor);

inline QolStatus checkCounts(Qol32s numSegments, Qol32s numSubbands) {
    return numSubbands < 1 || numSubbands > kMostSubbands   ? qolStsSubbandCountErr
           : numSegments < 1 || numSegments > kMostSegments ? qolStsRangeErr
                                                            : qolStsNoErr;
}

/// Checks of the cheap forms; here the first band is compared before the count is looked at.
inline QolStatus checkRange(Qol32s numSegments, Qol32s startSubband, Qol32s numSubbands,
                            Qol32s scaleFactor) {
    return numSegments < 1 || numSegments > kMostSegments || startSubband < 0 ||
                   startSubband > numSubbands
               ? qolStsRangeErr
           : numSubbands < 1 || numSubbands > kMostSubbands ? qolStsSubbandCountErr
           : scaleFactor < 0 || scaleFactor > 31            ? qolStsRangeErr
                                                            : qolStsNoErr;
}

} // namespace qolsc::echo
