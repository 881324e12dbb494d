// SPDX-License-Identifier: Apache-2.0
// Tables of the LP-domain conversions that the G.729 and AMR families share.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Lag window of 60 Hz bandwidth expansion and white-noise factor 1.0001, lags 1 to 12, Q31 (low
/// bit clear). G.729 3.2.1, TS 26.090 5.2.1.
extern const Qol32s wlag[12];

/// LSP search grid, cos(pi k/60) in Q15 truncated towards zero, k = 0..60, then padding. G.729
/// 3.2.3.
extern const Qol16s w_eval_60[66];

/// LSP search grid of Annex A, cos(pi k/50) in Q15 truncated towards zero, k = 0..50, then
/// padding. G.729 A.3.2.3.
extern const Qol16s w_eval_50[54];

/// cos(pi k/64), Q15. G.729 3.2.4, TS 26.090 5.2.4.
extern const Qol16s cos15[64];

/// Slope of cos15 per interval and 2^-12 of the offset. G.729 3.2.4.
extern const Qol16s slope_cos[64];

/// Inverse slope of cos15 per interval, Q11. G.729 3.2.4, TS 26.090 5.2.3.
extern const Qol16s acos12[64];

} // namespace qolsc::tables
