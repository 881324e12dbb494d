// SPDX-License-Identifier: Apache-2.0
// LP analysis of AMR and conversions between its representations.
// 3GPP TS 26.090 §5.2.1 to §5.2.4, §5.2.6.
#include "common/common.h"
#include "common/lp_kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_rates.h"
#include "numeric/basop.h"
#include "tables/gsm_lsf.h"
#include "tables/lp.h"

namespace qolsc {

namespace {

using namespace amr;

constexpr int kWindow = 240;
constexpr Qol32s kEnergyLimit = 0x3FFFFFFF; // twice the energy stays below 2^31

// Lags 0 to 10 of the windowed samples; lag 0 normalised, the others with the same shift and the
// lag window.
void analyse(const Qol16s* pSrc, const Qol16s* pWindow, Qol32s* pDst) {
    Qol16s y[kWindow];
    qolsc::qolsMul_NR_16s_Sfs(pSrc, pWindow, y, kWindow, 15);
    Qol64s energy = energyExact(y, kWindow);
    while (energy > kEnergyLimit) {
        for (Qol16s& x : y) {
            x = static_cast<Qol16s>(x >> 2);
        }
        energy = energyExact(y, kWindow);
    }
    const Qol32s r0 = static_cast<Qol32s>(2 * energy + 1);
    const int n = norm(r0);
    pDst[0] = r0 << n;
    _qolsAutoCorr_G729_16s32s_Sfs(y, kWindow, pDst + 1, kOrder, n + 1);
    qolsc::qolsLagWindow_G729_32s_I(pDst + 1, kOrder);
}

} // namespace

QolStatus qolsAutoCorr_GSMAMR_16s32s(const Qol16s* pSrc, Qol32s* pDst, Qol32s valRate) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (!isRate(valRate)) {
        return qolStsRangeErr;
    }
    if (valRate == kRate122) {
        analyse(pSrc, tables::kAmrWindow160_80, pDst);
        analyse(pSrc, tables::kAmrWindow232_8, pDst + kOrder + 1);
    } else {
        analyse(pSrc, tables::kLpWindow200_40, pDst);
    }
    return qolStsNoErr;
}

QolStatus qolsLevinsonDurbin_GSMAMR_32s16s(const Qol32s* pSrcAutoCorr, Qol16s* pDstLpc) noexcept {
    if (anyNull(pSrcAutoCorr, pDstLpc)) {
        return qolStsNullPtrErr;
    }
    Qol16s reflection[kOrder], residual;
    return qolsc::qolsLevinsonDurbin_G729_32s16s(pSrcAutoCorr, kOrder, pDstLpc, reflection,
                                                 &residual);
}

QolStatus qolsLPCToLSP_GSMAMR_16s(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp,
                                  Qol16s* pDstLsp) noexcept {
    if (anyNull(pSrcLpc, pSrcPrevLsp, pDstLsp)) {
        return qolStsNullPtrErr;
    }
    Qol16s lsp[kOrder];
    const bool found = ownLPCToLSP_G729_16s(60, 4, lspGrid60, pSrcLpc, lsp, 13) == kOrder;
    for (int i = 0; i < kOrder; ++i) {
        pDstLsp[i] = found ? lsp[i] : pSrcPrevLsp[i];
    }
    return qolStsNoErr;
}

QolStatus qolsLSPToLPC_GSMAMR_16s(const Qol16s* pSrcLsp, Qol16s* pDstLpc) noexcept {
    return qolsc::qolsLSPToLPC_G729_16s(pSrcLsp, pDstLpc);
}

QolStatus qolsLSFToLSP_GSMAMR_16s(const Qol16s* pSrcLsf, Qol16s* pDstLsp) noexcept {
    if (anyNull(pSrcLsf, pDstLsp)) {
        return qolStsNullPtrErr;
    }
    return ownLSFToLSP_16s(pSrcLsf, pDstLsp, tables::slope_cos15, 8);
}

QolStatus qolsInterpolate_GSMAMR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                     Qol32s len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    for (int i = 0; i < len; ++i) {
        pDst[i] = wrap16((pSrc1[i] >> 2) + pSrc2[i] - (pSrc2[i] >> 2));
    }
    return qolStsNoErr;
}

QolStatus qolsPreemphasize_GSMAMR_16s(Qol16s valGamma, const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                      Qol16s* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    Qol16s before = *pMem;
    for (int i = 0; i < len; ++i) {
        const Qol16s x = pSrc[i];
        pDst[i] = saturate16(x + ((valGamma * before) >> 15));
        before = x;
    }
    *pMem = before;
    return qolStsNoErr;
}

} // namespace qolsc
