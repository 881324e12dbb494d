// SPDX-License-Identifier: Apache-2.0
// AMR encoder (3GPP TS 26.090 5, TS 26.092 5, TS 26.093 5).
#pragma once

#include "codecs/amr/dsp.h"
#include "codecs/amr/frame.h"
#include "codecs/amr_noise.h"

namespace qolsc::tools::amr {

enum class Detector : std::uint8_t { none, option1, option2 };

/// Filter memories of a subframe's target.
struct TargetMemory {
    Qol16s synthesis[kOrder];
    Qol16s error[kOrder];
    Qol16s weighted[kOrder];
};

/// Adaptation of the code gain at 7.95.
struct GainAdaptation {
    Qol16s onset;
    Qol16s previousAlpha, previousGain;
    Qol16s predictionGains[5];
};

/// Activity detection and histories for comfort noise.
struct EncoderNoise {
    QolsVad1State_GSMAMR vad1;
    QolsVad2State_GSMAMR vad2;
    Qol16s bestCorrelation, tone;
    Qol16s lagOld, lagCount;
    bool periodic;
    Qol16s hang, elapsed;
    Qol16s index;
    Qol16s lsps[8 * kOrder];
    Qol16s logEnergies[8];
    Qol16s energyIndex, lsfIndices[4];
    NoiseSchedule schedule;
};

struct Encoder {
    int mode;
    Detector detector; ///< none: no discontinuous transmission
    HighPass input;
    Qol16s speech[2 * kFrame];
    Qol16s filter[kOrder + 1]; ///< of the last analysis
    Qol16s lspOld[kOrder], lspOldQuantised[kOrder];
    Qol16s lsfResidual[kOrder];
    Qol16s weightedSpeech[143];
    Qol16s voicedLag, voicedGain, lagHistory[5];
    Qol16s lag;
    Qol16s excitation[kPastExcitation + kFrame];
    TargetMemory memory;
    Qol16s sharpening;
    Qol16s resonance; ///< frames in a row with close LSP
    Qol16s pastGains[7];
    GainPredictor predictor;
    GainAdaptation adaptation;
    EncoderNoise noise;
};

void reset(Encoder& e, int mode, Detector detector);
void encodeFrame(Encoder& e, const Qol16s* pcm, Frame& frame);
/// Only the detector's verdict on the frame, with what it needs of the encoder in front of it.
bool detectSpeech(Encoder& e, const Qol16s* pcm);

/// Signals of a subframe that the searches and the gain quantisers look at.
struct Subframe {
    Qol16s impulse[kSubframe];
    Qol16s residual[kSubframe];
    Qol16s target[kSubframe];
    Qol16s adaptive[kSubframe], filteredAdaptive[kSubframe];
    Qol16s target2[kSubframe]; ///< without the adaptive part
    Qol16s code[kSubframe], filteredCode[kSubframe];
    Qol16s terms[4]; ///< of the pitch gain
    Qol16s lag;
    Qol16s pitchGain, codeGain;
    Qol16s limit; ///< of the pitch gain
};

// ---- adaptive codebook, by file pitch.cpp ----

/// x through the response h, both of a subframe.
void filtered(const Qol16s* x, const Qol16s* h, Qol16s* y);
/// Finds the lag near the open-loop ones or the last, `lag`, that s.adaptive then has; returns its
/// index. `past` begins kPastExcitation in front of the subframe, which holds the residual.
Qol16s searchAdaptive(int mode, int n, const Qol16s* openLags, Qol16s* past, Qol16s& lag,
                      Subframe& s);
/// The same by the standard's saturating operators alone.
Qol16s searchAdaptiveSaturating(int mode, int n, const Qol16s* openLags, Qol16s* past, Qol16s& lag,
                                Subframe& s);

// ---- gains, by file gains.cpp ----

/// Index of the pitch gain nearest to s.pitchGain, which becomes the quantised one at 12.2.
int quantisePitch122(Subframe& s);
int quantiseCode122(GainPredictor& p, Subframe& s);
int quantiseJoint(GainPredictor& p, int mode, Subframe& s);
struct PitchAndCode {
    int pitch, code;
};
PitchAndCode quantise795(GainPredictor& p, GainAdaptation& a, Subframe& s);

/// First subframe of a pair at 4.75: what the quantisation in the second needs.
struct Terms {
    Qol16s mantissa[5];
    Qol16s exponent[5];
    Qol16s optimum, optimumExponent; ///< of the code gain
};
struct FirstOfPair {
    Terms terms;
    PredictedGain predicted;
    GainPredictor unquantised;
    Qol16s targetEnergy, targetExponent;
};
FirstOfPair prepare475(const GainPredictor& p, Subframe& s);
int quantise475(GainPredictor& p, const FirstOfPair& f, Subframe& first, Subframe& second);

} // namespace qolsc::tools::amr
