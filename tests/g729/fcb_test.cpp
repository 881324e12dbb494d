// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook searches against plain models written from the standard (G.729 3.8.1, A.3.8.1,
// D.5.8), on random, speech-like and extreme data.
#include "kit/data.h"
#include "numeric/basop.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qolsc::test {
namespace {

using namespace basop;
using Matrix = std::vector<Qol16s>;

constexpr int kBlockOf[5][5] = {
    {-1, 0, 1, 2, 3}, {0, -1, 4, 5, 6}, {1, 4, -1, 7, 8}, {2, 5, 7, -1, -1}, {3, 6, 8, -1, -1}};

/// Index of the correlation of two positions in the 616-element matrix.
int placeOf(int i, int j) {
    if (i == j) {
        return 8 * (i % 5) + i / 5;
    }
    if (i % 5 > j % 5) {
        std::swap(i, j);
    }
    return 40 + 64 * kBlockOf[i % 5][j % 5] + 8 * (i / 5) + j / 5;
}

/// A decaying response as of a weighted synthesis filter.
std::vector<Qol16s> response(Random& r) {
    std::vector<Qol16s> h(40);
    const double decay = uniformReal(r, 0.5, 0.97), turn = uniformReal(r, 0.1, 3);
    for (int i = 0; i < 40; ++i) {
        h[i] = static_cast<Qol16s>(4096 * std::pow(decay, i) * std::cos(turn * i));
    }
    return h;
}

std::vector<Qol16s> correlation(Random& r, int kind) {
    return kind == 0 ? noise16(r, 40, 8000) : kind == 1 ? noise16(r, 40) : extremes16(r, 40);
}

Matrix matrixOf(Random& r, int kind) {
    Matrix m(616);
    if (kind < 2) {
        qolsToeplizMatrix_G729_16s(response(r).data(), m.data());
        return m;
    }
    m = kind == 2 ? noise16(r, 616) : extremes16(r, 616);
    return m;
}

struct Result {
    std::vector<Qol16s> vector = std::vector<Qol16s>(40), index = std::vector<Qol16s>(2);
    Matrix matrix;
    Qol16s times = 0;
    bool operator==(const Result&) const = default;
};

struct Signs {
    std::array<Qol16s, 40> d, p;
};
Signs signsOf(const std::vector<Qol16s>& corr) {
    Signs s;
    for (int i = 0; i < 40; ++i) {
        s.d[i] = abs_s(corr[i]);
        s.p[i] = corr[i] >= 0 ? MAX_16 : MIN_16;
    }
    return s;
}

void encodePulses(const Signs& s, const int* at, Result& r) {
    int sign = 0, position = 0;
    for (int i = 0; i < 4; ++i) {
        r.vector[at[i]] = shr(s.p[at[i]], 2);
        sign |= (s.p[at[i]] > 0) << i;
        position |= (i < 3 ? at[i] / 5 : 2 * (at[i] / 5) + at[i] % 5 - 3) << (3 * i);
    }
    r.index = {static_cast<Qol16s>(sign), static_cast<Qol16s>(position)};
}

Result nestedModel(const std::vector<Qol16s>& corr, Matrix m, int times) {
    const Signs s = signsOf(corr);
    for (int i = 0; i < 40; ++i) {
        for (int j = 0; j < 40; ++j) {
            if (i % 5 < j % 5 && kBlockOf[i % 5][j % 5] >= 0) {
                m[placeOf(i, j)] = mult(m[placeOf(i, j)], mult(s.p[i], s.p[j]));
            }
        }
    }
    Qol16s most = 0;
    int sum = 0;
    for (int t = 0; t < 3; ++t) {
        Qol16s peak = MIN_16;
        for (int i = t; i < 40; i += 5) {
            peak = std::max(peak, s.d[i]);
            sum += s.d[i];
        }
        most = add(most, peak);
    }
    const auto mean = static_cast<Qol16s>(sum >> 3);
    const Qol16s thr = add(mult(sub(most, mean), 13107), mean);
    const auto rr = [&m](int i, int j) { return Qol32s{m[placeOf(i, j)]}; };
    int at[4] = {0, 1, 2, 3};
    Qol64s square = 0, alpha = 32767;
    Result r;
    for (int i0 = 0; i0 < 40; i0 += 5) {
        for (int i1 = 1; i1 < 40; i1 += 5) {
            for (int i2 = 2; i2 < 40 && times > -100000; i2 += 5) {
                const Qol16s ps = add(add(s.d[i0], s.d[i1]), s.d[i2]);
                if (ps <= thr) {
                    continue;
                }
                for (const int track : {3, 4}) {
                    for (int i3 = track; i3 < 40; i3 += 5) {
                        const Qol32s sumOf = rr(i0, i0) + rr(i1, i1) + rr(i2, i2) + rr(i3, i3) +
                                             2 * (rr(i0, i1) + rr(i0, i2) + rr(i1, i2) +
                                                  rr(i0, i3) + rr(i1, i3) + rr(i2, i3));
                        const Qol16s a = wrap16(sumOf >> 4);
                        const Qol16s c = mult(add(ps, s.d[i3]), add(ps, s.d[i3]));
                        if (c * alpha - square * a > 0) {
                            square = c;
                            alpha = a;
                            at[0] = i0, at[1] = i1, at[2] = i2, at[3] = i3;
                        }
                    }
                }
                if (--times <= 0) {
                    r.times = wrap16(times);
                    times = -1000000;
                }
            }
        }
    }
    if (times > -100000) {
        r.times = wrap16(times);
    }
    encodePulses(s, at, r);
    r.matrix = m;
    return r;
}

/// The trials of Annex A with the doubled, saturating products of the standard.
struct DepthFirst {
    const Signs& s;
    const Matrix& m;
    Qol32s psk = -1, alpk = 1;
    int at[4] = {0, 1, 2, 3};

