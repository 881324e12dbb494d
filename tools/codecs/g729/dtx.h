// SPDX-License-Identifier: Apache-2.0
// Discontinuous transmission of the G.729 encoders (Annex B): which frames are noise, when a SID
// frame describes it, and its spectrum and level (§B.4.1, §B.4.2).
#pragma once

#include "codecs/g729/activity.h"
#include "codecs/g729/noise.h"

namespace qolsc::tools::g729 {

/// Autocorrelation of order 10, word times 2^-exponent.
struct Acf {
    std::array<Qol16s, kCoeffs> r{};
    int exponent = 40;
};

struct Dtx {
    Activity activity;
    bool lastSpeech = true; ///< the frame before

    std::array<Acf, 2> frames;   ///< of the last frames, the newest first
    std::array<Acf, 3> averages; ///< of pairs of frames, the newest first
    bool midPair = false;        ///< a pair's first frame has come

    std::array<SidEnergy, 2> energies{{{0, 40}, {0, 40}}}; ///< of the residual, the newest first
    int energyCount = 0;                                   ///< of them that belong to this pause
    int sinceSid = 0;                                      ///< frames since the last SID frame
    bool changed = false;                                  ///< spectrum or level since then
    Acf sentFilter;     ///< autocorrelation of the coefficients of the filter sent last
    int sentEnergy = 0; ///< dB
    Lsp noiseLsp{};     ///< sent last
    Qol16s sentLevel = 0, level = 0;
    Qol16s seed = kNoiseSeed;
};

/// Decides on a frame whose spectrum was just analysed and takes note of it: true for speech.
bool takeFrame(Dtx& d, const Analysis& a, const LpFrame& lp);

/// Codes a frame of noise: an empty frame or a SID frame of 16 bits, the last one 0. Gives the
/// quantised filters of both subframes and the excitation.
void encodeNoise(Dtx& d, Analysis& a, SubframeState& sub, Grid grid, LpFrame& lp, Frame& frame);

} // namespace qolsc::tools::g729
