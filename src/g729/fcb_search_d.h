// SPDX-License-Identifier: Apache-2.0
// Order of the search of the two-pulse codebook and its position code (G.729 D.5.8).
#pragma once

namespace qolsc {

/// Tracks of a pass. Pulse 0 lies on the outer track where outerIsFirst, else on the inner one.
struct PassTracks {
    int outer, inner;
    bool outerIsFirst;
};

inline constexpr int kPassesG729D = 8;
inline constexpr PassTracks kPassTracksG729D[kPassesG729D] = {
    {0, 1, false}, {1, 1, true},  {0, 3, false}, {3, 4, true},
    {1, 2, true},  {1, 3, false}, {1, 4, true},  {2, 3, false}};

/// Gray-coded positions: pulse 0 in 4 bits, pulse 1 in the 5 above.
int positionWord_G729D(int position0, int position1);

} // namespace qolsc
