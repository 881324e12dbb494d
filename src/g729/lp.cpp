// SPDX-License-Identifier: Apache-2.0
// LP analysis of G.729 in fixed point: autocorrelation, lag window and recursion (3.2.1, 3.2.2,
// Annex B).
#include "tables/lp.h"
#include "common/lp_kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"

namespace qolsc {

namespace {
constexpr int kAnalysisWindow = 240;
constexpr int kMaxWindowedLags = 12;
constexpr int kLags = kMaxWindowedLags + 1;
constexpr int kMaxOrder = 30;
} // namespace

QolStatus qolsAutoCorr_G729B(const Qol16s* pSrc, Qol16s* pNorm, Qol32s* pDst) noexcept {
    if (anyNull(pSrc, pNorm, pDst)) {
        return qolStsNullPtrErr;
    }
    Qol16s windowed[kAnalysisWindow];
    qolsc::qolsMul_NR_16s_Sfs(pSrc, tables::kLpWindow200_40, windowed, kAnalysisWindow, 15);
    int compensation = 1;
    Qol32s norm = 0;
    while (qolsc::qolsAutoCorr_NormE_16s32s(windowed, kAnalysisWindow, pDst, kLags, &norm) !=
           qolStsNoErr) {
        for (Qol16s& x : windowed) { // a quarter of the amplitude, four bits of the energy
            x = static_cast<Qol16s>(x >> 2);
        }
        compensation += 4;
    }
    *pNorm = static_cast<Qol16s>(compensation - norm);
    return qolStsNoErr;
}

QolStatus qolsLagWindow_G729_32s_I(Qol32s* pSrcDst, int len) noexcept {
    if (anyNull(pSrcDst)) {
        return qolStsNullPtrErr;
    }
    if (len <= 0) {
        return qolStsBadArgErr;
    }
    if (len > kMaxWindowedLags) {
        return qolStsSizeErr;
    }
    ownLagWindow_32s_I(tables::wlag, pSrcDst, len);
    return qolStsNoErr;
}

QolStatus qolsLevinsonDurbin_G729_32s16s(const Qol32s* pSrcAutoCorr, int order, Qol16s* pDstLpc,
                                         Qol16s* pDstRc, Qol16s* pResultResidualEnergy) noexcept {
    if (anyNull(pSrcAutoCorr, pDstLpc, pDstRc, pResultResidualEnergy)) {
        return qolStsNullPtrErr;
    }
    if (order < 1 || order > kMaxOrder) {
        return qolStsSizeErr;
    }
    return ownLevinsonDurbin_32s16s(pSrcAutoCorr, order, pDstLpc, pDstRc, pResultResidualEnergy)
               ? qolStsNoErr
               : qolStsOverflow;
}

QolStatus qolsLevinsonDurbin_G729B(const Qol32s* pSrcAutoCorr, Qol16s* pDstLpc, Qol16s* pDstRc,
                                   Qol16s* pResultResidualEnergy) noexcept {
    if (anyNull(pSrcAutoCorr, pDstLpc, pDstRc, pResultResidualEnergy)) {
        return qolStsNullPtrErr;
    }
    Qol16s rc[kLpOrder] = {};
    const QolStatus status = qolsc::qolsLevinsonDurbin_G729_32s16s(pSrcAutoCorr, kLpOrder, pDstLpc,
                                                                   rc, pResultResidualEnergy);
    pDstRc[0] = rc[0];
    pDstRc[1] = rc[1];
    return status;
}

} // namespace qolsc
