// SPDX-License-Identifier: Apache-2.0
// A backward analysis of G.728: hybrid window, test for an ill-conditioned result, recursion,
// bandwidth expansion (Annex G, blocks 36 to 38, 43 to 45, 49 to 51).
#pragma once

#include "qolsc/g728.h"

#include <span>
#include <vector>

namespace qolsc::tools::g728 {

inline constexpr int kShortOrder = 10, kLongOrder = 50;

/// Lags 0 and M of the hybrid window at full precision. The standard keeps the old filter when the
/// value at lag M is exactly 0 before it is rounded, which the window's 16-bit output doesn't show.
struct LastLag {
    std::span<const Qol16s> window;
    int order, fresh, block, attenuation; ///< attenuation: 14 or 15
    std::vector<Qol16s> history, exponents;
    Qol16s first = 0, last = 0;
    int exponent = 31;
};

/// Takes the new samples in (with their exponents where there are blocks); true when lag M is 0.
bool lastLagVanishes(LastLag& lag, const Qol16s* samples, const Qol16s* exponents);

struct Window {
    std::vector<Qol8u> record;
    LastLag lag;
};
struct WindowForm {
    std::span<const Qol16s> table;
    int order, fresh, rest, block;
    Qol16s attenuation;
};
Window openWindow(const WindowForm& form);

/// Autocorrelation (order + 1) with the new samples; false when it is ill-conditioned.
bool autocorrelate(Window& window, const Qol16s* samples, Qol16s* exponents, Qol16s* correlation);

struct Predictor {
    Qol16s coefficients[kLongOrder];
    Qol16s reflection; ///< the first one, Q15
    Qol16s energy;
    Qol16s scale;
};
bool solve(const Qol16s* correlation, Predictor& p);
bool extend(const Qol16s* correlation, Predictor& p);

/// Coefficients times weights in Q14; false, with nothing written, when one doesn't fit.
bool expand(const Predictor& p, std::span<const Qol16s> weights, Qol16s* filter);

} // namespace qolsc::tools::g728