    Qol16s rr(int i, int j) const { return m[placeOf(i, j)]; }

    static bool better(Qol16s sq, Qol16s alp, Qol32s sqk, Qol32s alpk) {
        return L_msu(L_mult(static_cast<Qol16s>(alpk), sq), static_cast<Qol16s>(sqk), alp) > 0;
    }

    void pass(const std::vector<int>& firsts, int trackB, int trackC, int trackD) {
        Qol32s sq = -1, alp = 1;
        Qol16s ps = 0;
        int a = firsts[0], b = trackB, c = trackC, d = trackD;
        for (const int i0 : firsts) {
            for (int i1 = trackB; i1 < 40; i1 += 5) {
                const Qol16s ps2 = add(s.d[i0], s.d[i1]);
                const Qol32s sum =
                    L_mac(L_mac(L_mult(rr(i0, i0), 8192), rr(i0, i1), 16384), rr(i1, i1), 8192);
                if (better(mult(ps2, ps2), round_fx(sum), sq, alp)) {
                    sq = mult(ps2, ps2);
                    alp = round_fx(sum);
                    ps = ps2;
                    a = i0;
                    b = i1;
                }
            }
        }
        const Qol32s alp0 = L_mult(static_cast<Qol16s>(alp), 8192);
        sq = -1;
        alp = 1;
        for (int i2 = trackC; i2 < 40; i2 += 5) {
            const Qol16s ps1 = add(ps, s.d[i2]);
            const Qol32s alp1 =
                L_mac(L_mac(L_mac(alp0, rr(i2, a), 4096), rr(i2, b), 4096), rr(i2, i2), 2048);
            for (int i3 = trackD; i3 < 40; i3 += 5) {
                const Qol16s t = round_fx(
                    L_mac(L_mac(L_mult(rr(i3, a), 8192), rr(i3, b), 8192), rr(i3, i3), 4096));
                const Qol16s ps2 = add(ps1, s.d[i3]);
                const Qol16s alpha = round_fx(L_mac(L_mac(alp1, rr(i2, i3), 4096), t, 16384));
                if (better(mult(ps2, ps2), alpha, sq, alp)) {
                    sq = mult(ps2, ps2);
                    alp = alpha;
                    c = i2;
                    d = i3;
                }
            }
        }
        if (better(static_cast<Qol16s>(sq), static_cast<Qol16s>(alp), psk, alpk)) {
            psk = sq;
            alpk = alp;
            for (const int i : {a, b, c, d}) {
                at[std::min(i % 5, 3)] = i;
            }
        }
    }

