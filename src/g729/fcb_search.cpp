// SPDX-License-Identifier: Apache-2.0
// Nested search of the 17-bit codebook of G.729 (3.8.1) within its budget.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb.h"
#include "numeric/helpers.h"

#include <algorithm>

namespace qolsc {

SignedCorrelation splitSigns(const Qol16s* corr) {
    SignedCorrelation s;
    for (int t = 0; t < kTracks; ++t) {
        for (int k = 0; k < kPerTrack; ++k) {
            const Qol16s c = corr[kTracks * k + t];
            s.d[kPerTrack * t + k] = basop::abs_s(c);
            s.p[kPerTrack * t + k] = c >= 0 ? kPlus : kMinus;
        }
    }
    return s;
}

namespace {

using namespace simd;

constexpr int kBudget = 75, kFirstExtra = 30;

/// Four pulses by track order: 8 t + k.
struct Pulses {
    int at[4];
};

/// Multiplies the cross terms by the products of their sign words, mult(p, p').
void modulate(const SignedCorrelation& s, Qol16s* matrix) {
    for (int first = 0; first < 3; ++first) {
        for (int second = first + 1; second < kTracks; ++second) {
            Qol16s* block = blockOf(matrix, first, second);
            const i128 p = load(s.p + kPerTrack * second);
            for (int k = 0; k < kPerTrack; ++k) {
                const i128 factor = mulSatQ15(splat16(s.p[kPerTrack * first + k]), p);
                store(block + kPerTrack * k, mulSatQ15(load(block + kPerTrack * k), factor));
            }
        }
    }
}

/// 0.4 of the way from the mean of the first three tracks to the sum of their maxima.
Qol16s threshold(const Qol16s* d) {
    int sum = 0;
    Qol16s most = 0;
    for (int t = 0; t < 3; ++t) {
        const Qol16s* track = d + kPerTrack * t;
        for (int k = 0; k < kPerTrack; ++k) {
            sum += track[k];
        }
        const Qol16s peak = *std::max_element(track, track + kPerTrack);
        most = basop::add(most, peak);
    }
    const Qol16s mean = wrap16(sum >> 3);
    return basop::add(basop::mult(basop::sub(most, mean), 13107), mean);
}

/// The four vectors of 32-bit values of an 8-element row of track 3 and one of track 4.
struct Lanes16 {
    i128 v[4];
};
Lanes16 widen16(const Qol16s* row3, const Qol16s* row4) {
    const i128 a = load(row3), b = load(row4);
    return {{widenLow(a), widenHigh(a), widenLow(b), widenHigh(b)}};
}

/// (energies + 2 cross terms) >> 4, low 16 bits of each lane.
i128 alphaOf(i128 low, i128 high, i128 base) {
    const i128 lowWord = splat32(0xFFFF);
    const auto word = [base, lowWord](i128 v) {
        return _mm_and_si128(_mm_srli_epi32(add32(v, base), 4), lowWord);
    };
    return _mm_packus_epi32(word(low), word(high));
}

/// Energies of track 3 and 4 plus twice their cross terms with two pulses.
Lanes16 lastPulseTerms(const Qol16s* matrix, int k0, int k1) {
    const Qol16s* diagonal = matrix + 3 * kPerTrack;
    const Lanes16 e = widen16(diagonal, diagonal + kPerTrack);
    const Lanes16 a =
        widen16(blockOf(matrix, 0, 3) + kPerTrack * k0, blockOf(matrix, 0, 4) + kPerTrack * k0);
    const Lanes16 b =
        widen16(blockOf(matrix, 1, 3) + kPerTrack * k1, blockOf(matrix, 1, 4) + kPerTrack * k1);
    Lanes16 r;
    for (int i = 0; i < 4; ++i) {
        r.v[i] = add32(e.v[i], _mm_slli_epi32(add32(a.v[i], b.v[i]), 1));
    }
    return r;
}

/// Twice the cross terms of every position of track 2 with tracks 3 and 4.
struct ThirdPulseTerms {
    Lanes16 row[kPerTrack];
};
ThirdPulseTerms thirdPulseTerms(const Qol16s* matrix) {
    ThirdPulseTerms t;
    for (int k = 0; k < kPerTrack; ++k) {
        t.row[k] =
            widen16(blockOf(matrix, 2, 3) + kPerTrack * k, blockOf(matrix, 2, 4) + kPerTrack * k);
        for (i128& v : t.row[k].v) {
            v = add32(v, v);
        }
    }
    return t;
}

/// All 16 positions of the last pulse behind three fixed ones: track 3 first, then track 4. Returns
/// the better position by track order, or -1.
int ownFixedCodebookSearchVec(const Qol16s* d, const Lanes16& terms, const Lanes16& third,
                              Qol16s ps, Qol32s base, Best& best) {
    const i128 fixed = splat32(base);
    int found = -1;
    for (int t = 0; t < 2; ++t) {
        const i128 low = add32(terms.v[2 * t], third.v[2 * t]),
                   high = add32(terms.v[2 * t + 1], third.v[2 * t + 1]);
        const i128 sum = addSat16(splat16(ps), load(d + kPerTrack * (3 + t)));
        offer8(squareSatQ15(sum), alphaOf(low, high, fixed), best,
               [&found, t](int k) { found = kPerTrack * (3 + t) + k; });
    }
    return found;
}

/// Nested loops over the first three pulses; the last one is searched where their sum passes the
/// threshold, as long as the budget lasts. Returns what is left of it.
int ownFixedCodebookSearch(const Qol16s* matrix, const Qol16s* d, int budget, Pulses& pulses) {
    const Qol16s thr = threshold(d);
    const i128 d2 = load(d + 16), limit = splat16(thr);
    const Qol16s *e0 = matrix, *e1 = matrix + 8, *e2 = matrix + 16;
    const Qol16s *r01 = blockOf(matrix, 0, 1), *r02 = blockOf(matrix, 0, 2),
                 *r12 = blockOf(matrix, 1, 2);
    const ThirdPulseTerms third = thirdPulseTerms(matrix);
    Best best{0, 32767};
    for (int k0 = 0; k0 < kPerTrack; ++k0) {
        for (int k1 = 0; k1 < kPerTrack; ++k1) {
            const Qol16s ps1 = basop::add(d[k0], d[8 + k1]);
            const i128 over = _mm_cmpgt_epi16(addSat16(splat16(ps1), d2), limit);
            auto open = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(over, zero())));
            if (open == 0) {
                continue;
            }
            const Lanes16 terms = lastPulseTerms(matrix, k0, k1);
            const Qol32s base1 = e0[k0] + e1[k1] + 2 * r01[8 * k0 + k1];
            for (; open != 0; open &= open - 1) {
                const int k2 = std::countr_zero(open);
                const Qol16s ps2 = basop::add(ps1, d[16 + k2]);
                const Qol32s base = base1 + e2[k2] + 2 * (r02[8 * k0 + k2] + r12[8 * k1 + k2]);
                const int k3 = ownFixedCodebookSearchVec(d, terms, third.row[k2], ps2, base, best);
                if (k3 >= 0) {
                    pulses = {{k0, 8 + k1, 16 + k2, k3}};
                }
                if (--budget <= 0) {
                    return budget;
                }
            }
        }
    }
    return budget;
}

