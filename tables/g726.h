// SPDX-License-Identifier: Apache-2.0
// Tables of ITU-T G.726 and of the G.711 bytes that its decoder gives.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

// By rate (16, 24, 32, 40 kbit/s). Reconstruction level in the log domain, by code (G.726 §2.4, Q7).
extern const Qol16s reconst16_dqln[4], reconst24_dqln[8], reconst32_dqln[16], reconst40_dqln[32];
// Scale-factor multiplier W(I) times 2^5, by code (G.726 §2.5).
extern const Qol32s sfa_tab16_wi[4], sfa_tab24_wi[8], sfa_tab32_wi[16], sfa_tab40_wi[32];
// F(I) times 512, by code (G.726 §2.6).
extern const Qol16s asc_tab16_map[4], asc_tab24_map[8], asc_tab32_map[16], asc_tab40_map[32];
// Decision levels, falling, Q7 of the base-2 logarithm (G.726 §2.3). The first one, 2048, lies above every logarithm.
extern const Qol16s quant16_lev[3], quant24_lev[5], quant32_lev[9], quant40_lev[17];
// Code by interval of the levels (the last: below all), for differences that are not negative and for negative ones.
extern const Qol8u quant16_ind_pos[4], quant24_ind_pos[6], quant32_ind_pos[10], quant40_ind_pos[18];
extern const Qol8u quant16_ind_neg[4], quant24_ind_neg[6], quant32_ind_neg[10], quant40_ind_neg[18];
// Rank of a code for the synchronous coding adjustment, by the same intervals (G.726 §4.2.8).
extern const Qol8u sync16_ind_pos[4], sync24_ind_pos[6], sync32_ind_pos[10], sync40_ind_pos[18];
extern const Qol8u sync16_ind_neg[4], sync24_ind_neg[6], sync32_ind_neg[10], sync40_ind_neg[18];

// G.711 expansion of a line byte to 16-bit linear (tables 1 and 2 of G.711).
extern const Qol16s _u2l[256], _a2l[256];
// Code of the next greater (GT) and next lesser (LT) linear value; the ends map to themselves. The two zeroes of the mu
// law (127, 255) are stepped as the standard's procedure steps them: 127 up is 253, down is 125.
extern const Qol8u u2GT[256], u2LT[256], a2GT[256], a2LT[256];

} // namespace qolsc::tables
