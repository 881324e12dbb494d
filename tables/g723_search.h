// SPDX-License-Identifier: Apache-2.0
// Gain codebooks and pulse codes of the excitation search of ITU-T G.723.1.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g723 {

/// Gain codebook of 85 entries, Q14: five gains, minus their squares, minus the ten cross products in
/// the order (1,0) (2,0) (2,1) (3,0) (3,1) (3,2) (4,0) (4,1) (4,2) (4,3). G.723.1 2.14.
extern const Qol16s AdCdbkGainTblHighRate[85][20];

/// The same of 170 entries.
extern const Qol16s AdCdbkGainTblLowRate[170][20];

/// Levels of the fixed codebook gain. G.723.1 2.15.
inline constexpr Qol16s GainDBLvls[24] = {
    1, 2, 3, 4, 6, 9, 13, 18, 26, 38, 55, 80,
    115, 166, 240, 348, 502, 726, 1050, 1517, 2193, 3170, 4582, 6623,
};

/// Pulses of each subframe at 6.3 kbit/s. G.723.1 2.15.
inline constexpr Qol16s PulsesPerSbfr[4] = {
    6, 5, 6, 5,
};

/// Position codes: binomial of 29-j over 5-r in row r, column j. G.723.1 2.15.
inline constexpr Qol32s CombTbl[6][30] = {
    {118755, 98280, 80730, 65780, 53130, 42504, 33649, 26334, 20349, 15504,
     11628, 8568, 6188, 4368, 3003, 2002, 1287, 792, 462, 252,
     126, 56, 21, 6, 1, 0, 0, 0, 0, 0},
    {23751, 20475, 17550, 14950, 12650, 10626, 8855, 7315, 5985, 4845,
     3876, 3060, 2380, 1820, 1365, 1001, 715, 495, 330, 210,
     126, 70, 35, 15, 5, 1, 0, 0, 0, 0},
    {3654, 3276, 2925, 2600, 2300, 2024, 1771, 1540, 1330, 1140,
     969, 816, 680, 560, 455, 364, 286, 220, 165, 120,
     84, 56, 35, 20, 10, 4, 1, 0, 0, 0},
    {406, 378, 351, 325, 300, 276, 253, 231, 210, 190,
     171, 153, 136, 120, 105, 91, 78, 66, 55, 45,
     36, 28, 21, 15, 10, 6, 3, 1, 0, 0},
    {29, 28, 27, 26, 25, 24, 23, 22, 21, 20,
     19, 18, 17, 16, 15, 14, 13, 12, 11, 10,
     9, 8, 7, 6, 5, 4, 3, 2, 1, 0},
    {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
};

} // namespace qolsc::tables::g723
