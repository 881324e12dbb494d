// SPDX-License-Identifier: Apache-2.0
// What the pitch files of AMR share: the parameters of the lags by rate, the adaptive vector.
// 3GPP TS 26.090 §5.6.1.
#pragma once

#include "gsm/amr_rates.h"

namespace qolsc::amr {

/// How the lags of one rate are searched and coded.
struct LagRules {
    Qol16s maxFracLag; ///< above it an absolute lag is whole
    bool thirds;       ///< resolution 1/3, else 1/6
    Qol16s firstFrac, lastFrac;
    Qol16s absoluteLow, absoluteRange; ///< window around the open-loop lag
    Qol16s deltaLow, deltaRange;       ///< window around the lag of the last subframe
    Qol16s minLag;
    bool fourBits; ///< differential lags in four bits
};

constexpr LagRules lagRulesOf(Qol32s rate) {
    switch (rate) {
    case kRate475:
    case kRate515:
        return {84, true, -2, 2, 5, 10, 5, 9, 20, true};
    case kRate59:
    case kRate67:
        return {84, true, -2, 2, 3, 6, 5, 9, 20, true};
    case kRate795:
        return {84, true, -2, 2, 3, 6, 10, 19, 20, false};
    case kRate122:
        return {94, false, -3, 3, 3, 6, 5, 9, 18, false};
    default: // 7.4 and 10.2
        return {84, true, -2, 2, 3, 6, 5, 9, 20, false};
    }
}

/// True where the lag stands for itself: subframes 0 and 2, at 4.75 and 5.15 kbit/s only 0.
constexpr bool isAbsolute(int subFrame, Qol32s rate) {
    return subFrame == 0 || (subFrame == 2 && rate != kRate475 && rate != kRate515);
}

/// Range of whole lags.
struct LagWindow {
    int low, high;
};
constexpr LagWindow lagWindow(int centre, int below, int range, int minLag) {
    const int low = centre - below < minLag ? minLag : centre - below;
    return low + range > kMaxLag ? LagWindow{kMaxLag - range, kMaxLag}
                                 : LagWindow{low, low + range};
}

/// The last lag held where a four-bit code reaches everything around it.
constexpr int fourBitReference(int prevLag, LagWindow w) {
    const int p = prevLag - w.low > 5 ? w.low + 5 : prevLag;
    return w.high - p > 4 ? w.high - 4 : p;
}

/// Adaptive vector of 40 samples at exc from the samples before it; lag 11 to 144, the fraction in
/// thirds or sixths of a sample. Plain form, then with eight samples a step.
void adaptiveVectorPlain(Qol16s* exc, int lag, int frac, bool thirds);
void adaptiveVector(Qol16s* exc, int lag, int frac, bool thirds);

} // namespace qolsc::amr
