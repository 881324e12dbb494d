// SPDX-License-Identifier: Apache-2.0
// Trellis of the 40 kbit/s form: states, subsets, reconstruction levels.
#pragma once

#include "g728/g728.h"
#include "tables/g728_search.h"

namespace qolsc::g728 {

inline constexpr int kStates = 4, kLevels = 64, kSubsets = 4;

/// Level i of 64, ascending; the upper half mirrors the lower one.
inline Qol16s trellisLevel(int i) {
    return i < kLevels / 2 ? tables::g728::trellisLevels[i]
                           : static_cast<Qol16s>(-tables::g728::trellisLevels[kLevels - 1 - i]);
}

/// Subset (level number modulo 4) of a branch: D0 and D2 leave the even states, D1 and D3 the odd
/// ones.
constexpr int trellisSubset(int state, int branch) { return (state & 1) + 2 * branch; }

constexpr int trellisNext(int state, int branch) { return ((state << 1) & 2) | branch; }

/// A level times the gain mantissa and 2^-shift, rounded and limited to 16 bits.
Qol16s scaledLevel(int level, Qol64s mantissa, Qol64s shift);

} // namespace qolsc::g728
