// SPDX-License-Identifier: Apache-2.0
// Open- and closed-loop lags of the AMR-WB encoder (3GPP TS 26.190 5.4, 5.7).
#include "codecs/amrwb/encoder.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

constexpr int kLeastOpenLag = 18;
constexpr Qol16s kWeightingFactor = 30147; // 0.92, Q15

/// Normalised correlation of the high-passed signal at a lag, Q15.
Qol16s openLoopGain(const Qol16s* h, int len, int lag) {
    const Qol32s r0 = macSum(0, h, h - lag, len);
    const Qol32s r1 = macSum(1, h - lag, h - lag, len);
    const Qol32s r2 = macSum(1, h, h, len);
    const int n0 = norm_l(r0), n1 = norm_l(r1), n2 = norm_l(r2);
    const Qol32s energies = L_mult(round_fx(L_shl(r1, n1)), round_fx(L_shl(r2, n2)));
    const int n = norm_l(energies);
    const Scaled inverse = inverseSqrt({L_shl(energies, n), 62 - n - n1 - n2});
    const Qol32s ratio = L_mult(round_fx(L_shl(r0, n0)), round_fx(inverse.mantissa));
    return round_fx(L_shl(ratio, 31 - n0 + inverse.exponent));
}

/// Normalised correlation between target and filtered past excitation, for lags first .. last.
void normalisedCorrelations(const Qol16s* e, const Qol16s* target, const Qol16s* h, int first,
                            int last, Qol16s* v) {
    Qol16s y[kSubframe];
    convolve(e - first, h, y);
    const int scale = -((dotProduct(target, target, kSubframe).exponent + 2) >> 1);
    for (int lag = first; lag <= last; ++lag) {
        const Scaled c = dotProduct(target, y, kSubframe);
        const Scaled inverse = inverseSqrt(dotProduct(y, y, kSubframe));
        v[lag - first] =
            round_fx(L_shl(L_mult(high(c), high(inverse)), c.exponent + inverse.exponent + scale));
        if (lag < last) {
            const Qol16s before = e[-lag - 1];
            for (int i = kSubframe - 1; i > 0; --i) {
                y[i] = add(mult(before, h[i]), y[i - 1]);
            }
            y[0] = mult(before, h[0]);
        }
    }
}

/// v at a fraction of a quarter, -3..3.
Qol16s interpolated(const Qol16s* v, int fraction) {
    if (fraction < 0) {
        fraction += 4;
        --v;
    }
    Qol32s sum = 0;
    for (int k = 0; k < 8; ++k) {
        sum = L_mac(sum, v[k - 3], inter4_1[3 - fraction + 4 * k]);
    }
    return round_fx(L_shl(sum, 1));
}

} // namespace

void weightSpeech(OpenLoop& o, const Qol16s* speech, const LpSet sets[4], int scaleChange) {
    Qol16s line[3 + kFrame];
    Qol16s* w = line + 3;
    for (int s = 0; s < 4; ++s) {
        LpSet weighted;
        weightLp(sets[s].data(), kWeightingFactor, kOrder, weighted.data());
        qolsResidualFilter_AMRWB_16s_Sfs(weighted.data(), kOrder, speech + s * kSubframe,
                                         w + s * kSubframe, kSubframe, 11);
    }
    qolsDeemphasize_AMRWB_NR_16s_I(kPreemphasis, w, kFrame, &o.deemphasis);

    Qol16s greatest = 0;
    for (int i = 0; i < kFrame; ++i) {
        greatest = std::max(greatest, abs_s(w[i]));
    }
    const int shift = std::min(norm_s(std::max(greatest, o.greatest)) - 3, 0);
    o.greatest = greatest;
    std::copy_n(o.decimation, 3, line);
    std::copy_n(w + kFrame - 3, 3, o.decimation);

    const int change = scaleChange + shift - o.shift;
    o.shift = shift;
    std::copy_n(o.weighted + kFrame / 2, kMostOpenLag, o.weighted);
    std::copy_n(o.highPassed + kFrame / 2, kMostOpenLag, o.highPassed);
    scaleSignal(o.weighted, kMostOpenLag, change);
    scaleSignal(o.highPassed, kMostOpenLag, change);
    o.filterScale -= change;
    Qol16s* out = o.weighted + kMostOpenLag;
    for (int j = 0; j < kFrame / 2; ++j) {
        Qol32s sum = 0;
        for (int k = 0; k < 5; ++k) {
            sum = L_mac(sum, line[2 * j + k], firDecimate2[k]);
        }
        out[j] = round_fx(sum);
    }
    scaleSignal(out, kFrame / 2, shift);
}

