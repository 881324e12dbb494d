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
extern const Qol16s GainDBLvls[24];

/// Pulses of each subframe at 6.3 kbit/s. G.723.1 2.15.
extern const Qol16s PulsesPerSbfr[4];

/// Position codes: binomial of 29-j over 5-r in row r, column j. G.723.1 2.15.
extern const Qol32s CombTbl[6][30];

} // namespace qolsc::tables::g723
