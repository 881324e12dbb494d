// SPDX-License-Identifier: Apache-2.0
// Adaptation of the perceptual weighting filter of the G.729 main body (3.3).
#pragma once

#include "codecs/g729/analysis.h"

namespace qolsc::tools::g729 {

/// Bandwidth expansions of the weighting filter A(z/g1)/A(z/g2), Q15.
struct Gammas {
    Qol16s g1, g2;
};

/// State of their adaptation.
struct Adaptation {
    bool smooth = true;             ///< the spectrum is flat
    std::array<Qol16s, 2> oldLar{}; ///< log area ratios, Q11
};

/// Gammas of both subframes.
void adapt(Adaptation& a, const LpFrame& lp, Gammas* gammas);

} // namespace qolsc::tools::g729
