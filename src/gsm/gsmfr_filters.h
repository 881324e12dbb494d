// SPDX-License-Identifier: Apache-2.0
// The two forms of the GSM full-rate lattices: the plain one defines the result, the other keeps
// each stage in a lane of its own.
#pragma once

#include "qolsc/types.h"

namespace qolsc::gsmfr {

inline constexpr int kOrder = 8;

void analysisLattice(const Qol16s* pRC, Qol16s* pSrcDst, int len, Qol16s* pMem);
void synthesisLattice(const Qol16s* pRC, const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem);

/// The same for coefficients above -32768, whose rounded product can't leave 16 bits.
void analysisLattice_noMinimum(const Qol16s* pRC, Qol16s* pSrcDst, int len, Qol16s* pMem);
void synthesisLattice_noMinimum(const Qol16s* pRC, const Qol16s* pSrc, Qol16s* pDst, int len,
                                Qol16s* pMem);

} // namespace qolsc::gsmfr
