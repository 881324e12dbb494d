// SPDX-License-Identifier: Apache-2.0
// Closed-loop pitch search of the AMR encoder (3GPP TS 26.090 5.6.1). The library's search keeps
// the low 16 bits of filtered excitation and normalised correlation, where the standard's C code
// (TS 26.073) saturates them; full-scale square waves take the correlation that far. Subframes in
// which that could happen are searched here with the standard's operators, all others by the
// library, with the same result.
#include "codecs/amr/encoder.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amr {

using namespace basop;

namespace {

constexpr int kMostLag = 143;
constexpr int kMargin = 4;    // lags on either side that the interpolation needs
constexpr int kMostSpan = 20; // lags of a window, its ends included

/// How a subframe's lag is searched and coded.
struct Window {
    int low, high;
    bool absolute, thirds;
    bool fourBits;
    int reference; ///< of a code in four bits: the lag from which it reaches all of the window
};

Window windowOf(int mode, int n, const Qol16s* openLags, int lastLag) {
    const bool lowest = mode <= k515;
    Window w{};
    w.absolute = n == 0 || (n == 2 && !lowest);
    w.thirds = mode != k122;
    w.fourBits = !w.absolute && mode <= k67;
    const int below = w.absolute ? (lowest ? 5 : 3) : mode == k795 ? 10 : 5;
    const int range = w.absolute ? 2 * below : 2 * below - 1;
    const int centre = w.absolute ? openLags[n / 2] : lastLag;
    w.low = std::min(std::max(centre - below, w.thirds ? 20 : 18), kMostLag - range);
    w.high = w.low + range;
    w.reference = w.low + 5;
    return w;
}

/// Bounds of what the library's search forms, from the energy of the excitation and the sum of
/// magnitudes of the response: a filtered sample, with room for roundings, and by Cauchy and
/// Schwarz the energy and every sum of products with the target.
bool staysInRange(const Qol16s* exc, const Subframe& s, const Window& w) {
    Qol64s energy = 0, targetEnergy = 0;
    int most = 0, response = 0;
    for (const Qol16s* x = exc - w.high - kMargin; x < exc - w.low + kMargin + kSubframe; ++x) {
        energy += *x * *x;
        most = std::max(most, std::abs(*x));
    }
    for (int i = 0; i < kSubframe; ++i) {
        response += std::abs(s.impulse[i]);
        targetEnergy += s.target[i] * s.target[i];
    }
    const Qol64s gain = response; // Q12
    return most * gain <= Qol64s{32000} << 12 && energy <= (Qol64s{1} << 55) / (gain * gain + 1) &&
           targetEnergy < 1 << 29;
}

/// Correlations of the target with the filtered excitation of each lag over the root of its
/// energy, from w.low - kMargin on.
void correlate(const Qol16s* exc, const Subframe& s, const Window& w, Qol16s* value) {
    const int first = w.low - kMargin, last = w.high + kMargin;
    Qol16s y[kSubframe];
    filtered(exc - first, s.impulse, y);
    // At a quarter where the energy asks for it.
    const int down = macSum(0, y, y, kSubframe) > 1 << 26 ? 2 : 0;
    for (Qol16s& v : y) {
        v = static_cast<Qol16s>(v >> down);
    }
    for (int lag = first; lag <= last; ++lag) {
        const Dpf root = L_Extract(inverseSqrt(macSum(0, y, y, kSubframe)));
        const Dpf sum = L_Extract(macSum(0, s.target, y, kSubframe));
        *value++ = extract_h(L_shl(Mpy_32(sum, root), 16));
        const Qol16s x = exc[-lag - 1];
        for (int i = kSubframe - 1; i > 0; --i) {
            y[i] = add(extract_h(L_shl(L_mult(x, s.impulse[i]), 3 - down)), y[i - 1]);
        }
        y[0] = static_cast<Qol16s>(x >> down);
    }
}

Qol16s between(const Qol16s* c, int sixths) {
    if (sixths < 0) {
        sixths += 6;
        --c;
    }
    Qol32s sum = 0;
    for (int i = 0; i < kMargin; ++i) {
        sum = L_mac(sum, c[-i], inter_6[sixths + 6 * i]);
        sum = L_mac(sum, c[1 + i], inter_6[6 - sixths + 6 * i]);
    }
    return round_fx(sum);
}

struct Lag {
    int whole, fraction;
};

Lag bestLag(const Qol16s* value, const Window& w) {
    const Qol16s* at = value + kMargin - w.low;
    int lag = w.low;
    for (int t = w.low + 1; t <= w.high; ++t) {
        lag = at[t] >= at[lag] ? t : lag;
    }
    int first = w.thirds ? -2 : -3, last = -first;
    if (w.absolute && lag > (w.thirds ? 84 : 94)) {
        return {lag, 0};
    }
    if (w.fourBits) {
        if (lag < w.reference - 2 || lag > w.reference + 1) {
            return {lag, 0};
        }
        first = lag == w.reference - 2 ? 0 : first;
        last = lag == w.reference + 1 ? 0 : last;
    }
    const int step = w.thirds ? 2 : 1; // sixths
    int best = first;
    Qol16s most = between(at + lag, step * first);
    for (int f = first + 1; f <= last; ++f) {
        const Qol16s v = between(at + lag, step * f);
        if (v > most) {
            most = v;
            best = f;
        }
    }
    // Half a step beyond the code's fractions begins the neighbouring lag.
    if (!w.thirds) {
        return best == -3 ? Lag{lag - 1, 3} : Lag{lag, best};
    }
    return best == -2 ? Lag{lag - 1, 1} : best == 2 ? Lag{lag + 1, -1} : Lag{lag, best};
}

int indexOf(Lag lag, const Window& w) {
    const int t = lag.whole, f = lag.fraction;
    if (!w.thirds) {
        return !w.absolute ? 6 * (t - w.low) + 3 + f : t <= 94 ? 6 * t - 105 + f : t + 368;
    }
    if (w.absolute) {
        return t <= 85 ? 3 * t - 58 + f : t + 112;
    }
    if (!w.fourBits) {
        return 3 * (t - w.low) + 2 + f;
    }
    const int p = w.reference, u = 3 * t + f, b = 3 * (p - 2);
    return u <= b ? t - p + 5 : u < 3 * (p + 1) ? u - b + 3 : t - p + 11;
}

} // namespace

