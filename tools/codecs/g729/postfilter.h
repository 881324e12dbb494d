// SPDX-License-Identifier: Apache-2.0
// Adaptive post-filter of the G.729 main body (§4.2) and of Annex E, where its factors move and the
// filter may have order 30.
#pragma once

#include "codecs/g729/synthesis.h"

namespace qolsc::tools::g729 {

struct PostFilter {
    Qol16s residual[kPastExcitation + kSubframe] = {};
    Qol16s output[kMaxOrder + kSubframe] = {}; ///< of the short-term filter, its past in front
    Qol16s gain = 16384;                       ///< Q14
    /// Annex E: factors of denominator, numerator and long-term part, Q15.
    Qol16s denominator = 22938, numerator = 21300, harmonic = 8192;
};

/// One subframe with the fixed factors; speech has 10 samples in front. True when the long-term
/// part acted.
bool postFilter(PostFilter& post, const Qol16s* lpc, int lag, bool active, const Qol16s* speech,
                Qol16s* out);

/// One subframe of a frame at 11.8 kbit/s; speech has `order` samples in front.
bool postFilterE(PostFilter& post, const Qol16s* lpc, int order, int lag, const Qol16s* speech,
                 Qol16s* out);

/// Factors of a frame: weaker from frame to frame while backward frames dominate.
void adaptFactors(PostFilter& post, bool highRate, bool backwardDominant);

} // namespace qolsc::tools::g729
