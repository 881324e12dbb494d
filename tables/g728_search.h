// SPDX-License-Identifier: Apache-2.0
// Excitation codebook of ITU-T G.728.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g728 {

/// Shape codebook, Q11, in groups of four shapes, each three blocks of eight words: pairs (y0, y1),
/// pairs (y2, y3), pairs (y4, 0) of the four shapes. G.728 Annex B.
extern const Qol16s shapeGroups[32][24];

/// Negative half of the 64 levels of the trellis-coded quantiser, ascending. G.728 Annex J.
extern const Qol16s trellisLevels[32];

} // namespace qolsc::tables::g728
