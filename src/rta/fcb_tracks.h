// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook search of the RTA family: pulses on five interleaved tracks, one pass a track.
#pragma once

#include "qolsc/types.h"

namespace qolsc::rta {

inline constexpr int kTracks = 5, kMostLength = 80, kMostPulses = 10;
inline constexpr int kRanks = 16; // positions of a track at the most
inline constexpr int kRow = 88;   // floats of a matrix row

/// Place of a position in vectors by track: rank k of track t is position t + 5 k.
constexpr int placeOf(int t, int k) { return t * kRanks + k; }
constexpr int placeOf(int position) { return placeOf(position % kTracks, position / kTracks); }

/// What a search works on: the caller's buffer, its start rounded up to 32 bytes. All but the rows
/// of the matrix goes by track.
struct Field {
    Qol32f cross[kRow];                // twice the correlation of a track with the pulses placed
    Qol32f d[kRow];                    // backward-filtered target
    Qol32f diag[kRow];                 // energies
    Qol32f matrix[kMostLength * kRow]; // twice the correlations, a row a position
    Qol32s len, n;                     // samples, positions a track
};

/// Pulses of one track: ranks and signs (+1, -1); a rank of -1 where there is no position.
struct TrackPulses {
    int count;
    int rank[2];
    Qol32f sign[2];
};
using Pulses = TrackPulses[kTracks];

/// Criterion of the pulses placed: (num)^2 / den.
struct Sums {
    Qol32f num, den;
};

/// Matrix and energies: element (i, j) is twice the sum of imp[m] imp[m + |i - j|] over m below
/// len - max(i, j), m ascending.
void correlateImpulses(Field& f, const Qol32f* imp);
void correlateImpulsesPlain(Field& f, const Qol32f* imp);

/// Sums of all pulses but those of one track, and their correlation with its positions; a track of
/// -1: sums of all.
Sums sumsWithout(Field& f, const Pulses& pulses, int track);
Sums sumsWithoutPlain(Field& f, const Pulses& pulses, int track);

/// The pulse, or the pair, of track t that makes the criterion greatest beside the pulses whose
/// sums are given; ties keep the lower ranks, then the positive signs. The plain forms define the
/// others.
TrackPulses ownSearchTrackOnePulseSigns(const Field& f, int t, Sums placed);
TrackPulses ownSearchTrackTwoPulsesSigns(const Field& f, int t, Sums placed);
TrackPulses searchTrackOnePlain(const Field& f, int t, Sums placed);
TrackPulses searchTrackTwoPlain(const Field& f, int t, Sums placed);

/// The steps of a search, the fast ones or the plain ones.
struct Steps {
    void (*correlate)(Field& f, const Qol32f* imp);
    Sums (*sumsWithout)(Field& f, const Pulses& pulses, int track);
    TrackPulses (*one)(const Field& f, int t, Sums placed);
    TrackPulses (*two)(const Field& f, int t, Sums placed);
    bool skipsKnown; // passes over a track when no other has changed since its last search
};
inline constexpr Steps kFast{correlateImpulses, sumsWithout, ownSearchTrackOnePulseSigns,
                             ownSearchTrackTwoPulsesSigns, true};
inline constexpr Steps kPlain{correlateImpulsesPlain, sumsWithoutPlain, searchTrackOnePlain,
                              searchTrackTwoPlain, false};

/// The pulses found, numPulses of them, and their sums.
Sums searchPulses(const Steps& steps, Field& f, const Qol32f* target, const Qol32f* imp,
                  int numPulses, int mode, Pulses& best);

} // namespace qolsc::rta
