// SPDX-License-Identifier: Apache-2.0
// Kernels of the G.729.1 transform layer: the 80-point transform inside the MDCT, and the ranking
// of the spherical vector quantiser (ITU-T G.729.1, TDAC).
#pragma once

#include "qolsc/types.h"

namespace qolsc::g7291 {

inline constexpr int kBlock = 160;           ///< coefficients of an MDCT
inline constexpr int kPoints = kBlock / 2;   ///< points of the complex transform inside
inline constexpr int kBands = 18;            ///< sub-bands of the quantiser
inline constexpr int kCoded = 280;           ///< coefficients that are coded
inline constexpr int kSpectrum = 2 * kBlock; ///< coefficients of a frame
inline constexpr int kMaxDimension = 16;

enum class Direction { forward = 1, inverse = -1 }; ///< exponent -2 pi j and +2 pi j

/// Complex transform of 80 points divided by 32, in place, 5 x 16 in prime-factor form. Magnitudes
/// of the points have to stay below 11586, so that no step overflows.
template <Direction D>
void ownTDAC_tfr(Qol16s* pRe, Qol16s* pIm);

/// A leader: its distinct magnitudes rising, zero first when it has zeros, with their counts.
struct Leader {
    int distinct;                ///< count of distinct magnitudes
    bool hasZeros;               ///< whether the first of them is zero
    Qol16s count[kMaxDimension]; ///< places that each takes
    Qol16s value[kMaxDimension]; ///< the magnitudes over the leader's norm, Q15
};
Leader leaderOf(int dimension, int position);

/// Code books of the two dimensions, 8 and 16.
int leaderCount(int dimension);             ///< leaders in all
int usableLeaders(int dimension, int bits); ///< leaders that a count of bits can address
const Qol32u* leaderOffsets(int dimension); ///< first code of each, then the count of codes
const Qol16s* leaderNorms(int dimension, int position); ///< unit-norm magnitudes, falling, Q15

/// Rank of a signed arrangement: order[i] is the number of the magnitude in place i (0 the
/// smallest), negative[i] its sign.
Qol32u ownTDAC_schalk(const Leader& leader, int dimension, const Qol16s* pOrder,
                      const bool* pNegative);
/// The arrangement of a rank: signed unit-norm values, Q15.
void ownTDAC_inv_schalk(Qol32u rank, int dimension, const Leader& leader, Qol16s* pDst);

} // namespace qolsc::g7291
