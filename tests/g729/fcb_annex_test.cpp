// SPDX-License-Identifier: Apache-2.0
// Codebook searches of Annexes D and E against models written out position by position (G.729
// D.5.8, E.3.8).
#include "g729/fcb_data.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qolsc::test {
namespace {

using namespace basop;

/// Sums of products of the response delayed to two positions, exact.
Qol64s gram(const std::vector<Qol16s>& h, int i, int j) {
    Qol64s sum = 0;
    for (int k = std::max(i, j); k < 40; ++k) {
        sum += h[k - i] * h[k - j];
    }
    return sum;
}

std::vector<Qol16s> scaled(const std::vector<Qol16s>& h) {
    const auto e = static_cast<Qol32s>(gram(h, 0, 0));
    std::vector<Qol16s> s(40);
    for (int i = 0; i < 40; ++i) {
        s[i] = (e >> 15) < 1       ? Qol16s{0}
               : (e >> 15) < 32001 ? wrap16(h[i] << ((norm_l(e) - 1) >> 1))
                                   : shr(h[i], 1);
    }
    return s;
}

TEST(G729Fcb, TwoPulseSearchIsTheModel) {
    Random random;
    constexpr int kPasses[8][3] = {{0, 1, 0}, {1, 1, 1}, {0, 3, 0}, {3, 4, 1},
                                   {1, 2, 1}, {1, 3, 0}, {1, 4, 1}, {2, 3, 0}};
    for (int n = 0; n < 600; ++n) {
        const std::vector<Qol16s> corr = correlation(random, n % 3), h = response(random),
                                  g = scaled(h);
        const Signs s = signsOf(corr);
        Qol64s square = 0, alpha = 32767;
        int at[2] = {1, 0};
        for (const auto& pass : kPasses) {
            for (int i = pass[0]; i < 40; i += 5) {
                for (int j = pass[1]; j < 40; j += 5) {
                    const Qol16s rr = mult(saturate16(gram(g, i, j) >> 15), mult(s.p[i], s.p[j]));
                    const Qol16s a =
                        wrap16(((gram(g, i, i) >> 15) + (gram(g, j, j) >> 15) + 2 * rr) >> 4);
                    const Qol16s c = mult(add(s.d[i], s.d[j]), add(s.d[i], s.d[j]));
                    if (c * alpha - square * a > 0) {
                        square = c;
                        alpha = a;
                        at[0] = pass[2] ? i : j;
                        at[1] = pass[2] ? j : i;
                    }
                }
            }
        }
        std::vector<Qol16s> want(40), code(40), y(40);
        for (const int i : at) {
            want[i] = add(want[i], shr(s.p[i], 2));
        }
        Qol16s sign = 0, position = 0;
        qolsFixedCodebookSearch_G729D_16s(corr.data(), h.data(), code.data(), y.data(), &sign,
                                          &position);
        ASSERT_EQ(code, want) << "case " << n;
        ASSERT_EQ(sign, (s.p[at[0]] > 0) + 2 * (s.p[at[1]] > 0));
    }
}

/// Annex E up to the pulses' positions.
struct PairSearch {
    std::vector<Qol16s> h = std::vector<Qol16s>(40);
    Qol16s d[40], p[40];
    int peakAt[5];
    Qol32s peak[5];

