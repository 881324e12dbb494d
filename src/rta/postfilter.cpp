// SPDX-License-Identifier: Apache-2.0
// Spectral post-filter of the RTA decoder: the log spectrum of the LP filter, compressed and
// limited, becomes a 17-tap filter; a smoothed gain returns the frame to its level.
#include "entry/checks.h"
#include "entry/entries.h"
#include "rta/rta.h"
#include "tables/rta.h"
#include "vector/fft.h"
#include "vector/vector.h"

#include <cmath>
#include <cstring>

struct QolsPostFilterState_RTA {
    qolsc::QolsFFTSpec_R_32f* pSpec;
    Qol8u* pSpecMem;
    Qol8u* pInitMem;
    Qol8u* pWorkMem;
};

static_assert(sizeof(QolsPostFilterState_RTA) == 32);

namespace qolsc {

namespace {

constexpr int kOrder = 7, kLength = 1 << kOrder, kBins = kLength / 2 + 1;
constexpr int kTaps = 17, kHistory = kTaps - 1;
constexpr int kMostOrder = 16, kMostMode = 4;
constexpr int kChunk = 320;
constexpr Qol32f kLogOfZero = -10.0f;

/// The caller's memory.
struct Memory {
    Qol32f past[kHistory]; // input samples, newest first
    Qol32f taps[kTaps];
    Qol32f agc;
    Qol32f tilt; // of modes that the check keeps out
};
static_assert(sizeof(Memory) == 35 * sizeof(Qol32f));

struct Sizes {
    Qol32s spec, init, work;
};

Sizes transformSizes() {
    Sizes s{};
    qolsFFTGetSize_R_32f(kOrder, fftDivFwdByN, 0, &s.spec, &s.init, &s.work);
    return s;
}

/// Coefficients of (1 + A(z)) (h0 + h1 z^-1), zeros behind.
void numerator(const Qol32f* pLPC, int order, int mode, Qol32f* h) {
    const Qol32f h0 = tables::rgfltHpCoeff_32f[mode][0], h1 = tables::rgfltHpCoeff_32f[mode][1];
    std::memset(h, 0, (kLength + 2) * sizeof *h);
    h[0] = h0;
    h[1] = pLPC[0] * h0 + h1;
    for (int i = 1; i < order; ++i) {
        h[i + 1] = pLPC[i] * h0 + pLPC[i - 1] * h1;
    }
    h[order + 1] = pLPC[order - 1] * h1;
}

Qol32f logSquare(Qol32f x) { return x == 0 ? kLogOfZero : 2.0f * std::log(std::fabs(x)); }

/// Log power spectrum of a transform in CCS layout; a bin of zero power counts as -10.
void ownPostFilter_RTA_lg_32f_32f(const Qol32f* spectrum, Qol32f* L) {
    Qol32f power[kBins];
    for (int k = 1; k < kBins - 1; ++k) {
        power[k] = spectrum[2 * k] * spectrum[2 * k] + spectrum[2 * k + 1] * spectrum[2 * k + 1];
    }
    if (qolsLn_32f(power + 1, L + 1, kBins - 2) == qolStsLnZeroArg) {
        for (int k = 1; k < kBins - 1; ++k) {
            L[k] = power[k] == 0 ? kLogOfZero : L[k];
        }
    }
    L[0] = logSquare(spectrum[0]);
    L[kBins - 1] = logSquare(spectrum[kLength]);
}

struct Extremes {
    Qol32f top, bottom;
};

/// Turns L into the scaled log spectrum of the synthesis filter and finds its extremes.
Extremes ownFindMaxMinLog_RTA_32f(Qol32f* L, Qol32f scale) {
    Extremes e{-10.0f, 10.0f};
    for (int k = 0; k < kBins; ++k) {
        L[k] *= -scale;
        e.top = L[k] > e.top ? L[k] : e.top;
        e.bottom = L[k] < e.bottom ? L[k] : e.bottom;
    }
    return e;
}

/// L brought to 0.1..1.1, then to a power below 1: the compression. A flat spectrum counts as 0.1.
void ownPostFilter_RTA_pw_32f_32f(const Qol32f* L, Extremes e, Qol32f exponent, Qol32f* R) {
    const Qol32f d = e.top - e.bottom;
    for (int k = 0; k < kBins; ++k) {
        R[k] = d != 0 ? (L[k] - e.bottom) / d + 0.1f : 0.1f;
    }
    qolsLn_32f(R, R, kBins);
    for (int k = 0; k < kBins; ++k) {
        R[k] *= exponent;
    }
    qolsExp_32f(R, R, kBins);
}

/// Rescales and returns the limit that the mean gives.
Qol32f ownCalcSpecLog_RTA_32f(Qol32f* T, Qol32f scale, Qol32f limitFactor) {
    Qol64f sum = 0;
    for (int k = 0; k < kBins; ++k) {
        T[k] *= scale;
        sum += T[k];
    }
    return static_cast<Qol32f>(limitFactor * (sum * 0.015384615398943424)); // 1/65
}

/// Limits the log spectrum from above and writes its exponential as a real spectrum in CCS layout.
void ownPostFilter_RTA_exp_32f(Qol32f* T, Qol32f limit, Qol32f* spectrum) {
    for (int k = 0; k < kBins; ++k) {
        T[k] = T[k] > limit ? limit : T[k];
    }
    qolsExp_32f(T, T, kBins);
    for (int k = 0; k < kBins; ++k) {
        spectrum[2 * k] = T[k];
        spectrum[2 * k + 1] = 0;
    }
}

void designTaps(const Qol32f* pLPC, int order, int mode, const QolsPostFilterState_RTA* pState,
                Qol32f* taps) {
    Qol32f h[kLength + 2], L[kBins], T[kBins];
    numerator(pLPC, order, mode, h);
    qolsFFTFwd_RToCCS_32f(h, h, pState->pSpec, pState->pWorkMem);
    ownPostFilter_RTA_lg_32f_32f(h, L);
    const Extremes e = ownFindMaxMinLog_RTA_32f(L, tables::rgfltLogScale_32f[mode]);
    ownPostFilter_RTA_pw_32f_32f(L, e, tables::rgfltComFac1_32f[mode], T);
    const Qol32f limit = ownCalcSpecLog_RTA_32f(
        T, (e.top - e.bottom) * tables::rgfltMultFac1_32f[mode], tables::rgfltMultFac2_32f[mode]);
    ownPostFilter_RTA_exp_32f(T, limit, h);
    qolsFFTInv_CCSToR_32f(h, h, pState->pSpec, pState->pWorkMem);
    taps[0] = 1.0f;
    for (int i = 1; i < kTaps; ++i) {
        taps[i] = h[0] != 0 ? h[i] / h[0] : 0.0f;
    }
}

/// The frame through the taps in place, chunk by chunk, so that any length runs on a fixed buffer.
void filterFrame(Memory& m, Qol32f* x, Qol32s len) {
    Qol32f buffer[kHistory + kChunk];
    for (int i = 0; i < kHistory; ++i) {
        buffer[i] = m.past[kHistory - 1 - i];
    }
    for (Qol32s at = 0; at < len; at += kChunk) {
        const Qol32s n = len - at < kChunk ? len - at : kChunk;
        std::memcpy(buffer + kHistory, x + at, static_cast<std::size_t>(n) * sizeof *x);
        qolsConvBiased_32f(m.taps, kTaps, buffer, kHistory + n, x + at, n, kHistory);
        std::memmove(buffer, buffer + n, kHistory * sizeof *x);
    }
    for (int i = 0; i < kHistory; ++i) {
        m.past[i] = buffer[kHistory - 1 - i];
    }
}

} // namespace

QolStatus qolsPostFilterGetStateSize_RTA_32f(Qol32s* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    const Sizes s = transformSizes();
    *pSize =
        (static_cast<Qol32s>(sizeof(QolsPostFilterState_RTA)) + s.spec + s.init + s.work + 7) & ~7;
    return qolStsNoErr;
}

QolStatus qolsPostFilterInit_RTA_32f(QolsPostFilterState_RTA* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    const Sizes s = transformSizes();
    auto* areas = reinterpret_cast<Qol8u*>(pState + 1);
    pState->pSpecMem = areas;
    pState->pInitMem = areas + s.spec;
    pState->pWorkMem = areas + s.spec + s.init;
    qolsFFTInit_R_32f(&pState->pSpec, kOrder, fftDivFwdByN, 0, pState->pSpecMem, pState->pInitMem);
    return qolStsNoErr;
}

QolStatus qolsPostFilter_RTA_32f_I(const Qol32f* pLPC, Qol32s order, Qol32f* pSrcDst, Qol32s len,
                                   Qol32s valMode, Qol32f* pMem,
                                   QolsPostFilterState_RTA* pState) noexcept {
    if (anyNull(pLPC, pSrcDst, pMem) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (order < 2 || order > kMostOrder) {
        return qolStsRangeErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (valMode < 0 || valMode > kMostMode) {
        return qolStsRangeErr;
    }
    Memory m;
    std::memcpy(&m, pMem, sizeof m);
    designTaps(pLPC, order, valMode, pState, m.taps);
    const Qol64f before = sumOfMagnitudes(pSrcDst, len);
    filterFrame(m, pSrcDst, len);
    const Qol32f g = ownGainControl_MSRTA_32f(before, sumOfMagnitudes(pSrcDst, len));
    ownAGCFilter_RTA_32f_I(pSrcDst, len, 0.01f * g, &m.agc);
    std::memcpy(pMem, &m, sizeof m);
    return qolStsNoErr;
}

} // namespace qolsc
