// SPDX-License-Identifier: Apache-2.0
// Order of the tracks and code words of the 35-bit and 44-bit codebooks (G.729 E.3.8).
#pragma once

#include "qolsc/types.h"
#include "tables/g729_fcb.h"

namespace qolsc {

inline constexpr int kMostPulsesG729E = 12;
inline constexpr int kStartsG729E = 3;

/// Pulses of one trial: positions, the first two on the tracks of ipos[start] and ipos[start + 1].
struct PulseSet {
    int start;
    int position[kMostPulsesG729E];
};

/// Starting offsets of the three trials: the pairs of neighbouring tracks with the largest sum of
/// peaks, the lower index first among equals.
template <typename T>
void chooseStarts(const T* peak, T (*sum)(T, T), int* starts) {
    T pair[5];
    for (int t = 0; t < 5; ++t) {
        pair[t] = sum(peak[t], peak[(t + 1) % 5]);
    }
    for (int i = 0; i < kStartsG729E; ++i) {
        int best = 0;
        for (int t = 1; t < 5; ++t) {
            best = pair[t] > pair[best] ? t : best;
        }
        pair[best] = -1;
        starts[i] = best;
    }
}

/// The pulses of the best trial: trial(set) places those of a set that begins at set.start and
/// returns their ratio, which is better than `none`.
template <typename T, typename Ratio, typename Trial>
PulseSet bestOfTrials(const T* peak, T (*sum)(T, T), Ratio none, Trial trial) {
    int starts[kStartsG729E];
    chooseStarts(peak, sum, starts);
    Ratio keeper = none;
    PulseSet best{};
    for (const int start : starts) {
        PulseSet set{start, {}};
        const Ratio ratio = trial(set);
        if (isBetter(keeper, ratio.square, ratio.alpha)) {
            keeper = ratio;
            best = set;
        }
    }
    return best;
}

/// The five code words of 10 or 12 pulses; negative[n] tells the sign of the pulses at position n.
void codeWords_G729E(const PulseSet& set, int pulses, const bool* negative, int* words);

} // namespace qolsc
