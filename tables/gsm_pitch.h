// SPDX-License-Identifier: Apache-2.0
// Constant tables of the AMR narrowband pitch searches (3GPP TS 26.090 §5.3, §5.6).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Weights of the open-loop correlations at 10.2 kbit/s, Q15; TS 26.090 §5.3.3.
extern const Qol16s corrweight[251];

/// Interpolation of the normalised correlation in sixths of a sample, Q15; TS 26.090 §5.6.1.
inline constexpr Qol16s inter_6[25] = {
    29519, 28316, 24906, 19838, 13896,  7945,
     2755, -1127, -3459, -4304, -3969, -2899,
    -1561,  -336,   534,   970,  1023,   823,
      516,   220,     0,  -131,  -194,  -215,
        0,
};

/// Interpolation of the past excitation in sixths of a sample, Q15; TS 26.090 §5.6.1.
extern const Qol16s inter_6_l[61];

} // namespace qolsc::tables
