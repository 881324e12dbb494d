// SPDX-License-Identifier: Apache-2.0
// Pitch extraction of the post-filter adapter of ITU-T G.728.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g728 {

/// Low-pass of 1 kHz before the decimation by four: recursive coefficients of lags 1 to 3, Q13.
/// G.728 block 82, Annex D.
extern const Qol16s decimationPole[3];

/// The same filter: coefficients of lags 0 to 3 of the non-recursive part, Q19.
extern const Qol16s decimationZero[4];

} // namespace qolsc::tables::g728