/// The search on a 16-bit matrix, which is modulated in place.
void searchNested(const Qol16s* corr, Qol16s* matrix, Qol16s* pVector, Qol16s* pIndex,
                  Qol16s* pSearchTimes, bool firstSubframe) {
    const SignedCorrelation s = splitSigns(corr);
    modulate(s, matrix);
    Pulses pulses{{0, 8, 16, 24}};
    const int budget = kBudget + (firstSubframe ? kFirstExtra : *pSearchTimes);
    *pSearchTimes = wrap16(ownFixedCodebookSearch(matrix, s.d, budget, pulses));
    codePulses(s, pulses.at, pVector, pIndex);
}

} // namespace

void codePulses(const SignedCorrelation& s, const int* at, Qol16s* pVector, Qol16s* pIndex) {
    std::fill_n(pVector, kFcbSubframe, Qol16s{0});
    int signs = 0, positions = 0;
    for (int i = 0; i < 4; ++i) {
        const int track = at[i] / kPerTrack, k = at[i] % kPerTrack;
        pVector[kTracks * k + track] = static_cast<Qol16s>(s.p[at[i]] >> 2);
        signs |= (s.p[at[i]] > 0 ? 1 : 0) << i;
        positions |= (i < 3 ? k : 2 * k + track - 3) << (3 * i);
    }
    pIndex[0] = static_cast<Qol16s>(signs);
    pIndex[1] = static_cast<Qol16s>(positions);
}

void narrowMatrix(Qol32s* wide, Qol16s* narrow) {
    for (int i = 0; i < kMatrixSize; ++i) {
        wide[i] >>= 15;
        narrow[i] = saturate16(wide[i]);
    }
}

void widenMatrix(const Qol16s* narrow, Qol32s* wide) { std::copy_n(narrow, kMatrixSize, wide); }

QolStatus qolsFixedCodebookSearch_G729_16s(const Qol16s* pSrcFixedCorr, Qol16s* pSrcDstMatrix,
                                           Qol16s* pDstFixedVector, Qol16s* pDstFixedIndex,
                                           Qol16s* pSearchTimes, Qol16s subFrame) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex, pSearchTimes)) {
        return qolStsNullPtrErr;
    }
    if (subFrame < 0 || subFrame > 1) {
        return qolStsSizeErr;
    }
    searchNested(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex, pSearchTimes,
                 subFrame == 0);
    return qolStsNoErr;
}

QolStatus qolsFixedCodebookSearch_G729_32s16s(const Qol16s* pSrcFixedCorr, Qol32s* pSrcDstMatrix,
                                              Qol16s* pDstFixedVector, Qol16s* pDstFixedIndex,
                                              Qol16s* pSearchTimes, Qol16s subFrame) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex, pSearchTimes)) {
        return qolStsNullPtrErr;
    }
    if (subFrame < 0) {
        return qolStsSizeErr;
    }
    alignas(16) Qol16s matrix[kMatrixSize];
    narrowMatrix(pSrcDstMatrix, matrix);
    searchNested(pSrcFixedCorr, matrix, pDstFixedVector, pDstFixedIndex, pSearchTimes,
                 subFrame == 0);
    widenMatrix(matrix, pSrcDstMatrix);
    return qolStsNoErr;
}

} // namespace qolsc
