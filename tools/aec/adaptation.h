// SPDX-License-Identifier: Apache-2.0
// How fast each band of a sub-band engine may adapt, whether the near end talks or the echo path
// has changed, and which of the two filters to believe.
#pragma once

#include <complex>
#include <span>
#include <vector>

namespace qolsc::tools {

using Complex = std::complex<double>;

/// What an engine knows of a frame, an element for each band.
struct BandFrame {
    /// Rows of the far end: the newest two and the two that have left the filter, newest first.
    std::span<const Complex> far[2], gone[2];
    std::span<const Complex> near, adaptiveErr, fixedErr;
    std::span<const double> step; ///< of the library's controller
};

/// Kept for each band.
struct BandControl {
    double misalignment;     ///< believed mean square error of a coefficient
    double power = 0;        ///< of the far end over the filter's length
    double powerBefore = 0;  ///< the same a frame ago
    Complex lag = 0;         ///< correlation of the far end with itself a frame ago, same length
    Complex errorBefore = 0; ///< what the last update has left of the last frame's error
    double error = 0;        ///< adaptive error's power over 30 ms
    double noise = 0;        ///< the least of it lately
    // Means over 100 ms:
    double slowPower = 0, slowError = 0, slowFixedError = 0;
    double echo = 0;        ///< power of the adaptive filter's echo
    double echoInError = 0; ///< how much of that echo is in its error
    double gap = 0;         ///< power of the filters' difference
    Complex gapInFixed = 0; ///< how much of the difference is in the fixed filter's error
};

struct BandDecision {
    double step;      ///< for the update
    Complex error[2]; ///< for the update with the newest rows, and with those a frame older
    double blend;     ///< share of the adaptive filter's error in the output
    bool save;        ///< adaptive coefficients into the fixed filter
};

/// The control of all bands.
struct BandAdaptation {
    double segments, frameSeconds;
    double fast, slow, noiseRise; ///< of the means, a frame
    bool twoRows;                 ///< affine projection of order two; else NLMS
    std::vector<BandControl> bands;
    std::vector<BandDecision> decisions;
    double explained = 0; ///< mean share of the fixed error that the adaptive filter explains
    double reversed = 0;  ///< mean share of the adaptive error that is the echo turned over
    double hangover = 0;  ///< seconds that double talk still holds
    double quiet = 0;     ///< seconds without double talk
    double unsaved = 0;   ///< seconds since the last saving
    bool restore =
        false; ///< double talk has just begun: the adaptive filter goes back to the fixed one
};

BandAdaptation makeAdaptation(int bands, int segments, double frameSeconds, bool twoRows);
/// Takes a frame and decides for each band.
const std::vector<BandDecision>& adapt(BandAdaptation& a, const BandFrame& frame);
inline bool isDoubleTalk(const BandAdaptation& a) { return a.hangover > 0; }
/// No talk for a quarter of a second: what has been learnt is safe to be kept.
bool isCalm(const BandAdaptation& a);

} // namespace qolsc::tools
