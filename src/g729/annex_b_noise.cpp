// SPDX-License-Identifier: Apache-2.0
// Gaussian noise of ITU-T G.729 Annex B (§B.4.4).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"

#include <array>

namespace qolsc {
namespace {

constexpr int kSteps = 12; // uniform numbers in one sample
constexpr Qol16u kMultiplier = 31821, kOffset = 13849;

/// Multipliers and offsets of 1..48 generator steps at once, for four samples: word w of vector v
/// belongs to step 2 v + (w & 1) of sample w / 2, so that sums of neighbours stay in one sample.
struct Steps {
    alignas(16) std::array<Qol16u, 4 * kSteps> mul, add;
};
constexpr Steps kFourSamples = [] {
    std::array<Qol16u, 4 * kSteps> mul{}, add{};
    unsigned m = 1, a = 0;
    for (int step = 0; step < 4 * kSteps; ++step) {
        m = m * kMultiplier & 0xFFFF;
        a = (a * kMultiplier + kOffset) & 0xFFFF;
        const int sample = step / kSteps, k = step % kSteps;
        const auto at = static_cast<std::size_t>(k / 2 * 8 + sample * 2 + k % 2);
        mul[at] = static_cast<Qol16u>(m);
        add[at] = static_cast<Qol16u>(a);
    }
    return Steps{mul, add};
}();
constexpr std::size_t kLastStep = (kSteps - 2) / 2 * 8 + 7; // place of the 48th step

/// Sums of twelve numbers for four samples; the seed moves 48 steps.
simd::i128 fourSums(Qol16u& seed) {
    const simd::i128 start = simd::splat16(static_cast<Qol16s>(seed)), ones = simd::splat16(1);
    simd::i128 sums = simd::zero();
    for (std::size_t v = 0; v < kFourSamples.mul.size(); v += 8) {
        const simd::i128 numbers =
            _mm_add_epi16(_mm_mullo_epi16(start, simd::load(&kFourSamples.mul[v])),
                          simd::load(&kFourSamples.add[v]));
        sums = simd::add32(sums, simd::maddPairs(numbers, ones));
    }
    seed = static_cast<Qol16u>(unsigned{seed} * kFourSamples.mul[kLastStep] +
                               kFourSamples.add[kLastStep]);
    return sums;
}

Qol32s oneSum(Qol16u& seed) {
    Qol32s sum = 0;
    for (int k = 0; k < kSteps; ++k) {
        seed = static_cast<Qol16u>(unsigned{seed} * kMultiplier + kOffset);
        sum += static_cast<Qol16s>(seed);
    }
    return sum;
}

} // namespace

QolStatus qolsRandomNoiseExcitation_G729B_16s(Qol16s* pSeed, Qol16s* pDst, int len) noexcept {
    if (anyNull(pSeed, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    auto seed = static_cast<Qol16u>(*pSeed);
    int i = 0;
    for (; i + 4 <= len; i += 4) {
        const simd::i128 v = _mm_srai_epi32(fourSums(seed), 7);
        simd::storeLow64(pDst + i, simd::packSat16(v, v)); // |sum| is below 2^19: nothing saturates
    }
    for (; i < len; ++i) {
        pDst[i] = static_cast<Qol16s>(oneSum(seed) >> 7);
    }
    *pSeed = static_cast<Qol16s>(seed);
    return qolStsNoErr;
}

QolStatus qolsRandomNoiseExcitation_G729B_16s32f(Qol16s* pSeed, Qol32f* pDst, int len) noexcept {
    if (anyNull(pSeed, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    constexpr Qol32f scale = 0.001953125f; // 1/512
    auto seed = static_cast<Qol16u>(*pSeed);
    int i = 0;
    for (; i + 4 <= len; i += 4) {
        _mm_storeu_ps(pDst + i, _mm_mul_ps(_mm_cvtepi32_ps(fourSums(seed)), _mm_set1_ps(scale)));
    }
    for (; i < len; ++i) {
        pDst[i] = static_cast<Qol32f>(oneSum(seed)) * scale;
    }
    *pSeed = static_cast<Qol16s>(seed);
    return qolStsNoErr;
}

} // namespace qolsc