    static Qol16s rootWord(const Qol16s* x) {
        Qol64s e = 0;
        for (int i = 0; i < 40; ++i) {
            e += 2 * x[i] * Qol64s{x[i]};
        }
        Qol32s r = std::max(Qol32s{512}, saturate32(e));
        qolsInvSqrt_32s_I(&r, 1);
        return static_cast<Qol16s>(r >> 11);
    }
    PairSearch(const std::vector<Qol16s>& x, const std::vector<Qol16s>& residual,
               const std::vector<Qol16s>& H) {
        Qol32s y[40];
        Qol64s total = 5;
        for (int i = 0; i < 40; ++i) {
            Qol64s sum = 0;
            for (int j = i; j < 40; ++j) {
                sum += x[j] * H[j - i];
            }
            y[i] = wrap32(sum);
        }
        for (int t = 0; t < 5; ++t) {
            Qol32s most = 0;
            for (int i = t; i < 40; i += 5) {
                most = std::max(most, L_abs(y[i]));
            }
            total += most;
        }
        const int shift = 17 - norm_l(saturate32(total));
        for (int i = 0; i < 40; ++i) {
            d[i] = saturate16(shift > 0 ? (Qol64s{y[i]} + (Qol64s{1} << (shift - 1))) >> shift
                                        : Qol64s{y[i]} * (Qol64s{1} << -shift));
        }
        const Qol16s kr = mult(rootWord(residual.data()), MAX_16), kd = rootWord(d);
        for (int t = 0; t < 5; ++t) {
            peak[t] = -1;
            for (int i = t; i < 40; i += 5) {
                const Qol32s v = L_mac(L_mult(kr, residual[i]), kd, d[i]);
                p[i] = v >= 0 ? MAX_16 : MIN_16;
                d[i] = v >= 0 ? d[i] : negate(d[i]);
                if (L_abs(v) > peak[t]) {
                    peak[t] = L_abs(v);
                    peakAt[t] = i;
                }
            }
        }
        const Qol32s e = saturate32(2 * gram(H, 0, 0));
        const int k = norm_l(e) >> 1;
        Qol32s root = (e << (2 * k)) >> 12;
        qolsInvSqrt_32s_I(&root, 1);
        for (int i = 0; i < 40; ++i) {
            h[i] = mult(wrap16(H[i] * (1 << k)), extract_h(L_shl(root, 8)));
        }
    }
    Qol16s energy(int i) const { return static_cast<Qol16s>((2 * gram(h, i, i) + 0x10000) >> 17); }
    Qol16s cross(int i, int j) const {
        const auto r = static_cast<Qol16s>((2 * gram(h, i, j) + 0x8000) >> 16);
        return mult(r, (p[i] > 0) == (p[j] > 0) ? MAX_16 : MIN_16);
    }
    Qol16s term(const Qol16s* vec, int i) const {
        Qol64s sum = 0;
        for (int n = i; n < 40; ++n) {
            sum += h[n - i] * vec[n];
        }
        return add(mult(round_fx(saturate32(2 * sum)), p[i]), energy(i));
    }
    std::vector<Qol16s> search(int pulses) const {
        Qol32s pair[5];
        for (int t = 0; t < 5; ++t) {
            pair[t] = L_add(peak[t], peak[(t + 1) % 5]);
        }
        Qol64s psk = -1, alpk = 1;
        std::vector<Qol16s> best(40);
        for (int trial = 0; trial < 3; ++trial) {
            const int start = static_cast<int>(std::max_element(pair, pair + 5) - pair);
            pair[start] = -1;
            int x = peakAt[start], y = peakAt[(start + 1) % 5];
            Qol16s ps = add(d[x], d[y]), alp = add(add(energy(x), energy(y)), cross(x, y));
            Qol16s vec[40] = {};
            std::vector<Qol16s> code(40);
            for (int j = 0; j < pulses; j += 2) {
                if (j > 0) {
                    Qol64s sq = -1, alpha = 1;
                    const int t = (start + j) % 5, u = (start + j + 1) % 5;
                    Qol16s terms[40];
                    for (int i = 0; i < 40; ++i) {
                        terms[i] = term(vec, i);
                    }
                    x = t;
                    y = u;
                    for (int i = t; i < 40; i += 5) {
                        for (int l = u; l < 40; l += 5) {
                            const Qol16s s = add(add(ps, d[i]), d[l]), c = mult(s, s);
                            const Qol16s a = add(add(alp, terms[i]), add(terms[l], cross(i, l)));
                            if (alpha * c - sq * a > 0) {
                                sq = c;
                                alpha = a;
                                x = i;
                                y = l;
                            }
                        }
                    }
                    ps = add(add(ps, d[x]), d[y]);
                    alp = static_cast<Qol16s>(alpha);
                }
                for (const int at : {x, y}) {
                    code[at] = add(code[at], p[at] > 0 ? 4096 : -4096);
                    for (int i = at; i < 40; ++i) {
                        vec[i] = p[at] > 0 ? add(vec[i], h[i - at]) : sub(vec[i], h[i - at]);
                    }
                }
            }
            if (alpk * mult(ps, ps) - psk * alp > 0) {
                psk = mult(ps, ps);
                alpk = alp;
                best = code;
            }
        }
        return best;
    }
};

TEST(G729Fcb, PairSearchesAreTheModel) {
    Random random;
    for (int n = 0; n < 400; ++n) {
        const std::vector<Qol16s> h = response(random),
                                  x = noise16(random, 40, n % 4 ? 2000 : 32767),
                                  r = n % 3 ? noise16(random, 40, 1000) : extremes16(random, 40);
        const PairSearch model(x, r, h);
        for (const Qol16s mode : {0, 1}) {
            std::vector<Qol16s> code(40), y(40);
            Qol16s index[5];
            qolsFixedCodebookSearch_G729E_16s(mode, x.data(), r.data(), h.data(), code.data(),
                                              y.data(), index);
            ASSERT_EQ(code, model.search(mode ? 12 : 10)) << "case " << n << " mode " << mode;
        }
    }
}

} // namespace
} // namespace qolsc::test
