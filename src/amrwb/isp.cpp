// SPDX-License-Identifier: Apache-2.0
// Immittance spectral pairs: frequencies, LP coefficients, root search (TS 26.190 5.2.3, 5.2.4,
// 5.2.6).
#include "amrwb/amrwb.h"
#include "tables/amrwb_isf.h"

#include <algorithm>

namespace qolsc {
namespace {

using namespace basop;

/// Product of the factors 1 - 2 p z^-1 + z^-2 over every second ISP; unit is half the scale of 1.0
/// (256: Q23, 64: Q21). Only the first half of the symmetric result is formed.
void ispPolynomial(const Qol16s* pIsp, Qol32s* f, int factors, Qol16s unit) {
    f[0] = 32768 * unit;
    f[1] = -2 * unit * pIsp[0];
    for (int i = 2; i <= factors; ++i) {
        const Qol16s q = pIsp[2 * (i - 1)];
        f[i] = f[i - 2];
        for (int j = i; j >= 2; --j) {
            f[j] = L_sub(f[j], L_shl(Mpy_32_16(L_Extract(f[j - 1]), q), 1));
            f[j] = L_add(f[j], f[j - 2]);
        }
        f[1] = L_msu(f[1], q, unit);
    }
}

/// Chebyshev sum of a polynomial of half order n at x = cos(w), double precision; Q15 times 2^-8,
/// -32768 avoided so that products of two values stay in range.
Qol16s chebyshev(Qol16s x, const Qol16s* f, int n) {
    Dpf b2 = L_Extract(2 * f[0] * 4096);
    Dpf b1 = L_Extract(L_mac(L_shl(Mpy_32_16(b2, x), 1), f[1], 4096));
    for (int i = 2; i < n; ++i) {
        Qol32s t = L_mac(L_mac(Mpy_32_16(b1, x), b2.hi, -16384), f[i], 2048);
        t = L_sub(L_shl(t, 1), 2 * b2.lo);
        b2 = b1;
        b1 = L_Extract(t);
    }
    Qol32s t = L_mac(Mpy_32_16(b1, x), b2.hi, MIN_16);
    t = L_mac(L_sub(t, 2 * b2.lo), f[n], 2048);
    return std::max<Qol16s>(extract_h(L_shl(t, 6)), -MAX_16);
}

constexpr int kGridIntervals = 100;
constexpr int kMostHalfOrder = (kGridIntervals + 1) / 2;

struct Interval {
    Qol16s xLow, yLow, xHigh, yHigh;
};

/// Two bisections, then the secant.
Qol16s rootInside(Interval v, const Qol16s* f, int n) {
    for (int k = 0; k < 2; ++k) {
        const auto xMid = static_cast<Qol16s>((v.xLow >> 1) + (v.xHigh >> 1));
        const Qol16s yMid = chebyshev(xMid, f, n);
        if (v.yLow * yMid <= 0) {
            v.xHigh = xMid;
            v.yHigh = yMid;
        } else {
            v.xLow = xMid;
            v.yLow = yMid;
        }
    }
    const Qol16s dy = sub(v.yHigh, v.yLow);
    if (dy == 0) {
        return v.xLow;
    }
    const Qol16s magnitude = abs_s(dy);
    const int e = norm_s(magnitude);
    const Qol16s inverse = div_s(16383, shl(magnitude, e));
    Qol16s slope = extract_l(L_shr(L_mult(sub(v.xHigh, v.xLow), inverse), 20 - e));
    if (dy < 0) {
        slope = negate(slope);
    }
    return sub(v.xLow, extract_l(L_shr(L_mult(v.yLow, slope), 11)));
}

/// True when all roots were found.
bool lpcToIsp(const Qol16s* pSrcLPC, Qol16s* pDstISP, int order) {
    const int h = order / 2;
    if (h > kMostHalfOrder) {
        return false; // more roots than the grid has intervals
    }
    Qol16s f1[kMostHalfOrder + 2] = {}, f2[kMostHalfOrder + 2] = {};
    for (int i = 0; i < h; ++i) {
        f1[i] = static_cast<Qol16s>((pSrcLPC[i] + pSrcLPC[order - i] + 1) >> 1);
        f2[i] = static_cast<Qol16s>((pSrcLPC[i] - pSrcLPC[order - i] + 1) >> 1);
    }
    f1[h] = pSrcLPC[h];
    for (int i = 2; i < h; ++i) {
        f2[i] = add(f2[i], f2[i - 2]); // divides by 1 - z^-2
    }

    const Qol16s* f = f1;
    int n = h, found = 0;
    Qol16s x = tables::ispGrid[0];
    Qol16s y = chebyshev(x, f, n);
    for (int j = 1; j <= kGridIntervals && found < order - 1; ++j) {
        Interval v{tables::ispGrid[j], chebyshev(tables::ispGrid[j], f, n), x, y};
        x = v.xLow;
        y = v.yLow;
        if (v.yLow * v.yHigh <= 0) {
            // The roots of the two polynomials alternate; the next one is sought from here on.
            x = rootInside(v, f, n);
            pDstISP[found++] = x;
            f = f == f1 ? f2 : f1;
            n = f == f1 ? h : std::max(h - 1, 0);
            y = chebyshev(x, f, n);
        }
    }
    if (found < order - 1) {
        return false;
    }
    pDstISP[order - 1] = shl(pSrcLPC[order], 3);
    return true;
}

} // namespace

QolStatus qolsISPToISF_Norm_AMRWB_16s(const Qol16s* pSrcISP, Qol16s* pDstISF, Qol32s len) noexcept {
    if (anyNull(pSrcISP, pDstISF)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    int k = 127;
    for (int i = len - 1; i >= 0; --i) {
        if (i >= len - 2) {
            k = 127; // the last element isn't in order with the others
        }
        const Qol16s x = pSrcISP[i];
        while (tables::ispCosTbl[k] < x) {
            --k;
        }
        // Saturation bites only where the pairs aren't in order.
        const Qol32s inside = L_mult(sub(x, tables::ispCosTbl[k]), tables::ispSlopeTbl[k]);
        pDstISF[i] = add(round_fx(L_shl(inside, 4)), static_cast<Qol16s>(k << 7));
    }
    pDstISF[len - 1] >>= 1;
    return qolStsNoErr;
}

QolStatus qolsISFToISP_AMRWB_16s(const Qol16s* pSrcISF, Qol16s* pDstISP, Qol32s len) noexcept {
    if (anyNull(pSrcISF, pDstISP)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    for (int i = 0; i < len; ++i) {
        const int f = std::clamp(pSrcISF[i] * (i == len - 1 ? 2 : 1), 0, 16384);
        const int k = std::min(f >> 7, 127);
        const int step = tables::ispCosTbl[k + 1] - tables::ispCosTbl[k];
        pDstISP[i] = static_cast<Qol16s>(tables::ispCosTbl[k] + ((step * (f - (k << 7))) >> 7));
    }
    return qolStsNoErr;
}

QolStatus qolsISPToLPC_AMRWB_16s(const Qol16s* pSrcISP, Qol16s* pDstLPC, Qol32s len) noexcept {
    if (anyNull(pSrcISP, pDstLPC)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len > 20) {
        return qolStsSizeErr;
    }
    const int h = len / 2;
    const Qol16s c = pSrcISP[len - 1];
    Qol32s f1[11] = {}, f2[11] = {};
    if (h > 0) {
        // From half order 9 on the polynomials may pass Q23 and are built in Q21.
        const Qol16s unit = h > 8 ? 64 : 256;
        ispPolynomial(pSrcISP, f1, h, unit);
        ispPolynomial(pSrcISP + 1, f2, h - 1, unit);
        for (int i = 0; h > 8 && i <= h; ++i) {
            f1[i] = L_shl(f1[i], 2);
            f2[i] = L_shl(f2[i], 2);
        }
        for (int i = h - 1; i > 1; --i) {
            f2[i] = L_sub(f2[i], f2[i - 2]); // times 1 - z^-2
        }
        for (int i = 0; i < h; ++i) {
            f1[i] = L_add(f1[i], Mpy_32_16(L_Extract(f1[i]), c));
            f2[i] = L_sub(f2[i], Mpy_32_16(L_Extract(f2[i]), c));
        }
        for (int i = 1; i < h; ++i) {
            pDstLPC[i] = extract_l(L_shr_r(L_add(f1[i], f2[i]), 12));
            pDstLPC[len - i] = extract_l(L_shr_r(L_sub(f1[i], f2[i]), 12));
        }
        if (len & 1) {
            pDstLPC[h + 1] = 0;
        }
        pDstLPC[h] = extract_l(L_shr_r(L_add(f1[h], Mpy_32_16(L_Extract(f1[h]), c)), 12));
    }
    pDstLPC[0] = 4096;
    pDstLPC[len] = shr_r(c, 3);
    return qolStsNoErr;
}

QolStatus qolsLPCToISP_AMRWB_16s(const Qol16s* pSrcLPC, Qol16s* pDstISP,
                                 const Qol16s* pSrcPrevISP) noexcept {
    return qolsc::qolsLPCToISP_AMRWBE_16s(pSrcLPC, pSrcPrevISP, pDstISP, 16);
}

QolStatus qolsLPCToISP_AMRWBE_16s(const Qol16s* pSrcLPC, const Qol16s* pSrcPrevISP, Qol16s* pDstISP,
                                  Qol32s order) noexcept {
    if (anyNull(pSrcLPC, pSrcPrevISP, pDstISP)) {
        return qolStsNullPtrErr;
    }
    if (order < 1) {
        return qolStsSizeErr;
    }
    // The roots go to a buffer first: the previous pairs may stand where the new ones shall.
    Qol16s isp[2 * kMostHalfOrder + 2];
    const Qol16s* result = lpcToIsp(pSrcLPC, isp, order) ? isp : pSrcPrevISP;
    if (result != pDstISP) {
        std::copy_n(result, order, pDstISP);
    }
    return qolStsNoErr;
}

} // namespace qolsc
