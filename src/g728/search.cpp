// SPDX-License-Identifier: Apache-2.0
// Excitation codebook search and shape energies (ITU-T G.728 3.9, Annex G, blocks 14 to 18; the
// lower rates are those of Annex H).
#include "g728/search.h"

#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/g728_search.h"
#include "vector/simd.h"

#include <limits>

namespace qolsc {

namespace g728 {

namespace {

constexpr Qol32s kWorst = std::numeric_limits<Qol32s>::max();

/// Shape of a place in the scan.
constexpr int shapeAt(const SearchRate& rate, int position) {
    const int group = rate.firstGroup + rate.groupStep * (position / kShapesPerGroup);
    return group * kShapesPerGroup + position % kShapesPerGroup;
}

/// Correlation of a shape with the backward-filtered target; below 2^31, as shapes stay below 2^14.
Qol32s correlation(const Qol16s* corr, int shape) {
    Qol32s p = 0;
    for (int i = 0; i < kVector; ++i) {
        p += Qol32s{shapeSample(shape, i)} * corr[i];
    }
    return p;
}

SearchResult withSign(const SearchRate& rate, const Qol16s* corr, int position, int level) {
    const Qol32s p = correlation(corr, shapeAt(rate, position));
    return {position, p > 0 ? level : level + rate.levels};
}

/// Two 16-bit words in every 32-bit lane.
constexpr Qol32s pairOf(Qol16s low, Qol16s high) {
    return static_cast<Qol32s>(static_cast<Qol16u>(low) |
                               (Qol32u{static_cast<Qol16u>(high)} << 16));
}

/// Four shapes a step. The three blocks of a group give its four correlations; |P| >> 14 and the
/// energy side by side give the distortion by one multiply-add with the level's pair.
template <const SearchRate& Rate>
SearchResult searchGroups(const Qol16s* corr, const Qol16s* energy) {
    using namespace simd;
    const i128 c01 = splat32(pairOf(corr[0], corr[1])), c23 = splat32(pairOf(corr[2], corr[3])),
               c4 = splat32(pairOf(corr[4], 0));
    i128 best = splat32(kWorst), bestPlace = zero();
    i128 place = _mm_setr_epi32(0, 1, 2, 3);
    for (int g = 0; g < Rate.groups; ++g) {
        const int group = Rate.firstGroup + Rate.groupStep * g;
        const Qol16s* y = tables::g728::shapeGroups[group];
        const i128 p = add32(add32(maddPairs(load(y), c01), maddPairs(load(y + 8), c23)),
                             maddPairs(load(y + 16), c4));
        const i128 a = _mm_abs_epi32(p);
        const i128 e = widenLow(loadLow64(energy + group * kShapesPerGroup));
        i128 pair = splat32(pairOf(Rate.pair[0][0], Rate.pair[0][1]));
        for (int l = 1; l < Rate.levels; ++l) {
            // Bounds fall, so that a lower level's test passes only where the higher ones' did; the
            // energy may be negative as a word, then none passes.
            const i128 above = maddPairs(e, splat32(pairOf(Rate.bound[l - 1], 0)));
            pair = _mm_blendv_epi8(pair, splat32(pairOf(Rate.pair[l][0], Rate.pair[l][1])),
                                   _mm_cmpgt_epi32(above, a));
        }
        const i128 a14 = _mm_srai_epi32(a, 14);
        const i128 words = _mm_unpacklo_epi16(packSat16(a14, a14), packSat16(e, e));
        const i128 d = maddPairs(words, pair);
        const i128 better = _mm_cmpgt_epi32(best, d);
        best = _mm_blendv_epi8(best, d, better);
        bestPlace = _mm_blendv_epi8(bestPlace, place, better);
        place = add32(place, splat32(kShapesPerGroup));
    }
    alignas(16) Qol32s d[4], q[4];
    store(d, best);
    store(q, bestPlace);
    int lane = 0;
    for (int i = 1; i < 4; ++i) {
        lane = d[i] < d[lane] || (d[i] == d[lane] && q[i] < q[lane]) ? i : lane;
    }
    return {d[lane] == kWorst ? -1 : q[lane], 0};
}

/// Level of a shape, lowest 0.
int levelOf(const SearchRate& rate, Qol32s magnitude, Qol32s energy) {
    int level = rate.levels - 1;
    for (int i = 0; i < rate.levels - 1; ++i) {
        level -= energy * rate.bound[i] > magnitude;
    }
    return level;
}

template <const SearchRate& Rate>
SearchResult search(const Qol16s* corr, const Qol16s* energy) {
    const SearchResult best = searchGroups<Rate>(corr, energy);
    if (best.position < 0) {
        return withSign(Rate, corr, 0, 0);
    }
    const int shape = shapeAt(Rate, best.position);
    const Qol32s p = correlation(corr, shape);
    return withSign(Rate, corr, best.position, levelOf(Rate, p < 0 ? -p : p, energy[shape]));
}

} // namespace

Qol16s shapeSample(int shape, int sample) {
    return tables::g728::shapeGroups[shape / kShapesPerGroup]
                                    [sample / 2 * 8 + shape % kShapesPerGroup * 2 + sample % 2];
}

SearchResult ownCodebookSearchPlain_G728(const SearchRate& rate, const Qol16s* corr,
                                         const Qol16s* energy) {
    Qol32s best = kWorst;
    int position = 0, level = 0;
    for (int q = 0; q < rate.groups * kShapesPerGroup; ++q) {
        const int shape = shapeAt(rate, q);
        const Qol32s p = correlation(corr, shape), a = p < 0 ? -p : p;
        const Qol32s e = energy[shape];
        const int l = levelOf(rate, a, e);
        const Qol16s* pair = rate.pair[rate.levels - 1 - l];
        const Qol32s d = saturate16(a >> 14) * pair[0] + e * pair[1];
        if (d < best) {
            best = d;
            position = q;
            level = l;
        }
    }
    return withSign(rate, corr, position, level);
}

SearchResult ownCodebookSearch_G728_16s_R160(const Qol16s* corr, const Qol16s* energy) {
    return search<kRate160>(corr, energy);
}
SearchResult ownCodebookSearch_G728_16s_R128(const Qol16s* corr, const Qol16s* energy) {
    return search<kRate128>(corr, energy);
}
SearchResult ownCodebookSearch_G728_16s_R96(const Qol16s* corr, const Qol16s* energy) {
    return search<kRate96>(corr, energy);
}

/// Four shapes a step. Shapes stay below 12844 in magnitude, so that the five products of a sample
/// fit in 32 bits; sums of squares are cut at 2^30, which saturates the result anyway.
void ownImpulseResponseEnergy_G728(const Qol16s* h, Qol16s* energy) {
    using namespace simd;
    i128 taps[kVector][3];
    for (int i = 0; i < kVector; ++i) {
        const auto at = [&](int k) { return k < 0 ? Qol16s{0} : h[k]; };
        taps[i][0] = splat32(pairOf(at(i), at(i - 1)));
        taps[i][1] = splat32(pairOf(at(i - 2), at(i - 3)));
        taps[i][2] = splat32(pairOf(at(i - 4), 0));
    }
    const i128 most = splat32(1 << 30);
    for (int g = 0; g < kShapes / kShapesPerGroup; ++g) {
        const Qol16s* y = tables::g728::shapeGroups[g];
        const i128 y01 = load(y), y23 = load(y + 8), y4 = load(y + 16);
        i128 sum = zero();
        for (const auto& t : taps) {
            i128 v = add32(add32(maddPairs(y01, t[0]), maddPairs(y23, t[1])), maddPairs(y4, t[2]));
            v = _mm_srai_epi32(v, 14);
            v = widenLow(packSat16(v, v));
            sum = _mm_min_epu32(add32(sum, _mm_mullo_epi32(v, v)), most);
        }
        sum = _mm_srli_epi32(sum, 15);
        storeLow64(energy + kShapesPerGroup * g, packSat16(sum, sum));
    }
}

void ownImpulseResponseEnergyPlain_G728(const Qol16s* h, Qol16s* energy) {
    for (int s = 0; s < kShapes; ++s) {
        Qol64s sum = 0;
        for (int i = 0; i < kVector; ++i) {
            Qol64s v = 0;
            for (int j = 0; j <= i; ++j) {
                v += Qol32s{h[i - j]} * shapeSample(s, j);
            }
            v = saturate16(v >> 14);
            sum += v * v;
        }
        energy[s] = saturate16(sum >> 15);
    }
}

} // namespace g728

QolStatus qolsImpulseResponseEnergy_G728_16s(const Qol16s* pSrcImpulseResponse,
                                             Qol16s* pDstEnergy) noexcept {
    if (anyNull(pSrcImpulseResponse, pDstEnergy)) {
        return qolStsNullPtrErr;
    }
    g728::ownImpulseResponseEnergy_G728(pSrcImpulseResponse, pDstEnergy);
    return qolStsNoErr;
}

QolStatus qolsCodebookSearch_G728_16s(const Qol16s* pSrcCorr, const Qol16s* pSrcEnergy,
                                      Qol32s* pDstShapeIdx, Qol32s* pDstGainIdx, Qol16s* pDstCode,
                                      int valRate) noexcept {
    if (anyNull(pSrcCorr, pSrcEnergy) || anyNull(pDstShapeIdx, pDstGainIdx) || anyNull(pDstCode)) {
        return qolStsNullPtrErr;
    }
    g728::SearchResult best;
    int shape, gainBits = 2;
    switch (valRate) {
    case 17:
        best = g728::ownCodebookSearch_G728_16s_R160(pSrcCorr, pSrcEnergy);
        shape = best.position;
        gainBits = 3;
        break;
    case 14:
        best = g728::ownCodebookSearch_G728_16s_R128(pSrcCorr, pSrcEnergy);
        shape = best.position + 64;
        break;
    case 10:
        best = g728::ownCodebookSearch_G728_16s_R96(pSrcCorr, pSrcEnergy);
        shape = 96 + 2 * (best.position & ~3) + best.position % 4;
        break;
    default:
        return qolStsRangeErr;
    }
    *pDstShapeIdx = shape;
    *pDstGainIdx = best.gain;
    *pDstCode = static_cast<Qol16s>(best.gain + (best.position << gainBits));
    return qolStsNoErr;
}

} // namespace qolsc
