// SPDX-License-Identifier: Apache-2.0
// The LSF quantiser of noise frames and its decoder in fixed point (G.729 B.4.2.1).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/lsp_quant.h"
#include "numeric/helpers.h"

namespace qolsc {

using namespace tables::g729;

namespace {

constexpr int kModes = 2;
constexpr int kList1 = 32, kList2 = 16;
constexpr int kSurvivors = 4;
constexpr int kHalf = kLpOrder / 2;
constexpr int kGap = 10; // 0.0012, Q13
constexpr Qol64s kLargestDistance = 0x3FFFFFFF;

/// A candidate that the first pass keeps.
struct Survivor {
    int mode;
    int index;             // in PtrTab_1
    Qol16s diff[kLpOrder]; // target less the code row, Q13
};

/// Distance of the target to a row of the first stage, limited.
Qol64s distance1(const Qol16s* e, const Qol16s* row) {
    Qol64s sum = 0;
    for (int j = 0; j < kLpOrder; ++j) {
        const Qol32s d = basop::sub(e[j], row[j]);
        sum += d * d;
        if (sum > kLargestDistance) {
            return kLargestDistance;
        }
    }
    return sum;
}

/// The four best rows of the first stage over both predictors; the lower mode and row win ties.
void ownMLSearch1(const Qol16s (*e)[kLpOrder], Survivor* survivors) {
    Qol16s value[kModes][kList1];
    for (int p = 0; p < kModes; ++p) {
        for (int i = 0; i < kList1; ++i) {
            const Qol64s d = distance1(e[p], LSPCode1[PtrTab_1[i]]);
            value[p][i] = static_cast<Qol16s>(((d >> 15) * Mp[p]) >> 15);
        }
    }
    for (int s = 0; s < kSurvivors; ++s) {
        int mode = 0, index = 0;
        for (int p = 0; p < kModes; ++p) {
            for (int i = 0; i < kList1; ++i) {
                if (value[p][i] < value[mode][index]) {
                    mode = p;
                    index = i;
                }
            }
        }
        value[mode][index] = basop::MAX_16;
        survivors[s].mode = mode;
        survivors[s].index = index;
        for (int j = 0; j < kLpOrder; ++j) {
            survivors[s].diff[j] = basop::sub(e[mode][j], LSPCode1[PtrTab_1[index]][j]);
        }
    }
}

/// Weighted error of the elements from..from + 4 against a row of the second stage.
Qol64s distance2(const Qol16s* diff, const Qol16s* v, const Qol16s* row, int from) {
    Qol64s sum = 0;
    for (int k = from; k < from + kHalf; ++k) {
        const Qol16s d = basop::sub(diff[k], row[k]);
        sum += Qol32s{saturate16((v[k] * d) >> 12)} * d;
    }
    return sum;
}

/// The best pair of survivor and second-stage row; the first of equals.
void ownMLSearch2(const Survivor* survivors, const Qol16s* w, Qol16s* idx) {
    Qol32s best = basop::MAX_32;
    for (int s = 0; s < kSurvivors; ++s) {
        const Survivor& c = survivors[s];
        Qol16s v[kLpOrder];
        for (int k = 0; k < kLpOrder; ++k) {
            const Qol32s gain = noise_fg_sum[c.mode][k];
            v[k] = saturate16((Qol64s{(gain * gain) >> 13} * w[k]) >> 15);
        }
        for (int i = 0; i < kList2; ++i) {
            Qol64s sum = distance2(c.diff, v, LSPCode2[PtrTab_2[0][i]], 0);
            if (sum < kLargestDistance) {
                sum += distance2(c.diff, v, LSPCode2[PtrTab_2[1][i]], kHalf);
            }
            const auto value =
                static_cast<Qol32s>((sum < kLargestDistance ? sum : kLargestDistance) >> 15);
            if (value < best) {
                best = value;
                idx[0] = static_cast<Qol16s>(c.mode);
                idx[1] = static_cast<Qol16s>(c.index);
                idx[2] = static_cast<Qol16s>(i);
            }
        }
    }
}

} // namespace

QolStatus qolsLSFQuant_G729B_16s(const Qol16s* pSrcLsf, Qol16s* pPrevFreq, Qol16s* pDstQLsf,
                                 Qol16s* pDstIdx) noexcept {
    if (anyNull(pSrcLsf, pPrevFreq, pDstQLsf, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    Qol16s w[kLpOrder], e[kModes][kLpOrder];
    ownGetWgt(pSrcLsf, w);
    for (int mode = 0; mode < kModes; ++mode) {
        ownLspPrevExtract(pSrcLsf, noise_fg[mode], noise_fg_sum_inv[mode], pPrevFreq, e[mode]);
    }
    Survivor survivors[kSurvivors];
    ownMLSearch1(e, survivors);
    ownMLSearch2(survivors, w, pDstIdx);
    return qolsc::qolsLSFDecode_G729B_16s(pDstIdx, pPrevFreq, pDstQLsf);
}

QolStatus qolsLSFDecode_G729B_16s(const Qol16s* pIdx, Qol16s* pPrevFreq,
                                  Qol16s* pDstQLsf) noexcept {
    if (anyNull(pIdx, pPrevFreq, pDstQLsf)) {
        return qolStsNullPtrErr;
    }
    const int mode = pIdx[0] & (kModes - 1), i1 = pIdx[1] & (kList1 - 1),
              i2 = pIdx[2] & (kList2 - 1);
    Qol16s b[kLpOrder];
    for (int j = 0; j < kLpOrder; ++j) {
        b[j] = basop::add(LSPCode1[PtrTab_1[i1]][j], LSPCode2[PtrTab_2[j < kHalf ? 0 : 1][i2]][j]);
    }
    ownLspExpand(b, kGap);
    predictLsf(b, noise_fg[mode], noise_fg_sum[mode], pPrevFreq, pDstQLsf);
    pushHistory(pPrevFreq, b);
    return stabiliseLsf(pDstQLsf);
}

} // namespace qolsc
