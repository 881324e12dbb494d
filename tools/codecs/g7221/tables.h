// SPDX-License-Identifier: Apache-2.0
// Tables of the G.722.1 frame layer: envelope codes, expected bits, reconstruction, decoding trees (ITU-T G.722.1 clauses 3.2
// to 3.5, 4.1 to 4.4, Annex C).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tools::g7221 {

/// Code lengths of the envelope differences (-12..11) by region; row 0 is not used.
extern const Qol16s kEnvelopeLengths[28][24];

/// Their codes, right-aligned.
extern const Qol16u kEnvelopeCodes[28][24];

/// Reconstruction values by category and bin, in standard deviations, Q12.
extern const Qol16s kCentroids[8][16];

/// Bits that a region is expected to take, by category.
extern const Qol16s kExpectedBits[8];

/// Standard deviation of a region by index, steps of 3 dB, index 24 is 1 before the table's own scale.
extern const Qol16s kStandardDeviation[64];

/// Decoding tree of category 0: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree0[360];

/// Decoding tree of category 1: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree1[186];

/// Decoding tree of category 2: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree2[94];

/// Decoding tree of category 3: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree3[1038];

/// Decoding tree of category 4: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree4[416];

/// Decoding tree of category 5: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree5[382];

/// Decoding tree of category 6: two children a node. A positive child is a node, others are minus the vector index.
extern const Qol16s kTree6[62];

} // namespace qolsc::tools::g7221