int openLoopLag(OpenLoop& o, int start, int len) {
    const Qol16s* w = o.weighted + kMostOpenLag + start;
    Qol32s best = MIN_32;
    int lag = 0;
    for (int i = kMostOpenLag; i >= kLeastOpenLag; --i) {
        Qol32s r = macSum(0, w, w - i, len);
        r = Mpy_32_16(L_Extract(r), corrWeight[83 + i]);
        if (o.weighting) {
            r = Mpy_32_16(L_Extract(r), corrWeight[98 + i - o.medianLag]);
        }
        if (r >= best) {
            best = r;
            lag = i;
        }
    }
    Qol16s* h = o.highPassed + kMostOpenLag + start;
    qolsHighPassFilter_AMRWB_16s_Sfs(w, h, len, highPassOf(o.highPass), o.filterScale);
    const Qol16s gain = openLoopGain(h, len, lag);
    if (gain > 19661) {
        std::copy_backward(o.lags, o.lags + 4, o.lags + 5);
        o.lags[0] = static_cast<Qol16s>(lag);
        o.medianLag = median5(o.lags);
        o.adaptation = 32767;
    } else {
        o.adaptation = mult(o.adaptation, 29491);
    }
    o.weighting = o.adaptation >= 26214;
    o.toneFlag = static_cast<Qol16s>(o.toneFlag >> 1);
    if (gain > 21298) {
        o.toneFlag = static_cast<Qol16s>(o.toneFlag | 0x4000);
    }
    return 2 * lag;
}

Lag closedLoopLag(const Qol16s* e, const Qol16s* target, const Qol16s* h, const LagRange& range,
                  int mode, bool absolute) {
    Qol16s values[16 + 8];
    const int first = range.least - 4;
    normalisedCorrelations(e, target, h, first, range.most + 4, values);
    int lag = range.least;
    for (int t = range.least + 1; t <= range.most; ++t) {
        lag = values[t - first] >= values[lag - first] ? t : lag;
    }
    if (absolute && lag >= (isLowRate(mode) ? 92 : 160)) {
        return {lag, 0};
    }
    const int step = isLowRate(mode) || (absolute && lag >= 128) ? 2 : 1;
    int fraction = lag == range.least ? 0 : step == 2 ? -2 : -3;
    const Qol16s* peak = values + (lag - first);
    Qol16s best = interpolated(peak, fraction);
    for (int f = fraction + step; f <= 3; f += step) {
        const Qol16s value = interpolated(peak, f);
        if (value > best) {
            best = value;
            fraction = f;
        }
    }
    return fraction < 0 ? Lag{lag - 1, fraction + 4} : Lag{lag, fraction};
}

Qol16s pitchGain(const Qol16s* target, const Qol16s* filtered, bool clip) {
    const Scaled xy = dotProduct(target, filtered, kSubframe);
    const Scaled yy = dotProduct(filtered, filtered, kSubframe);
    if (high(xy) < 0) {
        return 0;
    }
    const Qol16s ratio = div_s(static_cast<Qol16s>(high(xy) >> 1), high(yy));
    const Qol16s gain = shl(ratio, xy.exponent - yy.exponent);
    return std::min<Qol16s>(gain, clip ? 15565 : 19661);
}

} // namespace qolsc::tools::amrwb
