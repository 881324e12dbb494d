// SPDX-License-Identifier: Apache-2.0
// Depth-first search of the 17-bit codebook of G.729 Annex A (A.3.8.1).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb.h"
#include "numeric/helpers.h"

namespace qolsc {

namespace {

using namespace simd;

/// Cross terms of one pulse with all positions of a track, whichever of them comes first in the
/// matrix.
template <int Track, int Other>
i128 crossRow(const Qol16s* matrix, int k) {
    if constexpr (Track < Other) {
        return load(blockOf(matrix, Track, Other) + kPerTrack * k);
    } else {
        return column8(blockOf(matrix, Other, Track), k);
    }
}

/// Multiplies the cross terms by the second sign word, or its opposite where the first is negative.
void ownFixedCodebookACorrSign_Opt(const SignedCorrelation& s, Qol16s* matrix) {
    for (int first = 0; first < 3; ++first) {
        for (int second = first + 1; second < kTracks; ++second) {
            Qol16s* block = blockOf(matrix, first, second);
            const i128 p = load(s.p + kPerTrack * second);
            for (int k = 0; k < kPerTrack; ++k) {
                const i128 flip = splat16(s.p[kPerTrack * first + k] > 0 ? 0 : -1);
                store(block + kPerTrack * k,
                      mulSatQ15(load(block + kPerTrack * k), _mm_xor_si128(p, flip)));
            }
        }
    }
}

/// Places of the largest magnitude of a track and of the largest of the others; the first of
/// equals.
struct TwoLargest {
    int k[2];
};
TwoLargest twoLargest(const Qol16s* d) {
    TwoLargest r{{0, -1}};
    for (int k = 1; k < kPerTrack; ++k) {
        r.k[0] = d[k] > d[r.k[0]] ? k : r.k[0];
    }
    for (int k = 0; k < kPerTrack; ++k) {
        if (k != r.k[0] && (r.k[1] < 0 || d[k] > d[r.k[1]])) {
            r.k[1] = k;
        }
    }
    return r;
}

/// Pulses by role, k within the track of each: a and b are chosen in phase A, c and d in phase B.
struct Found {
    int a, b, c, d;
    Qol16s ps;
};

/// Best candidate of each lane, the first of equals, and the row that it came from. The weights are
/// pairs of its alpha and the negative of its square; alphas above 0 make the order of offers
/// immaterial but for ties.
struct LaneBest {
    i128 weightsLow = splat32(0x00010001), weightsHigh = weightsLow; // square -1, alpha 1
    i128 rowLow = zero(), rowHigh = rowLow;
    i128 leastAlpha = splat16(32767);
};

void offer(LaneBest& b, i128 square, i128 alpha, int row) {
    const i128 minus = _mm_sub_epi16(zero(), square), number = splat32(row);
    const auto half = [number](i128 candidate, i128 weights, i128& best, i128& rows) {
        const i128 better = _mm_cmpgt_epi32(maddPairs(candidate, best), zero());
        best = _mm_blendv_epi8(best, weights, better);
        rows = _mm_blendv_epi8(rows, number, better);
    };
    half(_mm_unpacklo_epi16(square, alpha), _mm_unpacklo_epi16(alpha, minus), b.weightsLow,
         b.rowLow);
    half(_mm_unpackhi_epi16(square, alpha), _mm_unpackhi_epi16(alpha, minus), b.weightsHigh,
         b.rowHigh);
    b.leastAlpha = _mm_min_epi16(b.leastAlpha, alpha);
}

bool allPositive(const LaneBest& b) {
    return _mm_movemask_epi8(_mm_cmpgt_epi16(b.leastAlpha, zero())) == 0xFFFF;
}

/// Weights of four candidates and the order of their offers, row and then lane.
struct Ranked {
    i128 weights, order;
};

/// The better one of each lane, of equals the one that was offered first.
Ranked better(Ranked a, Ranked b) {
    const i128 swapped = _mm_or_si128(_mm_slli_epi32(b.weights, 16), _mm_srli_epi32(b.weights, 16));
    const i128 candidate = _mm_sign_epi16(swapped, splat32(0x0001FFFF)); // square, alpha
    const i128 lead = maddPairs(candidate, a.weights);
    const i128 take = _mm_or_si128(
        _mm_cmpgt_epi32(lead, zero()),
        _mm_and_si128(_mm_cmpeq_epi32(lead, zero()), _mm_cmpgt_epi32(a.order, b.order)));
    return {_mm_blendv_epi8(a.weights, b.weights, take), _mm_blendv_epi8(a.order, b.order, take)};
}

/// The best of the lanes, of which each has taken a candidate.
Best bestOf(const LaneBest& b, int* row, int* lane) {
    const auto orderOf = [](i128 rows, i128 lanes) {
        return add32(_mm_slli_epi32(rows, 3), lanes);
    };
    Ranked r = better({b.weightsLow, orderOf(b.rowLow, _mm_setr_epi32(0, 1, 2, 3))},
                      {b.weightsHigh, orderOf(b.rowHigh, _mm_setr_epi32(4, 5, 6, 7))});
    r = better(r, {_mm_shuffle_epi32(r.weights, 0x4E), _mm_shuffle_epi32(r.order, 0x4E)});
    r = better(r, {_mm_shuffle_epi32(r.weights, 0xB1), _mm_shuffle_epi32(r.order, 0xB1)});
    const int order = _mm_cvtsi128_si32(r.order);
    const Qol32s weights = _mm_cvtsi128_si32(r.weights);
    *row = order >> 3;
    *lane = order & 7;
    return {static_cast<Qol16s>(-(weights >> 16)), static_cast<Qol16s>(weights)};
}

/// Phase A: a on one of the two largest of its track, b anywhere on its. alpha is a quarter of the
/// energy, rounded: (e + 2 r + e' + 2) >> 2.
template <int A, int B>
Best ownFixedCodebookASearchPhaseA(const Qol16s* matrix, const Qol16s* d, Found& found) {
    const i128 db = load(d + kPerTrack * B), eb = load(matrix + kPerTrack * B);
    const i128 ebLow = widenLow(eb), ebHigh = widenHigh(eb);
    const TwoLargest two = twoLargest(d + kPerTrack * A);

    // Candidates of a on one of its two places: b in the lanes.
    const auto candidates = [&](int ka, i128& square, i128& alpha) {
        const i128 cross = crossRow<A, B>(matrix, ka);
        const i128 base = splat32(matrix[kPerTrack * A + ka] + 2);
        const auto quarter = [base](i128 e, i128 rr) {
            return _mm_srai_epi32(add32(add32(base, e), _mm_slli_epi32(rr, 1)), 2);
        };
        alpha = packSat16(quarter(ebLow, widenLow(cross)), quarter(ebHigh, widenHigh(cross)));
        const i128 ps = addSat16(splat16(d[kPerTrack * A + ka]), db);
        square = squareSatQ15(ps);
    };
    LaneBest lanes;
    i128 square[2], alpha[2];
    for (int i = 0; i < 2; ++i) {
        candidates(two.k[i], square[i], alpha[i]);
        offer(lanes, square[i], alpha[i], i);
    }
    const auto take = [&found, &two, d](int i, int kb) {
        found.a = two.k[i];
        found.b = kb;
        found.ps = basop::add(d[kPerTrack * A + found.a], d[kPerTrack * B + kb]);
    };
    Best best{-1, 1};
    if (allPositive(lanes)) {
        int i = 0, kb = 0;
        best = bestOf(lanes, &i, &kb);
        take(i, kb);
        return best;
    }
    // Ratios with an alpha of 0 or less have no order: one after the other.
    for (int i = 0; i < 2; ++i) {
        offer8(square[i], alpha[i], best, [&take, i](int kb) { take(i, kb); });
    }
    return best;
}

/// Phase B: c and d anywhere on their tracks behind the pair of phase A, whose alpha is given. Half
/// of the terms of d, t = (2 r + 2 r' + e + 4) >> 3, are rounded before; alpha is a sixteenth of
/// the energy, rounded: (4 alpha + 2 r + 2 r' + e + 2 r'' + 8 t + 8) >> 4.
template <int A, int B, int C, int D>
Best ownFixedCodebookASearchPhaseB(const Qol16s* matrix, const Qol16s* d, Qol16s alphaA,
                                   Found& found) {
    const i128 dd = load(d + kPerTrack * D), ed = load(matrix + kPerTrack * D);
    const i128 ad = crossRow<A, D>(matrix, found.a), bd = crossRow<B, D>(matrix, found.b);
    const i128 four = splat32(4);
    const auto half = [four](i128 x, i128 y, i128 e) {
        const i128 t = _mm_srai_epi32(add32(add32(_mm_slli_epi32(add32(x, y), 1), e), four), 3);
        return _mm_slli_epi32(t, 3);
    };
    const i128 tLow = half(widenLow(ad), widenLow(bd), widenLow(ed)),
               tHigh = half(widenHigh(ad), widenHigh(bd), widenHigh(ed));
    alignas(16) Qol16s ac[kPerTrack], bc[kPerTrack];
    store(ac, crossRow<A, C>(matrix, found.a));
    store(bc, crossRow<B, C>(matrix, found.b));

    // Candidates of a row of the block (C,D): c at kc, d in the lanes.
    const auto row = [&](int kc, i128& square, i128& alpha) {
        const i128 cross = crossRow<C, D>(matrix, kc);
        const i128 base =
            splat32(4 * alphaA + 2 * (ac[kc] + bc[kc]) + matrix[kPerTrack * C + kc] + 8);
        const auto sixteenth = [base](i128 t, i128 rr) {
            return _mm_srai_epi32(add32(add32(base, t), _mm_slli_epi32(rr, 1)), 4);
        };
        alpha = packSat16(sixteenth(tLow, widenLow(cross)), sixteenth(tHigh, widenHigh(cross)));
        const i128 ps = addSat16(splat16(basop::add(found.ps, d[kPerTrack * C + kc])), dd);
        square = squareSatQ15(ps);
    };
    LaneBest lanes;
    for (int kc = 0; kc < kPerTrack; ++kc) {
        i128 square, alpha;
        row(kc, square, alpha);
        offer(lanes, square, alpha, kc);
    }
    if (allPositive(lanes)) {
        return bestOf(lanes, &found.c, &found.d);
    }
    Best best{-1, 1};
    for (int kc = 0; kc < kPerTrack; ++kc) {
        i128 square, alpha;
        row(kc, square, alpha);
        offer8(square, alpha, best, [&found, kc](int kd) {
            found.c = kc;
            found.d = kd;
        });
    }
    return best;
}

/// One trial; what beats the keeper goes to it and to the places by track order.
template <int A, int B, int C, int D>
void tryRoles(const Qol16s* matrix, const Qol16s* d, Best& keeper, int* at) {
    Found found{};
    const Best pair = ownFixedCodebookASearchPhaseA<A, B>(matrix, d, found);
    const Best best = ownFixedCodebookASearchPhaseB<A, B, C, D>(matrix, d, pair.alpha, found);
    if (isBetter(keeper, best.square, best.alpha)) {
        keeper = best;
        const auto put = [at](int track, int k) {
            at[track > 3 ? 3 : track] = kPerTrack * track + k;
        };
        put(A, found.a);
        put(B, found.b);
        put(C, found.c);
        put(D, found.d);
    }
}

void searchDepthFirst(const Qol16s* corr, Qol16s* matrix, Qol16s* pVector, Qol16s* pIndex) {
    const SignedCorrelation s = splitSigns(corr);
    ownFixedCodebookACorrSign_Opt(s, matrix);
    Best keeper{-1, 1};
    int at[4] = {0, 8, 16, 24};
    tryRoles<2, 3, 0, 1>(matrix, s.d, keeper, at);
    tryRoles<3, 0, 1, 2>(matrix, s.d, keeper, at);
    tryRoles<2, 4, 0, 1>(matrix, s.d, keeper, at);
    tryRoles<4, 0, 1, 2>(matrix, s.d, keeper, at);
    codePulses(s, at, pVector, pIndex);
}

} // namespace

QolStatus qolsFixedCodebookSearch_G729A_16s(const Qol16s* pSrcFixedCorr, Qol16s* pSrcDstMatrix,
                                            Qol16s* pDstFixedVector,
                                            Qol16s* pDstFixedIndex) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex)) {
        return qolStsNullPtrErr;
    }
    searchDepthFirst(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex);
    return qolStsNoErr;
}

QolStatus qolsFixedCodebookSearch_G729A_32s16s(const Qol16s* pSrcFixedCorr, Qol32s* pSrcDstMatrix,
                                               Qol16s* pDstFixedVector,
                                               Qol16s* pDstFixedIndex) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex)) {
        return qolStsNullPtrErr;
    }
    alignas(16) Qol16s matrix[kMatrixSize];
    narrowMatrix(pSrcDstMatrix, matrix);
    searchDepthFirst(pSrcFixedCorr, matrix, pDstFixedVector, pDstFixedIndex);
    widenMatrix(matrix, pSrcDstMatrix);
    return qolStsNoErr;
}

} // namespace qolsc
