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

/// The same, -32768 squared saturated.
inline i128 mulSatQ15(i128 a, i128 b) {
    const i128 product = mulQ15(a, b);
    // 0x8000 comes out of that one product only.
    return _mm_xor_si128(product, _mm_cmpeq_epi16(product, splat16(-32768)));
}

} // namespace qolsc::simd
