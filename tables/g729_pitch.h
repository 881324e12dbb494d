// SPDX-License-Identifier: Apache-2.0
// Interpolation filters of the pitch search, G.729 3.7 and 3.7.1.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g729 {

/// 1/3 interpolation filter of the correlation, Q15.
inline constexpr Qol16s inter_3[13] = {
    29519, 24906, 13896, 2755, -3459, -3969, -1561, 534, 1023, 516, 0, -194, 0};

/// 1/3 interpolation filter of the excitation, Q15.
inline constexpr Qol16s inter_3l[31] = {
    29443, 25207, 14701, 3143, -4402, -5850, -2783, 1211, 3130, 2259, 0, -1652, -1666, -464, 756,
    1099, 550, -245, -634, -451, 0, 308, 296, 78, -120, -165, -79, 34, 91, 70, 0};

/// 1/3 interpolation filter of the excitation.
extern const Qol32f inter_3l_32f[31];

} // namespace qolsc::tables::g729
