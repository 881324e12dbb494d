// SPDX-License-Identifier: Apache-2.0
// AMR decoder: speech, concealment, comfort noise (3GPP TS 26.090 6, TS 26.091, TS 26.092 6).
#pragma once

#include "codecs/amr/dsp.h"
#include "codecs/amr/frame.h"
#include "codecs/amr_noise.h"

namespace qolsc::tools::amr {

/// Phase dispersion of the code vector.
struct Dispersion {
    Qol16s pitchGains[5]; ///< newest first
    Qol16s level, codeGain, onset;
};

/// Smoothing of the code gain in steady background noise.
struct GainSmoothing {
    Qol16s gains[7]; ///< oldest first
    Qol16s variable, steady;
};

/// Gains that stand in for lost ones.
struct GainConcealment {
    Qol16s pitchGains[5], codeGains[5];
    Qol16s pitch, code;         ///< last
    Qol16s goodPitch, goodCode; ///< of the last good subframe
};

/// What the decoder knows of background noise, for frames that get lost in it.
struct Background {
    Qol16s energies[60]; ///< of frames, oldest first
    Qol16s frames;       ///< in a row that look like noise
    bool isNoise;
    Qol16s unvoiced;      ///< frames in a row without strong long-term prediction
    Qol16s pitchGains[9]; ///< of good subframes, oldest first
};

struct Noise {
    NoiseClock clock;
    Qol16s inverse; ///< 1 / frames between updates, Q15
    Qol16s logEnergy, logEnergyOld;
    Qol16s lsp[kOrder], lspOld[kOrder];
    Qol16s index;
    Qol16s lsfs[8 * kOrder], logEnergies[8];
    Qol16s deviations[8][kOrder];
    Qol16s adjust, predictionGain;
    Qol32u random;
};

struct Decoder {
    int mode;
    // Reset by comfort noise as well.
    Qol16s excitation[kPastExcitation + kFrame];
    Qol16s lsfResidual[kOrder], lsfOld[kOrder];
    Qol16s sharpening;
    Qol16s lagOld, lag, lagDecoded;
    Dispersion dispersion;
    GainSmoothing smoothing;
    GainConcealment gains;
    Background background;

    Qol16s errorState;
    bool previousBad;
    Qol16s lspOld[kOrder];
    Qol16s synthesis[kOrder];
    GainPredictor predictor;
    Qol16s lsfMean[kOrder];
    Qol16s excitationLevels[9]; ///< of subframes, oldest first
    Noise noise;
    Qol16s seed;
    Qol16s tiltMemory, postGain, postHistory[kOrder], postSynthesis[kOrder];
    HighPass output;
};

void reset(Decoder& d);
/// Returns the count of samples.
int decodeFrame(Decoder& d, const Frame& frame, Qol16s* pcm);

// ---- parts of the above, by file ----

/// Looks at a frame of speech.
void stepBackground(Background& b, const Qol16s* synthesis);
/// Pitch gain of a subframe lost in noise.
Qol16s limitInNoise(Qol16s gain);
Qol16s excitationLevel(const Qol16s* exc);
/// Takes back a drop of the excitation's level below what it has been.
void raiseInNoise(const Decoder& d, Qol16s level, Qol16s* exc);

void resetAfterNoise(Decoder& d);
/// Synthesis of a comfort-noise frame and its LP sets.
void makeNoise(Decoder& d, const NoiseStep& step, FrameType type, const Qol16s* parameters,
               Qol16s* sets, Qol16s* synthesis);

} // namespace qolsc::tools::amr
