// SPDX-License-Identifier: Apache-2.0
// Tables of the algebraic codebook searches, G.729 Annexes D and E.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g729 {

/// Positions of pulse 0 of the 11-bit codebook. Annex D.
extern const Qol16s trackTable0[16];

/// Positions of pulse 1 of the 11-bit codebook. Annex D.
extern const Qol16s trackTable1[32];

/// Gray code of the position index. Annex D.
extern const Qol16s grayEncode[32];

/// Track of each pulse, read from a starting offset. Annex E.
extern const Qol16s ipos[16];

} // namespace qolsc::tables::g729
