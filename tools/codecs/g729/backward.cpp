// SPDX-License-Identifier: Apache-2.0
// Backward LP analysis of G.729 Annex E.
#include "codecs/g729/backward.h"

#include "numeric/basop.h"
#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>

namespace qolsc::tools::g729 {

namespace {

using namespace basop;

constexpr Qol16s kExpansion = 32113; // 0.98, Q15
constexpr int kInterpolationStart = 4506, kInterpolationStep = 410;
constexpr int kMostCounted = 100, kLeastCounted = 10;

/// Lag window of the backward analysis, lags 1 to 30, Q31.
constexpr Qol32s kLagWindow[kBackwardOrder] = {
    2147252352, 2147202688, 2147120000, 2147004032, 2146855040, 2146673024, 2146457728, 2146209536,
    2145928192, 2145613952, 2145266432, 2144886016, 2144472704, 2144026240, 2143546880, 2143034624,
    2142489344, 2141911296, 2141300224, 2140656512, 2139979776, 2139270400, 2138528128, 2137753344,
    2136945920, 2136105600, 2135232896, 2134327552, 2133389696, 2132419328};

} // namespace

void initBackward(Backward& b) {
    b = Backward{};
    qolsWinHybridInit_G729E_16s(b.window.data());
}

BackwardFilter analyseBackward(Backward& b) {
    Qol32s r[kBackwardCoeffs];
    qolsWinHybrid_G729E_16s32s(b.speech.data(), r, b.window.data());
    for (int i = 1; i < kBackwardCoeffs; ++i) {
        r[i] = Mpy_32(L_Extract(r[i]), L_Extract(kLagWindow[i - 1]));
    }
    r[0] = L_add(r[0], 1);
    const int n = norm_l(r[0]);
    for (int i = 0; i < kBackwardCoeffs; ++i) {
        r[i] = L_shl(i == 0 ? r[0] : L_add(r[i], 1), n);
    }
    Qol16s reflection[kBackwardOrder], energy;
    qolsLevinsonDurbin_G729_32s16s(r, kBackwardOrder, b.stable.data(), reflection, &energy);
    if (std::find(b.stable.begin(), b.stable.end(), MAX_16) == b.stable.end()) {
        b.fitting = b.stable;
    }
    BackwardFilter expanded{};
    qolsMulPowerC_NR_16s_Sfs(b.fitting.data(), kExpansion, expanded.data(), kBackwardCoeffs, 15);
    return expanded;
}

BackwardFilter recoverBackward(Backward& b, const BackwardFilter& filter, bool lost) {
    BackwardFilter mixed{};
    for (std::size_t i = 0; i < mixed.size(); ++i) {
        mixed[i] = saturate16((filter[i] * (4096 - b.recovery) >> 12) +
                              (b.beforeLoss[i] * b.recovery >> 12));
    }
    if (lost && !b.lastLost) {
        b.beforeLoss = mixed;
    }
    return mixed;
}

void interpolateBackward(Backward& b, const BackwardFilter& filter,
                         Qol16s (*lpc)[kBackwardCoeffs]) {
    const int c = b.interpolation = std::max(0, b.interpolation - kInterpolationStep);
    for (std::size_t i = 0; i < filter.size(); ++i) {
        const Qol16s last = b.previous[i];
        lpc[1][i] = saturate16((filter[i] * (4096 - c) >> 12) + (last * c >> 12));
        lpc[0][i] = static_cast<Qol16s>((lpc[1][i] >> 1) + (last >> 1));
    }
}

void updateBackward(Backward& b, bool lost, const Qol16s* lpc, int order, const Qol16s* speech) {
    const bool backward = order == kBackwardOrder;
    if (!backward) {
        b.interpolation = kInterpolationStart;
    }
    b.recovery = lost ? 4096 : backward ? std::max(0, b.recovery - 2048) : 0;
    b.lastLost = lost;
    b.lastBackward = backward;
    b.run = backward ? b.run + 1 : 0;
    b.previous.fill(0);
    std::copy_n(lpc, order + 1, b.previous.begin());
    constexpr int kNew = 80;
    std::copy(b.speech.begin() + kNew, b.speech.end(), b.speech.begin());
    std::copy_n(speech, kNew, b.speech.end() - kNew);
}

void countMode(Backward& b, bool backward) {
    ++(backward ? b.backwardFrames : b.forwardFrames);
    const int counted = b.backwardFrames + b.forwardFrames;
    if (counted == kMostCounted) {
        b.backwardFrames /= 2;
        b.forwardFrames /= 2;
    }
    b.dominant = counted >= kLeastCounted && b.backwardFrames > 4 * b.forwardFrames;
}

} // namespace qolsc::tools::g729
