// SPDX-License-Identifier: Apache-2.0
// Constant tables of the AMR narrowband LP analysis and LSF quantisers (3GPP TS 26.090 §5.2).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Analysis window of the first half frame at 12.2 kbit/s, 160 + 80 samples, Q15; TS 26.090 §5.2.1.
extern const Qol16s kAmrWindow160_80[240];

/// Analysis window of the second half frame at 12.2 kbit/s, 232 + 8 samples, Q15; TS 26.090 §5.2.1.
extern const Qol16s kAmrWindow232_8[240];

/// Split-matrix codebook 1 at 12.2 kbit/s: residuals of LSF 1, 2 of both vectors; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfMatrix1[128][4];

/// Split-matrix codebook 2: LSF 3, 4; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfMatrix2[256][4];

/// Split-matrix codebook 3, searched with a sign: LSF 5, 6; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfMatrix3[256][4];

/// Split-matrix codebook 4: LSF 7, 8; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfMatrix4[256][4];

/// Split-matrix codebook 5: LSF 9, 10; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfMatrix5[64][4];

/// Split-vector codebook 1 of the lower rates: residuals of LSF 1 to 3, rows filled up with 0; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfSplit1[256][4];

/// Split-vector codebook 2: LSF 4 to 6, rows filled up with 0 (4.75 and 5.15 kbit/s use every second row); TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfSplit2[512][4];

/// Split-vector codebook 3: LSF 7 to 10; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfSplit3[512][4];

/// Split-vector codebook 1 at 7.95 kbit/s, rows filled up with 0; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfSplit1_795[512][4];

/// Split-vector codebook 3 at 4.75 and 5.15 kbit/s; TS 26.090 §5.2.5 (tables of TS 26.073).
extern const Qol16s kAmrLsfSplit3_515[128][4];

/// Means of the LSF at 12.2 kbit/s, 8000 Hz = 32768; TS 26.090 §5.2.5.
inline constexpr Qol16s TableMeanLsf1[10] = {
     1384,  2077,  3420,  5108,  6742,  8122,  9863, 11092, 12714, 13701,
};

/// Means of the LSF at the other rates, 8000 Hz = 32768; TS 26.090 §5.2.5.
extern const Qol16s TableMeanLsf2[10];

/// Slope of cos15 per interval and 2^-8 of the offset; TS 26.090 §5.2.4.
extern const Qol16s slope_cos15[64];

/// Prediction factors of the LSF at the other rates, Q15; TS 26.090 §5.2.5.
extern const Qol16s TablePredFac[10];

} // namespace qolsc::tables
