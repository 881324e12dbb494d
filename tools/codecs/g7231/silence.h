// SPDX-License-Identifier: Apache-2.0
// Silence compression at the encoder: activity detector and description of the noise (ITU-T
// G.723.1 Annex A).
#pragma once

#include "codecs/g7231/analysis.h"

namespace qolsc::tools::g7231 {

/// Activity detector.
struct Detector {
    int adaptation = 0; ///< Aen
    Qol32s level = 0x400, energy = 0x400;
    int speech = 0, hangover = 3;
    int lags[4] = {1, 1, 60, 60};
};

/// Activity of a frame of samples, ten in front of it; predictor: that of the noise, sine: the
/// frame is part of a sine wave. G.723.1 A.2.
bool detectActivity(Detector& d, const Vector10& predictor, bool sine, const Qol16s* x);

/// Correlations of the last four frames with their shifts, newest first; comfort-noise state.
struct NoiseHistory {
    Qol16s sets[4][kOrder + 1] = {};
    Qol16s shifts[4] = {40, 40, 40, 40};
    Vector10 predictor{}; ///< of the detector
    Vector10 filter{};    ///< of the last description
    Qol16s filterCorrelation[kOrder + 1] = {};
    int filterShift = 0;
    Vector10 lsp{};
    Qol16s energies[3] = {};
    int count = 0;
    int sent = 0;
    Qol16s level = 0, gain = 0, seed = kNoiseSeed;
    bool active = true; ///< the frame before was speech
};

void keepCorrelations(NoiseHistory& noise, const Correlation* subframes);
/// Decides what an inactive frame sends, and makes its excitation behind the history. steady: the
/// detector's level isn't being adapted, so that it may take the predictor. G.723.1 A.4.
void encodeNoise(NoiseHistory& noise, bool steady, const Vector10& previousLsp, Qol16s* past,
                 Fields& f, Qol16s* excitation);

} // namespace qolsc::tools::g7231
