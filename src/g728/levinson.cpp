// SPDX-License-Identifier: Apache-2.0
// Levinson-Durbin recursion that goes on from a partial solution (ITU-T G.728 Annex G, blocks 37,
// 44 and 50).
#include "g728/levinson.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "g728/lanes.h"

namespace qolsc {

namespace g728 {

namespace {

/// Orders from which a failure counts as an overflow instead of an ill-conditioned start.
constexpr int kLateStep = 12, kLateEnd = 11;
/// Coefficients are Q(15 - halvings), with at most two halvings.
constexpr int kMostHalvings = 2;

QolStatus failure(int order, int late) {
    return order < late ? qolStsLevinsonOrderErr : qolStsOverflow;
}

/// Reflection coefficient in Q15 of a quotient of magnitudes below 1 in Q16.
Qol16s reflection(Qol32s quotient) {
    return static_cast<Qol16s>(std::min((quotient + 1) >> 1, 32767));
}

/// The same as the coefficient of the highest order, with the scale of the others.
Qol16s coefficient(Qol32s quotient, int halvings) {
    return roundHigh((Qol64s{quotient} << 15) >> halvings);
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

} // namespace

QolStatus ownLevinsonPlain_G728(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                                Qol16s* pScale) {
    int halvings = 15 - *pScale;
    if (halvings > kMostHalvings) {
        return failure(end, kLateEnd);
    }
    Qol32s alpha = *pEnergy;
    for (int i = start + 1; i <= end; ++i) {
        Qol64s t = 0;
        for (int j = 1; j < i; ++j) {
            t += Qol32s{a[j - 1]} * r[i - j];
        }
        const Qol16s num = roundHigh(r[i] * Qol64s{65536} + t * (2 << halvings));
        const Qol32s magnitude = num < 0 ? -Qol32s{num} : num;
        if (magnitude >= alpha) {
            return failure(i, kLateStep);
        }
        const Qol32s quotient = magnitude * 65536 / alpha;
        const auto k = static_cast<Qol16s>(num > 0 ? -reflection(quotient) : reflection(quotient));
        const Qol64s energy = alpha * Qol64s{65536} + 2 * Qol64s{k} * num;
        if (energy <= 0 || !ownUpdatePredictorCoeffs_G728_16s(a, i, 2 * Qol64s{k}, halvings)) {
            return failure(i, kLateStep);
        }
        alpha = roundHigh(energy);
        const Qol16s last = coefficient(quotient, halvings);
        a[i - 1] = static_cast<Qol16s>(num > 0 ? -last : last);
    }
    *pEnergy = static_cast<Qol16s>(alpha);
    *pScale = static_cast<Qol16s>(15 - halvings);
    return qolStsNoErr;
}

namespace {

/// Coefficients in both directions, so that the update runs along both, with zeros behind them.
struct Solution {
    static constexpr int kVectors = (kMostLanesOrder + 7) / 8;
    alignas(16) Qol16s forward[8 * kVectors];
    alignas(16) Qol16s backward[8 * kVectors];
};

/// A sum over all lanes, in the same form.
struct Sum {
    Qol32u low;
    Qol32s high;
};
/// Seven vectors at most.
Sum total(const WideSum& s) {
    const simd::i128 two =
        simd::add32(_mm_unpacklo_epi32(s.low, s.high), _mm_unpackhi_epi32(s.low, s.high));
    const Qol64s both = _mm_cvtsi128_si64(simd::add32(two, _mm_unpackhi_epi64(two, two)));
    return {static_cast<Qol32u>(both), static_cast<Qol32s>(both >> 32)};
}
Qol64s exact(const Sum& sum) {
    const Qol64s about = Qol64s{sum.high} * 32;
    return about + static_cast<Qol32u>(sum.low - static_cast<Qol32u>(about));
}

/// What leads from one order to the next, in every lane.
struct Factors {
    simd::i128 k, last;
};

/// -1 at element 0 to 7 of the eight words from kElement + 7 - element on.
constexpr Qol16s kElement[15] = {0, 0, 0, 0, 0, 0, 0, -1};

/// Eight coefficients a step to the order `order` + 1 of so many vectors: a += k b, b += k a, with
/// the rounding of Q15 products, which is that of the definition; then b moves up by one, and the
/// last coefficient enters both. False when a result touches the ends of the word: it may not have
/// fitted. `sum` is the one of the next step, which waits for b alone: hence b first.
template <int Vectors>
bool updateVectors(const Solution& s, Solution& next, int order, const Factors& f, const Qol16s* r,
                   Sum& sum) {
    using namespace simd;
    i128 below = f.last;
    WideSum pairs;
    for (int v = 0; v < Vectors; ++v) {
        const i128 backward =
            addSat16(load(s.backward + 8 * v), mulRound15(load(s.forward + 8 * v), f.k));
        const i128 moved = _mm_alignr_epi8(backward, below, 14);
        below = backward;
        addPairs(pairs, maddPairs(moved, load(r + 8 * v)));
        store(next.backward + 8 * v, moved);
    }
    sum = total(pairs);
    i128 greatest = zero(), least = zero();
    for (int v = 0; v < Vectors; ++v) {
        i128 forward = addSat16(load(s.forward + 8 * v), mulRound15(load(s.backward + 8 * v), f.k));
        greatest = _mm_max_epi16(greatest, forward);
        least = _mm_min_epi16(least, forward);
        if (v == Vectors - 1) {
            forward =
                _mm_or_si128(forward, _mm_and_si128(f.last, load(kElement + 7 - (order & 7))));
        }
        store(next.forward + 8 * v, forward);
    }
    return _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(greatest, splat16(32767)),
                                          _mm_cmpeq_epi16(least, splat16(-32768)))) == 0;
}

bool updateLanes(const Solution& s, Solution& next, int order, const Factors& f, const Qol16s* r,
                 Sum& sum) {
    switch (static_cast<unsigned>(order) / 8) {
    case 0:
        return updateVectors<1>(s, next, order, f, r, sum);
    case 1:
        return updateVectors<2>(s, next, order, f, r, sum);
    case 2:
        return updateVectors<3>(s, next, order, f, r, sum);
    case 3:
        return updateVectors<4>(s, next, order, f, r, sum);
    case 4:
        return updateVectors<5>(s, next, order, f, r, sum);
    case 5:
        return updateVectors<6>(s, next, order, f, r, sum);
    default:
        static_assert(Solution::kVectors == 7);
        return updateVectors<7>(s, next, order, f, r, sum);
    }
}

Sum openSolution(Solution& s, const Qol16s* a, int order, const Qol16s* r) {
    std::copy_n(a, order, s.forward);
    std::reverse_copy(a, a + order, s.backward);
    WideSum pairs;
    for (int i = 0; i < order; i += 8) {
        addPairs(pairs, simd::maddPairs(simd::load(s.backward + i), simd::load(r + i)));
    }
    return total(pairs);
}

void clear(Qol16s* words, int count) {
    for (int i = 0; i < count; i += 8) {
        simd::store(words + i, simd::zero());
    }
}

/// A quotient below 1 in Q16 is a product with this, shifted by 30: exact for a dividend below
/// 2^31 and a divisor below 2^15, and ready before the dividend.
Qol64s reciprocal(Qol32s x) {
    return x > 0 ? static_cast<Qol64s>((Qol64u{1} << 46) / static_cast<Qol64u>(x)) + 1 : 0;
}

/// Minus the sign of num times the reflection coefficient of a quotient in Q46, in every lane. The
/// quotient of integers below 2^15 is too far from 1 for the rounding to reach it.
simd::i128 factorLanes(Qol64s quotient, Qol32s num) {
    const auto k = static_cast<Qol16s>((quotient + (Qol64s{1} << 30)) >> 31);
    return _mm_sign_epi16(simd::splat16(k), simd::splat16(static_cast<Qol16s>(-num)));
}

} // namespace

QolStatus ownLevinsonLanes_G728(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                                Qol16s* pScale) {
    int halvings = 15 - *pScale;
    if (halvings > kMostHalvings) {
        return failure(end, kLateEnd);
    }
    const int room = (end + 7) & ~7;
    Solution solutions[2], *current = solutions, *other = solutions + 1;
    alignas(16) Qol16s lags[8 * Solution::kVectors];
    for (Qol16s* words : {current->forward, current->backward, other->forward, other->backward,
                          static_cast<Qol16s*>(lags)}) {
        clear(words, room);
    }
    std::copy_n(r + 1, end, lags);
    Sum sum = openSolution(*current, a, start, lags);
    Qol32s alpha = *pEnergy;
    QolStatus status = qolStsNoErr;
    int i = start + 1;
    for (; i <= end; ++i) {
        // What passes the test fits in 16 bits, so that the wrapping numerator, which is ready
        // sooner, is the exact one.
        const Qol64s wanted = (r[i] * Qol64s{65536} + (exact(sum) << (1 + halvings)) + 32768) >> 16;
        const Qol32s num = static_cast<Qol32s>((sum.low << (1 + halvings)) +
                                               (static_cast<Qol32u>(r[i]) << 16) + 32768) >>
                           16;
        if ((wanted < 0 ? -wanted : wanted) >= alpha) {
            status = failure(i, kLateStep);
            break;
        }
        const Qol32s magnitude = num < 0 ? -num : num;
        const Qol64s quotient46 = static_cast<Qol32u>(magnitude) * reciprocal(alpha);
        const auto quotient = static_cast<Qol32s>(quotient46 >> 30);
        const Qol16s k = reflection(quotient), top = coefficient(quotient, halvings);
        const auto last = static_cast<Qol16s>(num > 0 ? -top : top);
        const Qol64s energy = alpha * Qol64s{65536} - 2 * Qol64s{k} * magnitude;
        if (energy <= 0) {
            status = failure(i, kLateStep);
            break;
        }
        alpha = static_cast<Qol32s>((energy + 32768) >> 16);
        const Factors factors{factorLanes(quotient46, num), simd::splat16(last)};
        if (updateLanes(*current, *other, i - 1, factors, lags, sum)) {
            std::swap(current, other);
            continue;
        }
        const Qol64s twice = 2 * Qol64s{num > 0 ? -k : k};
        if (!ownUpdatePredictorCoeffs_G728_16s(current->forward, i, twice, halvings)) {
            status = failure(i, kLateStep);
            break;
        }
        const Qol16s scaled = coefficient(quotient, halvings);
        current->forward[i - 1] = static_cast<Qol16s>(num > 0 ? -scaled : scaled);
        std::copy_n(current->forward, i, a);
        sum = openSolution(*current, a, i, lags);
    }
    std::copy_n(current->forward, i - 1, a);
    if (status == qolStsNoErr) {
        *pEnergy = static_cast<Qol16s>(alpha);
        *pScale = static_cast<Qol16s>(15 - halvings);
    }
    return status;
}

} // namespace g728

namespace {

QolStatus continueRecursion(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                            Qol16s* pScale) {
    Qol16s least = 0;
    for (int i = 0; i <= end; ++i) {
        least = std::min(least, r[i]);
    }
    const bool lanes = end <= g728::kMostLanesOrder && least > -32768;
    return (lanes ? g728::ownLevinsonLanes_G728 : g728::ownLevinsonPlain_G728)(r, start, end, a,
                                                                               pEnergy, pScale);
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
    const Qol16s k = magnitude >= r0 ? Qol16s{32767} : g728::reflection(magnitude * 65536 / r0);
    const Qol16s rc = r1 > 0 ? basop::negate(k) : k;
    Qol16s energy = g728::roundHigh(r0 * Qol64s{65536} + 2 * Qol64s{rc} * r1);
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
