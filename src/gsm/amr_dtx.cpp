// SPDX-License-Identifier: Apache-2.0
// Discontinuous transmission of AMR: hangover, histories, comfort-noise parameters
// (3GPP TS 26.092 §5, TS 26.093 §5.1).
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_lsf.h"
#include "numeric/helpers.h"
#include "qolsc/amr.h"
#include "vector/vector.h"

#include <algorithm>

namespace qolsc {
namespace amr {
namespace {

using namespace basop;

constexpr int kRows = 8, kFrame = 160;
constexpr Qol16s kHangover = 7; // speech frames behind the last active one
constexpr Qol16s kElapsedForHangover = 30;
constexpr Qol16s kGap = 205; // 50 Hz

/// log2 of the frame's energy, Q10, less that of the frame's length.
Qol16s logEnergy(const Qol16s* pSrc) {
    Qol64s energy = 0;
    for (int i = 0; i < kFrame; ++i) {
        energy += pSrc[i] * pSrc[i];
    }
    Qol16s exponent, fraction;
    ownLog2(saturate32(2 * energy), &exponent, &fraction);
    return wrap16((exponent << 10) + (fraction >> 5) - 8521);
}

/// Next row of the history.
int enter(const Qol16s* pSrcLsp, Qol16s* pHistIndex, Qol16s* pLspHist) {
    const int row = (*pHistIndex + 1) & (kRows - 1);
    *pHistIndex = static_cast<Qol16s>(row);
    std::copy_n(pSrcLsp, kOrder, pLspHist + row * kOrder);
    return row;
}

/// Mean of the histories' LSP, ordered.
void meanLsp(const Qol16s* pLspHist, Qol16s* lsp) {
    Qol16s mean[kOrder], lsf[kOrder];
    for (int i = 0; i < kOrder; ++i) {
        Qol32s sum = 0;
        for (int row = 0; row < kRows; ++row) {
            sum += pLspHist[row * kOrder + i];
        }
        mean[i] = static_cast<Qol16s>(sum >> 3);
    }
    qolsc::qolsLSPToLSF_Norm_G729_16s(mean, lsf);
    ReorderLsf(lsf, kGap, kOrder);
    qolsc::qolsLSFToLSP_GSMAMR_16s(lsf, lsp);
}

} // namespace
} // namespace amr

QolStatus qolsEncDTXHandler_GSMAMR_16s(Qol16s* pHangCount, Qol16s* pElapsed, Qol16s* pUsedMode,
                                       Qol16s* pSidUpdate, Qol16s valVadFlag) noexcept {
    if (anyNull(pHangCount, pElapsed, pUsedMode, pSidUpdate)) {
        return qolStsNullPtrErr;
    }
    *pElapsed = basop::add(*pElapsed, 1);
    *pSidUpdate = 0;
    if (valVadFlag != 0) {
        *pHangCount = amr::kHangover;
    } else if (*pHangCount == 0) {
        *pElapsed = 0;
        *pUsedMode = amr::kRateDtx;
        *pSidUpdate = 1;
    } else {
        *pHangCount = basop::sub(*pHangCount, 1);
        if (*pHangCount + *pElapsed < amr::kElapsedForHangover) {
            *pUsedMode = amr::kRateDtx;
        }
    }
    return qolStsNoErr;
}

QolStatus qolsEncDTXBuffer_GSMAMR_16s(const Qol16s* pSrc, const Qol16s* pSrcLsp, Qol16s* pHistIndex,
                                      Qol16s* pLspHist, Qol16s* pLogEnHist) noexcept {
    if (anyNull(pSrc, pSrcLsp, pHistIndex, pLspHist, pLogEnHist)) {
        return qolStsNullPtrErr;
    }
    const int row = amr::enter(pSrcLsp, pHistIndex, pLspHist);
    pLogEnHist[row] = static_cast<Qol16s>(amr::logEnergy(pSrc) >> 1);
    return qolStsNoErr;
}

QolStatus qolsDecDTXBuffer_GSMAMR_16s(const Qol16s* pSrc, const Qol16s* pSrcLsp, Qol16s* pHistIndex,
                                      Qol16s* pLspHist, Qol16s* pLogEnHist) noexcept {
    if (anyNull(pSrc, pSrcLsp, pHistIndex, pLspHist, pLogEnHist)) {
        return qolStsNullPtrErr;
    }
    const int row = amr::enter(pSrcLsp, pHistIndex, pLspHist);
    pLogEnHist[row] = amr::logEnergy(pSrc);
    return qolStsNoErr;
}

QolStatus qolsEncDTXSID_GSMAMR_16s(const Qol16s* pLspHist, const Qol16s* pLogEnHist,
                                   Qol16s* pLogEnIndex, Qol16s* pLsfIndices, Qol16s* pPrevResidual,
                                   Qol16s* pPredErr, Qol16s* pPredErrMR122,
                                   Qol16s valSidUpdate) noexcept {
    if (anyNull(pLspHist, pLogEnHist, pLogEnIndex, pLsfIndices, pPrevResidual, pPredErr,
                pPredErrMR122)) {
        return qolStsNullPtrErr;
    }
    if (valSidUpdate == 0) {
        return qolStsNoErr;
    }
    Qol32s sum = 0;
    for (int row = 0; row < amr::kRows; ++row) {
        sum += pLogEnHist[row] >> 2;
    }
    const int index = std::clamp(((wrap16(sum) >> 1) + 2688) >> 8, 0, 63);
    *pLogEnIndex = static_cast<Qol16s>(index);
    // The gain predictor goes on from this level when speech begins.
    const auto error = static_cast<Qol16s>(std::min(256 * index - 11560, 0));
    std::fill_n(pPredErr, 4, error);
    std::fill_n(pPredErrMR122, 4, basop::mult(error, 5443));
    Qol16s lsp[amr::kOrder];
    amr::meanLsp(pLspHist, lsp);
    amr::ownLSPQuantDTX(lsp, pPrevResidual, pLsfIndices);
    return qolStsNoErr;
}

} // namespace qolsc
