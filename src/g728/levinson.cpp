// SPDX-License-Identifier: Apache-2.0
// Levinson-Durbin recursion that goes on from a partial solution (ITU-T G.728 Annex G, blocks 37,
// 44 and 50).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g728/g728.h"

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

QolStatus continueRecursion(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
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
        const Reflection k = reflect(magnitude, alpha);
        const Qol64s k2 = 2 * Qol64s{num > 0 ? -k.rounded : k.rounded};
        const Qol64s energy = alpha * Qol64s{65536} + k2 * num;
        if (energy <= 0) {
            return failure(i, kLateStep);
        }
        alpha = roundHigh(energy);
        if (!ownUpdatePredictorCoeffs_G728_16s(a, i, k2, halvings)) {
            return failure(i, kLateStep);
        }
        const Qol16s last = roundHigh((Qol64s{k.quotient} << 15) >> halvings);
        a[i - 1] = num > 0 ? basop::negate(last) : last;
    }
    *pEnergy = static_cast<Qol16s>(alpha);
    *pScale = static_cast<Qol16s>(15 - halvings);
    return qolStsNoErr;
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
