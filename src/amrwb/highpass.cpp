// SPDX-License-Identifier: Apache-2.0
// Recursive high-pass filters with double-precision history (TS 26.190 5.2.1, 5.4, 6.4).
#include "amrwb/amrwb.h"

#include <algorithm>
#include <cstring>

namespace qolsc {
namespace {

using namespace basop;

constexpr bool isOrder(Qol32s order) { return order == 2 || order == 3; }

/// One step: the doubled sum of products. The low products are summed with half a unit and cut
/// once; the upper ones are exact, so the order of the sum doesn't matter and only the total
/// saturates. At order 2 the last coefficients are 0.
Qol32s highPassStep(QolsHighPassState_AMRWB& s, Qol16s input) {
    const Qol16s* a = s.pCoeffsA;
    const Qol16s* b = s.pCoeffsB;
    Qol64s low = 16384, high = Qol64s{b[0]} * input;
    for (int k = 0; k < 3; ++k) {
        low += 2 * Qol64s{a[k + 1]} * s.yLow[k];
        high += Qol64s{a[k + 1]} * s.yHigh[k] + Qol64s{b[k + 1]} * s.x[k];
    }
    const Qol32s sum = saturate32((low >> 15) + 2 * high);
    const Dpf y = L_Extract(L_shl(sum, 2));
    s.yHigh[2] = s.yHigh[1], s.yHigh[1] = s.yHigh[0], s.yHigh[0] = y.hi;
    s.yLow[2] = s.yLow[1], s.yLow[1] = s.yLow[0], s.yLow[0] = y.lo;
    s.x[2] = s.x[1], s.x[1] = s.x[0], s.x[0] = input;
    return sum;
}

/// shift brings the doubled sum to the scale of the output's upper half. A copy of the record keeps
/// the history in registers and asks nothing of the record's alignment.
void highPass(const Qol16s* pSrc, Qol16s* pDst, int len, QolsHighPassState_AMRWB* pState,
              int shift) {
    QolsHighPassState_AMRWB state;
    std::memcpy(&state, pState, sizeof state);
    for (int i = 0; i < len; ++i) {
        pDst[i] = round_fx(L_shl(highPassStep(state, pSrc[i]), shift));
    }
    std::memcpy(pState, &state, sizeof state);
}

/// Brings the history to another scale, so that a change of block scaling makes no click.
void rescaleHistory(QolsHighPassState_AMRWB& s, Qol32s scaleFactor) {
    const auto left =
        static_cast<int>(std::clamp<Qol64s>(Qol64s{s.valScale} - scaleFactor, -32, 32));
    for (int k = 0; k < 3; ++k) {
        const Dpf y = L_Extract(L_shl(s.yHigh[k] * 65536 + s.yLow[k] * 2, left));
        s.yHigh[k] = y.hi;
        s.yLow[k] = y.lo;
        s.x[k] = round_fx(L_shl(L_deposit_h(s.x[k]), left));
    }
    s.valScale = scaleFactor;
}

} // namespace

QolStatus qolsHighPassFilterGetSize_AMRWB_16s(Qol32s order, Qol32s* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    if (!isOrder(order)) {
        return qolStsRangeErr;
    }
    *pSize = sizeof(QolsHighPassState_AMRWB);
    return qolStsNoErr;
}

QolStatus qolsHighPassFilterInit_AMRWB_16s(const Qol16s* pCoeffsA, const Qol16s* pCoeffsB,
                                           Qol32s order, QolsHighPassState_AMRWB* pState) noexcept {
    if (anyNull(pCoeffsA, pCoeffsB, pState)) {
        return qolStsNullPtrErr;
    }
    if (!isOrder(order)) {
        return qolStsRangeErr;
    }
    QolsHighPassState_AMRWB state;
    std::memset(&state, 0, sizeof state);
    std::copy_n(pCoeffsA, order + 1, state.pCoeffsA);
    std::copy_n(pCoeffsB, order + 1, state.pCoeffsB);
    std::memcpy(pState, &state, sizeof state);
    return qolStsNoErr;
}

QolStatus qolsHighPassFilter_AMRWB_16s_Sfs(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                           QolsHighPassState_AMRWB* pState,
                                           Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc, pDst, pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    QolsHighPassState_AMRWB state;
    std::memcpy(&state, pState, sizeof state);
    if (state.valScale != scaleFactor) {
        rescaleHistory(state, scaleFactor);
        std::memcpy(pState, &state, sizeof state);
    }
    highPass(pSrc, pDst, len, pState, 3);
    return qolStsNoErr;
}

QolStatus qolsHighPassFilter_AMRWB_16s_ISfs(Qol16s* pSrcDst, Qol32s len,
                                            QolsHighPassState_AMRWB* pState,
                                            Qol32s scaleFactor) noexcept {
    if (anyNull(pSrcDst, pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    highPass(pSrcDst, pSrcDst, len, pState, 15 - std::clamp(scaleFactor, -32, 64));
    return qolStsNoErr;
}

QolStatus qolsHighPassFilterGetDlyLine_AMRWB_16s(const QolsHighPassState_AMRWB* pState,
                                                 Qol16s* pDlyLine, Qol32s order) noexcept {
    if (anyNull(pState) || anyNull(pDlyLine)) {
        return qolStsNullPtrErr;
    }
    if (!isOrder(order)) {
        return qolStsRangeErr;
    }
    QolsHighPassState_AMRWB state;
    std::memcpy(&state, pState, sizeof state);
    for (int k = order - 1; k >= 0; --k) {
        *pDlyLine++ = state.yHigh[k];
        *pDlyLine++ = state.yLow[k];
    }
    std::copy_n(state.x, order, pDlyLine);
    return qolStsNoErr;
}

QolStatus qolsHighPassFilterSetDlyLine_AMRWB_16s(const Qol16s* pDlyLine,
                                                 QolsHighPassState_AMRWB* pState,
                                                 Qol32s order) noexcept {
    if (anyNull(pDlyLine) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (!isOrder(order)) {
        return qolStsRangeErr;
    }
    QolsHighPassState_AMRWB state;
    std::memcpy(&state, pState, sizeof state);
    for (int k = order - 1; k >= 0; --k) {
        state.yHigh[k] = *pDlyLine++;
        state.yLow[k] = *pDlyLine++;
    }
    std::copy_n(pDlyLine, order, state.x);
    std::memcpy(pState, &state, sizeof state);
    return qolStsNoErr;
}

} // namespace qolsc
