// SPDX-License-Identifier: Apache-2.0
// Lower and upper band synthesis of AMR-WB (3GPP TS 26.190 6.2, 6.3).
#include "codecs/amrwb/highband.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>

namespace qolsc::tools::amrwb {

using namespace basop;

LowBand makeLowBand() { return {{}, 0, makeHighPass(HP50_A, HP50_B, 2)}; }

void synthesizeLowBand(LowBand& b, const LpSet& a, const Qol16s* exc, int q, Qol16s* out) {
    LpSet scaled = a;
    scaled[0] = static_cast<Qol16s>(a[0] >> q);
    Qol32s* y = b.synthesis + kOrder;
    qolsSynthesisFilter_AMRWB_16s32s_I(scaled.data(), kOrder, exc, y, kSubframe);
    qolsDeemphasize_AMRWB_32s16s(kPreemphasis / 2, y, out, kSubframe, &b.deemphasis);
    std::copy_n(b.synthesis + kSubframe, kOrder, b.synthesis);
    highPass50(b.highPass, out, kSubframe);
}

void filter31(Fir31& f, const Qol16s* taps, int shift, Qol16s* x, int len) {
    Qol16s line[30 + kSubframe16k];
    std::copy_n(f.past, 30, line);
    for (int i = 0; i < len; ++i) {
        line[30 + i] = static_cast<Qol16s>(x[i] >> shift);
    }
    for (int i = 0; i < len; ++i) {
        x[i] = round_fx(macSum(0, line + i, taps, 31));
    }
    std::copy_n(line + len, 30, f.past);
}

HighBand makeHighBand() { return {kSeed, makeHighPass(HP400_A, HP400_B, 2), {}, {}, {}}; }

Scaled inverseRatio(const Scaled& e1, Scaled e2) {
    Qol16s n2 = high(e2);
    if (n2 > high(e1)) {
        n2 = static_cast<Qol16s>(n2 >> 1);
        ++e2.exponent;
    }
    return inverseSqrt({L_deposit_h(div_s(n2, high(e1))), e2.exponent - e1.exponent});
}

void highBandNoise(HighBand& b, const Qol16s* exc, int q, Qol16s* noise) {
    for (int i = 0; i < kSubframe16k; ++i) {
        noise[i] = static_cast<Qol16s>(randomValue(b.seed) >> 3);
    }
    Qol16s scaled[kSubframe];
    std::copy_n(exc, kSubframe, scaled);
    scaleSignal(scaled, kSubframe, -3);
    Scaled e1 = dotProduct(scaled, scaled, kSubframe);
    e1.exponent -= 2 * (q - 3);
    const Scaled ratio = inverseRatio(e1, dotProduct(noise, noise, kSubframe16k));
    const Qol16s gain = extract_h(L_shl(ratio.mantissa, ratio.exponent + 1));
    for (int i = 0; i < kSubframe16k; ++i) {
        noise[i] = mult(noise[i], gain);
    }
}

Qol16s highBandLevel(HighBand& b, Qol16s* low, bool isNoise) {
    qolsHighPassFilter_AMRWB_16s_ISfs(low, kSubframe, highPassOf(b.levelFilter), 14);
    const Qol32s r0 = macSum(1, low, low, kSubframe);
    const Qol32s r1 = macSum(1, low + 1, low, kSubframe - 1);
    const int n = norm_l(r0);
    const Qol16s c0 = extract_h(L_shl(r0, n)), c1 = extract_h(L_shl(r1, n));
    const Qol16s tilt = c1 > 0 ? div_s(c1, c0) : Qol16s{0};
    const Qol16s g1 = sub(32767, tilt);
    const Qol16s g2 = shl(mult(g1, 20480), 1);
    Qol16s level = mult(32767, isNoise ? g2 : g1);
    if (level != 0) {
        level = add(level, 1);
    }
    return std::max<Qol16s>(level, 3277);
}

void shapeHighBand(HighBand& b, const Qol16s* a, int order, Qol16s* noise) {
    Qol16s weighted[21];
    Qol16s line[20 + kSubframe16k];
    if (order == kOrder) {
        std::fill_n(b.synthesis, 4, Qol16s{0});
    }
    std::copy_n(b.synthesis, 20, line);
    weightLp(a, order == kOrder ? 19661 : 29491, order, weighted);
    synthesis16(weighted, order, noise, line + 20, kSubframe16k);
    std::copy_n(line + 20, kSubframe16k, noise);
    std::copy_n(line + kSubframe16k, 20, b.synthesis);
    filter31(b.bandPass, fir6k7k, 2, noise, kSubframe16k);
}

namespace {

/// Which distance repeats best in the differences of the ISFs: 1, 2 or 3.
int bestRepetition(const Qol16s* d, Qol16s mean) {
    Qol32s c[5] = {};
    for (int s = 2; s <= 4; ++s) {
        for (int i = 7; i < 14; ++i) {
            const Dpf p = L_Extract(L_mult(sub(d[i], mean), sub(d[i - s], mean)));
            c[s] = L_add(c[s], Mpy_32(p, p));
        }
    }
    int m = c[2] > c[3] ? 2 : 3;
    m = c[4] > c[m] ? 4 : m;
    return m - 1;
}

/// ISFs of order 20 from those of order 16.
void extrapolateIsf(Qol16s* f) {
    Qol16s d[14];
    f[19] = f[15];
    for (int i = 1; i <= 14; ++i) {
        d[i - 1] = sub(f[i], f[i - 1]);
    }
    Qol32s sum = 0;
    for (int i = 3; i <= 14; ++i) {
        sum = L_mac(sum, d[i - 1], 2731);
    }
    Qol16s mean = round_fx(sum);
    const int k = norm_s(std::max<Qol16s>(*std::max_element(d, d + 14), 0));
    for (Qol16s& x : d) {
        x = shl(x, k);
    }
    mean = shl(mean, k);
    const int r = bestRepetition(d, mean);
    for (int i = 15; i <= 18; ++i) {
        f[i] = add(f[i - 1], sub(f[i - 1 - r], f[i - 2 - r]));
    }
    // Stretches the new ones to where the last one should lie.
    Qol16s t = add(mult(sub(sub(f[2], f[4]), f[3]), 5461), 20390);
    t = sub(std::min<Qol16s>(t, 19456), f[14]);
    const Qol16s t2 = sub(f[18], f[14]);
    const int k2 = norm_s(t2), k1 = norm_s(t) - 1;
    // Ordered ISFs never leave the range; a damaged stream may.
    const Qol16s factor = t > 0 && t2 > 0 ? div_s(shl(t, k1), shl(t2, k2)) : Qol16s{0};
    Qol16s step[4];
    for (int i = 15; i <= 18; ++i) {
        step[i - 15] = shl(mult(sub(f[i], f[i - 1]), factor), k2 - k1);
    }
    for (int i = 1; i < 4; ++i) {
        if (add(step[i], step[i - 1]) < 1280) {
            if (step[i] > step[i - 1]) {
                step[i - 1] = sub(1280, step[i]);
            } else {
                step[i] = sub(1280, step[i - 1]);
            }
        }
    }
    for (int i = 15; i <= 18; ++i) {
        f[i] = add(f[i - 1], step[i - 15]);
    }
    for (int i = 0; i < 19; ++i) {
        f[i] = mult(f[i], 26214); // 12.8 to 16 kHz
    }
}

} // namespace

void extrapolateLp(const Qol16s* isfOld, const Qol16s* isf, int subframe, Qol16s* a) {
    constexpr Qol16s weights[4] = {14746, 26214, 31457, 32767};
    const Qol16s w = weights[subframe];
    Qol16s f[20], isp[20];
    for (int i = 0; i < kOrder; ++i) {
        f[i] = mac_r(L_mult(isfOld[i], sub(32767, w)), isf[i], w);
    }
    extrapolateIsf(f);
    qolsISFToISP_AMRWB_16s(f, isp, 20);
    qolsISPToLPC_AMRWB_16s(isp, a, 20);
}

} // namespace qolsc::tools::amrwb
