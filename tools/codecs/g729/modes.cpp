// SPDX-License-Identifier: Apache-2.0
// Choice between forward and backward LP filters in the encoder of G.729 Annex E.
#include "codecs/g729/modes.h"

#include "numeric/basop.h"

#include <algorithm>

namespace qolsc::tools::g729 {

namespace {

using namespace basop;

constexpr int kMostStationary = 32000, kStationary = 13000;
constexpr int kLongRun = 20;
constexpr Qol16s kQuiet = 8192; // 40 dB
constexpr Qol32s kSteadyLsp = 64424509;

/// log10(16 + i), Q11.
constexpr Qol16s kLogTable[17] = {2466, 2520, 2571, 2619, 2665, 2708, 2749, 2789, 2827,
                                  2863, 2898, 2931, 2964, 2995, 3025, 3054, 3083};
constexpr int kLog2 = 617; // log10(2), Q11

/// Step of the stationarity for a difference of gains: 1, 2, 3, ... dB, then the step beyond.
int stepOf(int difference, const int (&limits)[5], const int (&steps)[5]) {
    for (int i = 0; i < 5; ++i) {
        if (difference > limits[i]) {
            return steps[i];
        }
    }
    return 0;
}

void updateStationarity(ModeState& s, bool backward, const ModeMeasures& m) {
    if (backward) {
        ++s.run;
        s.stationarity += s.run == kLongRun ? 2500 : s.run > kLongRun ? 500 : 0;
    } else {
        if (s.last && s.run < kLongRun) {
            s.stationarity -= 5000 - 250 * s.run;
        }
        s.run = 0;
    }
    if (s.stationarity < kStationary) {
        const int lead = m.backward - m.forward;
        s.stationarity +=
            lead > 0 ? stepOf(lead, {819, 614, 410, 205, 0}, {3200, 2400, 1600, 800, 400})
                     : -stepOf(-lead, {955, 819, 614, 410, 205}, {6400, 3200, 1600, 800, 400});
    }
    s.stationarity = std::clamp(s.stationarity, 0, kMostStationary);
}

} // namespace

Qol16s logEnergy(const Qol16s* x, int count) {
    Qol32s energy = 1;
    for (int i = 0; i < count; ++i) {
        energy = L_mac0(energy, x[i], x[i]);
    }
    const int n = norm_l(energy);
    // The five upper bits, rounded, choose the entry; the table isn't interpolated.
    const int entry = ((energy << n) >> 25) - 32;
    return static_cast<Qol16s>(kLogTable[(entry + 1) / 2] + (26 - n) * kLog2);
}

bool chooseBackward(ModeState& s, Backward& b, const ModeMeasures& m) {
    const int gap = (s.stationarity >> 7) * 3 + 205;
    const bool predicts = m.backward > 0 && m.interpolatedBackward > 0;
    bool backward = predicts && m.interpolatedBackward > m.forward - gap &&
                    m.backward > m.forward - gap && s.stationarity >= kStationary;
    if (s.stationarity == kMostStationary && s.last && m.lspChange < kSteadyLsp && predicts) {
        backward = true;
    }
    if (m.energy < kQuiet) {
        backward = false;
        s.stationarity = std::min(s.stationarity, kStationary);
        s.run = 0;
    } else {
        countMode(b, backward);
        updateStationarity(s, backward, m);
    }
    s.last = backward;
    return backward;
}

} // namespace qolsc::tools::g729
