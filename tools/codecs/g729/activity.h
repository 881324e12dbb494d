// SPDX-License-Identifier: Apache-2.0
// Voice activity decision of G.729 Annex B (§B.3): four measures of a frame against running means
// of the background, fourteen linear bounds, and smoothing over the frames before.
#pragma once

#include "codecs/g729/analysis.h"

namespace qolsc::tools::g729 {

/// Energies in Q11 of 10 dB, LSF (1 at the sampling rate) and rate of zero crossings in Q15.
struct Background {
    Qol16s energy = 0, lowBand = 0, crossings = 0;
    std::array<Qol16s, kOrder> lsf{};
};

struct Activity {
    int frame = 0;        ///< counted from 1 on
    Background mean;      ///< of the background
    int quietStart = 0;   ///< frames of the start-up that were too quiet to count
    Qol16s startMean = 0; ///< energy, over the start-up
    Qol16s lastEnergy = 0;
    bool last = true, beforeLast = true; ///< decisions
    bool mayExtend = true;
    int extended = 0; ///< frames of speech that only the hangover made
    int pause = 0;    ///< frames of noise in a row
    int updates = 0;  ///< of the background; the means follow ever more slowly

    // Least energy of about the last 128 frames, in blocks of 8.
    std::array<Qol16s, 16> blockMinima{};
    Qol16s minimum = 32767, blockMinimum = 32767, lastMinimum = 32767;
};

/// Decides on the frame that was analysed last: true for speech.
bool isSpeech(Activity& s, const Analysis& a, const LpFrame& lp);

} // namespace qolsc::tools::g729
