// SPDX-License-Identifier: Apache-2.0
// Exact sums of pairs of products in lanes of 32 bits, where they need a few bits more.
#pragma once

#include "vector/simd.h"

namespace qolsc::g728 {

/// Up to 31 pairs a lane: the lower words wrap, the upper bits in units of 32 tell how often. With
/// `rest` = low - 32 high, which is small, the sum is 32 high + rest.
struct WideSum {
    simd::i128 low = simd::zero(), high = simd::zero();
};
inline void addPairs(WideSum& s, simd::i128 pairs) {
    s.low = simd::add32(s.low, pairs);
    s.high = simd::add32(s.high, _mm_srai_epi32(pairs, 5));
}
inline void subPairs(WideSum& s, simd::i128 pairs) {
    s.low = simd::sub32(s.low, pairs);
    s.high = simd::sub32(s.high, _mm_srai_epi32(pairs, 5));
}

} // namespace qolsc::g728
