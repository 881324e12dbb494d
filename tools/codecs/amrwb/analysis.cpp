// SPDX-License-Identifier: Apache-2.0
// Input conditioning and linear prediction of the AMR-WB encoder (3GPP TS 26.190 5.1, 5.2).
#include "codecs/amrwb/encoder.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

constexpr int kGuessed = 12; // samples behind the frame that only the window sees
constexpr int kMostScale = 8;
constexpr Qol16s kStableReflection = 32750;

/// 16 to 12.8 kHz; the last 12 values lean on zeros.
void downsample(Qol16s* past, const Qol16s* input, Qol16s* out) {
    Qol16s line[30 + kFrame16k + 15] = {};
    std::copy_n(past, 30, line);
    std::copy_n(input, kFrame16k, line + 30);
    for (int phase = 0; phase < 4; ++phase) {
        const auto taps = phaseTaps<4, 30>(firDown, phase);
        for (int j = phase; j < kSpeechNew; j += 4) {
            const Qol16s* x = line + (5 * j >> 2) + 1;
            out[j] = round_fx(L_shl(macSum(0, x, taps.data(), 30), 1));
        }
    }
    std::copy_n(line + kFrame16k, 30, past);
}

/// Left shifts that the pre-emphasised signal allows, 0..8.
int scaleAllowed(const Qol16s* x, Qol16s before) {
    Qol32s peak = 0;
    for (int i = 0; i < kSpeechNew; ++i) {
        const Qol32s y = L_msu(L_mult(x[i], 16384), before, kPreemphasis / 2);
        peak = std::max(peak, L_abs(y));
        before = x[i];
    }
    const Qol16s z = extract_h(peak);
    return z == 0 ? kMostScale : std::clamp(norm_s(z) - 1, 0, kMostScale);
}

/// Autocorrelation of the windowed speech, normalised, times the lag window.
void autocorrelation(const Qol16s* speech, Dpf* r) {
    Qol16s y[kSpeechBuffer];
    Qol32s energy = 16 * 65536;
    for (int i = 0; i < kSpeechBuffer; ++i) {
        y[i] = mult_r(speech[i], lpWindow[i]);
        energy = L_add(energy, L_mult(y[i], y[i]) >> 8);
    }
    const int shift = std::max(4 - (norm_l(energy) >> 1), 0);
    for (Qol16s& v : y) {
        v = shr_r(v, shift);
    }
    int n = 0;
    for (int lag = 0; lag <= kOrder; ++lag) {
        const Qol32s sum = macSum(lag == 0 ? 1 : 0, y, y + lag, kSpeechBuffer - lag);
        n = lag == 0 ? norm_l(sum) : n;
        r[lag] = L_Extract(L_shl(sum, n));
        if (lag > 0) {
            r[lag] = L_Extract(Mpy_32(r[lag], {lagWindowHigh[lag - 1], lagWindowLow[lag - 1]}));
        }
    }
}

/// -sign(t) * |t| / alpha, times 2^shift.
Qol32s reflection(Qol32s t, Dpf alpha, int shift) {
    const Qol32s k = L_shl(Div_32(L_abs(t), alpha), shift);
    return t > 0 ? L_negate(k) : k;
}

/// alpha * (1 - k^2), normalised; exponent counts the shifts.
Dpf shrinkError(Dpf alpha, Dpf k, int& exponent) {
    const Dpf rest = L_Extract(L_sub(MAX_32, L_abs(Mpy_32(k, k))));
    const Qol32s product = Mpy_32(alpha, rest);
    const int n = norm_l(product);
    exponent += n;
    return L_Extract(L_shl(product, n));
}

/// Levinson recursion in double precision; an unstable filter gives way to the last stable one.
void levinson(const Dpf* r, Qol16s* lastStable, Qol16s* lpc) {
    Dpf a[kOrder + 1], next[kOrder + 1];
    Dpf k = L_Extract(reflection(L_Comp(r[1]), r[0], 0));
    a[1] = L_Extract(L_Comp(k) >> 4);
    int exponent = 0;
    Dpf alpha = shrinkError(r[0], k, exponent);
    bool stable = true;
    for (int i = 2; i <= kOrder && stable; ++i) {
        Qol32s t = 0;
        for (int j = 1; j < i; ++j) {
            t = L_add(t, Mpy_32(r[j], a[i - j]));
        }
        t = L_add(L_shl(t, 4), L_Comp(r[i]));
        k = L_Extract(reflection(t, alpha, exponent));
        stable = abs_s(k.hi) <= kStableReflection;
        for (int j = 1; j < i; ++j) {
            next[j] = L_Extract(L_add(Mpy_32(k, a[i - j]), L_Comp(a[j])));
        }
        next[i] = L_Extract(L_Comp(k) >> 4);
        std::copy(next + 1, next + i + 1, a + 1);
        alpha = shrinkError(alpha, k, exponent);
    }
    for (int i = 1; i <= kOrder && stable; ++i) {
        lastStable[i - 1] = round_fx(L_shl(L_Comp(a[i]), 1));
    }
    lpc[0] = 4096;
    std::copy_n(lastStable, kOrder, lpc + 1);
}

} // namespace

int readSpeech(Encoder& e, const Qol16s* input) {
    Analysis& a = e.analysis;
    Qol16s x[kSpeechNew];
    downsample(a.downsampling, input, x);
    highPass50(a.highPass, x, kFrame);
    Record ahead = a.highPass;
    highPass50(ahead, x + kFrame, kGuessed);

    const int shift = scaleAllowed(x, a.preemphasis);
    const int scale = std::min({shift, a.pastShifts[0], a.pastShifts[1]});
    a.pastShifts[1] = a.pastShifts[0];
    a.pastShifts[0] = shift;
    const int change = scale - a.scale;
    a.scale = scale;
    const Qol16s last = x[kFrame - 1];
    qolsPreemphasize_AMRWB_16s_ISfs(kPreemphasis, x, kSpeechNew, 15 - scale, &a.preemphasis);
    a.preemphasis = last;

    std::copy_n(a.speech + kFrame, kSpeechPast, a.speech);
    std::copy_n(x, kSpeechNew, a.speech + kSpeechPast);
    scaleSignal(a.speech, kSpeechPast, change);
    scaleSignal(e.excitation, kPastExcitation, change);
    scaleSignal(e.synthesis, kOrder, change);
    scaleSignal(e.openLoop.decimation, 3, change);
    scaleSignal(&e.openLoop.deemphasis, 1, change);
    scaleSignal(&e.weighting, 1, change);
    return change;
}

void analyse(Analysis& a, Qol16s* lpc) {
    Dpf r[kOrder + 1];
    autocorrelation(a.speech, r);
    levinson(r, a.lastStable, lpc);
}

} // namespace qolsc::tools::amrwb
