// SPDX-License-Identifier: Apache-2.0
// LP parameters at the start, of encoders and decoders alike (G.729 §4.3).
#pragma once

#include "codecs/g729/bits.h"

#include <array>

namespace qolsc::tools::g729 {

using Lsp = std::array<Qol16s, kOrder>; ///< Q15

inline constexpr Lsp kInitialLsp = {30000, 26000, 21000,  15000,  8000,
                                    0,     -8000, -15000, -21000, -26000};
/// Row of the LSF predictor's history: k pi/11, Q13.
inline constexpr std::array<Qol16s, kOrder> kInitialLsf = {2339,  4679,  7018,  9358,  11698,
                                                           14037, 16377, 18717, 21056, 23396};

} // namespace qolsc::tools::g729
