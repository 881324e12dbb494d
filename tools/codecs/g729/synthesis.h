// SPDX-License-Identifier: Apache-2.0
// The part of the G.729 decoders in front of the post-filter, common to main body, Annex A and the
// Annexes B and D: parameters, excitation, concealment (§4.1, §4.4), comfort noise, synthesis.
#pragma once

#include "codecs/g729/backward.h"
#include "codecs/g729/bits.h"
#include "codecs/g729/noise.h"
#include "codecs/g729/tracker.h"

#include <array>

namespace qolsc::tools::g729 {

inline constexpr int kMaxOrder = kBackwardOrder;
/// The filter behind the post-filter: 100 Hz, Q13 (§4.2.5).
inline constexpr Qol16s kOutputHighPass[6] = {8192, 15836, -7667, 7699, -15398, 7699};

/// Codes of a subframe at any rate.
struct SubframeInput {
    int lag = 0;
    std::array<Qol16s, 7> code{}; ///< positions and signs, or Annex E's words
    Qol16s gain[2] = {0, 0};
};

enum class FrameClass { speech, sid, silent };

/// What the channel delivers for a frame.
struct FrameInput {
    FrameClass kind = FrameClass::speech;
    bool bad = false;       ///< erased
    bool badParity = false; ///< of the first lag
    int bits = kFrameBits;  ///< 64, 80 or 118 in speech frames
    bool backward = false;  ///< Annex E: LPC from past synthesis
    Qol16s lsp[4] = {0, 0, 0, 0};
    SubframeInput sub[2];
    SidCodes sid{};
};

/// Reads the bits of a frame of any of the rates; lost frames and frames of nothing too.
FrameInput readFrame(const Frame& frame);

/// How an erased frame's excitation is built.
enum class Concealment {
    oneOfTwo, ///< the adaptive or the fixed part, by the voicing of the last good frame
    both      ///< Annex A
};

struct Synthesis {
    Concealment concealment = Concealment::oneOfTwo;
    Qol16s prevFreq[40];
    Qol16s lastLsf[kOrder];
    int lastMode = 0;
    Qol16s lsp[kOrder];
    Qol16s excitation[kPastExcitation + kFrameSamples] = {};
    int lag = 60;
    Qol16s gain[2] = {0, 0}; ///< pitch Q14, code Q1
    Qol16s energyErrors[4];
    Qol16s sharpening = 3277; ///< Q14
    Qol16s random = 21845;
    bool voiced = true; ///< the last frame; set behind the post-filter

    bool noiseBefore = false; ///< the last frame was SID or untransmitted
    Qol16s noiseSeed = kNoiseSeed;
    Qol16s noiseLsp[kOrder];
    Qol16s noiseTarget, noiseLevel = 0;
    SidEnergy lastEnergy{0, 0}; ///< of the last good frame, taken when the frame behind it needs it
    bool lastBad = false;

    std::array<Qol8u, 20> dispersion{};
    bool backwardOn = false; ///< backward frames may come
    Backward backward;

    // Concealment of Annex E.
    PitchTracker tracker;
    Lag lastLag{60, 0};    ///< as the tracker left it
    Qol16s muting = 32767; ///< of the gains, Q15
    int lostSubframes = 0;

    // The decoded frame.
    Qol16s lpc[2][kMaxOrder + 1] = {}; ///< Q12, by subframe
    int order = kOrder;
    int bits = kFrameBits; ///< of the frame; noise frames keep those of the speech before
    int lags[2] = {60, 60};
    bool active = true;
    Qol16s speech[kMaxOrder + kFrameSamples] =
        {}; ///< the newest samples of the frame before in front
};

/// Backward frames of 11.8 kbit/s are decoded rightly only with backwardOn, for their analysis runs
/// on the speech of all frames; Annex A has no such frames.
void initSynthesis(Synthesis& s, Concealment concealment, bool backwardOn);

/// Decodes a frame into s.speech; the caller then sets s.voiced.
void synthesizeFrame(Synthesis& s, const FrameInput& in);

} // namespace qolsc::tools::g729
