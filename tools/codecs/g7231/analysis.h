// SPDX-License-Identifier: Apache-2.0
// Analysis of G.723.1's encoder: LPC, LSP, open-loop lag (ITU-T G.723.1 2.4 to 2.9).
#pragma once

#include "codecs/g7231/noise.h"

namespace qolsc::tools::g7231 {

inline constexpr int kLpcBuffer = 360;

/// Autocorrelation of a subframe and the shift of its scale.
struct Correlation {
    Qol16s r[kOrder + 1];
    int shift;
};
/// Of the 180 samples at x.
Correlation correlate(const Qol16s* x);

/// LSP of a predictor; the previous ones when fewer than ten roots are found.
Vector10 predictorToLsp(const Vector10& a, const Vector10& previous);
std::array<int, 3> quantiseLsp(const Vector10& lsp, const Vector10& previous);

/// Lag of a half frame in the weighted speech (120 samples at x, 145 before them).
int openLoopLag(const Qol16s* x);

} // namespace qolsc::tools::g7231
