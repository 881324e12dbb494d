// SPDX-License-Identifier: Apache-2.0
// What the files of the AMR-WB family share: records, rate codes.
#pragma once

#include "qolsc/amrwb.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/basop.h"

/// Past outputs are kept as pairs: hi * 2^16 + lo * 2 with 15 bits in lo. Index 0 is the newest.
/// Order 2 is order 3 with a last tap of 0.
struct QolsHighPassState_AMRWB {
    Qol16s pCoeffsA[4];
    Qol16s pCoeffsB[4];
    Qol16s yLow[3];
    Qol16s yHigh[3];
    Qol16s x[3];
    Qol32s valScale; // scale factor that the history is stored at
};
static_assert(sizeof(QolsHighPassState_AMRWB) == 40);

struct QolsVadState_AMRWB {
    Qol16s bckrEst[12];
    Qol16s aveLevel[12];
    Qol16s oldLevel[12];
    Qol16s subLevel[12];
    Qol16s aData5[5][2];
    Qol16s aData3[6];
    Qol16s burstCount;
    Qol16s hangCount;
    Qol16s statCount;
    Qol16s vadReg;
    Qol16s spEstCnt;
    Qol16s spMax;
    Qol16s spMaxCnt;
    Qol16s speechLevel;
    Qol32s prevPowSum;
    Qol16s level[12];
    Qol16s reserved[2];
};
static_assert(sizeof(QolsVadState_AMRWB) == 176);

namespace qolsc {

/// Rate codes that the ISF quantisers and the comfort-noise history take.
constexpr bool isIsfRate(Qol32s valRate) {
    constexpr Qol32u rates = 1u << 5 | 1u << 9 | 1u << 13 | 1u << 15 | 1u << 16 | 1u << 18 |
                             1u << 19 | 1u << 20 | 1u << 21 | 1u << 25;
    return valRate >= 0 && valRate < 32 && (rates >> valRate & 1);
}

} // namespace qolsc
