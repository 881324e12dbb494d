// SPDX-License-Identifier: Apache-2.0
// Kernels of the full-band filters: definitions and fast forms.
#pragma once

#include "qolsc/types.h"

namespace qolsc::echo {

/// pDst[n] = pSrcRef[n] - sum over rising k of pSrc[n-k] * pCoeffs[k].
void firPlain_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, Qol32s len,
                  const Qol32f* pCoeffs, Qol32s numTaps);
/// Eight outputs at once, the same sums; equal to the last bit.
void firLanes_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, Qol32s len,
                  const Qol32f* pCoeffs, Qol32s numTaps);

void firPlain_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, Qol32s len,
                  const Qol16s* pCoeffs, Qol32s numTaps);
/// Equal for up to kMostTapsUnsaturated taps, where the sum can't saturate.
void firLanes_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, Qol32s len,
                  const Qol16s* pCoeffs, Qol32s numTaps);

/// A term is at most 2^15 in magnitude.
constexpr Qol32s kMostTapsUnsaturated = 65535;

/// One sample of the adaptive filter: adds g * pSrc[-k-1] to coefficient k, returns the sum of the
/// new coefficients times pSrc[-k], over rising k.
Qol32f nlmsPlain_32f(const Qol32f* pSrc, Qol32f g, Qol32f* pCoeffs, Qol32s numTaps);
/// The same on coefficients in falling order; the sum runs in lanes.
Qol32f nlmsReversed_32f(const Qol32f* pSrc, Qol32f g, Qol32f* pReversed, Qol32s numTaps);

Qol32s nlmsPlain_16s(const Qol16s* pSrc, Qol32s g, Qol16s* pCoeffs, Qol32s numTaps);
/// The same on coefficients in falling order, for g of 16 bits and up to kMostTapsUnsaturated taps.
Qol32s nlmsReversed_16s(const Qol16s* pSrc, Qol16s g, Qol16s* pReversed, Qol32s numTaps);

} // namespace qolsc::echo
