// SPDX-License-Identifier: Apache-2.0
// Constant tables of AMR comfort noise and post-filter (3GPP TS 26.092, TS 26.090 §6.2).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Vectors that the LSF of a comfort-noise frame are predicted from; TS 26.092 §5 (tables of TS 26.073).
inline constexpr Qol16s past_rq_init[8][10] = {
    {-258, -318, -439, -634, -656, -773, -711, -502, -268, -193},
    {-2, 125, 122, -39, -9, 105, 129, 283, 372, 575},
    {-277, -324, -197, -487, -445, -362, -292, -27, 177, 543},
    {342, 517, 516, 130, 27, -104, -120, -140, -74, -56},
    {-564, -943, -1520, -965, -814, -526, -322, -2, 159, 657},
    {-312, -284, -386, -597, -493, -526, -418, -229, 105, 449},
    {-557, -870, -1075, -919, -950, -752, -709, -316, 62, 486},
    {-314, -191, -203, -330, -160, -103, -51, 131, 338, 515},
};

/// 0.55^k, k = 1 to 10, Q15: post-filter numerator up to 7.95 kbit/s; TS 26.090 §6.2.1.
extern const Qol16s gamma3[10];

/// 0.7^k, Q15: numerator at 10.2 and 12.2 kbit/s, denominator below; TS 26.090 §6.2.1.
extern const Qol16s gamma3_MR122[10];

/// 0.75^k, Q15: denominator at 10.2 and 12.2 kbit/s; TS 26.090 §6.2.1.
extern const Qol16s gamma4_MR122[10];

} // namespace qolsc::tables
