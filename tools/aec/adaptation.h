// SPDX-License-Identifier: Apache-2.0
// How fast each band of a sub-band engine may adapt, whether the near end talks or the echo path
// has changed, and which of the two filters to believe.
#pragma once

#include "aec/eight.h"

#include <array>
#include <vector>

namespace qolsc::tools {

/// What an engine knows of eight bands in a frame. Lanes beyond the last band are 0.
struct BandFrame {
    ComplexEight far, near, adaptiveErr, fixedErr;
    Eight step; ///< of the library's controller
};

/// A sum over the newest frames, as many as the filter has taps. So that rounding errors don't pile
/// up, it is summed anew behind it and replaced when that sum is as long.
struct SlidingSum {
    Eight sum, next;
};

/// Terms of the sliding sums of a frame.
struct SlidingTerms {
    Eight power;
    ComplexEight lag;
};

/// Kept for eight bands.
struct BandControl {
    Eight misalignment; ///< believed mean square error of a coefficient
    SlidingSum power;   ///< of the far end over the filter's length
    SlidingSum lag[2];  ///< correlation of the far end with itself a frame ago, parts
    Eight powerBefore;  ///< a frame ago
    ComplexEight farBefore;
    ComplexEight errorBefore; ///< what the last update has left of the last frame's error
    Eight error;              ///< adaptive error's power over 30 ms
    Eight noise;              ///< the least of it lately
    // Means over 100 ms:
    Eight slowPower, slowError, slowFixedError;
    Eight echo;              ///< power of the adaptive filter's echo
    Eight echoInError;       ///< how much of that echo is in its error
    Eight gap;               ///< power of the filters' difference
    ComplexEight gapInFixed; ///< how much of the difference is in the fixed filter's error
    // Of this frame:
    Eight explained; ///< share of the fixed error that the adaptive filter explains
};

struct BandDecision {
    Eight step;            ///< for the update
    ComplexEight error[2]; ///< for the update with the newest rows, and with those a frame older
    ComplexEight output;   ///< blend of both filters' errors
    Eight save;            ///< above 0: adaptive coefficients into the fixed filter
};

/// The control of all bands.
struct BandAdaptation {
    float bands, segments;
    double frameSeconds;
    float fast, slow, noiseRise; ///< of the means, a frame
    std::vector<BandControl> controls;
    std::vector<SlidingTerms> terms; ///< a ring of as many frames as taps
    std::size_t newest = 0;          ///< in that ring
    std::vector<BandDecision> decisions;
    double explained = 0; ///< mean share of the fixed error that the adaptive filter explains
    double reversed = 0;  ///< mean share of the adaptive error that is the echo turned over
    double hangover = 0;  ///< seconds that double talk still holds
    double quiet = 0;     ///< seconds without double talk
    double unsaved = 0;   ///< seconds since the last saving
    double spoken = 0;    ///< seconds that the far end has spoken since the start
    bool saving = false;  ///< in this frame
    bool restore =
        false; ///< double talk has just begun: the adaptive filter goes back to the fixed one
};

BandAdaptation makeAdaptation(int bands, int segments, double frameSeconds);
/// Takes a frame, an element for eight bands, and decides.
const std::vector<BandDecision>& adapt(BandAdaptation& a, const std::vector<BandFrame>& frame);
inline bool isDoubleTalk(const BandAdaptation& a) { return a.hangover > 0; }
/// No talk for a quarter of a second: what has been learnt is safe to be kept.
bool isCalm(const BandAdaptation& a);

} // namespace qolsc::tools
