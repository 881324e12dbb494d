// SPDX-License-Identifier: Apache-2.0
// The searches of 8 and 10 pulses with all places of a track at once.
// 3GPP TS 26.090 §5.7.2.1, §5.7.2.2.
#include "gsm/amr_fcb.h"
#include "gsm/amr_fcb_lanes.h"
#include "numeric/basop.h"

#include <algorithm>

namespace qolsc::amr {

namespace {

// The standard's sums count twice; here they are held at half, which loses nothing since all
// weights are even. Half of 2^31 - 1:
constexpr Qol32s kSaturated = 0x3FFFFFFF;

struct Place {
    int track, place;
};

/// What the levels of a search hand on.
struct Partial {
    Place pulses[kMaxPulses];
    Qol16s ps;   ///< sum of dn
    Qol32s base; ///< energy, halved
    Qol16s sq, alp;
};

// Own and cross terms of all places of a track with the first n pulses (an even count).
template <int Tracks>
Pairs ownAndCross(const TrackMatrix<Tracks>& m, const Partial& s, int n, int track, int first,
                  Qol16s own, Qol16s cross) {
    const i128 diag = simd::load(m.diag[track] + first);
    Pairs e = madd(pairs(diag, simd::zero()), weightPair(own, 0));
    const i128 both = weightPair(cross, cross);
    for (int j = 0; j < n; j += 2) {
        const Place a = s.pulses[j], b = s.pulses[j + 1];
        e = add(e, madd(pairs(simd::load(m.rr[a.track][a.place][track] + first),
                              simd::load(m.rr[b.track][b.place][track] + first)),
                        both));
    }
    return e;
}

// Places the pulses n and n + 1 on tracks a (outer) and b (inner); false where an energy isn't
// positive. With all entries of the matrix at most 32700 the largest sums are
// - of the inner terms: 2 (4096 + 4 * 8192) / 65536 = 1.125 of the range, at the last addition;
// - of the candidate: 0.78 with the outer terms, 1.03 with the inner ones: clipped there;
// the final sum may exceed 16 bits only upward and is clipped by the narrowing.
template <int Tracks>
bool placePair(const TrackMatrix<Tracks>& m, const PairWeights& w, int n, int a, int b,
               Partial& s) {
    constexpr int kPlaces = TrackMatrix<Tracks>::kPlaces;
    constexpr int kVectors = TrackMatrix<Tracks>::kStride / 8;
    const i128 half = simd::splat32(0x4000), cap = simd::splat32(kSaturated);
    alignas(16) Qol32s outer[8 * kVectors];
    alignas(16) Qol16s outerPs[8 * kVectors];
    Pairs inner[kVectors];
    i128 dn[kVectors];
    for (int v = 0; v < kVectors; ++v) {
        const Pairs in = ownAndCross(m, s, n, b, 8 * v, w.innerOwn, w.innerCross);
        inner[v] = madd(pairs(narrow<15>(add(in, half)), simd::zero()), weightPair(w.inner, 0));
        dn[v] = simd::load(m.dn[b] + 8 * v);
        const Pairs out =
            add(ownAndCross(m, s, n, a, 8 * v, w.outerOwn, w.outerCross), simd::splat32(s.base));
        simd::store(outer + 8 * v, out.lo);
        simd::store(outer + 8 * v + 4, out.hi);
        simd::store(outerPs + 8 * v,
                    simd::addSat16(simd::load(m.dn[a] + 8 * v), simd::splat16(s.ps)));
    }
    // Places behind the tenth never win: their score is below the start's.
    const i128 valid = _mm_setr_epi16(-1, -1, 0, 0, 0, 0, 0, 0);
    const i128 fillSq = _mm_andnot_si128(valid, simd::splat16(-32768));
    const i128 fillAlp = _mm_andnot_si128(valid, simd::splat16(1));
    const i128 both = weightPair(w.both, 0);
    LaneScores best[kVectors];
    Pairs rows[kVectors] = {};
    for (int i = 0; i < kPlaces; ++i) {
        const i128 base = simd::splat32(outer[i]), ps = simd::splat16(outerPs[i]);
        const i128 index = simd::splat32(i << 4);
        for (int v = 0; v < kVectors; ++v) {
            const i128 cross = simd::load(m.rr[a][i][b] + 8 * v);
            Pairs e = add(inner[v], base);
            e = {_mm_min_epi32(e.lo, cap), _mm_min_epi32(e.hi, cap)};
            e = add(add(e, madd(pairs(cross, simd::zero()), both)), half);
            i128 sq = simd::squareSatQ15(simd::addSat16(ps, dn[v])), alp = narrow<15>(e);
            if (v == 1) {
                sq = _mm_or_si128(_mm_and_si128(sq, valid), fillSq);
                alp = _mm_or_si128(_mm_and_si128(alp, valid), fillAlp);
            }
            rows[v] = blend(rows[v], index, keepBetter(best[v], sq, alp));
        }
    }
    Quad q = {};
    bool positive = true;
    for (int v = 0; v < kVectors; ++v) {
        const i128 lane = _mm_setr_epi32(8 * v, 8 * v + 1, 8 * v + 2, 8 * v + 3);
        const Quad lo = {best[v].score.lo, best[v].factor.lo, simd::add32(rows[v].lo, lane)};
        const Quad hi = {best[v].score.hi, best[v].factor.hi,
                         simd::add32(rows[v].hi, simd::add32(lane, simd::splat32(4)))};
        q = v == 0 ? better(lo, hi) : better(q, better(lo, hi));
        positive = positive && best[v].allPositive();
    }
    const Winner winner = winnerOf(q);
    const int i = winner.order >> 4, j = winner.order & 15;
    s.pulses[n] = {a, i};
    s.pulses[n + 1] = {b, j};
    s.ps = basop::add(outerPs[i], m.dn[b][j]);
    s.sq = winner.sq;
    s.alp = winner.alp;
    s.base = winner.alp * 16384;
    return positive;
}

} // namespace

template <int Tracks>
bool searchDense(const PulseProblem& p, const TrackMatrix<Tracks>& m, PulseSet& set) {
    constexpr int kPulses = 2 * Tracks;
    int track[kPulses];
    std::copy_n(p.ipos, kPulses, track);
    const auto placeOf = [](int pos) { return Place{pos % Tracks, pos / Tracks}; };
    Partial best{};
    best.sq = -1;
    best.alp = 1;
    for (int turn = 1; turn < Tracks; ++turn) {
        Partial s;
        const Place a = s.pulses[0] = placeOf(p.posMax[track[0]]);
        const Place b = s.pulses[1] = placeOf(p.posMax[track[1]]);
        s.ps = basop::add(m.dn[a.track][a.place], m.dn[b.track][b.place]);
        s.base = 2048 * (m.diag[a.track][a.place] + m.diag[b.track][b.place]) +
                 4096 * m.rr[a.track][a.place][b.track][b.place];
        for (int n = 2; n < kPulses; n += 2) {
            if (!placePair(m, kPairWeights[n / 2 - 1], n, track[n], track[n + 1], s)) {
                return false;
            }
        }
        if (Qol32s{best.alp} * s.sq > Qol32s{best.sq} * s.alp) {
            best = s;
        }
        std::rotate(track + 1, track + 2, track + kPulses);
    }
    for (int n = 0; n < kPulses; ++n) {
        set.pos[n] = static_cast<Qol16s>(best.pulses[n].track + Tracks * best.pulses[n].place);
    }
    return true;
}

template bool searchDense<4>(const PulseProblem&, const TrackMatrix<4>&, PulseSet&);
template bool searchDense<5>(const PulseProblem&, const TrackMatrix<5>&, PulseSet&);

} // namespace qolsc::amr
