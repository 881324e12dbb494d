// SPDX-License-Identifier: Apache-2.0
// Prediction of the fixed-codebook gain, shared by quantisers and decoders (G.729 3.9.1).
#pragma once

#include "qolsc/types.h"

namespace qolsc {

inline constexpr int kGainHistory = 4;

/// Predicted code gain: value / 2^exponent times the correction factor gives the gain.
struct PredictedGain {
    Qol16s value; // 16384 to 32767
    int exponent;
};

/// From the energy of the code vector and the history of prediction errors (Q10, newest first).
PredictedGain ownGainPredict(Qol32s energy, const Qol16s* history);

/// Puts the error of a correction factor (Q13) in front of the history.
void ownGainUpdate(Qol32s correction, Qol16s* history);

/// History of an erased frame: the mean less 4 dB, -14 dB at least.
void ownGainUpdateErasure(Qol16s* history);

} // namespace qolsc
