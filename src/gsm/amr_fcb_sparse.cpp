// SPDX-License-Identifier: Apache-2.0
// The searches of 2, 3 and 4 pulses with eight places at once.
// 3GPP TS 26.090 §5.7.2.3 to §5.7.2.6.
#include "gsm/amr_fcb.h"
#include "gsm/amr_fcb_lanes.h"
#include "tables/gsm_fcb.h"

namespace qolsc::amr {

namespace {

using Matrix = TrackMatrix<5>;

Quad lowQuad(const LaneScores& s, i128 order) {
    return {s.score.lo, s.factor.lo, simd::add32(order, _mm_setr_epi32(0, 1, 2, 3))};
}
Quad highQuad(const LaneScores& s, i128 order) {
    return {s.score.hi, s.factor.hi, simd::add32(order, _mm_setr_epi32(4, 5, 6, 7))};
}

// Two pulses: the places of the second track in lanes, (rr00 + rr11 + 2 rr01 + 2) >> 2.
bool searchPairLanes(const Matrix& m, int count, const Qol16s* first, const Qol16s* second,
                     int step, PulseSet& set) {
    LaneScores best;
    Pairs order = {};
    for (int n = 0; n < count; ++n) {
        const int a = first[n * step], b = second[n * step];
        const i128 dn = simd::load(m.dn[b]), diag = simd::load(m.diag[b]);
        for (int i = 0; i < 8; ++i) {
            const Pairs e = madd(pairs(simd::load(m.rr[a][i][b]), diag), weightPair(2, 1));
            const i128 alp = narrow<2>(add(e, simd::splat32(m.diag[a][i] + 2)));
            const i128 sq = simd::squareSatQ15(simd::addSat16(simd::splat16(m.dn[a][i]), dn));
            order = blend(order, simd::splat32((n * 8 + i) * 8), keepBetter(best, sq, alp));
        }
    }
    const int winner = winnerOf(better(lowQuad(best, order.lo), highQuad(best, order.hi))).order;
    const int n = winner >> 6;
    set.pos[0] = static_cast<Qol16s>(first[n * step] + 5 * (winner >> 3 & 7));
    set.pos[1] = static_cast<Qol16s>(second[n * step] + 5 * (winner & 7));
    return best.allPositive();
}

// All ones in the lanes of the `count` smallest entries (not negative) of a track, the first of
// equals first.
i128 prunedLanes(i128 dn, int count) {
    const i128 lane = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
    i128 rank = simd::zero();
    const auto compare = [&](i128 other, int turn) {
        // Lane y meets entry y + turn, which stands in front of it where that wraps.
        const i128 wrapped = _mm_cmpgt_epi16(lane, simd::splat16(static_cast<Qol16s>(7 - turn)));
        const i128 equal = _mm_and_si128(_mm_cmpeq_epi16(dn, other), wrapped);
        rank = _mm_sub_epi16(rank, _mm_or_si128(_mm_cmpgt_epi16(dn, other), equal));
    };
    compare(_mm_alignr_epi8(dn, dn, 2), 1);
    compare(_mm_alignr_epi8(dn, dn, 4), 2);
    compare(_mm_alignr_epi8(dn, dn, 6), 3);
    compare(_mm_alignr_epi8(dn, dn, 8), 4);
    compare(_mm_alignr_epi8(dn, dn, 10), 5);
    compare(_mm_alignr_epi8(dn, dn, 12), 6);
    compare(_mm_alignr_epi8(dn, dn, 14), 7);
    return _mm_cmplt_epi16(rank, simd::splat16(static_cast<Qol16s>(count)));
}

/// A level of the depth-first search, each lane with its own first pulse.
struct Level {
    LaneScores scores;
    i128 ps, alp;
    alignas(16) Qol16s place[8]; ///< of this level's pulse
};

// Runs over the eight places of a track; energy(k) gives the candidates' alp.
template <typename Energy>
Level searchLevel(const Matrix& m, int track, i128 psBefore, Energy energy) {
    Level level;
    level.ps = psBefore;
    level.alp = simd::splat16(1);
    i128 place = simd::zero();
    for (int k = 0; k < 8; ++k) {
        const i128 ps = simd::addSat16(psBefore, simd::splat16(m.dn[track][k]));
        const i128 alp = energy(k);
        const Pairs taken = keepBetter(level.scores, simd::squareSatQ15(ps), alp);
        const i128 mask = simd::packSat16(taken.lo, taken.hi);
        level.ps = _mm_blendv_epi8(level.ps, ps, mask);
        level.alp = _mm_blendv_epi8(level.alp, alp, mask);
        place = _mm_blendv_epi8(place, simd::splat16(static_cast<Qol16s>(k)), mask);
    }
    simd::store(level.place, place);
    return level;
}

// Correlations of the pulse that each lane chose on a track with the places of another: column k
// has the place k for all lanes.
void gather(const Matrix& m, int track, const Level& chosen, int other, i128 (&columns)[8]) {
    const Qol16s* rows[8];
    for (int lane = 0; lane < 8; ++lane) {
        rows[lane] = m.rr[track][chosen.place[lane]][other];
    }
    transpose(rows, columns);
}

/// Best of each lane over the orders of tracks, and what led there.
struct DepthBest {
    LaneScores scores;
    Pairs order = {};
    alignas(16) Qol16s places[8][3];
};

void keepLevel(DepthBest& best, const Level& last, i128 pruned, int n, const Level* const* levels,
               int count) {
    // Squares of pruned lanes go below what any start has.
    const i128 sq = _mm_blendv_epi8(simd::squareSatQ15(last.ps), simd::splat16(-32768), pruned);
    const Pairs taken = keepBetter(best.scores, sq, last.alp);
    best.order = blend(best.order, simd::splat32(n * 8), taken);
    const int mask = _mm_movemask_epi8(simd::packSat16(taken.lo, taken.hi));
    for (int lane = 0; lane < 8; ++lane) {
        if (mask >> (2 * lane) & 1) {
            for (int k = 0; k < count; ++k) {
                best.places[lane][k] = levels[k]->place[lane];
            }
        }
    }
}

// Weights of the standard in units of 2^12: level 2 has alp * 4 + own + 2 cross terms, level 3
// alp * 16 (the energy isn't divided again); 16 units make one of alp. With entries of at most
// 32700 nothing reaches 2^31.
template <int Pulses>
bool searchDepthLanes(const Matrix& m, int orders, const Qol16s* const (&tracks)[4], int pruning,
                      PulseSet& set) {
    DepthBest best;
    bool positive = true;
    for (int n = 0; n < orders; ++n) {
        const int t0 = tracks[0][n], t1 = tracks[1][n], t2 = tracks[2][n];
        const i128 dn0 = simd::load(m.dn[t0]), diag0 = simd::load(m.diag[t0]);
        const i128 pruned = prunedLanes(dn0, pruning);
        const Level one = searchLevel(m, t1, dn0, [&](int k) {
            const Pairs e = madd(pairs(simd::load(m.rr[t1][k][t0]), diag0), weightPair(2, 1));
            return narrow<2>(add(e, simd::splat32(m.diag[t1][k] + 2)));
        });
        i128 cross12[8];
        gather(m, t1, one, t2, cross12);
        const Level two = searchLevel(m, t2, one.ps, [&](int k) {
            const Pairs e = madd(pairs(one.alp, cross12[k]), weightPair(4, 2));
            const Pairs f = madd(pairs(simd::load(m.rr[t2][k][t0]), simd::splat16(m.diag[t2][k])),
                                 weightPair(2, 1));
            return narrow<4>(add(add(e, f), simd::splat32(8)));
        });
        positive = positive && one.scores.allPositive() && two.scores.allPositive();
        if constexpr (Pulses == 3) {
            const Level* const levels[] = {&one, &two};
            keepLevel(best, two, pruned, n, levels, 2);
        } else {
            const int t3 = tracks[3][n];
            i128 cross13[8], cross23[8];
            gather(m, t1, one, t3, cross13);
            gather(m, t2, two, t3, cross23);
            const Level three = searchLevel(m, t3, two.ps, [&](int k) {
                const Pairs e = madd(pairs(two.alp, cross13[k]), weightPair(16, 2));
                const Pairs f =
                    madd(pairs(cross23[k], simd::load(m.rr[t3][k][t0])), weightPair(2, 2));
                return narrow<4>(add(add(e, f), simd::splat32(m.diag[t3][k] + 8)));
            });
            positive = positive && three.scores.allPositive();
            const Level* const levels[] = {&one, &two, &three};
            keepLevel(best, three, pruned, n, levels, 3);
        }
    }
    const int winner =
        winnerOf(better(lowQuad(best.scores, best.order.lo), highQuad(best.scores, best.order.hi)))
            .order;
    const int n = winner >> 3, lane = winner & 7;
    set.pos[0] = static_cast<Qol16s>(tracks[0][n] + 5 * lane);
    for (int k = 1; k < Pulses; ++k) {
        set.pos[k] = static_cast<Qol16s>(tracks[k][n] + 5 * best.places[lane][k - 1]);
    }
    return positive;
}

} // namespace

bool searchSparse(Codebook book, int subFrame, const TrackMatrix<5>& m, PulseSet& best) {
    using namespace tables;
    switch (book) {
    case Codebook::pulses2of9: {
        const Qol16s* track = startPos + 2 * subFrame;
        return searchPairLanes(m, 2, track, track + 1, 8, best);
    }
    case Codebook::pulses2of11:
        return searchPairLanes(m, 8, startPos1_r59, startPos2_r59, 1, best);
    case Codebook::pulses3: {
        const Qol16s* const tracks[4] = {startPos0_R67, startPos1_R67, startPos2_R67, nullptr};
        return searchDepthLanes<3>(m, 12, tracks, 2, best);
    }
    default: {
        const Qol16s* const tracks[4] = {startPos0_R74, startPos1_R74, startPos2_R74,
                                         startPos3_R74};
        return searchDepthLanes<4>(m, 8, tracks, 4, best);
    }
    }
}

} // namespace qolsc::amr
