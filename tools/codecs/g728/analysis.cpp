// SPDX-License-Identifier: Apache-2.0
// Backward analysis of G.728.
#include "codecs/g728/analysis.h"

#include "numeric/blockfloat.h"

#include <algorithm>
#include <cstdint>

namespace qolsc::tools::g728 {

using namespace blockfloat;

namespace {

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

/// Recursive part of a window at lags 0 and M.
struct Recursive {
    Qol16s first, last;
    int exponent;
};
Recursive recursiveOf(const QolsWinHybridState_G728& w) {
    return {w.pBuffer[0], w.pBuffer[w.order], w.pBuffer[w.order + 1]};
}

/// True when the value at lag M before its rounding was 0 in the window's last call; `before` is
/// the recursive part before that call.
bool lastLagVanishes(const QolsWinHybridState_G728& window, const Recursive& before) {
    constexpr int kMostSamples = 105;
    const int m = window.order, start = m + window.frameLen, length = start + window.nonRecLen;
    const Qol16s *samples = window.pBuffer + m + 2, *exponents = samples + length;
    const int blocks = window.totalBlocks, block = blocks > 0 ? length / blocks : length;
    const int up = blocks > 0 ? *std::min_element(exponents, exponents + blocks)
                              : normVector(samples, length, 15);
    Qol16s w[kMostSamples];
    for (int i = 0; i < length; ++i) {
        const int own = blocks > 0 ? up + 1 - exponents[i / block] : up;
        const Qol32s p = Qol32s{samples[i]} * window.pWindow[length - 1 - i];
        w[i] = roundHigh(own >= 0 ? p * (Qol64s{1} << std::min(own, 31)) : p >> std::min(-own, 31));
    }
    const int products = 2 * up;
    Shifts s = shiftsOf(before.exponent, products);
    const Qol64s factor = 65536 - (1 << window.attShift);
    const Qol64s energy =
        shiftRight(before.first * factor, s.old) + shiftRight(sumOf(w, m, start, 0), s.fresh);
    const int exponent = std::min(before.exponent, products) + normBits(energy, 32) - 1;
    s = shiftsOf(exponent, products);
    return shiftRight(window.pBuffer[m] * Qol64s{65536}, s.old) +
               shiftRight(sumOf(w, start, length, m), s.fresh) ==
           0;
}

} // namespace

Window openWindow(const WindowForm& form) {
    int size = 0;
    qolsWinHybridGetStateSize_G728_16s(form.order, form.fresh, form.rest, form.block, &size);
    Window window{std::vector<Qol8u>(static_cast<std::size_t>(size)), nullptr};
    qolsWinHybridInit_G728_16s(form.table.data(), form.order, form.fresh, form.rest, form.block,
                               form.attenuation, window.record.data());
    constexpr std::uintptr_t kAlignment = 16;
    const auto address = reinterpret_cast<std::uintptr_t>(window.record.data());
    window.state = reinterpret_cast<const QolsWinHybridState_G728*>(window.record.data() +
                                                                    (-address & (kAlignment - 1)));
    return window;
}

bool autocorrelate(Window& window, const Qol16s* samples, Qol16s* exponents, Qol16s* correlation) {
    const Recursive before = recursiveOf(*window.state);
    if (window.state->totalBlocks > 0) {
        qolsWinHybridBlock_G728_16s(0, samples, exponents, correlation, window.record.data());
    } else {
        qolsWinHybrid_G728_16s(0, samples, correlation, window.record.data());
    }
    // Only what is rounded to 0 can have been 0.
    return correlation[window.state->order] != 0 ||
           (correlation[0] > 0 && !lastLagVanishes(*window.state, before));
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
    const int up = 16 - p.scale, count = static_cast<int>(weights.size());
    Qol16s expanded[kLongOrder];
    Qol32s lost = 0; // bits that the shift pushes out
    for (int i = 0; i < count; ++i) {
        const Qol32s x = Qol32s{p.coefficients[i]} * weights[static_cast<std::size_t>(i)];
        const Qol32s shifted = x << up;
        lost |= (shifted >> up) ^ x;
        // Rounded in two steps, so that there's no carry out of the word.
        expanded[i] = static_cast<Qol16s>(std::min(((shifted >> 15) + 1) >> 1, 32767));
    }
    if (lost != 0) {
        return false;
    }
    std::copy_n(expanded, weights.size(), filter);
    return true;
}

} // namespace qolsc::tools::g728
