// SPDX-License-Identifier: Apache-2.0
// Levinson-Durbin recursion that goes on from a partial solution (ITU-T G.728 Annex G, blocks 37,
// 44 and 50).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g728/g728.h"
#include "vector/simd.h"

namespace qolsc {

namespace {

using g728::roundHigh;

/// Orders from which a failure counts as an overflow instead of an ill-conditioned start.
constexpr int kLateStep = 12, kLateEnd = 11;
/// Coefficients are Q(15 - halvings), with at most two halvings.
constexpr int kMostHalvings = 2;

QolStatus failure(int order, int late) {
    return order < late ? qolStsLevinsonOrderErr : qolStsOverflow;
}

/// Quotient of magnitudes in Q16 for num < den, and its reflection coefficient in Q15.
struct Reflection {
    Qol32s quotient;
    Qol16s rounded;
};
Reflection reflect(Qol32s num, Qol32s den) {
    const Qol32s q = num * 65536 / den;
    return {q, static_cast<Qol16s>(std::min((q + 1) >> 1, 32767))};
}

bool fits32(Qol64s x) { return x == saturate32(x); }

/// Coefficients a[0..i-2] of order i-1 to those of order i by twice the reflection coefficient. A
/// pair that doesn't fit halves all of them, those done included; false when that was once too
/// often.
bool ownUpdatePredictorCoeffs_G728_16s(Qol16s* a, int i, Qol64s k, int& halvings) {
    for (int f = 0, g = i - 2; f <= g; ++f, --g) {
        Qol64s x = a[f] * Qol64s{65536} + k * a[g];
        Qol64s y = a[g] * Qol64s{65536} + k * a[f];
        if (!fits32(x) || !fits32(y)) {
            if (++halvings > kMostHalvings) {
                return false;
            }
            for (int j = 0; j < i - 1; ++j) {
                a[j] = static_cast<Qol16s>(a[j] >> 1);
            }
            x = a[f] * Qol64s{65536} + k * a[g];
            y = a[g] * Qol64s{65536} + k * a[f];
        }
        a[f] = roundHigh(x);
        a[g] = roundHigh(y);
    }
    return true;
}

/// Coefficients in both directions, so that the update and the sum of products run along both;
/// zeros behind them. Orders up to 50.
struct Solution {
    static constexpr int kMost = 50, kRoom = 64;
    alignas(16) Qol16s forward[kRoom];
    Qol16s room[2 * kRoom]; ///< reversed coefficients, growing downwards
    Qol16s* backward;
};

void openSolution(Solution& s, const Qol16s* a, int order) {
    std::fill_n(s.forward, Solution::kRoom, Qol16s{0});
    std::fill_n(s.room, 2 * Solution::kRoom, Qol16s{0});
    s.backward = s.room + Solution::kRoom - order;
    for (int i = 0; i < order; ++i) {
        s.forward[i] = s.backward[order - 1 - i] = a[i];
    }
}

/// Eight coefficients a step: a += k b, b += k a, with the rounding of Q15 products, which is that
/// of the definition. False, with nothing changed, when a result touches the ends of the word: it
/// may not have fitted.
bool updateLanes(Solution& s, int order, Qol16s k) {
    using namespace simd;
    constexpr int kVectors = (Solution::kMost + 7) / 8;
    const i128 factor = splat16(k), high = splat16(32767), low = splat16(-32768);
    i128 forward[kVectors], backward[kVectors], ends = zero();
    const int vectors = (order + 7) / 8;
    for (int v = 0; v < vectors; ++v) {
        const i128 a = load(s.forward + 8 * v), b = load(s.backward + 8 * v);
        forward[v] = addSat16(a, _mm_mulhrs_epi16(b, factor));
        backward[v] = addSat16(b, _mm_mulhrs_epi16(a, factor));
        ends = _mm_or_si128(ends, _mm_or_si128(_mm_cmpeq_epi16(forward[v], high),
                                               _mm_cmpeq_epi16(forward[v], low)));
    }
    if (_mm_movemask_epi8(ends) != 0) {
        return false;
    }
    for (int v = 0; v < vectors; ++v) {
        store(s.forward + 8 * v, forward[v]);
        store(s.backward + 8 * v, backward[v]);
    }
    return true;
}

/// Exact sum of products with r reversed; no element of r is -32768, so that pairs don't wrap.
Qol64s dotLanes(const Qol16s* a, const Qol16s* r, int n) {
    using namespace simd;
    i128 sum = zero();
    for (int i = 0; i < n; i += 8) {
        const i128 p = maddPairs(load(a + i), load(r + i));
        sum = add64(sum, add64(widenLow64(p), widenHigh64(p)));
    }
    return sum64(sum);
}

/// The recursion; Lanes: order at most 50 and no correlation of -32768.
template <bool Lanes>
QolStatus recursion(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                    Qol16s* pScale) {
    int halvings = 15 - *pScale;
    if (halvings > kMostHalvings) {
        return failure(end, kLateEnd);
    }
    Solution s;
    Qol16s reversed[2 * Solution::kRoom];
    if constexpr (Lanes) {
        openSolution(s, a, start);
        std::fill_n(reversed, 2 * Solution::kRoom, Qol16s{0});
        std::reverse_copy(r, r + end + 1, reversed);
    }
    Qol32s alpha = *pEnergy;
    for (int i = start + 1; i <= end; ++i) {
        Qol64s t = 0;
        if constexpr (Lanes) {
            t = dotLanes(s.forward, reversed + end - i + 1, i - 1);
        } else {
            for (int j = 1; j < i; ++j) {
                t += Qol32s{a[j - 1]} * r[i - j];
            }
        }
        const Qol16s num = roundHigh(r[i] * Qol64s{65536} + t * (2 << halvings));
        const Qol32s magnitude = num < 0 ? -Qol32s{num} : num;
        if (magnitude >= alpha) {
            return failure(i, kLateStep);
        }
        const Reflection k = reflect(magnitude, alpha);
        const auto rounded = static_cast<Qol16s>(num > 0 ? -k.rounded : k.rounded);
        const Qol64s energy = alpha * Qol64s{65536} + 2 * Qol64s{rounded} * num;
        if (energy <= 0) {
            return failure(i, kLateStep);
        }
        alpha = roundHigh(energy);
        if (!Lanes || !updateLanes(s, i - 1, rounded)) {
            if constexpr (Lanes) {
                std::copy_n(s.forward, i - 1, a);
            }
            if (!ownUpdatePredictorCoeffs_G728_16s(a, i, 2 * Qol64s{rounded}, halvings)) {
                return failure(i, kLateStep);
            }
            if constexpr (Lanes) {
                openSolution(s, a, i - 1);
            }
        }
        Qol16s last = roundHigh((Qol64s{k.quotient} << 15) >> halvings);
        last = num > 0 ? basop::negate(last) : last;
        if constexpr (Lanes) {
            s.forward[i - 1] = last;
            *--s.backward = last;
        } else {
            a[i - 1] = last;
        }
    }
    if constexpr (Lanes) {
        std::copy_n(s.forward, end, a);
    }
    *pEnergy = static_cast<Qol16s>(alpha);
    *pScale = static_cast<Qol16s>(15 - halvings);
    return qolStsNoErr;
}

QolStatus continueRecursion(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                            Qol16s* pScale) {
    const bool lanes = end <= Solution::kMost &&
                       std::none_of(r, r + end + 1, [](Qol16s x) { return x == -32768; });
    return lanes ? recursion<true>(r, start, end, a, pEnergy, pScale)
                 : recursion<false>(r, start, end, a, pEnergy, pScale);
}

} // namespace

QolStatus qolsLevinsonDurbin_G728_16s_Sfs(const Qol16s* pSrcAutoCorr, int valOrder, Qol16s* pDstLpc,
                                          Qol16s* pDstRc, Qol16s* pResultResidualEnergy,
                                          Qol16s* pResultScale) noexcept {
    if (anyNull(pSrcAutoCorr, pDstLpc, pDstRc, pResultResidualEnergy, pResultScale)) {
        return qolStsNullPtrErr;
    }
    if (valOrder < 1 || pSrcAutoCorr[0] < 1) {
        return qolStsSizeErr;
    }
    const Qol32s r0 = pSrcAutoCorr[0], r1 = pSrcAutoCorr[1];
    const Qol32s magnitude = r1 < 0 ? -r1 : r1;
    const Qol16s k = magnitude >= r0 ? Qol16s{32767} : reflect(magnitude, r0).rounded;
    const Qol16s rc = r1 > 0 ? basop::negate(k) : k;
    Qol16s energy = roundHigh(r0 * Qol64s{65536} + 2 * Qol64s{rc} * r1);
    Qol16s scale = 15;
    pDstRc[0] = pDstLpc[0] = rc;
    const QolStatus status = continueRecursion(pSrcAutoCorr, 1, valOrder, pDstLpc, &energy, &scale);
    if (status == qolStsNoErr) {
        *pResultResidualEnergy = energy;
        *pResultScale = scale;
    }
    return status;
}

QolStatus qolsLevinsonDurbin_G728_16s_ISfs(const Qol16s* pSrcAutoCorr, int valOrderStart,
                                           int valOrderEnd, Qol16s* pSrcDstLpc,
                                           Qol16s* pSrcDstResidualEnergy,
                                           Qol16s* pSrcDstScale) noexcept {
    if (anyNull(pSrcAutoCorr, pSrcDstLpc, pSrcDstResidualEnergy, pSrcDstScale)) {
        return qolStsNullPtrErr;
    }
    if (valOrderStart < 0 || valOrderEnd < valOrderStart) {
        return qolStsSizeErr;
    }
    if (*pSrcDstScale > 15) {
        return qolStsScaleRangeErr;
    }
    if (valOrderStart == 0) {
        Qol16s rc;
        return qolsc::qolsLevinsonDurbin_G728_16s_Sfs(pSrcAutoCorr, valOrderEnd, pSrcDstLpc, &rc,
                                                      pSrcDstResidualEnergy, pSrcDstScale);
    }
    return continueRecursion(pSrcAutoCorr, valOrderStart, valOrderEnd, pSrcDstLpc,
                             pSrcDstResidualEnergy, pSrcDstScale);
}

} // namespace qolsc
