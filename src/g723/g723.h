// SPDX-License-Identifier: Apache-2.0
// What the parts of the G.723.1 excitation search share.
#pragma once

#include "common/kernels.h"
#include "numeric/basop.h"
#include "qolsc/g723.h"
#include "tables/g723_search.h"

#include <algorithm>

namespace qolsc::g723 {

inline constexpr int kSubframe = 60, kPast = 145, kTaps = 5, kDelayed = kSubframe + kTaps - 1;
inline constexpr int kLeastLag = 18, kMostLag = 145;
/// Lags below this take the gain codebook of 85 entries at the high rate and a pulse train.
inline constexpr int kShortLag = 58;
inline constexpr Qol32s kRateLow = 2, kRateHigh = 4;
inline constexpr int kRowsHigh = 85, kRowsLow = 170, kProducts = 20;

/// Delayed excitation z[0..63] of a lag up to 145, repeated with the lag's period; samples before
/// the history count as 0. G.723.1 2.14.
void _qolsExcitationDelay_G723_16s(const Qol16s* pPrevExc, int lag, Qol16s* z);

/// True when no partial sum of products of two vectors with these energies leaves 2^(31-guard)
/// (Cauchy and Schwarz), so that a sum saturating at each step equals the plain one.
inline bool staysInside(Qol64s energy1, Qol64s energy2, int guard) {
    constexpr Qol64f kLimit = 4.6e18; // below 2^62
    const Qol64f scale = static_cast<Qol64f>(Qol64s{1} << 2 * guard);
    return static_cast<Qol64f>(energy1) * static_cast<Qol64f>(energy2) * scale < kLimit;
}

/// Sum of x[i] y[i], saturating at each step; plain where the energies allow it.
inline Qol32s dotSteps(const Qol16s* x, const Qol16s* y, int len, bool plain) {
    if (plain) {
        return dotWrap(x, y, len);
    }
    Qol32s s = 0;
    for (int i = 0; i < len; ++i) {
        s = basop::L_mac0(s, x[i], y[i]);
    }
    return s;
}

/// The same with doubled products.
inline Qol32s dotDoubledSteps(const Qol16s* x, const Qol16s* y, int len, bool plain) {
    if (plain) {
        return 2 * dotWrap(x, y, len);
    }
    Qol32s s = 0;
    for (int i = 0; i < len; ++i) {
        s = basop::L_mac(s, x[i], y[i]);
    }
    return s;
}

} // namespace qolsc::g723
