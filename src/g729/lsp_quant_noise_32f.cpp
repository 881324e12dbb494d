// SPDX-License-Identifier: Apache-2.0
// The LSF quantiser of noise frames and its decoder in floating point (G.729 B.4.2.1, Annex C+).
// They deliver cosines.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/lsp_quant.h"

#include <cmath>
#include <limits>

namespace qolsc {

using namespace tables::g729;

namespace {

constexpr int kModes = 2;
constexpr int kList1 = 32, kList2 = 16;
constexpr int kSurvivors = 4;
constexpr int kHalf = kLpOrder / 2;
constexpr Qol32f kGap = 0.0012F;
constexpr Qol32f kLargest = std::numeric_limits<Qol32f>::max();

struct Survivor {
    int mode;
    int index;
    Qol32f diff[kLpOrder];
};

void selectSurvivors(const Qol32f (*e)[kLpOrder], Survivor* survivors) {
    Qol32f value[kModes][kList1];
    for (int p = 0; p < kModes; ++p) {
        for (int i = 0; i < kList1; ++i) {
            value[p][i] = 0;
            for (int j = 0; j < kLpOrder; ++j) {
                const Qol32f d = e[p][j] - lspcb1[PtrTab_1[i]][j];
                value[p][i] += d * d;
            }
            value[p][i] *= Mp_32f[p];
        }
    }
    for (int s = 0; s < kSurvivors; ++s) {
        Qol32f least = kLargest;
        Survivor& c = survivors[s];
        c.mode = c.index = 0;
        for (int p = 0; p < kModes; ++p) {
            for (int i = 0; i < kList1; ++i) {
                if (value[p][i] < least) {
                    least = value[p][i];
                    c.mode = p;
                    c.index = i;
                }
            }
        }
        value[c.mode][c.index] = kLargest;
        for (int j = 0; j < kLpOrder; ++j) {
            c.diff[j] = e[c.mode][j] - lspcb1[PtrTab_1[c.index]][j];
        }
    }
}

void _qolsLSPSelect_G729B_32f(const Qol32f (*e)[kLpOrder], const Qol32f* w, Qol32s* idx) {
    Survivor survivors[kSurvivors];
    selectSurvivors(e, survivors);
    Qol32f least = kLargest;
    idx[0] = survivors[0].mode;
    idx[1] = survivors[0].index;
    idx[2] = 0;
    for (const Survivor& c : survivors) {
        for (int i = 0; i < kList2; ++i) {
            Qol32f sum = 0;
            for (int k = 0; k < kLpOrder; ++k) {
                const Qol32f gain = noise_fg_sum_32f[c.mode][k];
                const Qol32f d = c.diff[k] - lspcb2[PtrTab_2[k < kHalf ? 0 : 1][i]][k];
                sum += w[k] * gain * gain * d * d;
            }
            if (sum < least) {
                least = sum;
                idx[0] = c.mode;
                idx[1] = c.index;
                idx[2] = i;
            }
        }
    }
}

} // namespace

QolStatus qolsLSFQuant_G729B_32f(const Qol32f* pSrcLsf, Qol32f* pPrevFreq, Qol32f* pDstQLsp,
                                 Qol32s* pDstIdx) noexcept {
    if (anyNull(pSrcLsf, pPrevFreq, pDstQLsp, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    Qol32f w[kLpOrder], e[kModes][kLpOrder];
    ownGetWgt_32f(pSrcLsf, w);
    for (int mode = 0; mode < kModes; ++mode) {
        ownLspPrevExtract_32f(pSrcLsf, noise_fg_32f[mode], noise_fg_sum_inv_32f[mode], pPrevFreq,
                              e[mode]);
    }
    _qolsLSPSelect_G729B_32f(e, w, pDstIdx);
    return qolsc::qolsLSFDecode_G729B_32f(pDstIdx, pPrevFreq, pDstQLsp);
}

QolStatus qolsLSFDecode_G729B_32f(const Qol32s* pIdx, Qol32f* pPrevFreq,
                                  Qol32f* pDstQLsp) noexcept {
    if (anyNull(pIdx, pPrevFreq, pDstQLsp)) {
        return qolStsNullPtrErr;
    }
    const int mode = pIdx[0] & (kModes - 1), i1 = pIdx[1] & (kList1 - 1),
              i2 = pIdx[2] & (kList2 - 1);
    Qol32f b[kLpOrder];
    for (int j = 0; j < kLpOrder; ++j) {
        b[j] = lspcb1[PtrTab_1[i1]][j] + lspcb2[PtrTab_2[j < kHalf ? 0 : 1][i2]][j];
    }
    LspExpand(b, kGap);
    Qol32f lsf[kLpOrder];
    predictLsf_32f(b, noise_fg_32f[mode], noise_fg_sum_32f[mode], pPrevFreq, lsf);
    pushHistory(pPrevFreq, b);
    stabiliseLsf_32f(lsf);
    for (int j = 0; j < kLpOrder; ++j) {
        pDstQLsp[j] = std::cos(lsf[j]);
    }
    return qolStsNoErr;
}

} // namespace qolsc
