// SPDX-License-Identifier: Apache-2.0
// Constant tables of AMR comfort noise and post-filter (3GPP TS 26.092, TS 26.090 §6.2).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Vectors that the LSF of a comfort-noise frame are predicted from; TS 26.092 §5 (tables of TS 26.073).
extern const Qol16s past_rq_init[8][10];

/// 0.55^k, k = 1 to 10, Q15: post-filter numerator up to 7.95 kbit/s; TS 26.090 §6.2.1.
extern const Qol16s gamma3[10];

/// 0.7^k, Q15: numerator at 10.2 and 12.2 kbit/s, denominator below; TS 26.090 §6.2.1.
extern const Qol16s gamma3_MR122[10];

/// 0.75^k, Q15: denominator at 10.2 and 12.2 kbit/s; TS 26.090 §6.2.1.
extern const Qol16s gamma4_MR122[10];

} // namespace qolsc::tables