    std::vector<int> twoLargest(int track) const {
        std::vector<int> order;
        for (int i = track; i < 40; i += 5) {
            order.push_back(i);
        }
        std::stable_sort(order.begin(), order.end(),
                         [this](int i, int j) { return s.d[i] > s.d[j]; });
        return {order[0], order[1]};
    }
};

Result depthFirstModel(const std::vector<Qol16s>& corr, Matrix m) {
    const Signs s = signsOf(corr);
    for (int i = 0; i < 40; ++i) {
        for (int j = 0; j < 40; ++j) {
            if (i % 5 < j % 5 && kBlockOf[i % 5][j % 5] >= 0) {
                const bool minus = (s.p[i] > 0) != (s.p[j] > 0);
                m[placeOf(i, j)] = mult(m[placeOf(i, j)], minus ? MIN_16 : MAX_16);
            }
        }
    }
    DepthFirst search{s, m};
    for (const int last : {3, 4}) {
        search.pass(search.twoLargest(2), last, 0, 1);
        search.pass(search.twoLargest(last), 0, 1, 2);
    }
    Result r;
    encodePulses(s, search.at, r);
    r.matrix = m;
    return r;
}

TEST(G729Fcb, NestedSearchIsTheModel) {
    Random random;
    for (int n = 0; n < 1200; ++n) {
        const std::vector<Qol16s> corr = correlation(random, n % 3);
        const Matrix m = matrixOf(random, n % 4);
        const int carry = n % 5 == 0 ? -74 : static_cast<int>(uniform(random, -80, 600));
        for (const Qol16s subFrame : {0, 1}) {
            const Result want = nestedModel(corr, m, 75 + (subFrame == 0 ? 30 : carry));
            Result got;
            got.matrix = m;
            got.times = static_cast<Qol16s>(carry);
            ASSERT_EQ(qolsFixedCodebookSearch_G729_16s(corr.data(), got.matrix.data(),
                                                       got.vector.data(), got.index.data(),
                                                       &got.times, subFrame),
                      qolStsNoErr);
            ASSERT_TRUE(got == want) << "case " << n << " subframe " << subFrame;
        }
    }
}

TEST(G729Fcb, DepthFirstSearchIsTheModel) {
    Random random;
    for (int n = 0; n < 3000; ++n) {
        const std::vector<Qol16s> corr = correlation(random, n % 3);
        const Matrix m = matrixOf(random, n % 4);
        const Result want = depthFirstModel(corr, m);
        Result got;
        got.matrix = m;
        qolsFixedCodebookSearch_G729A_16s(corr.data(), got.matrix.data(), got.vector.data(),
                                          got.index.data());
        ASSERT_TRUE(got == want) << "case " << n;
    }
}

TEST(G729Fcb, WideMatrixGivesTheSame) {
    Random random;
    for (int n = 0; n < 200; ++n) {
        const std::vector<Qol16s> corr = correlation(random, 0), h = response(random);
        std::vector<Qol32s> wide(616);
        Matrix narrow(616);
        qolsToeplizMatrix_G729_16s32s(h.data(), wide.data());
        qolsToeplizMatrix_G729_16s(h.data(), narrow.data());
        Result a, b;
        a.times = b.times = 20;
        // Any subframe but the first is a later one in the wide form.
        qolsFixedCodebookSearch_G729_32s16s(corr.data(), wide.data(), a.vector.data(),
                                            a.index.data(), &a.times, 7);
        qolsFixedCodebookSearch_G729_16s(corr.data(), narrow.data(), b.vector.data(),
                                         b.index.data(), &b.times, 1);
        EXPECT_TRUE(a == b);
        EXPECT_TRUE(std::equal(wide.begin(), wide.end(), narrow.begin()));
    }
}

TEST(G729Fcb, MatrixIsTheDefiningSum) {
    Random random;
    for (int n = 0; n < 100; ++n) {
        const std::vector<Qol16s> h =
            n < 50 ? response(random) : noise16(random, 40, 1 << (n % 16));
        Qol64s energy = 0;
        for (const Qol16s x : h) {
            energy += Qol32s{x} * x;
        }
        std::vector<Qol64s> g(h.begin(), h.end());
        const Qol32s e = saturate32(energy);
        for (Qol64s& x : g) {
            x = (e >> 15) < 1 ? 0 : (e >> 15) < 32001 ? x << ((norm_l(e) - 1) >> 1) : x >> 1;
        }
        std::vector<Qol32s> m(616);
        qolsToeplizMatrix_G729_16s32s(h.data(), m.data());
        for (int i = 0; i < 40; ++i) {
            for (int j = 0; j < 40; ++j) {
                if (i != j && kBlockOf[i % 5][j % 5] < 0) {
                    continue;
                }
                Qol64s want = 0;
                for (int k = std::max(i, j); k < 40; ++k) {
                    want += g[k - i] * g[k - j];
                }
                ASSERT_EQ(m[placeOf(i, j)], wrap32(want)) << i << ' ' << j;
            }
        }
    }
}

/// c^2/alpha of two pulses on a float response, for the exhaustive search.
double ratioOf(const std::vector<Qol32f>& d, const std::vector<Qol32f>& h, int i, int j) {
    double energy = 0;
    for (int n = 0; n < 40; ++n) {
        const double a = n >= i ? h[n - i] * (d[i] >= 0 ? 1.0 : -1.0) : 0,
                     b = n >= j ? h[n - j] * (d[j] >= 0 ? 1.0 : -1.0) : 0;
        energy += (a + b) * (a + b);
    }
    const double c = std::fabs(d[i]) + std::fabs(d[j]);
    return c * c / energy;
}

// The passes cover every pair of a position of pulse 0 and one of pulse 1.
TEST(G729Fcb, TwoPulseSearchIsExhaustive) {
    Random random;
    constexpr int kGray[32] = {0,  1,  3,  2,  7,  6,  4,  5,  15, 14, 12, 13, 8,  9,  11, 10,
                               31, 30, 28, 29, 24, 25, 27, 26, 16, 17, 19, 18, 23, 22, 20, 21};
    std::vector<int> track0, track1;
    for (int i = 0; i < 40; ++i) {
        (i % 5 == 1 || i % 5 == 3 ? track0 : track1).push_back(i);
    }
    for (int i = 1; i < 40; i += 5) {
        track1.push_back(i);
    }
    for (int n = 0; n < 300; ++n) {
        const std::vector<Qol16s> h16 = response(random);
        const std::vector<Qol16s> d16 = noise16(random, 40, 8000);
        std::vector<Qol32f> h(h16.begin(), h16.end()), d(d16.begin(), d16.end()), code(40), y(40);
        for (Qol32f& x : h) {
            x /= 4096;
        }
        Qol32s sign = 0, position = 0;
        qolsFixedCodebookSearch_G729D_32f(d.data(), h.data(), code.data(), y.data(), &sign,
                                          &position);
        double best = 0;
        for (const int i : track0) {
            for (const int j : track1) {
                best = std::max(best, ratioOf(d, h, i, j));
            }
        }
        const int p0 = track0[kGray[position & 15]], p1 = track1[kGray[position >> 4]];
        EXPECT_NEAR(ratioOf(d, h, p0, p1), best, 1e-5 * best);
        EXPECT_EQ(sign, (d[p0] >= 0) + 2 * (d[p1] >= 0));
        std::vector<Qol32f> want(40);
        want[p0] += d[p0] >= 0 ? 1 : -1;
        want[p1] += d[p1] >= 0 ? 1 : -1;
        EXPECT_EQ(code, want);

        // The fixed form finds a pair as good but for its 16-bit words.
        std::vector<Qol16s> code16(40), y16(40);
        Qol16s sign16 = 0, position16 = 0;
        qolsFixedCodebookSearch_G729D_16s(d16.data(), h16.data(), code16.data(), y16.data(),
                                          &sign16, &position16);
        EXPECT_GT(ratioOf(d, h, track0[kGray[position16 & 15]], track1[kGray[position16 >> 4]]),
                  0.98 * best);
    }
}

// Float and fixed depth-first searches agree on what they find, within the roundings of the fixed
// one.
TEST(G729Fcb, FloatDepthFirstSearchMatchesTheFixedOne) {
    Random random;
    int same = 0;
    constexpr int kCases = 500;
    for (int n = 0; n < kCases; ++n) {
        const std::vector<Qol16s> h16 = response(random), d16 = noise16(random, 40, 8000);
        const std::vector<Qol32f> h(h16.begin(), h16.end()), d(d16.begin(), d16.end());
        Matrix m16(616);
        std::vector<Qol32f> m(616), code(40);
        qolsToeplizMatrix_G729_16s(h16.data(), m16.data());
        qolsToeplizMatrix_G729_32f(h.data(), m.data());
        Result fixed;
        Qol32s index[2];
        qolsFixedCodebookSearch_G729A_16s(d16.data(), m16.data(), fixed.vector.data(),
                                          fixed.index.data());
        qolsFixedCodebookSearch_G729A_32f(d.data(), m.data(), code.data(), index);
        same += index[0] == fixed.index[0] && index[1] == fixed.index[1];
        int pulses = 0;
        for (int i = 0; i < 40; ++i) {
            pulses += std::fabs(code[i]) == 1;
            EXPECT_TRUE(code[i] == 0 || (code[i] > 0) == (d[i] >= 0));
        }
        EXPECT_EQ(pulses, 4);
    }
    EXPECT_GT(same, kCases * 95 / 100);
}

// ---- Annexes D and E, written out position by position ----

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

TEST(G729Fcb, ZeroResponseTiesAtTheFirstPositions) {
    Matrix m(616);
    Result r;
    const std::vector<Qol16s> corr(40, 0);
    qolsFixedCodebookSearch_G729A_16s(corr.data(), m.data(), r.vector.data(), r.index.data());
    EXPECT_EQ(r.index[0], 15);
    EXPECT_EQ(r.index[1], 0);
    EXPECT_EQ(r.vector[0], 8191);
}

} // namespace
} // namespace qolsc::test
