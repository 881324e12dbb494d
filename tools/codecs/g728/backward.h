// SPDX-License-Identifier: Apache-2.0
// What encoder and decoder of G.728 share: gain prediction, excitation, synthesis, and the backward
// adaptation of both from what was decoded (Annex G, 3.8 to 3.12).
#pragma once

#include "codecs/g728/analysis.h"
#include "codecs/g728/g728.h"

namespace qolsc::tools::g728 {

inline constexpr int kCycle = 4; ///< vectors

struct Linear {
    Qol16s gain;
    int exponent;
};

struct Backward {
    Rate rate;
    int cycle; ///< place of the current vector, 0 to 3

    Window synthesisWindow, gainWindow;
    Qol16s correlation[kLongOrder + 1]; ///< of the synthesis filter's analysis
    Predictor predictor;                ///< of order 10 between two steps, then 50
    bool shortValid;                    ///< the order-10 solution holds
    bool waitingValid;
    Qol16s waiting[kLongOrder];
    Qol16s synthesis[kLongOrder];
    Qol16s gainPredictor[kShortOrder];

    Qol16s logGains[kShortOrder]; ///< Q9 less 32 dB, newest first
    Qol16s logGain;               ///< predicted for the current vector
    Linear gain;

    std::vector<Qol8u> filter; ///< record of the combined filter
    Qol16s finished[kCycle * kVector];
    Qol16s exponents[kCycle];
};

Backward openBackward(const Rate& rate);

/// Log gain and linear gain of the current vector. Blocks 46, 98, 47, 48.
void predictGain(Backward& b);

/// Excitation of a shape and gain index at the predicted gain, and its exponent. Blocks 19 and 21.
int excitation(const Backward& b, int shape, int gainIndex, Qol16s* vector);
/// Takes the log gain of the chosen excitation in. Blocks 93 to 96.
void updateLogGain(Backward& b, int shape, int gainIndex);
/// The same for an excitation of 0.
void decayLogGain(Backward& b);

/// Keeps the finished vector and adapts; the caller's own background work follows, then
/// `nextVector`.
void keepFinished(Backward& b, const Qol16s* mantissa, Qol16s exponent);
void adapt(Backward& b);
inline void nextVector(Backward& b) { b.cycle = (b.cycle + 1) % kCycle; }

} // namespace qolsc::tools::g728
