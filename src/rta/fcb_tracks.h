// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook search of the RTA family: pulses on five interleaved tracks, one pass a track.
#pragma once

#include "qolsc/types.h"

namespace qolsc::rta {

inline constexpr int kTracks = 5, kMostLength = 80, kMostPulses = 10;
inline constexpr int kRow =
    88; // floats of a matrix row: 80 and room for a whole vector behind any track

/// What a search works on, regrouped by track: element t n + k belongs to position t + 5 k.
struct Field {
    int n;          // positions a track
    Qol32f* d;      // backward-filtered target
    Qol32f* diag;   // energies
    Qol32f* cross;  // correlation of each position with the pulses placed
    Qol32f* matrix; // correlations, kRow floats a row
};

/// Pulses of one track: ranks and signs (+1, -1); a rank of -1 where there is no position.
struct TrackPulses {
    int count;
    int rank[2];
    Qol32f sign[2];
};

/// Criterion of the pulses placed: (num)^2 / den.
struct Sums {
    Qol32f num, den;
};

/// The pulse, or the pair, of track t that makes the criterion greatest beside the pulses whose
/// sums are given; ties keep the lower ranks, the positive signs first. The plain forms define the
/// others.
TrackPulses ownSearchTrackOnePulseSigns(const Field& f, int t, Sums placed);
TrackPulses ownSearchTrackTwoPulsesSigns(const Field& f, int t, Sums placed);
TrackPulses searchTrackOnePlain(const Field& f, int t, Sums placed);
TrackPulses searchTrackTwoPlain(const Field& f, int t, Sums placed);

} // namespace qolsc::rta
