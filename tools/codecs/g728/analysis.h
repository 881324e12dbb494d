// SPDX-License-Identifier: Apache-2.0
// A backward analysis of G.728: hybrid window, test for an ill-conditioned result, recursion,
// bandwidth expansion (Annex G, blocks 36 to 38, 43 to 45, 49 to 51).
#pragma once

#include "qolsc/g728.h"

#include <span>
#include <vector>

namespace qolsc::tools::g728 {

inline constexpr int kShortOrder = 10, kLongOrder = 50;

struct Window {
    std::vector<Qol8u> record;
    const QolsWinHybridState_G728* state; ///< in the record
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
