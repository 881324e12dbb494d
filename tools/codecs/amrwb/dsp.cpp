// SPDX-License-Identifier: Apache-2.0
// Excitation, gains and LP sets of AMR-WB (3GPP TS 26.190 5, 6).
#include "codecs/amrwb/dsp.h"

#include "codecs/amrwb/tables.h"
#include "qolsc/common.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {
constexpr Qol16s kInterpolation[3] = {14746, 26214, 31457}; // weight of the new ISPs, Q15
} // namespace

Qol32s macSum(Qol32s start, const Qol16s* x, const Qol16s* y, int len) {
    // While the magnitudes add up to less than 2^31 nothing can saturate on the way, and the order
    // doesn't matter.
    Qol64s sum = 0, magnitude = 0;
    for (int i = 0; i < len; ++i) {
        const Qol32s product = x[i] * y[i];
        sum += product;
        magnitude += std::abs(product);
    }
    if (2 * magnitude + std::abs(Qol64s{start}) <= MAX_32) {
        return static_cast<Qol32s>(start + 2 * sum);
    }
    for (int i = 0; i < len; ++i) {
        start = L_mac(start, x[i], y[i]);
    }
    return start;
}

Scaled dotProduct(const Qol16s* x, const Qol16s* y, int len) {
    const Qol32s sum = macSum(1, x, y, len);
    const int n = norm_l(sum);
    return {L_shl(sum, n), 30 - n};
}

Scaled inverseSqrt(Scaled x) {
    auto exponent = static_cast<Qol16s>(x.exponent);
    ownInvSqrt_32s16s_I(&x.mantissa, &exponent);
    return {x.mantissa, exponent};
}

void scaleSignal(Qol16s* x, int len, int shift) {
    for (int i = 0; i < len; ++i) {
        x[i] = round_fx(L_shl(L_deposit_h(x[i]), shift));
    }
}

Qol16s randomValue(Qol16s& seed) {
    seed = wrap16(seed * 31821 + 13849);
    return seed;
}

Qol16s median5(const Qol16s* x) {
    Qol16s sorted[5];
    std::copy_n(x, 5, sorted);
    std::sort(sorted, sorted + 5);
    return sorted[2];
}

void convolve(const Qol16s* x, const Qol16s* h, Qol16s* y) {
    qolsConvPartial_NR_16s(x, h, y, kSubframe);
}

void interpolateLp(const Qol16s* ispOld, const Qol16s* ispNew, LpSet sets[4]) {
    for (int s = 0; s < 3; ++s) {
        const Qol16s w = kInterpolation[s];
        Qol16s isp[kOrder];
        for (int i = 0; i < kOrder; ++i) {
            isp[i] = mac_r(L_mult(ispOld[i], static_cast<Qol16s>(32768 - w)), ispNew[i], w);
        }
        qolsISPToLPC_AMRWB_16s(isp, sets[s].data(), kOrder);
    }
    qolsISPToLPC_AMRWB_16s(ispNew, sets[3].data(), kOrder);
}

void weightLp(const Qol16s* a, Qol16s factor, int order, Qol16s* weighted) {
    Qol16s f = factor;
    weighted[0] = a[0];
    for (int j = 1; j <= order; ++j) {
        weighted[j] = round_fx(L_mult(a[j], f));
        f = round_fx(L_mult(f, factor));
    }
}

void synthesis16(const Qol16s* a, int order, const Qol16s* x, Qol16s* y, int len) {
    const auto gain = static_cast<Qol16s>(a[0] >> 1);
    for (int n = 0; n < len; ++n) {
        Qol32s sum = L_mult(x[n], gain);
        for (int j = 1; j <= order; ++j) {
            sum = L_msu(sum, a[j], y[n - j]);
        }
        y[n] = round_fx(L_shl(sum, 3));
    }
}

void adaptiveVector(Qol16s* e, int lag, int fraction) {
    const Qol16s* x = e - lag - 15;
    int phase = -fraction;
    if (phase < 0) {
        phase += 4;
        --x;
    }
    const auto taps = phaseTaps<4, 32>(inter4_2, phase);
    for (int j = 0; j <= kSubframe; ++j) {
        e[j] = round_fx(L_shl(macSum(0, x + j, taps.data(), 32), 1));
    }
}

void lowPassAdaptive(Qol16s* e) {
    Qol16s before = e[-1];
    for (int i = 0; i < kSubframe; ++i) {
        const Qol16s now = e[i];
        e[i] = mac_r(L_mac(L_mult(5898, before), 20972, now), 5898, e[i + 1]);
        before = now;
    }
}

void sharpen(Qol16s* x, int lag, int fraction) {
    const int distance = lag + (fraction == 3 ? 1 : 0);
    for (int i = distance; i < kSubframe; ++i) {
        x[i] = mac_r(L_deposit_h(x[i]), x[i - distance], 27853);
    }
}

LagRange lagRangeAround(int lag) {
    const int least = std::max(kLeastLag, lag - 8);
    return least + 15 > kMostLag ? LagRange{kMostLag - 15, kMostLag} : LagRange{least, least + 15};
}

PredictedGain predictGain(const GainPredictor& p, Qol32s base) {
    for (int i = 0; i < 4; ++i) {
        base = L_mac(base, gainPredictor[i], p.past[i]);
    }
    // dB to the logarithm of base 2.
    const Dpf log2 = L_Extract(L_mult(extract_h(base), 5443) >> 8);
    return {extract_l(ownPow2(14, log2.lo)), log2.hi - 14};
}

Qol32s codeGain(Qol16s factor, const PredictedGain& g) {
    return L_shl(L_mult(factor, g.mantissa), g.exponent + 4);
}

