// SPDX-License-Identifier: Apache-2.0
// AMR-WB decoder: speech, concealment, comfort noise (3GPP TS 26.190 6, TS 26.191, TS 26.192).
#pragma once

#include "codecs/amr_noise.h"
#include "codecs/amrwb/frame.h"
#include "codecs/amrwb/highband.h"

namespace qolsc::tools::amrwb {

/// Phase dispersion of the code vector (TS 26.190 6.1).
struct Dispersion {
    Qol16s pitchGains[6];
    Qol16s codeGain;
    Qol16s level;
};

/// Lags and gains that stand in for lost ones (TS 26.191 6).
struct Concealment {
    int state; ///< 0 good .. 6
    bool previousBad;
    Qol16s lags[5];       ///< of good subframes, newest first
    Qol16s lag;           ///< the latest good one
    Qol16s lagGains[5];   ///< pitch gains of good subframes, oldest first
    Qol16s pitchGains[5]; ///< of all subframes, oldest first
    Qol16s codeGains[5];
    Qol16s goodCodeGain; ///< of the last good subframe
    Qol16s lagSeed, codeSeed;
};

/// Comfort noise (TS 26.192 6, TS 26.193).
struct Noise {
    NoiseClock clock;
    bool ditherOn;
    Qol16s index;
    Qol16s isfs[8][kOrder];
    Qol16s logEnergies[8];
    Qol16s isf[kOrder], isfOld[kOrder];
    Qol16s logEnergy, logEnergyOld;
    Qol16s inverse; ///< 1 / frames between updates, Q15
    Qol16s seed, ditherSeed;
};

struct Decoder {
    // Reset by comfort noise as well.
    Qol16s excitation[kPastExcitation + kFrame + 1];
    Qol16s pastIsfResidual[kOrder];
    Qol16s tilt;
    Qol32s gainThreshold;
    Dispersion dispersion;
    int scale;       ///< the excitation is held times 2^scale
    int headroom[4]; ///< scales that the last subframes would have allowed, newest first
    bool firstFrame;

    Qol16s ispOld[kOrder];
    Qol16s isfOld[kOrder];
    Qol16s isfHistory[3][kOrder];
    GainPredictor predictor;
    int noiseFrames;    ///< good frames in a row without voice activity
    int noiseFramesDtx; ///< the same, going on in bad frames
    int mode;
    bool homed;
    Concealment concealment;
    Noise noise;
    LowBand low;
    Qol16s upsampling[24];
    HighBand high;
};

void reset(Decoder& d);
/// 320 samples at 16 kHz; returns their count.
int decodeFrame(Decoder& d, const Frame& frame, Qol16s* pcm);

// ---- parts of the above, by file ----

/// The first group of Decoder.
void resetAfterNoise(Decoder& d);

/// Gains of a subframe in a bad frame: pitch gain Q14, code gain Q16.
struct Gains {
    Qol16s pitch;
    Qol32s code;
};
Gains concealGains(Concealment& c, GainPredictor& p, bool unusable, int noiseFrames,
                   Qol16s inverseCode);
int concealLag(Concealment& c, int lag, bool unusable);

/// ISFs and excitation of a comfort-noise frame.
void makeNoise(Noise& n, const NoiseStep& step, FrameType type, const Frame& frame, Qol16s* isf,
               Qol16s* exc);

} // namespace qolsc::tools::amrwb
