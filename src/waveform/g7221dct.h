// SPDX-License-Identifier: Apache-2.0
// The integer DCT-IV of ITU-T G.722.1 (main body N = 320, Annex C N = 640): butterflies down to
// blocks of ten, a ten-point core, rotations back up. Plain definition and vector form.
#pragma once

#include "qolsc/types.h"

namespace qolsc {

inline constexpr int kDctShort = 320, kDctLong = 640;

/// Forward and inverse transforms; len is kDctShort or kDctLong, pDst may be pSrc.
void ownDCTFwd_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, int len);
void ownDCTInv_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, int len);

/// The same by the standard's basic operators, element by element: the definition.
void dctFwdPlain(const Qol16s* pSrc, Qol16s* pDst, int len);
void dctInvPlain(const Qol16s* pSrc, Qol16s* pDst, int len);

} // namespace qolsc
