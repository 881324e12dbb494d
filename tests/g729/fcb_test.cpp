// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook searches against plain models written from the standard (G.729 3.8.1,
// A.3.8.1), on random, speech-like and extreme data.
#include "g729/fcb_data.h"
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
