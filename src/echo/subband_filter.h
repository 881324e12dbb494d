// SPDX-License-Identifier: Apache-2.0
// Kernels and checks of the sub-band filters and their updates.
#pragma once

#include "echo/echo.h"
#include "vector/simd.h"

namespace qolsc::simd {

/// Two complex numbers in double precision: re, im, re, im.
inline d256 widen2(const Qol32fc* z) { return _mm256_cvtps_pd(_mm_loadu_ps(&z->re)); }

} // namespace qolsc::simd

namespace qolsc::echo {

/// Definition of the float filter for the bands first to numSubbands - 1: products in double
/// precision, each part rounded to float, float sums over rising taps.
void firSubbandPlain_32fc(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                          Qol32s numSegments, Qol32s first, Qol32s numSubbands);
/// The same, two bands a vector; equal to the last bit.
void firSubbandPairs_32fc(const Qol32fc* const* ppSrc, const Qol32fc* const* ppCoefs, Qol32fc* pDst,
                          Qol32s numSegments, Qol32s numSubbands);

/// Definition of the float update for the bands first to numSubbands - 1.
void updatePlain_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s first,
                      Qol32s numSubbands);
/// The same, two bands a vector; equal to the last bit.
void updatePairs_32fc(const Qol64f* pStepSize, const Qol32fc* const* ppSrc, const Qol32fc* pError,
                      Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s numSubbands);

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
