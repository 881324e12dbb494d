// SPDX-License-Identifier: Apache-2.0
// AMR-WB encoder with discontinuous transmission (3GPP TS 26.190 5, TS 26.192 5, TS 26.193).
#pragma once

#include "codecs/amr_noise.h"
#include "codecs/amrwb/frame.h"
#include "codecs/amrwb/highband.h"

namespace qolsc::tools::amrwb {

inline constexpr int kSpeechBuffer = 384, kSpeechPast = 116, kSpeechNew = 268;
inline constexpr int kFrameStart = 64; ///< of the coded frame in the speech buffer
inline constexpr int kMostOpenLag = 115;

/// Linear prediction: input conditioning and Levinson recursion.
struct Analysis {
    Qol16s downsampling[30];
    Record highPass;
    Qol16s preemphasis;
    Qol16s speech[kSpeechBuffer];
    int scale;         ///< speech is held times 2^scale
    int pastShifts[2]; ///< scales that the last two frames would have allowed
    Qol16s lastStable[kOrder];
    Qol16s ispOld[kOrder];
};

/// Open-loop lag on the weighted speech at 6.4 kHz.
struct OpenLoop {
    Qol16s deemphasis;
    Qol16s decimation[3];
    Qol16s greatest; ///< magnitude in the frame before
    int shift;       ///< scaling of the decimated signal on top of the speech's
    Qol16s weighted[kMostOpenLag + kFrame / 2];
    Qol16s highPassed[kMostOpenLag + kFrame / 2];
    Record highPass;
    int filterScale; ///< scaleFactor of the high-pass: falls as the signal is scaled up
    Qol16s lags[5];
    Qol16s medianLag;
    Qol16s adaptation;
    bool weighting;
    Qol16s toneFlag;
};

/// Keeps the pitch gain down while strong resonances could make errors grow.
struct GainClip {
    Qol16s isfDistance;
    Qol16s gain;
};

/// Discontinuous transmission.
struct EncoderNoise {
    Qol16s hang, elapsed;
    Qol16s index;
    Qol16s isfs[8][kOrder];
    Qol16s logEnergies[8];
    Qol32s distances[8][8]; ///< between the frames, by age
    Qol16s seed;
    NoiseSchedule schedule;
};

/// Level of the high band at 23.85 kbit/s.
struct HighBandCoder {
    LowBand low;
    HighBand high;
    Fir31 inputBand;
    Qol16s adaptation;
    int noiseFrames;
};

struct Encoder {
    int mode;
    bool dtx;
    Analysis analysis;
    OpenLoop openLoop;
    std::vector<Qol8u> detector;
    Qol16s ispOldQuantised[kOrder];
    Qol16s isfOld[kOrder];
    GainPredictor predictor;
    EncoderNoise noise;
    HighBandCoder highBand;

    // Reset by comfort noise as well.
    Qol16s excitation[kPastExcitation + kFrame + 1];
    Qol16s synthesis[kOrder];
    Qol16s pastIsfResidual[kOrder];
    Qol16s weighting;
    Qol16s tilt;
    GainClip clip;
    Qol32s gainThreshold;
    bool firstFrame;
};

void reset(Encoder& e, int mode, bool dtx);
/// One frame of 320 samples.
void encodeFrame(Encoder& e, const Qol16s* pcm, Frame& frame);
/// Only the detector's verdict on the frame, with what it needs of the encoder in front of it.
bool detectSpeech(Encoder& e, const Qol16s* pcm);

// ---- parts of the above, by file ----

void resetAfterNoise(Encoder& e);

/// Reads a frame into the speech buffer; the memories of `e` follow its scaling. Returns the change
/// of the scaling.
int readSpeech(Encoder& e, const Qol16s* input);
/// LP coefficients of the frame.
void analyse(Analysis& a, Qol16s* lpc);

/// Weighted speech of the frame, decimated, into the open-loop buffers.
void weightSpeech(OpenLoop& o, const Qol16s* speech, const LpSet sets[4], int scaleChange);
/// Lag of `len` decimated values from `start` on, doubled.
int openLoopLag(OpenLoop& o, int start, int len);

/// Excitation scaling and choices that the subframes of a frame share.
struct SubframeContext {
    int scale;   ///< of the speech
    int shift;   ///< of the targets
    LpSet lp[4]; ///< unquantised
    LpSet lpQuantised[4];
    Qol16s stab;
    LagRange range{};
};
struct Lag {
    int lag, fraction;
};
/// Adaptive codebook: best lag in the range.
Lag closedLoopLag(const Qol16s* e, const Qol16s* target, const Qol16s* h, const LagRange& range,
                  int mode, bool absolute);
/// Pitch gain, Q14, of the target over its filtered adaptive vector.
Qol16s pitchGain(const Qol16s* target, const Qol16s* filtered, bool clip);

/// Quantises both gains of a subframe; returns the row of the codebook.
struct QuantisedGains {
    int row;
    Qol16s pitch;
    Qol32s code;
};
QuantisedGains quantiseGains(GainPredictor& p, int mode, int scaling, Qol16s pitch, bool clip,
                             const Qol16s* target, const Qol16s* adaptive, const Qol16s* code,
                             const Qol16s* filteredCode);

/// Index of the high band's gain; input are the subframe's true samples, q the scaling of exc.
int codeHighBand(HighBandCoder& h, const LpSet& a, const Qol16s* exc, int q, const Qol16s* input,
                 int hang);

/// Counts the hangover; true when the frame is to be comfort noise.
bool isNoiseFrame(EncoderNoise& n, bool active);
/// Parameters of a comfort-noise frame; the quantised ISFs and a noise excitation come back.
void codeNoise(EncoderNoise& n, Frame& frame, Qol16s* isf, Qol16s* exc);

} // namespace qolsc::tools::amrwb
