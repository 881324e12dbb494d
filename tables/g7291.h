// SPDX-License-Identifier: Apache-2.0
// Tables of the transform layer (TDAC) of ITU-T G.729.1: MDCT of 160 coefficients and spherical vector quantiser.
//
// What is the standard's and what is not. The window and the twiddles have the standard's definitions; their 16-bit formats
// follow those of the sibling transform of ITU-T G.722 Annex B. The sub-band bounds, the rates of dimension 8, the bits of
// dimension 16 and the first twelve offsets of dimension 8 are the standard's. The leaders themselves, their order and
// everything marked "Derived" below are not published as numbers: they are a consistent set built to the known counts, so a
// stream made with them is understood by this library only, not by other decoders of G.729.1.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Bounds of the 18 sub-bands: seventeen of 16 coefficients, the last of 8.
extern const Qol16s G7291_TDAC_sb_boundTbl[19];

/// Rising half of the window, sqrt(2) sin(pi (i + 0.5)/320), Q14; the falling half is its mirror.
extern const Qol16s G7291_TDAC_hTbl[160];

/// cos(2 pi i/320), Q15.
extern const Qol16s wCosTbl[80];

/// sin(2 pi i/320), Q15.
extern const Qol16s wSinTbl[80];

/// Real part of exp(j t(k))/320, t(k) = 3 pi/4 + pi/640 + k (pi + 2 pi/320), Q22.
extern const Qol16s wetrTbl[80];

/// Its imaginary part, Q22.
extern const Qol16s wetiTbl[80];

/// Real part of 2 exp(-j t(k)), Q14.
extern const Qol16s wetrm1Tbl[80];

/// Its imaginary part, Q14.
extern const Qol16s wetim1Tbl[80];

/// Leaders usable by rate index, dimension 8.
extern const Qol16s NbLeadpRat8Tbl[8];

/// Leaders usable by rate index, dimension 16. Derived, not published: see the head of this file.
extern const Qol16s NbLeadpRat16Tbl[20];

/// Rate index by count of bits, dimension 8.
extern const Qol16s G7291_Rate8Tbl_rind[17];

/// Rate index by count of bits, dimension 16.
extern const Qol16s G7291_Rate16Tbl_rind[33];

/// First code of each leader, dimension 8; the last entry is the count of codes. From the 13th entry on derived, not published.
extern const Qol32u OffsetLead8Tbl[34];

/// First code of each leader, dimension 16; the last entry is the count of codes. Derived, not published: see the head of this file.
extern const Qol32u OffsetLead16Tbl[65];

/// Leader number by position, dimension 8. Derived, not published: see the head of this file.
extern const Qol16s list_lead8Tbl[33];

/// Leader number by position, dimension 16. Derived, not published: see the head of this file.
extern const Qol16s list_lead16Tbl[64];

/// Count of distinct non-zero magnitudes of each leader. Derived, not published: see the head of this file.
extern const Qol16s dim_leaderTbl[84];

/// Where they begin in decomp_valTbl and decomp_factTbl. Derived, not published: see the head of this file.
extern const Qol16s delta_leaderTbl[84];

/// The distinct non-zero magnitudes of the leaders, falling. Derived, not published: see the head of this file.
extern const Qol16s decomp_valTbl[170];

/// How often each stands in its leader; zeros fill up to the dimension. Derived, not published: see the head of this file.
extern const Qol16s decomp_factTbl[170];

/// Magnitudes of each leader over its Euclidean norm, falling, Q15, one leader a row. Derived, not published: see the head of this file.
extern const Qol16s leader8_normTbl[264];

/// The same for dimension 16. Derived, not published: see the head of this file.
extern const Qol16s leader16_normTbl[1024];

} // namespace qolsc::tables
