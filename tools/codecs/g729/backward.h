// SPDX-License-Identifier: Apache-2.0
// Backward LP analysis of G.729 Annex E: a filter of order 30 from past synthesised speech, its
// interpolation, and the count of which mode dominates. Serves decoder and encoder.
#pragma once

#include "qolsc/types.h"

#include <array>

namespace qolsc::tools::g729 {

inline constexpr int kBackwardOrder = 30, kBackwardCoeffs = kBackwardOrder + 1;
inline constexpr int kBackwardSamples = 145;

using BackwardFilter = std::array<Qol16s, kBackwardCoeffs>; // Q12

struct Backward {
    std::array<Qol8u, 124> window{};               ///< state of the hybrid window
    std::array<Qol16s, kBackwardSamples> speech{}; ///< the newest synthesised samples
    BackwardFilter stable{4096};                   ///< last filter that the recursion gave
    BackwardFilter fitting{4096};                  ///< last one without a saturated coefficient
    BackwardFilter previous{4096};                 ///< of the subframe before, at any mode
    int interpolation = 4506;                      ///< weight of the previous filter, Q12
    BackwardFilter beforeLoss{4096};               ///< filter of the first frame of the last loss
    int recovery = 0; ///< weight of beforeLoss, Q12: 1 behind a loss, then halved
    bool lastLost = false;
    int run = 0; ///< backward frames in a row
    int forwardFrames = 0, backwardFrames = 0;
    bool dominant = false; ///< backward frames by far the most
    bool lastBackward = false;
};

void initBackward(Backward& b);

/// Filter of this frame from the speech before it, with its bandwidth expanded.
BackwardFilter analyseBackward(Backward& b);

/// The filter that a backward frame starts from: behind a loss the one before it holds on.
BackwardFilter recoverBackward(Backward& b, const BackwardFilter& filter, bool lost);

/// Filters of the two subframes of a backward frame.
void interpolateBackward(Backward& b, const BackwardFilter& filter, Qol16s (*lpc)[kBackwardCoeffs]);

/// Takes note of a frame: whether it was lost, its last filter and its speech (80 samples).
void updateBackward(Backward& b, bool lost, const Qol16s* lpc, int order, const Qol16s* speech);

/// Counts the mode of a frame of 11.8 kbit/s.
void countMode(Backward& b, bool backward);

} // namespace qolsc::tools::g729
