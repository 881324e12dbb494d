// SPDX-License-Identifier: Apache-2.0
// Constant tables of the AMR narrowband algebraic codebooks (3GPP TS 26.090 §5.7).
#include "tables/gsm_fcb.h"

namespace qolsc::tables {

const Qol16s trackTable[4][5] = {
    { 0,  1,  0,  1, -1}, { 0, -1,  1,  0,  1}, { 0,  1,  0, -1,  1}, { 0,  1, -1,  0,  1},
};

const Qol16s startPos[16] = {
    0, 2, 0, 3, 0, 2, 0, 3,
    1, 3, 2, 4, 1, 4, 1, 4,
};

const Qol16s startPos1_r59[8] = {
    1, 1, 1, 1, 3, 3, 3, 3,
};

const Qol16s startPos2_r59[8] = {
    0, 1, 2, 4, 0, 1, 2, 4,
};

const Qol16s startPos0_R67[12] = {
    0, 2, 1, 0, 4, 1, 0, 2, 3, 0, 4, 3,
};

const Qol16s startPos1_R67[12] = {
    1, 0, 2, 1, 0, 4, 3, 0, 2, 3, 0, 4,
};

const Qol16s startPos2_R67[12] = {
    2, 1, 0, 4, 1, 0, 2, 3, 0, 4, 3, 0,
};

const Qol16s startPos0_R74[8] = {
    0, 3, 2, 1, 0, 4, 2, 1,
};

const Qol16s startPos1_R74[8] = {
    1, 0, 3, 2, 1, 0, 4, 2,
};

const Qol16s startPos2_R74[8] = {
    2, 1, 0, 3, 2, 1, 0, 4,
};

const Qol16s startPos3_R74[8] = {
    3, 2, 1, 0, 4, 2, 1, 0,
};

const Qol16s gray[8] = {
    0, 1, 3, 2, 6, 4, 5, 7,
};

const Qol16s dgray[8] = {
    0, 1, 3, 2, 5, 6, 4, 7,
};

} // namespace qolsc::tables
