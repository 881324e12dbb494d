// SPDX-License-Identifier: Apache-2.0
// AMR-WB ISF quantisers and ISP conversions (3GPP TS 26.190 5.2, TS 26.192 5.2). Rows are padded with 0 to
// their stride; ISF scale: 16384 is 6400 Hz.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// mean of the ISFs, ISF scale (16384 = 6400 Hz)
extern const Qol16s meanISFTbl[16];
/// mean of the ISFs of comfort noise, ISF scale (16384 = 6400 Hz)
extern const Qol16s meanISFnoiseTbl[16];
/// stage 1, elements 0..8
extern const Qol16s QCdbk1ISFTbl[256][12];
/// stage 1, elements 9..15
extern const Qol16s QCdbk2ISFTbl[256][8];
/// stage 2 of 46 bits, elements 0..2
extern const Qol16s QCdbk21ISFTbl[64][4];
/// stage 2 of 46 bits, elements 3..5
extern const Qol16s QCdbk22ISFTbl[128][4];
/// stage 2 of 46 bits, elements 6..8
extern const Qol16s QCdbk23ISFTbl[128][4];
/// stage 2 of 46 bits, elements 9..11
extern const Qol16s QCdbk24ISFTbl[32][4];
/// stage 2 of 46 bits, elements 12..15
extern const Qol16s QCdbk25ISFTbl[32][4];
/// stage 2 of 36 bits, elements 0..4
extern const Qol16s QCdbk21ISF36bTbl[128][8];
/// stage 2 of 36 bits, elements 5..8
extern const Qol16s QCdbk22ISF36bTbl[128][4];
/// stage 2 of 36 bits, elements 9..15
extern const Qol16s QCdbk23ISF36bTbl[64][8];
/// comfort noise, elements 0, 1
extern const Qol16s QCdbk1ISFnoiseTbl[64][2];
/// comfort noise, elements 2..4
extern const Qol16s QCdbk2ISFnoiseTbl[64][4];
/// comfort noise, elements 5..7
extern const Qol16s QCdbk3ISFnoiseTbl[64][4];
/// comfort noise, elements 8..11
extern const Qol16s QCdbk4ISFnoiseTbl[32][4];
/// comfort noise, elements 12..15
extern const Qol16s QCdbk5ISFnoiseTbl[32][4];
/// cosine over 128 intervals of 0..pi, Q15
extern const Qol16s ispCosTbl[129];
/// slope of the inverse cosine in each interval, Q11
extern const Qol16s ispSlopeTbl[128];
/// grid of the root search: cosine over 100 intervals, Q15
extern const Qol16s ispGrid[101];

} // namespace qolsc::tables
