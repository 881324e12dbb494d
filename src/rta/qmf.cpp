// SPDX-License-Identifier: Apache-2.0
// Two-band quadrature mirror filter bank of the RTA family, 24 or 48 taps. Even and odd phases are
// separated first, so that both bands are plain sums over consecutive samples.
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/rta.h"

#include <cstring>

struct QolsQMFState_RTA {
    const Qol32f* pCoef; // constant table; the record moves only by Init
    Qol32f history[48];
    Qol32s numTaps;
};

static_assert(sizeof(QolsQMFState_RTA) == 208);

namespace qolsc {

namespace {

constexpr int kMostSamples = 640, kMostTaps = 48;

/// Even and odd elements of history and frame, apart.
struct Phases {
    Qol32f even[(kMostTaps + kMostSamples) / 2], odd[(kMostTaps + kMostSamples) / 2];
};

void split(const Qol32f* w, int count, Qol32f* even, Qol32f* odd) {
    for (int i = 0; i < count / 2; ++i) {
        even[i] = w[2 * i];
        odd[i] = w[2 * i + 1];
    }
}

/// pDst[k] = sum over i of c[2 i] x[k + i], i below taps / 2.
void everyOtherTap(const Qol32f* c, int taps, const Qol32f* x, Qol32f* pDst, int len) {
    std::memset(pDst, 0, static_cast<std::size_t>(len) * sizeof *pDst);
    for (int i = 0; i < taps / 2; ++i) {
        const Qol32f tap = c[2 * i];
        for (int k = 0; k < len; ++k) {
            pDst[k] += tap * x[k + i];
        }
    }
}

/// The newest count values of both phases as history, interleaved again; total values per phase.
void keepHistory(const Phases& p, int total, int count, Qol32f* history) {
    for (int i = 0; i < count / 2; ++i) {
        history[2 * i] = p.even[total - count / 2 + i];
        history[2 * i + 1] = p.odd[total - count / 2 + i];
    }
}

} // namespace

QolStatus qolsQMFGetStateSize_RTA_32f(Qol32s* pSize) noexcept {
    return giveSize(sizeof(QolsQMFState_RTA), pSize);
}

QolStatus qolsQMFInit_RTA_32f(QolsQMFState_RTA* pState, Qol32s numTaps) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (numTaps != 48 && numTaps != 24) {
        return qolStsRangeErr;
    }
    const QolsQMFState_RTA fresh{
        numTaps == 48 ? tables::ownrgQmfCoef48 : tables::ownrgQmfCoef24, {}, numTaps};
    *pState = fresh;
    return qolStsNoErr;
}

QolStatus qolsQMFEncode_RTA_32f(const Qol32f* pSrc, Qol32s len, Qol32f* pDstLow, Qol32f* pDstHigh,
                                QolsQMFState_RTA* pState) noexcept {
    if (anyNull(pSrc, pDstLow, pDstHigh) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len > kMostSamples || len % 2 != 0) {
        return qolStsRangeErr;
    }
    const int taps = pState->numTaps, half = len / 2;
    Phases p;
    split(pState->history, taps, p.even, p.odd);
    split(pSrc, len, p.even + taps / 2, p.odd + taps / 2);
    Qol32f even[kMostSamples / 2], odd[kMostSamples / 2];
    everyOtherTap(pState->pCoef, taps, p.even, even, half);
    everyOtherTap(pState->pCoef + 1, taps, p.odd, odd, half);
    for (int k = 0; k < half; ++k) {
        pDstLow[k] = even[k] + odd[k];
        pDstHigh[k] = even[k] - odd[k];
    }
    keepHistory(p, taps / 2 + half, taps, pState->history);
    return qolStsNoErr;
}

QolStatus qolsQMFDecode_RTA_32f(const Qol32f* pSrcLow, const Qol32f* pSrcHigh, Qol32s len,
                                Qol32f* pDst, QolsQMFState_RTA* pState) noexcept {
    if (anyNull(pSrcLow, pSrcHigh, pDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len > kMostSamples / 2) {
        return qolStsRangeErr;
    }
    const int taps = pState->numTaps, past = taps / 2 - 1;
    Phases p;
    split(pState->history, taps - 2, p.even, p.odd);
    for (int k = 0; k < len; ++k) {
        p.even[past + k] = 2.0f * (pSrcLow[k] - pSrcHigh[k]);
        p.odd[past + k] = 2.0f * (pSrcLow[k] + pSrcHigh[k]);
    }
    Qol32f even[kMostSamples / 2], odd[kMostSamples / 2];
    everyOtherTap(pState->pCoef, taps, p.even, even, len);
    everyOtherTap(pState->pCoef + 1, taps, p.odd, odd, len);
    for (int k = 0; k < len; ++k) {
        pDst[2 * k] = odd[k];
        pDst[2 * k + 1] = even[k];
    }
    keepHistory(p, past + len, taps - 2, pState->history);
    return qolStsNoErr;
}

} // namespace qolsc
