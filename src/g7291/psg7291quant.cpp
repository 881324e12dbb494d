// SPDX-License-Identifier: Apache-2.0
// Spherical vector quantiser of the G.729.1 transform layer: code books of signed permutations of
// leader vectors, numbered by Schalkwijk's method.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g7291/g7291.h"
#include "numeric/basop.h"
#include "tables/g7291.h"

#include <cstring>

namespace qolsc {

namespace g7291 {

namespace {

constexpr bool small(int dimension) { return dimension == 8; }

constexpr Qol64u factorial(int n) {
    Qol64u f = 1;
    for (int i = 2; i <= n; ++i) {
        f *= static_cast<Qol64u>(i);
    }
    return f;
}
struct Factorials {
    Qol64u of[kMaxDimension + 1];
};
constexpr Factorials kFactorials = [] {
    Factorials f{};
    for (int n = 0; n <= kMaxDimension; ++n) {
        f.of[n] = factorial(n);
    }
    return f;
}();

/// Walks an arrangement from its first place: how many arrangements of the values left there are.
/// The whole is below 2^45, so products with a count stay inside 64 bits, and every quotient is
/// exact: arrangements * count / left is the count of those that begin with that value.
struct Remaining {
    Qol16s count[kMaxDimension];
    Qol64u arrangements;
    unsigned left;
};
Remaining startWalk(const Leader& leader, int dimension) {
    Remaining r{{}, kFactorials.of[dimension], static_cast<unsigned>(dimension)};
    for (int v = 0; v < leader.distinct; ++v) {
        r.count[v] = leader.count[v];
        r.arrangements /= kFactorials.of[leader.count[v]];
    }
    return r;
}
Qol64u beginningWith(const Remaining& r, unsigned count) { return r.arrangements * count / r.left; }
void take(Remaining& r, int v) {
    r.arrangements = beginningWith(r, static_cast<unsigned>(r.count[v]));
    --r.count[v];
    --r.left;
}

} // namespace

int leaderCount(int dimension) { return small(dimension) ? 33 : 64; }

int usableLeaders(int dimension, int bits) {
    if (bits < 0 || bits > 2 * dimension) {
        bits = 0;
    }
    return small(dimension) ? tables::NbLeadpRat8Tbl[tables::G7291_Rate8Tbl_rind[bits]]
                            : tables::NbLeadpRat16Tbl[tables::G7291_Rate16Tbl_rind[bits]];
}

const Qol32u* leaderOffsets(int dimension) {
    return small(dimension) ? tables::OffsetLead8Tbl : tables::OffsetLead16Tbl;
}

const Qol16s* leaderNorms(int dimension, int position) {
    return (small(dimension) ? tables::leader8_normTbl : tables::leader16_normTbl) +
           dimension * position;
}

Leader leaderOf(int dimension, int position) {
    const int number =
        (small(dimension) ? tables::list_lead8Tbl : tables::list_lead16Tbl)[position];
    const int values = tables::dim_leaderTbl[number];
    const Qol16s* counts = tables::decomp_factTbl + tables::delta_leaderTbl[number];
    const Qol16s* norms = leaderNorms(dimension, position);
    Leader leader{};
    int used = 0;
    for (int v = 0; v < values; ++v) {
        used += counts[v];
    }
    leader.hasZeros = used < dimension;
    const int first = leader.hasZeros ? 1 : 0;
    leader.distinct = values + first;
    leader.count[0] = static_cast<Qol16s>(dimension - used);
    // The tables fall, numbers rise.
    for (int v = 0, place = 0; v < values; ++v) {
        leader.count[first + values - 1 - v] = counts[v];
        leader.value[first + values - 1 - v] = norms[place];
        place += counts[v];
    }
    return leader;
}

Qol32u ownTDAC_schalk(const Leader& leader, int dimension, const Qol16s* pOrder,
                      const bool* pNegative) {
    Remaining r = startWalk(leader, dimension);
    Qol64u rank = 0;
    for (int i = 0; i < dimension; ++i) {
        unsigned smaller = 0;
        for (int v = 0; v < pOrder[i]; ++v) {
            smaller += static_cast<unsigned>(r.count[v]);
        }
        rank += beginningWith(r, smaller);
        take(r, pOrder[i]);
    }
    for (int i = 0; i < dimension; ++i) {
        if (pOrder[i] > 0 || !leader.hasZeros) {
            rank = 2 * rank + (pNegative[i] ? 1 : 0);
        }
    }
    return static_cast<Qol32u>(rank);
}

void ownTDAC_inv_schalk(Qol32u rank, int dimension, const Leader& leader, Qol16s* pDst) {
    Remaining r = startWalk(leader, dimension);
    int signs = dimension - (leader.hasZeros ? leader.count[0] : 0);
    const Qol32u signBits = rank;
    Qol64u rest = Qol64u{rank} >> signs;
    for (int i = 0; i < dimension; ++i) {
        int v = 0;
        for (; v < leader.distinct - 1; ++v) {
            const Qol64u here = beginningWith(r, static_cast<unsigned>(r.count[v]));
            if (rest < here) {
                break;
            }
            rest -= here;
        }
        take(r, v);
        pDst[i] = leader.value[v];
        if (v > 0 || !leader.hasZeros) {
            --signs;
            pDst[i] = static_cast<Qol16s>((signBits >> signs & 1) != 0 ? -pDst[i] : pDst[i]);
        }
    }
}

namespace {

/// Magnitudes of a band falling, and where each stood; equal ones keep their order.
struct Sorted {
    Qol16s magnitude[kMaxDimension];
    Qol16s place[kMaxDimension];
};
Sorted sortMagnitudes(const Qol16s* pSrc, int dimension) {
    Sorted s;
    for (int i = 0; i < dimension; ++i) {
        const Qol16s a = basop::abs_s(pSrc[i]);
        int k = i;
        for (; k > 0 && s.magnitude[k - 1] < a; --k) {
            s.magnitude[k] = s.magnitude[k - 1];
            s.place[k] = s.place[k - 1];
        }
        s.magnitude[k] = a;
        s.place[k] = static_cast<Qol16s>(i);
    }
    return s;
}

/// The leader nearest in direction: the first greatest correlation with the sorted magnitudes.
int nearestLeader(const Sorted& s, int dimension, int usable) {
    int best = 0;
    Qol64s greatest = -1;
    for (int p = 0; p < usable && usable > 1; ++p) {
        const Qol16s* norms = leaderNorms(dimension, p);
        Qol64s c = 0;
        for (int i = 0; i < dimension; ++i) {
            c += s.magnitude[i] * norms[i];
        }
        if (c > greatest) {
            greatest = c;
            best = p;
        }
    }
    return best;
}

Qol32u quantiseBand(const Qol16s* pSrc, int dimension, int bits) {
    const Sorted sorted = sortMagnitudes(pSrc, dimension);
    const int position = nearestLeader(sorted, dimension, usableLeaders(dimension, bits));
    const Leader leader = leaderOf(dimension, position);
    Qol16s order[kMaxDimension];
    bool negative[kMaxDimension];
    int v = leader.distinct - 1;
    for (int i = 0, given = 0; i < dimension; ++i, ++given) {
        if (given == leader.count[v]) {
            --v;
            given = 0;
        }
        order[sorted.place[i]] = static_cast<Qol16s>(v);
        negative[i] = pSrc[i] < 0;
    }
    return leaderOffsets(dimension)[position] + ownTDAC_schalk(leader, dimension, order, negative);
}

/// Position of the leader whose codes hold this one, or -1.
int findLeader(Qol32u code, int dimension) {
    const Qol32u* offsets = leaderOffsets(dimension);
    int lo = 0, hi = leaderCount(dimension);
    if (code >= offsets[hi]) {
        return -1;
    }
    while (hi - lo > 1) {
        const int middle = (lo + hi) / 2;
        (offsets[middle] <= code ? lo : hi) = middle;
    }
    return lo;
}

/// What an invalid code decodes to. Dimension 8 has 1024 codes for that leader.
constexpr int kFallbackLeader = 10;
constexpr Qol32u kFallbackRank = 21845;

void dequantiseBand(Qol32u code, int dimension, Qol32s norm, Qol16s* pDst) {
    int position = findLeader(code, dimension);
    Qol32u rank;
    if (position < 0) {
        position = kFallbackLeader;
        rank = small(dimension) ? kFallbackRank % 1024 : kFallbackRank;
    } else {
        rank = code - leaderOffsets(dimension)[position];
    }
    ownTDAC_inv_schalk(rank, dimension, leaderOf(dimension, position), pDst);
    // Unit-norm values in Q15 times 4 norm: the norm is the root mean square of 16 components.
    for (int i = 0; i < dimension; ++i) {
        pDst[i] = saturate16((pDst[i] * norm) >> 13);
    }
}

} // namespace
} // namespace g7291

using namespace g7291;

QolStatus qolsMDCTQuantFwd_G7291_16s32u(const Qol16s* pSrc, const Qol16s* pSrcBits,
                                        Qol32u* pDst) noexcept {
    if (anyNull(pSrc, pSrcBits) || anyNull(pDst)) {
        return qolStsNullPtrErr;
    }
    for (int b = 0; b < kBands; ++b) {
        const int start = tables::G7291_TDAC_sb_boundTbl[b];
        const int dimension = tables::G7291_TDAC_sb_boundTbl[b + 1] - start;
        pDst[b] = pSrcBits[b] == 0 ? 0 : quantiseBand(pSrc + start, dimension, pSrcBits[b]);
    }
    return qolStsNoErr;
}

QolStatus qolsMDCTQuantInv_G7291_32u16s(const Qol32u* pSrc, const Qol16s* pSrcBits,
                                        const Qol16s* pSrcNorms, Qol16s* pDst) noexcept {
    if (anyNull(pSrc) || anyNull(pSrcBits, pSrcNorms, pDst)) {
        return qolStsNullPtrErr;
    }
    for (int b = 0; b < kBands; ++b) {
        const int start = tables::G7291_TDAC_sb_boundTbl[b];
        const int dimension = tables::G7291_TDAC_sb_boundTbl[b + 1] - start;
        if (pSrcBits[b] == 0) {
            std::memset(pDst + start, 0, static_cast<std::size_t>(dimension) * sizeof(Qol16s));
            continue;
        }
        // Half as many components: 1/sqrt(2) in Q15.
        const Qol32s norm = small(dimension) ? (pSrcNorms[b] * 23170) >> 15 : pSrcNorms[b];
        dequantiseBand(pSrc[b], dimension, norm, pDst + start);
    }
    std::memset(pDst + kCoded, 0, (kSpectrum - kCoded) * sizeof(Qol16s));
    return qolStsNoErr;
}

} // namespace qolsc
