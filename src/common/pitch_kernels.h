// SPDX-License-Identifier: Apache-2.0
// Closed-loop pitch kernels that the G.729 and AMR families share (G.729 3.7, TS 26.090 5.6.1).
#pragma once

#include "qolsc/types.h"

namespace qolsc {

/// Most lags of one call below.
inline constexpr int kMostWeightedLags = 28;

/// Correlation of the target (40) and the excitation filtered by h (40) over the root of its
/// energy, for the lags low to high; value[k] belongs to low + k. exc points at the subframe, high
/// samples stand in front of it. 16-bit steps wrap.
void _qolsMeanSquareWeightedError_16s(const Qol16s* exc, const Qol16s* target, const Qol16s* h,
                                      int low, int high, Qol16s* value);

} // namespace qolsc
