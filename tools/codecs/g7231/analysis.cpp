// SPDX-License-Identifier: Apache-2.0
// Analysis of G.723.1's encoder.
#include "codecs/g7231/analysis.h"

#include "codecs/g7231/tables.h"

#include <algorithm>

namespace qolsc::tools::g7231 {

using namespace basop;

Correlation correlate(const Qol16s* x) {
    constexpr int kWindow = 180;
    Qol16s v[kWindow];
    Correlation c{};
    const int shift = normaliseThree(x, kWindow, v);
    for (int i = 0; i < kWindow; ++i) {
        v[i] = mult_r(v[i], tables::kHamming[i]);
    }
    const auto sumAt = [&v](int lag) {
        Qol32s s = 0;
        for (int j = lag; j < kWindow; ++j) {
            s = L_mac0(s, v[j], v[j - lag]);
        }
        return s;
    };
    Qol32s energy = sumAt(0);
    energy = L_add(energy, energy >> 10);
    const int n = norm_l(energy);
    c.r[0] = round_fx(L_shl(energy, n));
    if (c.r[0] == 0) {
        c.shift = 40;
        return c;
    }
    for (int i = 1; i <= kOrder; ++i) {
        c.r[i] = round_fx(L_mls(L_shl(sumAt(i), n), tables::kBinomial[i - 1]));
    }
    c.shift = n + 2 * shift;
    return c;
}

namespace {

/// Value of a polynomial at grid point i.
Qol32s valueAt(const Qol16s* p, int i) {
    Qol32s s = 0;
    for (int j = 0; j <= 5; ++j) {
        s = L_mac(s, p[5 - j], tables::kCosine[(i * j) & 511]);
    }
    return s;
}

void lspPolynomials(const Vector10& a, Qol16s (&p)[2][6]) {
    Qol32s l[2][6];
    Vector10 b;
    for (std::size_t i = 0; i < kOrder; ++i) {
        b[i] = mult_r(a[i], tables::kBandExpansion[i]);
    }
    l[0][0] = l[1][0] = 0x02000000;
    for (std::size_t i = 0; i < 5; ++i) {
        const Qol32s low = b[i] * 4096, high = b[9 - i] * 4096;
        l[0][i + 1] = L_sub(L_sub(L_negate(l[0][i]), low), high);
        l[1][i + 1] = L_add(L_sub(l[1][i], low), high);
    }
    l[0][5] >>= 1;
    l[1][5] >>= 1;
    Qol32s most = 0;
    for (const auto& row : l) {
        for (const Qol32s v : row) {
            most = std::max(most, L_abs(v));
        }
    }
    const int n = norm_l(most);
    for (int s = 0; s < 2; ++s) {
        for (int i = 0; i < 6; ++i) {
            p[s][i] = round_fx(L_shl(l[s][i], n));
        }
    }
}

} // namespace

Vector10 predictorToLsp(const Vector10& a, const Vector10& previous) {
    Qol16s p[2][6];
    lspPolynomials(a, p);
    Vector10 lsp;
    std::size_t found = 0;
    int side = 0;
    Qol32s before = valueAt(p[0], 0);
    for (int i = 1; i < 256; ++i) {
        Qol32s value = valueAt(p[side], i);
        if ((value < 0) != (before < 0)) {
            const Qol32s old = L_abs(before), sum = L_add(L_abs(value), old);
            const int e = norm_l(sum);
            lsp[found++] = add(div_l(L_shl(old, e) >> 8, extract_h(L_shl(sum, e))),
                               static_cast<Qol16s>((i - 1) << 7));
            if (found == kOrder) {
                return lsp;
            }
            side ^= 1;
            value = valueAt(p[side], i);
        }
        before = value;
    }
    return previous;
}

std::array<int, 3> quantiseLsp(const Vector10& lsp, const Vector10& previous) {
    Vector10 w, c;
    Qol16s most = 0;
    for (std::size_t i = 0; i < kOrder; ++i) {
        const Qol16s below = i == 0 ? Qol16s{32767} : sub(lsp[i], lsp[i - 1]);
        const Qol16s above = i == 9 ? Qol16s{32767} : sub(lsp[i + 1], lsp[i]);
        const Qol16s d = std::min(below, above);
        w[i] = d > 32 ? div_s(32, d) : Qol16s{32767};
        most = std::max(most, w[i]);
        const Qol16s mean = tables::kLspMean[i];
        c[i] = sub(sub(lsp[i], mean), mult_r(sub(previous[i], mean), 12288));
    }
    for (Qol16s& v : w) {
        v = shl(v, norm_s(most));
    }
    std::array<int, 3> indices{};
    for (std::size_t band = 0; band < 3; ++band) {
        const std::size_t first = 3 * band, length = band == 2 ? 4 : 3;
        Qol32s best = -1;
        for (int index = 0; index < 256; ++index) {
            const Qol16s* v = band == 0   ? tables::kLspBand0[index]
                              : band == 1 ? tables::kLspBand1[index]
                                          : tables::kLspBand2[index];
            Qol32s cross = 0, energy = 0;
            Qol16s m[4];
            for (std::size_t j = 0; j < length; ++j) {
                m[j] = mult_r(w[first + j], v[j]);
                cross = L_mac(cross, c[first + j], m[j]);
            }
            energy = L_shl(cross, 1);
            for (std::size_t j = 0; j < length; ++j) {
                energy = L_msu(energy, v[j], m[j]);
            }
            if (energy > best) {
                best = energy;
                indices[band] = index;
            }
        }
    }
    return indices;
}

int openLoopLag(const Qol16s* x) {
    constexpr int kTarget = 120, kLeast = 18, kMost = 142;
    int bestExponent = 30, bestLag = kLeast;
    Qol16s bestC = 0x4000, bestE = 0x7FFF;
    Qol32s energy = 0;
    energy = dotDoubled(x - kLeast + 1, x - kLeast + 1, kTarget);
    for (int lag = kLeast; lag <= kMost; ++lag) {
        energy = L_msu(energy, x[kTarget - lag], x[kTarget - lag]);
        energy = L_mac(energy, x[-lag], x[-lag]);
        const Qol32s sum = dotDoubled(x, x - lag, kTarget);
        if (sum <= 0) {
            continue;
        }
        const int e = norm_l(sum);
        const Qol16s top = round_fx(L_shl(sum, e));
        const Qol32s square = L_mult(top, top);
        const int f = norm_l(square), g = norm_l(energy);
        Qol16s c = extract_h(L_shl(square, f));
        const Qol16s E = round_fx(L_shl(energy, g));
        int exponent = 2 * e + f - g;
        if (c >= E) {
            c = static_cast<Qol16s>(c >> 1);
            --exponent;
        }
        if (exponent > bestExponent) {
            continue;
        }
        bool take = exponent + 1 < bestExponent;
        if (!take) {
            const Qol16s t = exponent + 1 == bestExponent ? static_cast<Qol16s>(bestC >> 1) : bestC;
            const Qol32s own = L_mult(c, bestE), other = L_mult(E, t);
            take = L_sub(own, other) > 0 &&
                   (lag - bestLag < kLeast || L_sub(L_sub(own, own >> 2), other) > 0);
        }
        if (take) {
            bestExponent = exponent;
            bestC = c;
            bestE = E;
            bestLag = lag;
        }
    }
    return bestLag;
}

} // namespace qolsc::tools::g7231