void filtered(const Qol16s* x, const Qol16s* h, Qol16s* y) {
    int most = 0, response = 0;
    for (int i = 0; i < kSubframe; ++i) {
        most = std::max(most, std::abs(x[i]));
        response += std::abs(h[i]);
    }
    if (Qol64s{most} * response < 1 << 27) { // neither sums nor results saturate
        Qol32s sums[kSubframe] = {};
        for (int k = 0; k < kSubframe; ++k) {
            for (int i = 0; i < kSubframe - k; ++i) {
                sums[k + i] += x[k] * h[i];
            }
        }
        for (int i = 0; i < kSubframe; ++i) {
            y[i] = static_cast<Qol16s>(sums[i] >> 12);
        }
        return;
    }
    for (int i = 0; i < kSubframe; ++i) {
        Qol32s sum = 0;
        for (int k = 0; k <= i; ++k) {
            sum = L_mac(sum, x[k], h[i - k]);
        }
        y[i] = extract_h(L_shl(sum, 3));
    }
}

Qol16s searchAdaptiveSaturating(int mode, int n, const Qol16s* openLags, Qol16s* past, Qol16s& lag,
                                Subframe& s) {
    const Window w = windowOf(mode, n, openLags, lag);
    Qol16s value[kMostSpan + 2 * kMargin];
    correlate(past + kPastExcitation, s, w, value);
    const Lag best = bestLag(value, w);
    const auto index = static_cast<Qol16s>(indexOf(best, w));
    // Decoding the index makes the adaptive vector.
    Qol16s previous = lag, ltp = lag, decoded = lag;
    qolsAdaptiveCodebookDecode_GSMAMR_16s(index, &previous, &ltp, past, &decoded, s.adaptive,
                                          static_cast<Qol16s>(n), 0, 0, 0, kRateCode[mode]);
    lag = static_cast<Qol16s>(best.whole);
    return index;
}

Qol16s searchAdaptive(int mode, int n, const Qol16s* openLags, Qol16s* past, Qol16s& lag,
                      Subframe& s) {
    if (!staysInRange(past + kPastExcitation, s, windowOf(mode, n, openLags, lag))) {
        return searchAdaptiveSaturating(mode, n, openLags, past, lag, s);
    }
    Qol16s fraction, index;
    qolsAdaptiveCodebookSearch_GSMAMR_16s(s.target, s.impulse, openLags, &lag, past, &fraction,
                                          &index, s.adaptive, static_cast<Qol16s>(n),
                                          kRateCode[mode]);
    return index;
}

} // namespace qolsc::tools::amr
