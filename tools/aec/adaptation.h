// SPDX-License-Identifier: Apache-2.0
// Whether the near end talks or the echo path has changed, and which of a sub-band engine's two
// filters to believe.
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

/// Kept for eight bands.
struct BandControl {
    Eight misalignment;      ///< believed mean square error of a coefficient
    SlidingSum power;        ///< of the far end over the filter's length
    Eight error, fixedError; ///< powers of the filters' errors over 30 ms
    Eight noise;             ///< the least of it lately
    // Means over 100 ms:
    Eight slowPower, slowError, slowFixedError;
    Eight echo;              ///< power of the fixed filter's echo
    Eight echoInError;       ///< how much of that echo is in its error
    Eight gap;               ///< power of the filters' difference
    ComplexEight gapInFixed; ///< how much of the difference is in the fixed filter's error
    // Of this frame:
    Eight explained; ///< share of the fixed error that the adaptive filter explains
};

struct BandDecision {
    Eight step;          ///< the controller's in units of the greatest, less under talk
    Eight ridge;         ///< for the steps of the normal equations
    ComplexEight output; ///< blend of both filters' errors
    ComplexEight judged; ///< error of the adaptive filter, for the controller to judge
    Eight save;          ///< above 0: adaptive coefficients into the fixed filter
};

/// The control of all bands.
struct BandAdaptation {
    float bands, segments;
    double frameSeconds;
    float fast, slow, noiseRise; ///< of the means, a frame
    std::vector<BandControl> controls;
    std::vector<Eight> terms; ///< of the sliding sums, a ring of as many frames as taps
    std::size_t newest = 0;   ///< in that ring
    std::vector<BandDecision> decisions;
    float power = 0;      ///< of the far end over the filter's length
    double explained = 0; ///< mean share of the fixed error that the adaptive filter explains
    double reversed = 0;  ///< mean share of the fixed error that is the echo turned over
    double hangover = 0;  ///< seconds that double talk still holds
    double quiet = 0;     ///< seconds without double talk
    double unsaved = 0;   ///< seconds since the last saving
    double elapsed = 0;   ///< seconds since the start
    double spoken = 0;    ///< seconds of them in which the far end has spoken
    bool farSpeaks = false;
    bool changed = false;     ///< the path, and double talk is not what it looks like
    bool overturned = false;  ///< since this frame so much that what was heard is worth nothing
    bool overturning = false; ///< since that frame
    bool learnt = false;      ///< the path
    bool safe = false;        ///< no talk lately, nor any sign of it
    bool saving = false;      ///< in this frame
    bool restore = false;     ///< talk has ended: the adaptive filter goes back to the fixed one
};

BandAdaptation makeAdaptation(int bands, int segments, double frameSeconds);
/// Takes a frame, an element for eight bands, and decides.
const std::vector<BandDecision>& adapt(BandAdaptation& a, const std::vector<BandFrame>& frame);
inline bool isDoubleTalk(const BandAdaptation& a) { return a.hangover > 0; }
/// Only the fixed filter is to be believed.
inline bool isHeld(const BandAdaptation& a) { return isDoubleTalk(a) && !a.changed; }

} // namespace qolsc::tools
