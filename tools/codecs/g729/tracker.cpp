// SPDX-License-Identifier: Apache-2.0
// Pitch tracker of the G.729 Annex E decoder.
#include "codecs/g729/tracker.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::g729 {

namespace {

constexpr int kNear = 5, kMostSteady = 7, kLargestMultiple = 4;

/// Least distance of the longer lag from the shorter one and its multiples.
int distanceOfMultiples(int a, int b) {
    const int shorter = std::min(a, b), longer = std::max(a, b);
    int least = longer - shorter;
    for (int k = 2; k <= kLargestMultiple; ++k) {
        least = std::min(least, std::abs(k * shorter - longer));
    }
    return least;
}

} // namespace

Lag track(PitchTracker& tracker, Lag lag) {
    if (std::abs(lag.integer - tracker.previous) < kNear) {
        tracker.steadiness = std::min(tracker.steadiness + 1, kMostSteady);
        tracker.steady = lag;
    } else if (distanceOfMultiples(lag.integer, tracker.previous) < kNear) {
        if (tracker.steadiness > 0) {
            lag = tracker.steady;
        }
        tracker.steadiness = std::max(tracker.steadiness - 1, 0);
    } else {
        tracker.steadiness = 0;
        tracker.steady = lag;
    }
    tracker.previous = lag.integer;
    return lag;
}

} // namespace qolsc::tools::g729
