// SPDX-License-Identifier: Apache-2.0
// Filters, LP sets and gain prediction of AMR (3GPP TS 26.090 5.2.6, 5.8, 6.1).
#include "codecs/amr/dsp.h"

#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amr {

using namespace basop;

Qol32s macSum(Qol32s start, const Qol16s* x, const Qol16s* y, int len) {
    Qol64s sum = start, magnitudes = std::abs(Qol64s{start});
    for (int i = 0; i < len; ++i) {
        const Qol64s product = 2 * Qol64s{x[i]} * y[i];
        sum += product;
        magnitudes += std::abs(product);
    }
    if (magnitudes <= MAX_32) { // nothing on the way saturates
        return static_cast<Qol32s>(sum);
    }
    for (int i = 0; i < len; ++i) {
        start = L_mac(start, x[i], y[i]);
    }
    return start;
}

Qol16s median5(const Qol16s* x) {
    std::array<Qol16s, 5> v;
    std::copy_n(x, 5, v.begin());
    std::sort(v.begin(), v.end());
    return v[2];
}

Qol32s inverseSqrt(Qol32s x) {
    qolsInvSqrt_32s_I(&x, 1);
    return x;
}

Qol32s squareRoot(Qol32s x, int* pExponent) {
    *pExponent = 0;
    if (x <= 0) {
        return 0;
    }
    const int e = norm_l(x) & ~1;
    *pExponent = e;
    x = (x << e) >> 9;
    const int i = extract_h(x) - 16;
    const auto a = static_cast<Qol16s>(x >> 1 & 0x7FFF);
    return L_msu(L_deposit_h(kSquareRoot[i]), sub(kSquareRoot[i], kSquareRoot[i + 1]), a);
}

Qol32s highPass(HighPass& f, const Qol16s* b, const Qol16s* a, int shift, Qol16s x) {
    Qol32s y = L_add(Mpy_32_16(f.y1, a[1]), Mpy_32_16(f.y2, a[2]));
    y = L_mac(L_mac(L_mac(y, x, b[0]), f.x1, b[1]), f.x2, b[2]);
    y = L_shl(y, shift);
    f.x2 = f.x1;
    f.x1 = x;
    f.y2 = f.y1;
    f.y1 = L_Extract(y);
    return y;
}

void interpolateLp(const Qol16s* lspOld, const Qol16s* middle, const Qol16s* lsp, Qol16s* sets) {
    Qol16s between[4][kOrder];
    std::copy_n(lsp, kOrder, between[3]);
    if (middle != nullptr) {
        qolsInterpolate_G729_16s(middle, lspOld, between[0], kOrder);
        std::copy_n(middle, kOrder, between[1]);
        qolsInterpolate_G729_16s(middle, lsp, between[2], kOrder);
    } else {
        qolsInterpolate_GSMAMR_16s(lsp, lspOld, between[0], kOrder);
        qolsInterpolate_G729_16s(lsp, lspOld, between[1], kOrder);
        qolsInterpolate_GSMAMR_16s(lspOld, lsp, between[2], kOrder);
    }
    for (int n = 0; n < 4; ++n) {
        qolsLSPToLPC_GSMAMR_16s(between[n], sets + n * (kOrder + 1));
    }
}

void excitation(int mode, Qol16s pitch, Qol16s gain, const Qol16s* code, const Qol16s* adaptive,
                Qol16s* out) {
    const bool high = mode == k122;
    const Qol16s factor = high ? static_cast<Qol16s>(pitch >> 1) : pitch;
    for (int i = 0; i < kSubframe; ++i) {
        out[i] = round_fx(L_shl(L_mac(L_mult(adaptive[i], factor), code[i], gain), high ? 2 : 1));
    }
}

void reset(GainPredictor& p) {
    std::fill_n(p.past, 4, Qol16s{-14336});
    std::fill_n(p.past122, 4, Qol16s{-2381});
}

void update(GainPredictor& p, Qol16s log122, Qol16s log) {
    for (int i = 3; i > 0; --i) {
        p.past[i] = p.past[i - 1];
        p.past122[i] = p.past122[i - 1];
    }
    p.past[0] = log;
    p.past122[0] = log122;
}

PredictedGain predictGain(const GainPredictor& p, int mode, const Qol16s* code) {
    PredictedGain g{};
    Qol32s energy = macSum(0, code, code, kSubframe);
    Dpf log;
    if (mode == k122) {
        energy = L_mult(round_fx(energy), 26214);
        ownLog2(energy, &log.hi, &log.lo);
        const Qol32s q = ((log.hi - 30) * 65536) + (log.lo * 2);
        const Qol32s mean = macSum(783741, p.past122, kPredictor122, 4);
        const Dpf split = L_Extract(L_sub(mean, q) >> 1);
        g.exponent = split.hi;
        g.fraction = split.lo;
        return g;
    }
    struct Mean {
        Qol16s a, b;
    };
    constexpr Mean means[7] = {{16678, 64}, {16678, 64}, {16678, 64}, {32268, 32},
                               {32588, 32}, {17062, 64}, {16678, 64}};
    const int n = norm_l(energy);
    ownLog2(energy, &log.hi, &log.lo);
    if (mode == k795) {
        g.energy = extract_h(energy << n);
        g.energyExponent = static_cast<Qol16s>(-11 - n);
    }
    Qol32s sum = L_mac(Mpy_32_16(log, -24660), means[mode].a, means[mode].b);
    sum = macSum(L_shl(sum, 10), kPredictor, p.past, 4);
    const Dpf split = L_Extract(L_mult(extract_h(sum), mode == k74 ? 5439 : 5443) >> 8);
    g.exponent = split.hi;
    g.fraction = split.lo;
    return g;
}

Qol16s codeGain(int mode, const PredictedGain& g, Qol16s factor) {
    if (mode == k122) {
        const Qol16s gain = shl(extract_l(ownPow2(g.exponent, g.fraction)), 4);
        return shl(mult(gain, factor), 1);
    }
    return extract_h(
        L_shr(L_mult(factor, predictedMantissa(g)), (mode == k795 ? 9 : 10) - g.exponent));
}

void update475(GainPredictor& p, Qol16s factor) {
    Dpf log;
    ownLog2(factor, &log.hi, &log.lo);
    log.hi = static_cast<Qol16s>(log.hi - 12);
    update(p, add(shr_r(log.lo, 5), shl(log.hi, 10)), round_fx(L_shl(Mpy_32_16(log, 24660), 13)));
}

} // namespace qolsc::tools::amr
