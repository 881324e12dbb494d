// SPDX-License-Identifier: Apache-2.0
// Shared parts of the filter-bank voice activity detectors (TS 26.094 3.3, TS 26.194 3.3).
#include "common/vad_filterbank.h"

#include <algorithm>

namespace qolsc {
namespace {

using namespace basop;

constexpr Qol16s kStationarityFloor = 184; // least level that enters the stationarity ratio
constexpr int kStationarityLimit = 1000;
constexpr Qol16s kStationarityCount = 20;
constexpr Qol16s kLeastBackground = 40;

/// Twice the sum of the magnitudes.
Qol32s doubledMagnitudes(const Qol16s* p, int step, int from, int to) {
    Qol32s sum = 0;
    for (int i = from; i < to; ++i) {
        sum += 2 * abs_s(p[i * step]); // 64 values at most: no overflow
    }
    return sum;
}

/// Sum over the bands of the ratio between level and its average, larger over smaller, Q6.
Qol16s stationarity(const Qol16s* pLevel, const Qol16s* pAverage, int bands) {
    Qol16s sum = 0;
    for (int i = 0; i < bands; ++i) {
        const Qol16s num = std::max({pLevel[i], pAverage[i], kStationarityFloor});
        const Qol16s den = std::max(std::min(pLevel[i], pAverage[i]), kStationarityFloor);
        const int e = norm_s(den);
        const Qol16s ratio = div_s(static_cast<Qol16s>(num >> 1), shl(den, e));
        sum = add(sum, shr(ratio, 8 - e));
    }
    return sum;
}

void updateStationaryCount(const Qol16s* pLevel, int bands, const VadIndicators& ind,
                           const VadEstimates& est) {
    Qol16s& count = *est.statCount;
    if (ind.complexWarning != 0) {
        count = std::max<Qol16s>(count, 5);
    }
    if ((ind.pitchReg & 0x6000) == 0x6000 || (ind.toneFlag & 0x7C00) == 0x7C00 ||
        (ind.vadReg & 0x7F80) == 0) {
        count = kStationarityCount;
    } else if (stationarity(pLevel, est.aveLevel, bands) > kStationarityLimit) {
        count = kStationarityCount;
    } else if ((ind.vadReg & 0x4000) != 0 && count != 0) {
        --count;
    }
}

} // namespace

void vadSignalLevels(const Qol16s* pTree, const VadBand* pBands, int bands, Qol16s* pSubLevel,
                     Qol16s* pLevel) {
    for (int k = 0; k < bands; ++k) {
        const VadBand& band = pBands[k];
        const Qol16s* p = pTree + band.start;
        const Qol32s tail = doubledMagnitudes(p, band.step, band.count1, band.count2);
        const Qol32s carried = L_shl(pSubLevel[k], 16 - band.scale);
        const Qol32s total = tail + carried + doubledMagnitudes(p, band.step, 0, band.count1);
        pSubLevel[k] = extract_h(L_shl(tail, band.scale));
        pLevel[k] = extract_h(L_shl(total, band.scale));
    }
}

Qol32s vadSnrSum(const Qol16s* pLevel, const Qol16s* pBackground, int bands, int shift) {
    Qol32s sum = 0;
    for (int k = 0; k < bands; ++k) {
        const int e = norm_s(pBackground[k]);
        const Qol16s den = shl(pBackground[k], e);
        const Qol16s quotient =
            den > 0 ? wrap16((pLevel[k] >> 1) * 32768 / den) : MAX_16; // as the level, not negative
        const Qol16s ratio = shl(quotient, e - shift);
        sum = L_mac(sum, ratio, ratio);
    }
    return sum;
}

void ownNoiseEstimateUpdate(const Qol16s* pLevel, int bands, Qol16s mostBackground,
                            const VadIndicators& ind, const VadEstimates& est) {
    updateStationaryCount(pLevel, bands, ind, est);

    const Qol16s averaging = *est.statCount == kStationarityCount ? 32767
                             : (ind.vadReg & 0x4000) != 0         ? 3276
                                                                  : 16383;
    Qol16s up = 0, down = 1638, step = 0;
    if ((ind.vadReg & 0x7800) == 0 && (ind.pitchReg & 0x7800) == 0 && ind.complexHangCount == 0) {
        up = 1638, down = 2097, step = 2;
    } else if (*est.statCount == 0 && ind.complexHangCount == 0) {
        up = 491, down = 1867, step = 2;
    }
    for (int k = 0; k < bands; ++k) {
        const Qol16s average = est.aveLevel[k], background = est.bckrEst[k];
        est.aveLevel[k] = add(average, mult_r(averaging, sub(pLevel[k], average)));
        const Qol16s difference = sub(est.oldLevel[k], background);
        const Qol16s moved = difference < 0 ? add(-2, add(background, mult_r(down, difference)))
                                            : add(step, add(background, mult_r(up, difference)));
        est.bckrEst[k] = std::clamp(moved, kLeastBackground, mostBackground);
        est.oldLevel[k] = pLevel[k];
    }
}

} // namespace qolsc
