// SPDX-License-Identifier: Apache-2.0
// What the post-processing files share: sizes and state records of ITU-T G.729 §4.2, Annexes D
// and E, and the 40-sample inner product.
#pragma once

#include "qolsc/g729.h"
#include "vector/simd.h"

#include <cstring>

namespace qolsc::g729 {

inline constexpr int kSubframe = 40;
inline constexpr int kOrder = 10;
inline constexpr int kCoeffs = kOrder + 1;
/// Samples of residual in front of the current subframe in the caller's buffer of the annexes.
inline constexpr int kResidualHistory = 154;

/// A record at any address: copied in and out, since the caller's bytes need not be aligned.
template <typename Record>
inline Record readRecord(const Qol8u* p) {
    Record r;
    std::memcpy(&r, p, sizeof(r));
    return r;
}
template <typename Record>
inline void writeRecord(Qol8u* p, const Record& r) {
    std::memcpy(p, &r, sizeof(r));
}

/// Plain sum of 40 products, wrapping.
inline Qol32s dot40(const Qol16s* a, const Qol16s* b) {
    simd::i128 s = simd::maddPairs(simd::load(a), simd::load(b));
    for (int i = 8; i < kSubframe; i += 8) {
        s = simd::add32(s, simd::maddPairs(simd::load(a + i), simd::load(b + i)));
    }
    return simd::sum32(s);
}

/// The same, exact for any data.
inline Qol64s dot40Exact(const Qol16s* a, const Qol16s* b) {
    simd::i128 s = simd::zero();
    for (int i = 0; i < kSubframe; i += 8) {
        // Only a pair of -32768 squares reaches 2^31; as an unsigned word it is still right, so
        // the halves are widened after taking a bias off that no other sum can reach.
        const simd::i128 biased =
            simd::sub32(simd::maddPairs(simd::load(a + i), simd::load(b + i)), simd::splat32(1));
        s = simd::add64(s, simd::add64(simd::widenLow64(biased), simd::widenHigh64(biased)));
    }
    return simd::sum64(s) + kSubframe / 2;
}

/// LP filter with its coefficients multiplied by the powers in factors, Q15.
inline void weightLpc(const Qol16s* lpc, const Qol16s* factors, Qol16s* weighted) {
    for (int i = 0; i < kCoeffs; ++i) {
        weighted[i] = static_cast<Qol16s>((Qol32s{lpc[i]} * factors[i] + 0x4000) >> 15);
    }
}

} // namespace qolsc::g729
