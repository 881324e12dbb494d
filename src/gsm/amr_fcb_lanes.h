// SPDX-License-Identifier: Apache-2.0
// Scores of eight candidates at once. A candidate is better when alp sq1 > sq alp1, which orders
// fractions sq / alp with positive alp; then each lane may keep its own best and the lanes be
// compared at the end, the earlier of equals first.
#pragma once

#include "gsm/amr_rates.h"
#include "vector/q15.h"

namespace qolsc::amr {

using simd::i128;

/// Pairs of 16-bit lanes for multiply-add: (first, second) in the low half and in the high half.
struct Pairs {
    i128 lo, hi;
};
inline Pairs pairs(i128 first, i128 second) {
    return {_mm_unpacklo_epi16(first, second), _mm_unpackhi_epi16(first, second)};
}
inline Pairs madd(Pairs a, i128 weights) {
    return {simd::maddPairs(a.lo, weights), simd::maddPairs(a.hi, weights)};
}
inline Pairs add(Pairs a, Pairs b) { return {simd::add32(a.lo, b.lo), simd::add32(a.hi, b.hi)}; }
inline Pairs add(Pairs a, i128 b) { return {simd::add32(a.lo, b), simd::add32(a.hi, b)}; }
/// Shifted right and saturated to 16 bits.
template <int Shift>
inline i128 narrow(Pairs a) {
    return simd::packSat16(_mm_srai_epi32(a.lo, Shift), _mm_srai_epi32(a.hi, Shift));
}
/// Two weights in all 32-bit lanes.
inline i128 weightPair(Qol16s first, Qol16s second) {
    return _mm_unpacklo_epi16(simd::splat16(first), simd::splat16(second));
}

/// Columns of eight rows of eight.
inline void transpose(const Qol16s* const (&rows)[8], i128 (&columns)[8]) {
    i128 a[8], b[8];
    for (int k = 0; k < 4; ++k) {
        const i128 even = simd::load(rows[2 * k]), odd = simd::load(rows[2 * k + 1]);
        a[k] = _mm_unpacklo_epi16(even, odd);
        a[k + 4] = _mm_unpackhi_epi16(even, odd);
    }
    for (int k = 0; k < 8; k += 4) {
        b[k] = _mm_unpacklo_epi32(a[k], a[k + 1]);
        b[k + 1] = _mm_unpackhi_epi32(a[k], a[k + 1]);
        b[k + 2] = _mm_unpacklo_epi32(a[k + 2], a[k + 3]);
        b[k + 3] = _mm_unpackhi_epi32(a[k + 2], a[k + 3]);
    }
    for (int k = 0; k < 2; ++k) {
        columns[4 * k] = _mm_unpacklo_epi64(b[4 * k], b[4 * k + 2]);
        columns[4 * k + 1] = _mm_unpackhi_epi64(b[4 * k], b[4 * k + 2]);
        columns[4 * k + 2] = _mm_unpacklo_epi64(b[4 * k + 1], b[4 * k + 3]);
        columns[4 * k + 3] = _mm_unpackhi_epi64(b[4 * k + 1], b[4 * k + 3]);
    }
}

/// Best score of each lane: (sq, alp) as it came and as (alp, -sq), the factors of the test.
struct LaneScores {
    Pairs score = {weightPair(-1, 1), weightPair(-1, 1)};
    Pairs factor = {weightPair(1, 1), weightPair(1, 1)};
    i128 least = simd::splat16(0x7FFF); ///< smallest alp seen

    bool allPositive() const {
        return _mm_movemask_epi8(_mm_cmpgt_epi16(least, simd::zero())) == 0xFFFF;
    }
};

/// Takes the candidates that are better; returns which, as two masks of 32-bit lanes.
inline Pairs keepBetter(LaneScores& best, i128 sq, i128 alp) {
    best.least = _mm_min_epi16(best.least, alp);
    const Pairs score = pairs(sq, alp);
    const Pairs factor = pairs(alp, _mm_sub_epi16(simd::zero(), sq));
    const Pairs better = {_mm_cmpgt_epi32(simd::maddPairs(score.lo, best.factor.lo), simd::zero()),
                          _mm_cmpgt_epi32(simd::maddPairs(score.hi, best.factor.hi), simd::zero())};
    best.score = {_mm_blendv_epi8(best.score.lo, score.lo, better.lo),
                  _mm_blendv_epi8(best.score.hi, score.hi, better.hi)};
    best.factor = {_mm_blendv_epi8(best.factor.lo, factor.lo, better.lo),
                   _mm_blendv_epi8(best.factor.hi, factor.hi, better.hi)};
    return better;
}

inline Pairs blend(Pairs a, i128 b, Pairs mask) {
    return {_mm_blendv_epi8(a.lo, b, mask.lo), _mm_blendv_epi8(a.hi, b, mask.hi)};
}

/// Four scores with their order among the candidates.
struct Quad {
    i128 score, factor, order;
};

/// The better of each two, the earlier of equals.
inline Quad better(const Quad& a, const Quad& b) {
    const i128 test = simd::maddPairs(b.score, a.factor);
    const i128 equal =
        _mm_and_si128(_mm_cmpeq_epi32(test, simd::zero()), _mm_cmplt_epi32(b.order, a.order));
    const i128 take = _mm_or_si128(_mm_cmpgt_epi32(test, simd::zero()), equal);
    return {_mm_blendv_epi8(a.score, b.score, take), _mm_blendv_epi8(a.factor, b.factor, take),
            _mm_blendv_epi8(a.order, b.order, take)};
}

/// The best score of all lanes.
struct Winner {
    Qol16s sq, alp;
    int order;
};
inline Winner winnerOf(Quad q) {
    const auto turned = [](const Quad& x, auto turn) {
        return Quad{turn(x.score), turn(x.factor), turn(x.order)};
    };
    q = better(q, turned(q, [](i128 v) { return _mm_shuffle_epi32(v, 0x4E); }));
    q = better(q, turned(q, [](i128 v) { return _mm_shuffle_epi32(v, 0xB1); }));
    return {static_cast<Qol16s>(_mm_extract_epi16(q.score, 0)),
            static_cast<Qol16s>(_mm_extract_epi16(q.score, 1)), _mm_cvtsi128_si32(q.order)};
}

} // namespace qolsc::amr
