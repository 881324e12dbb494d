// SPDX-License-Identifier: Apache-2.0
// Constant tables of the AMR narrowband algebraic codebooks (3GPP TS 26.090 §5.7).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Index bit 6 at 4.75 and 5.15 kbit/s by subframe and track of the first pulse; TS 26.090 §5.7.
extern const Qol16s trackTable[4][5];

/// Tracks of the two pulses at 4.75 and 5.15 kbit/s, at 8 * bit + 2 * subframe; TS 26.090 §5.7.
extern const Qol16s startPos[16];

/// First tracks of the eight pairs at 5.9 kbit/s; TS 26.090 §5.7.
extern const Qol16s startPos1_r59[8];

/// Second tracks of the eight pairs at 5.9 kbit/s; TS 26.090 §5.7.
extern const Qol16s startPos2_r59[8];

/// Tracks of the first pulse in the twelve orders at 6.7 kbit/s; TS 26.090 §5.7.
extern const Qol16s startPos0_R67[12];

/// Tracks of the second pulse at 6.7 kbit/s.
extern const Qol16s startPos1_R67[12];

/// Tracks of the third pulse at 6.7 kbit/s.
extern const Qol16s startPos2_R67[12];

/// Tracks of the first pulse in the eight orders at 7.4 and 7.95 kbit/s; TS 26.090 §5.7.
extern const Qol16s startPos0_R74[8];

/// Tracks of the second pulse at 7.4 and 7.95 kbit/s.
extern const Qol16s startPos1_R74[8];

/// Tracks of the third pulse at 7.4 and 7.95 kbit/s.
extern const Qol16s startPos2_R74[8];

/// Tracks of the fourth pulse at 7.4 and 7.95 kbit/s.
extern const Qol16s startPos3_R74[8];

/// Gray code of a 3-bit place; TS 26.090 §5.7.
extern const Qol16s gray[8];

/// Place of a Gray-coded 3-bit word, the inverse of gray.
extern const Qol16s dgray[8];

} // namespace qolsc::tables
