// SPDX-License-Identifier: Apache-2.0
// LP-domain kernels that the G.729 and AMR families share (G.729 3.2, TS 26.090 5.2). They take
// valid arguments only.
#pragma once

#include "qolsc/status.h"
#include "qolsc/types.h"

namespace qolsc {

inline constexpr int kLpOrder = 10;

/// Element-wise double-precision product of an autocorrelation (from lag 1 on) and a window in Q31;
/// wraps.
void ownLagWindow_32s_I(const Qol32s* pWindow, Qol32s* pSrcDst, int len);

/// Levinson-Durbin recursion of orders 1 to 30 in double-precision format. r normalised; a in Q12
/// (order + 1), rc in Q15 (order). False on ill-conditioning, with nothing written.
bool ownLevinsonDurbin_32s16s(const Qol32s* r, int order, Qol16s* a, Qol16s* rc,
                              Qol16s* pResidualEnergy);

/// Search grids of ownLPCToLSP_G729_16s: 60 intervals (G.729, AMR), 50 intervals (Annex A).
enum LspGrid : int { lspGrid60 = 0, lspGrid50 = 1 };

/// LPC (11, Q12) to LSP (10, Q15) by a walk over the grid of gridSize intervals, with bisections.
/// lpcQ 12 is G.729's arithmetic: polynomials in Q11, at half scale when they leave 16 bits. lpcQ
/// 13 is AMR's: polynomials in Q10 always. Returns the count of roots found; pDstLsp holds as many.
int ownLPCToLSP_G729_16s(int gridSize, int bisections, LspGrid grid, const Qol16s* pSrcLpc,
                         Qol16s* pDstLsp, int lpcQ);

/// Scaled frequencies (10; 256 a table interval, 64 intervals up to half the sampling rate) to LSP
/// by cos15 and the given slopes: lsp = cos15[i] + (offset slope[i] >> shift). A negative frequency
/// ends it with qolStsLsfRangeErr; the elements before it are written.
QolStatus ownLSFToLSP_16s(const Qol16s* pSrcFreq, Qol16s* pDstLsp, const Qol16s* pSlope, int shift);

} // namespace qolsc
