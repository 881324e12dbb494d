// SPDX-License-Identifier: Apache-2.0
// Adaptive codebook: closed-loop search of lag and five-tap gain vector, decoding (ITU-T G.723.1
// 2.14, 3.3).
#include "g723/adaptive.h"

#include "entry/checks.h"
#include "entry/entries.h"

#include <span>

namespace qolsc {

namespace g723 {

void _qolsExcitationDelay_G723_16s(const Qol16s* pPrevExc, int lag, Qol16s* z) {
    for (int i = 0; i < 2; ++i) {
        const int at = kPast - lag - 2 + i;
        z[i] = at < 0 ? Qol16s{0} : pPrevExc[at];
    }
    const Qol16s* period = pPrevExc + kPast - lag;
    const int first = std::min(lag, kDelayed - 2);
    std::copy_n(period, first, z + 2);
    for (int i = first; i < kDelayed - 2; ++i) {
        z[2 + i] = z[2 + i - lag];
    }
}

RowLimits tamingLimits(int baseDelay, bool odd, const Qol32s* errHist, Qol16s sinDet) {
    constexpr RowLimits kTight{51, 93}, kWide{kRowsHigh, kRowsLow};
    constexpr Qol32s kLimit = 0x40000000;
    // A delay x of 1 or more falls into the error cell (x - 1) / 30, which is x * 1092 >> 15 here.
    const int last = ((baseDelay + odd + 3) * 1092) >> 15;
    const int first = ((baseDelay < 63 ? 1 : baseDelay - 62) * 1092) >> 15;
    if (first > last) {
        return sinDet < 0 ? kTight : kWide;
    }
    const Qol32s error = std::max(-1, *std::max_element(errHist + first, errHist + last + 1));
    if (error > kLimit || sinDet < 0) {
        return kTight;
    }
    const int t = static_cast<int>((Qol64s{kLimit} - error) >> 23);
    return {std::min(4 * t + kTight.high, kWide.high), std::min(8 * t + kTight.low, kWide.low)};
}

void ownImpResponse_G723_16s(const Qol16s* z, const Qol16s* h, Qol16s filtered[kTaps][kSubframe]) {
    Qol32s sums[kSubframe];
    const Qol16s* newest = z + kTaps - 1;
    if (staysInside(energyExact(newest, kSubframe), energyExact(h, kSubframe), 1)) {
        convTruncated(newest, h, sums, 0, kSubframe);
        for (Qol32s& s : sums) {
            s *= 2;
        }
    } else {
        for (int n = 0; n < kSubframe; ++n) {
            sums[n] = 0;
            for (int j = 0; j <= n; ++j) {
                sums[n] = basop::L_mac(sums[n], newest[j], h[n - j]);
            }
        }
    }
    for (int n = 0; n < kSubframe; ++n) {
        filtered[kTaps - 1][n] = basop::round_fx(sums[n]);
    }
    for (int i = kTaps - 2; i >= 0; --i) {
        filtered[i][0] = basop::mult_r(z[i], 8192);
        for (int n = 1; n < kSubframe; ++n) {
            filtered[i][n] = basop::mac_r(basop::L_deposit_h(filtered[i + 1][n - 1]), z[i], h[n]);
        }
    }
}

void ownScorePlain_G723(const Qol16s* values, const Qol16s (*table)[kProducts], int rows,
                        Qol32s* scores) {
    for (int r = 0; r < rows; ++r) {
        scores[r] = dotSteps(values, table[r], kProducts, false);
    }
}

void ownMulCdbkTbl20_D2D1_16s32s(const Qol16s* values, const Qol16s (*table)[kProducts], int rows,
                                 Qol32s* scores) {
    using namespace simd;
    const i128 v0 = load(values), v1 = load(values + 8), v2 = loadLow64(values + 16);
    const auto row = [&](int r) {
        const Qol16s* t = table[r];
        return add32(add32(maddPairs(load(t), v0), maddPairs(load(t + 8), v1)),
                     maddPairs(loadLow64(t + 16), v2));
    };
    int r = 0;
    for (; r + 4 <= rows; r += 4) {
        store(scores + r, sums32(row(r), row(r + 1), row(r + 2), row(r + 3)));
    }
    for (; r < rows; ++r) {
        scores[r] = sum32(row(r));
    }
    const auto heavy = table == tables::g723::AdCdbkGainTblHighRate
                           ? std::span<const int>(kHeavyHigh)
                           : std::span(kHeavyLow);
    for (const int at : heavy) {
        if (at < rows) {
            ownScorePlain_G723(values, table + at, 1, scores + at);
        }
    }
}

namespace {

constexpr int kMostCandidates = 4;

/// The 20 values of a candidate: correlations with the target and energies twice, cross products
/// four times the plain sums (the score needs the latter twice).
void products(const Qol16s* target, Qol64s targetEnergy, const Qol16s filtered[kTaps][kSubframe],
              Qol32s* values) {
    Qol64s energy[kTaps];
    for (int i = 0; i < kTaps; ++i) {
        energy[i] = energyExact(filtered[i], kSubframe);
        const Qol32s c =
            dotSteps(target, filtered[i], kSubframe, staysInside(targetEnergy, energy[i], 0));
        values[i] = basop::L_shl(c, 1);
        values[kTaps + i] = saturate32(2 * energy[i]);
    }
    Qol32s* cross = values + 2 * kTaps;
    for (int i = 1; i < kTaps; ++i) {
        for (int j = 0; j < i; ++j) {
            const Qol32s c =
                dotSteps(filtered[i], filtered[j], kSubframe, staysInside(energy[i], energy[j], 0));
            *cross++ = basop::L_shl(c, 2);
        }
    }
}

/// Brings all values to 16 bits by one common shift, rounded.
void ownAutoScale_NR_32s16s(const Qol32s* values, int count, Qol16s* scaled) {
    Qol32s most = 0;
    for (int i = 0; i < count; ++i) {
        most = std::max(most, basop::L_abs(values[i]));
    }
    const int n = basop::norm_l(most);
    for (int i = 0; i < count; ++i) {
        scaled[i] = basop::round_fx(basop::L_shl(values[i], n));
    }
}

void _qolsPitchPredictor_G723_16s(int firstLag, int candidates, const Qol16s* target,
                                  const Qol16s* h, const Qol16s* past, Qol16s* scaled) {
    Qol32s values[kMostCandidates * kProducts];
    const Qol64s targetEnergy = energyExact(target, kSubframe);
    for (int k = 0; k < candidates; ++k) {
        Qol16s z[kDelayed], filtered[kTaps][kSubframe];
        _qolsExcitationDelay_G723_16s(past, firstLag + k, z);
        ownImpResponse_G723_16s(z, h, filtered);
        products(target, targetEnergy, filtered, values + kProducts * k);
    }
    ownAutoScale_NR_32s16s(values, candidates * kProducts, scaled);
}

/// First best row over all candidates; a score below 1 keeps offset 1 and index 0.
struct Choice {
    Qol16s offset;
    Qol16s index;
};
Choice bestGain(const Qol16s* scaled, int candidates, int shortReach, Qol32s rate,
                RowLimits limits) {
    Qol32s best = 0;
    Choice choice{1, 0};
    for (int k = 0; k < candidates; ++k) {
        // At the high rate a candidate's own lag decides in even subframes, the last one's in odd.
        const int reach = shortReach + (candidates == 3 && shortReach < 0 ? k : 0);
        const bool low = rate == kRateLow || reach >= 0;
        const int rows = low ? limits.low : limits.high;
        Qol32s scores[kRowsLow];
        ownMulCdbkTbl20_D2D1_16s32s(scaled + kProducts * k,
                                    low ? tables::g723::AdCdbkGainTblLowRate
                                        : tables::g723::AdCdbkGainTblHighRate,
                                    rows, scores);
        for (int r = 0; r < rows; ++r) {
            if (scores[r] > best) {
                best = scores[r];
                choice = {static_cast<Qol16s>(k), static_cast<Qol16s>(r)};
            }
        }
    }
    return choice;
}

} // namespace

} // namespace g723

QolStatus qolsAdaptiveCodebookSearch_G723(Qol16s valBaseDelay, const Qol16s* pTarget,
                                          const Qol16s* pImpulse, const Qol16s* pPrevExc,
                                          const Qol32s* pErrHist, Qol16s* pLagOffset,
                                          Qol16s* pGainIndex, Qol16s valSubFrame, Qol16s valSinDet,
                                          Qol32s valRate) noexcept {
    if (anyNull(pTarget, pImpulse, pPrevExc, pLagOffset, pGainIndex) || anyNull(pErrHist)) {
        return qolStsNullPtrErr;
    }
    const bool odd = (valSubFrame & 1) != 0;
    if (valBaseDelay < g723::kLeastLag || valBaseDelay > (odd ? 141 : 142) || valSubFrame < 0 ||
        valSubFrame > 4) {
        return qolStsRangeErr;
    }
    if (valRate != g723::kRateLow && valRate != g723::kRateHigh) {
        return qolStsRangeErr;
    }
    const int candidates = 3 + odd;
    Qol16s scaled[g723::kMostCandidates * g723::kProducts];
    g723::_qolsPitchPredictor_G723_16s(valBaseDelay - 1, candidates, pTarget, pImpulse, pPrevExc,
                                       scaled);
    const g723::Choice best =
        g723::bestGain(scaled, candidates, valBaseDelay + odd + 3 - 62, valRate,
                       g723::tamingLimits(valBaseDelay, odd, pErrHist, valSinDet));
    *pLagOffset = best.offset;
    *pGainIndex = best.index;
    return qolStsNoErr;
}

QolStatus qolsDecodeAdaptiveVector_G723_16s(Qol16s valLag, Qol16s valLagOffset, Qol16s valGainIndex,
                                            const Qol16s* pPrevExc, Qol16s* pDst,
                                            Qol32s valRate) noexcept {
    if (anyNull(pPrevExc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (valLagOffset < 0 || valLagOffset > 3 || valLag < g723::kLeastLag ||
        valLag + valLagOffset >= 147 || valGainIndex < 0 || valGainIndex >= g723::kRowsLow) {
        return qolStsOutOfRangeErr;
    }
    if (valRate != g723::kRateLow && valRate != g723::kRateHigh) {
        return qolStsRangeErr;
    }
    const bool high = valRate == g723::kRateHigh && valLag < g723::kShortLag;
    if (high && valGainIndex > g723::kRowsHigh) {
        return qolStsOutOfRangeErr;
    }
    // Index 85 passes the check and lies just behind the shorter codebook: it decodes as gain 0.
    const Qol16s* row = !high ? tables::g723::AdCdbkGainTblLowRate[valGainIndex]
                        : valGainIndex < g723::kRowsHigh
                            ? tables::g723::AdCdbkGainTblHighRate[valGainIndex]
                            : tables::g723::AdCdbkGainTblHighRate[0];
    Qol16s z[g723::kDelayed];
    g723::_qolsExcitationDelay_G723_16s(pPrevExc, valLag + valLagOffset - 1, z);
    for (int n = 0; n < g723::kSubframe; ++n) {
        Qol64s y = 1 << 13;
        for (int j = 0; j < g723::kTaps; ++j) {
            y += Qol32s{z[n + j]} * row[j];
        }
        pDst[n] = saturate16(y >> 14);
    }
    return qolStsNoErr;
}

} // namespace qolsc
