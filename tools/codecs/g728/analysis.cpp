// SPDX-License-Identifier: Apache-2.0
// Backward analysis of G.728.
#include "codecs/g728/analysis.h"

#include "numeric/blockfloat.h"

#include <algorithm>

namespace qolsc::tools::g728 {

using namespace blockfloat;

namespace {

/// The weighting analysis limits the exponent of its recursive part.
constexpr int kWeightingLimit = 41;

/// The two exponents' differences as right shifts of the recursive and the new part.
struct Shifts {
    int old, fresh;
};
Shifts shiftsOf(int oldExponent, int newExponent) {
    return {1 + std::max(oldExponent - newExponent, 0), 1 + std::max(newExponent - oldExponent, 0)};
}

Qol64s sumOf(const Qol16s* w, int first, int end, int lag) {
    Qol64s s = 0;
    for (int i = first; i < end; ++i) {
        s += Qol32s{w[i]} * w[i - lag];
    }
    return s;
}

} // namespace

bool lastLagVanishes(LastLag& lag, const Qol16s* samples, const Qol16s* exponents) {
    constexpr int kMostSamples = 105;
    const int length = static_cast<int>(lag.history.size());
    std::copy(lag.history.begin() + lag.fresh, lag.history.end(), lag.history.begin());
    std::copy_n(samples, lag.fresh, lag.history.end() - lag.fresh);
    int up;
    if (lag.block > 0) {
        const int blocks = lag.fresh / lag.block;
        std::copy(lag.exponents.begin() + blocks, lag.exponents.end(), lag.exponents.begin());
        std::copy_n(exponents, blocks, lag.exponents.end() - blocks);
        up = *std::min_element(lag.exponents.begin(), lag.exponents.end());
    } else {
        up = normVector(lag.history.data(), length, 15);
    }
    Qol16s w[kMostSamples];
    int own = up;
    for (int i = 0, block = 0, left = 0; i < length; ++i, --left) {
        if (lag.block > 0 && left == 0) {
            own = up + 1 - lag.exponents[static_cast<std::size_t>(block++)];
            left = lag.block;
        }
        const Qol32s p = Qol32s{lag.history[static_cast<std::size_t>(i)]} *
                         lag.window[static_cast<std::size_t>(length - 1 - i)];
        w[i] = roundHigh(own >= 0 ? p * (Qol64s{1} << std::min(own, 31)) : p >> std::min(-own, 31));
    }
    const int products = 2 * up, m = lag.order, start = m + lag.fresh;
    Shifts s = shiftsOf(lag.exponent, products);
    const Qol64s factor = 65536 - (1 << lag.attenuation);
    const Qol64s z0 =
        shiftRight(lag.first * factor, s.old) + shiftRight(sumOf(w, m, start, 0), s.fresh);
    const Qol64s zm =
        shiftRight(lag.last * factor, s.old) + shiftRight(sumOf(w, m, start, m), s.fresh);
    const int n = normBits(z0, 32);
    lag.first = roundHigh(scaleUp<Qol32s>(z0, n));
    lag.last = roundHigh(scaleUp<Qol32s>(zm, n));
    const int exponent = std::min(lag.exponent, products) + n - 1;
    s = shiftsOf(exponent, products);
    lag.exponent = lag.attenuation == 15 ? std::min(exponent, kWeightingLimit) : exponent;
    return shiftRight(lag.last * Qol64s{65536}, s.old) +
               shiftRight(sumOf(w, start, length, m), s.fresh) ==
           0;
}

Window openWindow(const WindowForm& form) {
    int size = 0;
    qolsWinHybridGetStateSize_G728_16s(form.order, form.fresh, form.rest, form.block, &size);
    Window window{std::vector<Qol8u>(static_cast<std::size_t>(size)),
                  {.window = form.table,
                   .order = form.order,
                   .fresh = form.fresh,
                   .block = form.block,
                   .attenuation = form.attenuation == 8192 ? 15 : 14,
                   .history = std::vector<Qol16s>(form.table.size()),
                   .exponents = {}}};
    if (form.block > 0) {
        window.lag.exponents.assign(form.table.size() / static_cast<std::size_t>(form.block), 16);
    }
    qolsWinHybridInit_G728_16s(form.table.data(), form.order, form.fresh, form.rest, form.block,
                               form.attenuation, window.record.data());
    return window;
}

bool autocorrelate(Window& window, const Qol16s* samples, Qol16s* exponents, Qol16s* correlation) {
    const bool vanishes = lastLagVanishes(window.lag, samples, exponents);
    if (window.lag.block > 0) {
        qolsWinHybridBlock_G728_16s(0, samples, exponents, correlation, window.record.data());
    } else {
        qolsWinHybrid_G728_16s(0, samples, correlation, window.record.data());
    }
    return !vanishes;
}

bool solve(const Qol16s* correlation, Predictor& p) {
    return qolsLevinsonDurbin_G728_16s_Sfs(correlation, kShortOrder, p.coefficients, &p.reflection,
                                           &p.energy, &p.scale) == qolStsNoErr;
}

bool extend(const Qol16s* correlation, Predictor& p) {
    return qolsLevinsonDurbin_G728_16s_ISfs(correlation, kShortOrder, kLongOrder, p.coefficients,
                                            &p.energy, &p.scale) == qolStsNoErr;
}

bool expand(const Predictor& p, std::span<const Qol16s> weights, Qol16s* filter) {
    Qol16s expanded[kLongOrder];
    for (std::size_t i = 0; i < weights.size(); ++i) {
        const Qol64s x = (Qol64s{p.coefficients[i]} * weights[i]) * (1 << (16 - p.scale));
        if (x != saturate32(x)) {
            return false;
        }
        expanded[i] = roundHigh(x);
    }
    std::copy_n(expanded, weights.size(), filter);
    return true;
}

} // namespace qolsc::tools::g728
