// SPDX-License-Identifier: Apache-2.0
// Windows of the sub-band engines' filter banks.
#pragma once

#include "aec/canceller.h"

#include <vector>

namespace qolsc::tools {

/// What a filter bank is set up with. Window lengths are the delay from input to output plus a
/// frame.
struct Bank {
    int order;     ///< of the transform, 2^order
    int frameSize; ///< samples from one set of bands to the next
    int windowLen;
    int bands;
    int segments; ///< frames that cover the tail
    /// Empty: the library's own. Otherwise analysis and synthesis differ.
    std::vector<double> analysis, synthesis;
};

/// With economy the library's windows; else a transform twice as long at the same frame and delay:
/// a Kaiser window whose stop band begins where aliases do, and its dual, which rebuilds exactly.
Bank bankOf(const AecSettings& settings);

} // namespace qolsc::tools