void pushPast(GainPredictor& p, Qol16s value) {
    std::copy_backward(p.past, p.past + 3, p.past + 4);
    p.past[0] = value;
}

void updatePredictor(GainPredictor& p, Qol16s factor) {
    Qol16s exponent, fraction;
    ownLog2(factor, &exponent, &fraction);
    const Qol32s dB = Mpy_32_16({sub(exponent, 11), fraction}, 24660); // 20 log10
    pushPast(p, extract_l(dB >> 3));
}

Qol16s voicing(const Qol16s* adaptive, int scaleBits, Qol16s pitchGain, const Qol16s* code,
               Qol16s codeGain16) {
    const Scaled e1 = dotProduct(adaptive, adaptive, kSubframe);
    const Qol32s square = L_mult(pitchGain, pitchGain);
    int k = norm_l(square);
    Qol16s n1 = mult(high(e1), extract_h(L_shl(square, k)));
    const int x1 = e1.exponent - 2 * scaleBits - k - 10;

    const Scaled e2 = dotProduct(code, code, kSubframe);
    k = norm_s(codeGain16);
    const Qol16s g = shl(codeGain16, k);
    Qol16s n2 = mult(high(e2), mult(g, g));
    const int x2 = e2.exponent - 2 * k;

    const int d = x1 - x2;
    n1 = shr(n1, d >= 0 ? 1 : 1 - d);
    n2 = shr(n2, d >= 0 ? d + 1 : 1);
    const Qol16s difference = sub(n1, n2);
    const Qol16s ratio = div_s(abs_s(difference), add(add(n1, n2), 1));
    return difference >= 0 ? ratio : negate(ratio);
}

Qol16s stability(const Qol16s* isf, const Qol16s* isfOld) {
    Qol32s distance = 0;
    for (int i = 0; i < kOrder - 1; ++i) {
        const Qol16s d = sub(isf[i], isfOld[i]);
        distance = L_mac(distance, d, d);
    }
    const Qol16s z = sub(20480, mult(extract_h(L_shl(distance, 8)), 26214));
    return std::max<Qol16s>(shl(z, 1), 0);
}

Qol16s takeIsfs(const Qol16s* isf, bool& firstFrame, Qol16s* ispOld, Qol16s* isfOld,
                LpSet sets[4]) {
    Qol16s isp[kOrder];
    qolsISFToISP_AMRWB_16s(isf, isp, kOrder);
    if (firstFrame) {
        firstFrame = false;
        std::copy_n(isp, kOrder, ispOld);
    }
    interpolateLp(ispOld, isp, sets);
    std::copy_n(isp, kOrder, ispOld);
    const Qol16s stab = stability(isf, isfOld);
    std::copy_n(isf, kOrder, isfOld);
    return stab;
}

Qol32s enhanceNoise(Qol32s gain, Qol16s stab, Qol16s voicingFactor, Qol32s& threshold) {
    const Qol16s fac = mult(stab, sub(16384, static_cast<Qol16s>(voicingFactor >> 1)));
    const Dpf split = L_Extract(gain);
    // Towards the threshold by 1.5 dB, not beyond it.
    const Qol32s moved = gain < threshold ? std::min(L_add(gain, Mpy_32_16(split, 6226)), threshold)
                                          : std::max(Mpy_32_16(split, 27536), threshold);
    threshold = moved;
    return L_add(Mpy_32_16(split, sub(32767, fac)), Mpy_32_16(L_Extract(moved), fac));
}

void excitation(const Qol16s* code, Qol16s codeGain16, const Qol16s* adaptive, Qol16s pitchGain,
                Qol16s* out) {
    for (int i = 0; i < kSubframe; ++i) {
        const Qol32s sum = L_mac(L_shl(L_mult(code[i], codeGain16), 5), adaptive[i], pitchGain);
        out[i] = round_fx(L_shl(sum, 1));
    }
}

void enhancedExcitation(const Qol16s* code, Qol16s voicingFactor, Qol16s codeGain16,
                        const Qol16s* adaptive, Qol16s pitchGain, Qol16s* out) {
    const Qol16s taps[2] = {0, static_cast<Qol16s>((voicingFactor >> 3) + 4096)};
    Qol16s enhanced[kSubframe];
    qolsHighPassFilter_Direct_AMRWB_16s(taps, code, enhanced, kSubframe, 0);
    excitation(enhanced, codeGain16, adaptive, pitchGain, out);
}

void comfortNoise(Qol32s energy, Qol16s& seed, Qol16s* noise) {
    const int n = norm_l(energy);
    const Qol16s level = extract_h(L_shl(energy, n));
    for (int i = 0; i < kFrame; ++i) {
        noise[i] = static_cast<Qol16s>(randomValue(seed) >> 4);
    }
    const Scaled inverse = inverseSqrt(dotProduct(noise, noise, kFrame));
    const Qol16s gain = mult(level, high(inverse));
    const int exponent = inverse.exponent + 15 - n + 4;
    for (int i = 0; i < kFrame; ++i) {
        noise[i] = shl(mult(noise[i], gain), exponent);
    }
}

Record makeHighPass(const Qol16s* a, const Qol16s* b, int order) {
    Qol32s size = 0;
    qolsHighPassFilterGetSize_AMRWB_16s(order, &size);
    Record r{std::vector<Qol8u>(static_cast<std::size_t>(size))};
    qolsHighPassFilterInit_AMRWB_16s(a, b, order, highPassOf(r));
    return r;
}

void highPass50(Record& r, Qol16s* x, int len) {
    qolsHighPassFilter_AMRWB_16s_ISfs(x, len, highPassOf(r), 12);
}

} // namespace qolsc::tools::amrwb
