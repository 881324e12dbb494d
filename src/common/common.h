// SPDX-License-Identifier: Apache-2.0
// Inner functions of correlation, convolution and LP filtering that the families call beside the
// exports.
#pragma once

#include "common/kernels.h"
#include "numeric/helpers.h"
#include "qolsc/common.h"

namespace qolsc {

/// pDst[k] = sum over i below len of pSrc1[i] pSrc2[i-k], k below lenDst; wrapping. pSrc2 has
/// lenDst - 1 elements in front of it.
void _qolsCrossCorr_Inv_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len, Qol32s* pDst,
                               int lenDst);

/// pDst[k-1] = lag k of the autocorrelation, k of 1 to lenDst, the wrapping sum shifted left by
/// exponent (0 to 31).
void _qolsAutoCorr_G729_16s32s_Sfs(const Qol16s* pSrc, int len, Qol32s* pDst, int lenDst,
                                   int exponent);

/// Triangular correlation brought to 16 bits by one shift of 16 + mode - n, n (at most 15 + mode)
/// being the norm of the largest magnitude.
void _qolsCrossCorr_Norm_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len, Qol16s* pDst,
                             int mode);

/// Truncated convolution with a sum that saturates after each doubled product, in rising order of
/// pSrc1.
void ownConvPartial_NR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len);

/// 1/A(z) of order 10: y[n] = (a[0] x[n] + 2^(s-1) - sum of a[k] y[n-k]) >> s, s 12 or 13. pMem:
/// the 10 outputs before, oldest first, or null for none. pDst may be pSrc. The NoOvf forms keep
/// the low 16 bits; the other one saturates and returns true when it had to.
void ownSynthesisFilterLP11_NoOvf_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst,
                                             int len, int scaleFactor, const Qol16s* pMem);
void ownSynthesisFilterLP11_NoHis_NoOvf_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc,
                                                   Qol16s* pDst, int len, int scaleFactor);
bool ownSynthesisFilterLP11_NR_16s_Sfs(const Qol16s* pLPC, const Qol16s* pSrc, Qol16s* pDst,
                                       int len, int scaleFactor, const Qol16s* pMem);

} // namespace qolsc
