// SPDX-License-Identifier: Apache-2.0
// Closed-loop pitch searches of G.729: main body (3.7), Annex A (A.3.7) and Annex D (D.5.4).
#include "common/kernels.h"
#include "common/pitch_kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/pitch.h"
#include "numeric/helpers.h"
#include "tables/g729_pitch.h"

#include <algorithm>

namespace qolsc {

namespace {

constexpr int kMargin = 4; // lags on either side that the interpolation needs
constexpr int kLongestWhole = 84;
constexpr int kMostLags = 10 + 2 * kMargin;

/// Window of integer lags.
struct Window {
    int low, high;
};

Window windowOf(int openDelay, int subFrame) {
    const int back = subFrame == 0 ? 3 : 5, width = subFrame == 0 ? 6 : 9;
    const int low = std::min(std::max(openDelay - back, kMinLag), kMaxLag - width);
    return {low, low + width};
}

bool isOutOfRange(int openDelay, int subFrame) {
    return openDelay < 18 || openDelay >= 146 || subFrame < 0 || subFrame > 1;
}

/// Value between the lags at fraction thirds from x.
Qol16s ownInterpol_3(const Qol16s* x, int fraction) {
    using tables::g729::inter_3;
    if (fraction < 0) {
        fraction += 3;
        --x;
    }
    Qol32s s = 0;
    for (int k = 0; k < 4; ++k) {
        s += x[-k] * inter_3[fraction + 3 * k] + x[1 + k] * inter_3[3 - fraction + 3 * k];
    }
    return wrap16((s + 0x4000) >> 15);
}

/// Lag of the largest value in the window; the larger lag wins ties.
int wholeLag(const Qol16s* value, Window w) {
    int best = w.low;
    for (int lag = w.low + 1; lag <= w.high; ++lag) {
        if (value[lag - w.low] >= value[best - w.low]) {
            best = lag;
        }
    }
    return best;
}

/// Best of the fractions from..to around a lag, the first of equals; thirds beyond 1 belong to the
/// neighbouring lag.
void bestFraction(const Qol16s* x, int lag, int from, int to, Qol16s* pDelay) {
    int best = from;
    Qol16s most = ownInterpol_3(x, from);
    for (int f = from + 1; f <= to; ++f) {
        const Qol16s v = ownInterpol_3(x, f);
        if (v > most) {
            most = v;
            best = f;
        }
    }
    const int step = best < -1 ? -1 : best > 1 ? 1 : 0;
    pDelay[0] = static_cast<Qol16s>(lag + step);
    pDelay[1] = static_cast<Qol16s>(best - 3 * step);
}

/// Dot product of two subframes, saturated to 32 bits.
Qol32s dotSaturated(const Qol16s* a, const Qol16s* b) {
    return saturate32(dotExact(a, b, kSubframe));
}

} // namespace

QolStatus qolsAdaptiveCodebookSearch_G729_16s(int valOpenDelay, const Qol16s* pSrcAdptTarget,
                                              const Qol16s* pSrcImpulseResponse, Qol16s* pSrcDstExc,
                                              Qol16s* pDstDelay, Qol16s* pDstAdptVector,
                                              Qol16s subFrame) noexcept {
    if (anyNull(pSrcAdptTarget, pSrcImpulseResponse, pSrcDstExc, pDstDelay, pDstAdptVector)) {
        return qolStsNullPtrErr;
    }
    if (isOutOfRange(valOpenDelay, subFrame)) {
        return qolStsSizeErr;
    }
    const Window w = windowOf(valOpenDelay, subFrame);
    Qol16s value[kMostLags];
    _qolsMeanSquareWeightedError_16s(pSrcDstExc + kPastExcitation, pSrcAdptTarget,
                                     pSrcImpulseResponse, w.low - kMargin, w.high + kMargin, value);
    const int lag = wholeLag(value + kMargin, w);
    if (subFrame == 0 && lag > kLongestWhole) {
        pDstDelay[0] = static_cast<Qol16s>(lag);
        pDstDelay[1] = 0;
    } else {
        bestFraction(value + kMargin + (lag - w.low), lag, -2, 2, pDstDelay);
    }
    return qolsc::qolsDecodeAdaptiveVector_G729_16s(pDstDelay, pSrcDstExc, pDstAdptVector);
}

QolStatus qolsAdaptiveCodebookSearch_G729A_16s(int valOpenDelay, const Qol16s* pSrcAdptTarget,
                                               const Qol16s* pSrcImpulseResponse,
                                               Qol16s* pSrcDstExc, Qol16s* pDstDelay,
                                               Qol16s* pDstAdptVector, Qol16s subFrame) noexcept {
    if (anyNull(pSrcAdptTarget, pSrcImpulseResponse, pSrcDstExc, pDstDelay, pDstAdptVector)) {
        return qolStsNullPtrErr;
    }
    if (isOutOfRange(valOpenDelay, subFrame)) {
        return qolStsSizeErr;
    }
    const Window w = windowOf(valOpenDelay, subFrame);
    Qol16s* exc = pSrcDstExc + kPastExcitation;
    Qol16s d[kSubframe]; // target filtered backward
    qolsc::qolsCrossCorr_NormM_16s(pSrcImpulseResponse, pSrcAdptTarget, kSubframe, d);

    Qol32s sums[kMostLags]; // falling lags
    corrLags(d, exc - w.high, kSubframe, sums, w.high - w.low + 1);
    int lag = w.low;
    for (int t = w.low + 1; t <= w.high; ++t) {
        if (sums[w.high - t] > sums[w.high - lag]) {
            lag = t;
        }
    }

    ownAdaptiveCodebookVector_G729_16s(exc, lag, 0);
    std::copy_n(exc, kSubframe, pDstAdptVector);
    int best = 0;
    if (subFrame != 0 || lag <= kLongestWhole) {
        Qol32s most = dotSaturated(d, exc);
        for (const int fraction : {-1, 1}) {
            ownAdaptiveCodebookVector_G729_16s(exc, lag, fraction);
            const Qol32s c = dotSaturated(d, exc);
            if (c > most) {
                most = c;
                best = fraction;
                std::copy_n(exc, kSubframe, pDstAdptVector);
            }
        }
        std::copy_n(pDstAdptVector, kSubframe, exc);
    }
    pDstDelay[0] = static_cast<Qol16s>(lag);
    pDstDelay[1] = static_cast<Qol16s>(best);
    return qolStsNoErr;
}

QolStatus qolsAdaptiveCodebookSearch_G729D_16s(int valOpenDelay, const Qol16s* pSrcAdptTarget,
                                               const Qol16s* pSrcImpulseResponse,
                                               const Qol16s* pSrcExc, Qol16s subFrame,
                                               Qol16s* pDstDelay) noexcept {
    if (anyNull(pSrcAdptTarget, pSrcImpulseResponse, pSrcExc, pDstDelay)) {
        return qolStsNullPtrErr;
    }
    if (isOutOfRange(valOpenDelay, subFrame)) {
        return qolStsSizeErr;
    }
    const Window w = windowOf(valOpenDelay, subFrame);
    Qol16s value[kMostLags];
    _qolsMeanSquareWeightedError_16s(pSrcExc + kPastExcitation, pSrcAdptTarget, pSrcImpulseResponse,
                                     w.low - kMargin, w.high + kMargin, value);
    const int lag = wholeLag(value + kMargin, w);
    int from = 0, to = 0;
    const int below = w.high - lag;
    if (subFrame == 0) {
        from = lag > kLongestWhole ? 0 : -2;
        to = -from;
    } else if (below >= 3 && below <= 6) { // thirds in the middle of the window only
        from = below == 6 ? 0 : -2;
        to = below == 3 ? 0 : 2;
    }
    bestFraction(value + kMargin + (lag - w.low), lag, from, to, pDstDelay);
    return qolStsNoErr;
}

} // namespace qolsc
