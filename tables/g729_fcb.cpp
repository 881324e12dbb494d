// SPDX-License-Identifier: Apache-2.0
// Tables of the algebraic codebook searches, G.729 Annexes D and E.
#include "tables/g729_fcb.h"

namespace qolsc::tables::g729 {

// Positions of pulse 0 of the 11-bit codebook. Annex D.
alignas(32) const Qol16s trackTable0[16] = {
    1, 3, 6, 8, 11, 13, 16, 18, 21, 23, 26, 28, 31, 33, 36, 38};

// Positions of pulse 1 of the 11-bit codebook. Annex D.
alignas(32) const Qol16s trackTable1[32] = {
    0, 2, 4, 5, 7, 9, 10, 12, 14, 15, 17, 19, 20, 22, 24, 25, 27, 29, 30, 32, 34, 35, 37, 39, 1,
    6, 11, 16, 21, 26, 31, 36};

// Gray code of the position index. Annex D.
alignas(32) const Qol16s grayEncode[32] = {
    0, 1, 3, 2, 6, 7, 5, 4, 12, 13, 15, 14, 10, 11, 9, 8, 24, 25, 27, 26, 30, 31, 29, 28, 20, 21,
    23, 22, 18, 19, 17, 16};

// Track of each pulse, read from a starting offset. Annex E.
alignas(32) const Qol16s ipos[16] = {
    0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0};

} // namespace qolsc::tables::g729
