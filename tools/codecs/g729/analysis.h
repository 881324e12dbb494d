// SPDX-License-Identifier: Apache-2.0
// What the G.729 encoders of the main body and of Annex A have in common: LP analysis and LSP
// quantisation of a frame, and the part of a subframe behind the pitch search.
#pragma once

#include "codecs/g729/initial.h"
#include "qolsc/types.h"

#include <array>

namespace qolsc::tools::g729 {

inline constexpr int kWindow = 240;  ///< samples of the LP analysis
inline constexpr int kCurrent = 120; ///< place of the current frame among them
inline constexpr int kPastWeighted = 143;
inline constexpr int kAutoCorrLags = 13;

using Lpc = std::array<Qol16s, kCoeffs>; ///< Q12
using Subframe = std::array<Qol16s, kSubframe>;

/// Pre-processing, analysis window and predictors.
struct Analysis {
    std::array<Qol8u, 64> highPass{};
    std::array<Qol16s, kWindow> speech{};
    Lpc stable{4096}; ///< last filter that the recursion gave
    std::array<Qol16s, 2> stableRc{};
    Lsp oldLsp = kInitialLsp, oldQuantLsp = kInitialLsp;
    std::array<Qol16s, 4 * kOrder> lsfHistory{};
};

/// LP parameters of a frame.
struct LpFrame {
    Lpc lpc[2];      ///< unquantised, by subframe; the first on the main body's grid only
    Lpc quant[2];    ///< quantised, by subframe
    Lsp lsp, middle; ///< unquantised: of the frame, and (main body) of its first subframe
    std::array<Qol16s, 2> rc;
    std::array<Qol32s, kAutoCorrLags> autoCorr; ///< normalised, behind the lag window
    std::array<Qol16s, kCoeffs> acf;            ///< its upper words, before the lag window
    Qol16s exponent;                            ///< of both
};

/// Grid of the LSP search.
enum class Grid { main, annexA };

void initAnalysis(Analysis& a);
/// Takes 80 samples in and analyses the frame that is now complete, up to its LSP and unquantised
/// filters. The LSP of the frame before go to old.
void analyseSpectrum(Analysis& a, const std::int16_t* pcm, Grid grid, LpFrame& lp);
/// LSP half way between two frames.
Lsp middleLsp(const Lsp& old, const Lsp& next);
/// Quantises the frame's LSP.
void quantiseSpectrum(Analysis& a, LpFrame& lp, Qol16s* lspCodes);
/// Quantised filters of both subframes from the frame's quantised LSP, which become the old ones.
void interpolateQuantised(Analysis& a, const Lsp& quant, LpFrame& lp);
/// Moves the window on by a frame.
void advance(Analysis& a);

/// Excitation errors by zone of lags, which bound the pitch gain (taming).
struct Taming {
    std::array<Qol32s, 4> error{0x4000, 0x4000, 0x4000, 0x4000};
};
/// True when a long series of high gains at this lag could blow up a decoder out of step.
bool mustTame(const Taming& t, int lag, int fraction);
void updateTaming(Taming& t, Qol16s gain, int lag);

inline constexpr int kMemory = 30; ///< of filters up to Annex E's order

inline constexpr Qol16s kLeastSharpening = 3277; ///< 0.2, Q14

/// State of the subframe loop.
struct SubframeState {
    std::array<Qol16s, kPastExcitation + kFrameSamples> excitation{};
    std::array<Qol16s, kMemory> weightedMemory{}; ///< of the filter that makes the target
    std::array<Qol16s, 4> energyHistory{-14336, -14336, -14336, -14336};
    Qol16s sharpening = kLeastSharpening; ///< last pitch gain within its limits, Q14
    Qol16s searchTimes = 0;
    Taming taming;
};

/// Adaptive-codebook part of a subframe, the input of codeSubframe.
struct PitchPart {
    Subframe target;   ///< of the pitch search
    Subframe filtered; ///< adaptive-codebook vector through the weighted synthesis filter
    Subframe response; ///< impulse response of that filter
    Lag lag;
    Qol16s gain;         ///< Q14
    Subframe residual{}; ///< of the LP filter; of use for ten and twelve pulses only
};

/// Which fixed-codebook search codeSubframe runs; twoPulses (6.4 kbit/s) has gains of its own too,
/// the ten and twelve pulses are those of 11.8 kbit/s.
enum class Search { nested, depthFirst, twoPulses, tenPulses, twelvePulses };

/// Taming, fixed codebook, gains and excitation of a subframe; the excitation holds the
/// adaptive-codebook vector on entry. Moves all of the state on.
void codeSubframe(SubframeState& s, PitchPart& p, int subframe, Search search,
                  SubframeCodes& codes);

/// Adds the vector's own samples a lag before, from the lag on (3.8).
void sharpen(Subframe& v, int lag, Qol16s gain_Q15);

/// Writes the lag codes (and the parity) of a subframe. `first` is the integer lag of subframe 0.
void codeLag(FrameCodes& codes, int subframe, Lag lag, int first);

/// Moves the excitation on by a frame.
void advance(SubframeState& s);

} // namespace qolsc::tools::g729
