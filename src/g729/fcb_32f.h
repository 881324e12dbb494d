// SPDX-License-Identifier: Apache-2.0
// What the algebraic codebook searches share in floating point (G.729 3.8, Annexes C and C+).
#pragma once

#include "g729/fcb.h"

namespace qolsc {

/// Correlations of a response delayed to every pair of positions in natural order.
struct ResponseGram {
    Qol32f r[kFcbSubframe + 1][kFcbSubframe + 1];
};

/// R(i,j) = R(i+1,j+1) + h[39-i] h[39-j], from the end.
void correlateResponse_32f(const Qol32f* h, ResponseGram& g);

/// 8 x 8 block of two tracks, the first one outer.
void copyBlock(const ResponseGram& g, int first, int second, Qol32f* pDst);
/// Energies by track.
void copyEnergies(const ResponseGram& g, Qol32f* pDst);

/// Correlation by track: magnitude and sign (1 or -1) of position 5 k + t at [8 t + k].
struct SignedCorrelation_32f {
    Qol32f d[kFcbSubframe];
    Qol32f p[kFcbSubframe];
};
SignedCorrelation_32f splitSigns_32f(const Qol32f* corr);

/// Best candidate by c^2/alpha so far.
struct Best_32f {
    Qol32f square, alpha;
};
constexpr bool isBetter(Best_32f best, Qol32f square, Qol32f alpha) {
    return square * best.alpha > best.square * alpha;
}

/// y += sign times the response delayed to a position.
inline void addDelayed_32f(const Qol32f* h, int position, Qol32f sign, Qol32f* y) {
    for (int n = position; n < kFcbSubframe; ++n) {
        y[n] += sign * h[n - position];
    }
}

} // namespace qolsc
