// SPDX-License-Identifier: Apache-2.0
// What the files of the RTA family share.
#pragma once

#include "qolsc/types.h"

namespace qolsc {

/// Sum of |pSrc[i]|.
Qol64f sumOfMagnitudes(const Qol32f* pSrc, int len);

/// Gain that restores a level: sum of magnitudes before over after a filter, 0 where the latter
/// isn't above 0.
Qol32f ownGainControl_MSRTA_32f(Qol64f before, Qol64f after);

/// Per sample: *pAgc = 0.99 *pAgc + step, pSrcDst[i] *= *pAgc.
void ownAGCFilter_RTA_32f_I(Qol32f* pSrcDst, int len, Qol32f step, Qol32f* pAgc);

} // namespace qolsc
