// SPDX-License-Identifier: Apache-2.0
// Windows of the sub-band engines' filter banks.
#pragma once

#include "aec/canceller.h"

#include <vector>

namespace qolsc::tools {

constexpr int kMostSegments = 255; ///< that the library's filters take

/// What a filter bank is set up with. Window lengths are the delay from input to output plus a
/// frame.
struct Bank {
    int order;     ///< of the transform, 2^order
    int frameSize; ///< samples from one set of bands to the next
    int windowLen;
    int bands;
    int segments; ///< frames that cover the tail
    /// Frames by which the near end is held back: a window spreads an echo to both sides, and a
    /// band's filter needs the taps before the echo, too, where that has little delay of its own.
    int ahead;
    std::vector<double> analysis, synthesis; ///< which differ
};

/// A Kaiser window of three transform lengths, whose stop band begins where aliases do, and its
/// dual, which rebuilds exactly. The delay is 48 ms: 384 samples at 8 kHz, less one frame, and the
/// frame by which the near end is held back. With low delay it is 13 ms: two transform lengths,
/// half as long, and twice as many coefficients to a sample.
Bank bankOf(const AecSettings& settings);

} // namespace qolsc::tools
