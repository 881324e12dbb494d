// SPDX-License-Identifier: Apache-2.0
// ACELP search of 5.3 kbit/s: layout of the matrix, the search by definition and by vectors.
#pragma once

#include "g723/g723.h"

namespace qolsc::g723 {

inline constexpr int kTracks = 4, kPerTrack = 8, kPairs = kTracks * kPerTrack;
inline constexpr int kBlock = kPerTrack * kPerTrack, kMatrix = kPairs + 6 * kBlock;

/// Where the entry of the pulses k of track t < u begins in the matrix.
constexpr int blockOf(int t, int u) {
    constexpr int kFirst[kTracks] = {0, 3, 5, 6};
    return kPairs + kBlock * (kFirst[t] + u - t - 1);
}

struct AcelpResult {
    int place[kTracks]; ///< 0..7 on each track
    int grid;
    int budget; ///< what is left of it
};

/// Correlation of 64 entries and matrix with the signs of the pairs taken in; both grids'
/// threshold.
struct AcelpField {
    alignas(16) Qol16s correlation[2 * kPairs];
    alignas(16) Qol16s matrix[kMatrix];
    Qol16s sign[kPairs];
    Qol32s threshold;
};

AcelpResult ownAcelpSearchPlain_G723(const AcelpField& field, int budget);
AcelpResult ownAcelpSearch_G723(const AcelpField& field, int budget);

/// Signs, signed correlation, threshold, signed matrix.
void prepareAcelp_G723(const Qol16s* correlation, const Qol16s* matrix, AcelpField& field);

} // namespace qolsc::g723
