// SPDX-License-Identifier: Apache-2.0
// Fractional products in vectors.
#pragma once

#include "vector/simd.h"

namespace qolsc::simd {

/// Eight products (a b) >> 15; -32768 squared wraps to -32768.
inline i128 mulQ15(i128 a, i128 b) {
    return _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(a, b), 1),
                        _mm_srli_epi16(_mm_mullo_epi16(a, b), 15));
}

/// Q15 products with -32768 squared saturated: 0x8000 comes out of that one product only.
inline i128 saturateQ15(i128 products) {
    return _mm_xor_si128(products, _mm_cmpeq_epi16(products, splat16(-32768)));
}
/// Eight products, saturated; truncated and rounded.
inline i128 mulSatQ15(i128 a, i128 b) { return saturateQ15(mulQ15(a, b)); }
inline i128 mulRoundSatQ15(i128 a, i128 b) { return saturateQ15(mulRound15(a, b)); }

/// Eight squares, that of -32768 saturated.
inline i128 squareSatQ15(i128 x) { return _mm_min_epu16(mulQ15(x, x), splat16(0x7FFF)); }

} // namespace qolsc::simd
