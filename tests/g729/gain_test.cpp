// SPDX-License-Identifier: Apache-2.0
// Gain quantisers and decoders: erasures, masks, taming, and the float search against the full sum
// (G.729 3.9, 4.4.2, 4.4.3).
#include "g729/gain.h"
#include "kit/data.h"
#include "numeric/basop.h"
#include "qolsc.h"
#include "tables/g729_gain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qolsc::test {
namespace {

using namespace tables::g729;

TEST(G729Gain, ErasureDecays) {
    std::vector<Qol16s> history = {1000, 2000, 3000, 4000}, gain = {16384, 1000};
    ASSERT_EQ(qolsDecodeGain_G729_16s(1 << 20, history.data(), nullptr, gain.data()), qolStsNoErr);
    EXPECT_EQ(gain, (std::vector<Qol16s>{14745, 979}));
    EXPECT_EQ(history, (std::vector<Qol16s>{2500 - 4096, 1000, 2000, 3000}));
    for (int i = 0; i < 40; ++i) {
        qolsDecodeGain_G729_16s(1 << 20, history.data(), nullptr, gain.data());
    }
    EXPECT_EQ(history, (std::vector<Qol16s>(4, -14336)));

    gain = {16000, -1000};
    qolsDecodeGain_G729I_16s(1 << 20, 16384, history.data(), nullptr, gain.data());
    EXPECT_EQ(gain, (std::vector<Qol16s>{8000, -500}));
}

TEST(G729Gain, IndicesAreMasked) {
    const Qol16s plain[2] = {5, 9},
                 wild[2] = {static_cast<Qol16s>(0x7F8 | 5), static_cast<Qol16s>(-16 | 9)};
    std::vector<Qol16s> h1(4, -14336), h2(4, -14336), g1(2), g2(2);
    qolsDecodeGain_G729_16s(1 << 26, h1.data(), plain, g1.data());
    qolsDecodeGain_G729_16s(1 << 26, h2.data(), wild, g2.data());
    EXPECT_EQ(g1, g2);
    EXPECT_EQ(h1, h2);
    const Qol16s wildI[2] = {-3, 0x100 | 1}, plainI[2] = {5, 1};
    qolsDecodeGain_G729I_16s(1 << 26, 0, h1.data(), plainI, g1.data());
    qolsDecodeGain_G729I_16s(1 << 26, 0, h2.data(), wildI, g2.data());
    EXPECT_EQ(g1, g2);
}

struct Vectors {
    std::vector<Qol16s> x, y1, code = std::vector<Qol16s>(40), y2;
};
Vectors vectors(Random& r, int amplitude) {
    Vectors v{noise16(r, 40, amplitude), noise16(r, 40, amplitude), {}, noise16(r, 40, 4000)};
    v.code.assign(40, 0);
    for (int i = 0; i < 4; ++i) {
        v.code[static_cast<std::size_t>(10 * i + uniform(r, 0, 9))] = i & 1 ? -8192 : 8191;
    }
    for (int i = 0; i < 40; ++i) { // a target that both vectors can meet
        v.x[i] = static_cast<Qol16s>(v.y1[i] * 3 / 4 + v.x[i] / 4);
    }
    return v;
}

// The decoder of the transmitted indices gives the quantiser's gains and history.
template <typename Quantise, typename Decode>
void agree(Quantise quantise, Decode decode) {
    Random random;
    std::vector<Qol16s> he(4, -14336), hd = he;
    for (int n = 0; n < 500; ++n) {
        const Vectors v = vectors(random, 1 << (n % 14 + 1));
        Qol16s ge[2], gd[2] = {}, index[2];
        const Qol16s tame = n % 3 == 0;
        ASSERT_EQ(quantise(v.x.data(), v.y1.data(), v.code.data(), v.y2.data(), he.data(), ge,
                           index, tame),
                  qolStsNoErr);
        Qol32s energy = 0;
        for (const Qol16s c : v.code) {
            energy += c * c;
        }
        decode(energy, hd.data(), index, gd);
        EXPECT_EQ(ge[0], gd[0]);
        EXPECT_NEAR(ge[1], gd[1], 1);
        EXPECT_EQ(he, hd);
        if (tame) {
            EXPECT_LT(ge[0], 16383);
        }
    }
}

TEST(G729Gain, QuantiserAndDecoderAgree) {
    agree(qolsGainQuant_G729_16s, qolsDecodeGain_G729_16s);
    agree(qolsGainQuant_G729D_16s, [](Qol32s energy, Qol16s* h, const Qol16s* index, Qol16s* g) {
        return qolsDecodeGain_G729I_16s(energy, 0, h, index, g);
    });
}

TEST(G729Gain, ExtremesAreTaken) {
    Random random;
    std::vector<Qol16s> history(4);
    for (int n = 0; n < 2000; ++n) {
        const std::vector<Qol16s> a = n % 2 ? extremes16(random, 40) : noise16(random, 40),
                                  b = extremes16(random, 40), c = noise16(random, 40, 8192),
                                  d = extremes16(random, 40);
        history = extremes16(random, 4);
        Qol16s gain[2], index[2];
        EXPECT_EQ(qolsGainQuant_G729_16s(a.data(), b.data(), c.data(), d.data(), history.data(),
                                         gain, index, 0),
                  qolStsNoErr);
        EXPECT_TRUE(index[0] >= 0 && index[0] < 8 && index[1] >= 0 && index[1] < 16);
        EXPECT_EQ(qolsGainQuant_G729D_16s(a.data(), b.data(), c.data(), d.data(), history.data(),
                                          gain, index, 1),
                  qolStsNoErr);
        EXPECT_TRUE(index[0] >= 0 && index[0] < 8 && index[1] >= 0 && index[1] < 8);
        const Qol16s any[2] = {static_cast<Qol16s>(uniform(random, -32768, 32767)), index[1]};
        qolsDecodeGain_G729_16s(static_cast<Qol32s>(uniform(random, -2147483647, 2147483647)),
                                history.data(), any, gain);
    }
}

// ---- the quantiser in plain steps of the standard (3.9.1 to 3.9.3, D.5.9) ----

using namespace basop;

struct Word {
    Qol16s m;
    int e;
};

struct Rate {
    const Qol16s (*s1)[2];
    const Qol16s (*s2)[2];
    const Qol16s *m1, *m2, *t1, *t2;
    int count1, count2, rows1, rows2;
    const Qol16s (*c)[2];
    const Qol32s (*k)[2];
    int up;
    Qol16s inverse;
    int shift1, down;
};
const Rate kFull{gbk1, gbk2, map1,      map2,        thr1, thr2,   4, 8,
                 4,    8,    gain_coef, gain_L_coef, 7,    -17103, 3, 0};
const Rate kLow{gbk1_6k, gbk2_6k, map1_6k,      map2_6k,        thr1_6k, thr2_6k, 2, 2,
                6,       6,       gain_coef_6k, gain_L_coef_6k, 6,       -28940,  2, 1};

Qol64s dot(const std::vector<Qol16s>& a, const std::vector<Qol16s>& b) {
    Qol64s s = 0;
    for (std::size_t i = 0; i < 40; ++i) {
        s += Qol64s{a[i]} * b[i];
    }
    return s;
}

Word wordOf(Qol64s sum) {
    const Qol32s v = saturate32(sum);
    const int n = norm_l(v);
    return {round_fx(L_shl(v, n)), n};
}

Word combine(Qol32s a, int ea, Qol32s b, int eb, int head) {
    const bool aSmaller = ea > eb;
    const Qol32s t = aSmaller ? L_sub(L_shr(a, ea - eb + head), L_shr(b, head))
                              : L_sub(L_shr(a, head), L_shr(b, eb - ea + head));
    const int n = norm_l(t);
    return {extract_h(L_shl(t, n)), (aSmaller ? eb : ea) - head + n - 16};
}

/// Gains and indices from the predicted gain, which is g0 / 2^x0.
void quantisePlainly(const Rate& r, const Vectors& v, PredictedGain g, bool tame, Qol16s* gain,
                     Qol16s* index) {
    std::vector<Qol16s> z(40), quarter(40);
    for (std::size_t i = 0; i < 40; ++i) {
        z[i] = static_cast<Qol16s>(v.y2[i] >> 3);
        quarter[i] = static_cast<Qol16s>(v.y1[i] >> 2);
    }
    const auto fits = [](Qol64s sum) { return sum == saturate32(sum); };
    Word yy = wordOf(2 * dot(v.y1, v.y1) + 1), xy = wordOf(2 * dot(v.x, v.y1));
    if (!fits(2 * dot(v.y1, v.y1) + 1)) {
        yy = wordOf(2 * dot(quarter, quarter) + 1);
        yy.e -= 4;
    }
    if (!fits(2 * dot(v.x, v.y1))) {
        xy = wordOf(2 * dot(v.x, quarter));
        xy.e -= 2;
    }
    const Word zz = wordOf(2 * dot(z, z) + 1), xz = wordOf(2 * dot(v.x, z) + 1),
               yz = wordOf(2 * dot(v.y1, z) + 1);
    const Word c[5] = {{yy.m, yy.e - 15},
                       {negate(xy.m), xy.m <= 0 ? 14 : xy.e - 16},
                       {zz.m, zz.e + 3},
                       {negate(xz.m), xz.e - 7},
                       {yz.m, yz.e - 7}};
    const auto p = [&c](int i, int j) { return L_mult(c[i].m, c[j].m); };
    const auto q = [&c](int i, int j) { return c[i].e + c[j].e; };

    const Word d = combine(p(0, 2), q(0, 2) - 1, p(4, 4), q(4, 4) + 1, 0);
    const auto inverse = static_cast<Qol16s>(d.m <= 16384 ? -32767 : -(0x20000000 / Qol32s{d.m}));
    const auto best = [&](Word n, int scale) {
        return extract_h(L_shr(L_mult(n.m, inverse), n.e + 29 - d.e - scale));
    };
    Qol16s b0 = best(combine(p(2, 1), q(2, 1), p(3, 4), q(3, 4) + 1, 1), 24);
    const Qol16s b1 = best(combine(p(0, 3), q(0, 3), p(1, 4), q(1, 4) + 1, 1), 17);
    b0 = tame ? std::min<Qol16s>(b0, 481) : b0;

    const Qol16s g0 = g.value;
    const int x0 = g.exponent;
    const Qol16s scaled =
        x0 >= 4 ? static_cast<Qol16s>(g0 >> (x0 - 4)) : extract_h(L_shl(g0, 20 - x0));
    const Qol32s f = L_mult(r.c[0][0], b0);
    const Qol16s u1 = extract_h(L_add(f, r.k[1][1] >> 15)),
                 u2 = mult(extract_h(L_sub(f, r.k[0][1] >> 10)), scaled);
    const Qol32s w1 = L_sub(L_shl(b1, r.up), L_mult(u1, scaled)),
                 w2 = L_sub(L_mult(u2, r.c[1][0]), L_shr(L_mult(r.c[0][0], b1), 3));
    const auto start = [&](Qol32s w, const Qol16s* thr, int count, int shift) {
        const Qol32s t = L_mult(extract_h(L_shl(w, 2)), r.inverse);
        for (int k = 0; k < count; ++k) {
            const Qol32s over = L_sub(t, L_shr(L_mult(thr[k], scaled), shift));
            if (scaled > 0 ? over <= 0 : over >= 0) {
                return k;
            }
        }
        return count;
    };
    const int from1 = start(w2, r.t1, r.count1, r.shift1), from2 = start(w1, r.t2, r.count2, 5);

    const int m[5] = {c[0].e + 13, c[1].e + 14, c[2].e + 2 * x0 - 21 + 2 * r.down,
                      c[3].e + x0 - 3 + r.down, c[4].e + x0 - 4 + r.down};
    const int least = *std::min_element(m, m + 5);
    int at1 = from1, at2 = from2;
    Qol32s lowest = MAX_32;
    for (int i = from1; i < from1 + r.rows1; ++i) {
        for (int j = from2; j < from2 + r.rows2; ++j) {
            const Qol16s gp = add(r.s1[i][0], r.s2[j][0]);
            const Qol16s gc = mult(g0, static_cast<Qol16s>((r.s1[i][1] + r.s2[j][1]) >> 1));
            if (tame && gp >= 16383) {
                continue;
            }
            const Qol16s term[5] = {mult(gp, gp), gp, mult(gc, gc), gc, mult(gc, gp)};
            Qol32s error = 0;
            for (int t = 0; t < 5; ++t) {
                const Qol32s weight = L_shr(Qol32s{c[t].m} * 65536, m[t] - least);
                error = L_add(error, Mpy_32_16(L_Extract(weight), term[t]));
            }
            if (error < lowest) {
                lowest = error;
                at1 = i;
                at2 = j;
            }
        }
    }
    const int correction = r.s1[at1][1] + r.s2[at2][1];
    gain[0] = add(r.s1[at1][0], r.s2[at2][0]);
    gain[1] = extract_h(L_shl(L_mult(static_cast<Qol16s>(correction >> 1), g0), 4 - r.down - x0));
    index[0] = r.m1[at1];
    index[1] = r.m2[at2];
}

void expectPlainSteps(const Vectors& v, std::vector<Qol16s> history, bool tame) {
    Qol32s energy = 0;
    for (const Qol16s c : v.code) {
        energy += c * c;
    }
    const PredictedGain predicted = ownGainPredict(energy, history.data());
    for (const Rate* rate : {&kFull, &kLow}) {
        Qol16s gain[2], index[2], wantGain[2], wantIndex[2];
        std::vector<Qol16s> moved = history;
        (rate == &kFull ? qolsGainQuant_G729_16s : qolsGainQuant_G729D_16s)(
            v.x.data(), v.y1.data(), v.code.data(), v.y2.data(), moved.data(), gain, index, tame);
        quantisePlainly(*rate, v, predicted, tame, wantGain, wantIndex);
        ASSERT_EQ(index[0], wantIndex[0]);
        ASSERT_EQ(index[1], wantIndex[1]);
        ASSERT_EQ(gain[0], wantGain[0]);
        ASSERT_EQ(gain[1], wantGain[1]);
    }
}

TEST(G729Gain, QuantiserIsThatOfThePlainSteps) {
    Random random;
    std::vector<Qol16s> history(4);
    for (int n = 0; n < 2000; ++n) {
        for (Qol16s& h : history) {
            h = static_cast<Qol16s>(uniform(random, -14336, 8000));
        }
        ASSERT_NO_FATAL_FAILURE(
            expectPlainSteps(vectors(random, 1 << (n % 15 + 1)), history, n % 3 == 0))
            << n;
    }
    // Speech as target, its past as adaptive part, a filtered pulse pattern as fixed part.
    const std::vector<Qol16s> speech = readWords("g729/sequences/annexa_test.in");
    for (std::size_t at = 60; at + 40 <= speech.size(); at += 40) {
        const auto part = [&speech](std::size_t from) {
            return std::vector<Qol16s>(speech.begin() + static_cast<std::ptrdiff_t>(from),
                                       speech.begin() + static_cast<std::ptrdiff_t>(from) + 40);
        };
        Vectors v = vectors(random, 100);
        v.x = part(at);
        v.y1 = part(at - 57);
        for (std::size_t i = 39; i > 0; --i) {
            v.y2[i] = static_cast<Qol16s>((v.code[i] + v.code[i - 1]) / 2);
        }
        ASSERT_NO_FATAL_FAILURE(expectPlainSteps(v, {-2000, -3000, 500, -8000}, at % 80 == 0))
            << at;
    }
}

// Prediction by the means of the last four errors in dB (3.9.1).
TEST(G729Gain, PredictionIsThatOfTheStandard) {
    Random random;
    for (int n = 0; n < 500; ++n) {
        Qol16s history[4];
        double predicted = 30;
        constexpr double kWeights[4] = {0.68, 0.58, 0.34, 0.19};
        for (std::size_t i = 0; i < 4; ++i) {
            history[i] = static_cast<Qol16s>(uniform(random, -14336, 8000)); // dB, Q10
            predicted += kWeights[i] * history[i] / 1024.0;
        }
        const auto energy = static_cast<Qol32s>(uniform(random, 1 << 24, 1 << 30)); // Q26
        const double level = 10 * std::log10(energy / 67108864.0 / 40);
        const PredictedGain g = ownGainPredict(energy, history);
        EXPECT_GE(g.value, 16384);
        const double got = g.value / std::pow(2.0, g.exponent);
        const double want = std::pow(10.0, (predicted - level) / 20);
        EXPECT_NEAR(20 * std::log10(got / want), 0, 0.06) << n; // dB
    }
}

/// Least cost over the window in double precision.
double leastCost(const std::vector<Qol32f>& k, const Qol32f (*s1)[2], int from1, int rows1,
                 const Qol32f (*s2)[2], int from2, int rows2, double g0, bool tame, int i, int j) {
    const auto cost = [&](int a, int b) {
        const double gp = double{s1[a][0]} + s2[b][0], gc = g0 * (double{s1[a][1]} + s2[b][1]);
        return k[0] * gp * gp + k[1] * gp + k[2] * gc * gc + k[3] * gc + k[4] * gp * gc;
    };
    if (i >= 0) {
        return cost(i, j);
    }
    double least = 1e300;
    for (int a = from1; a < from1 + rows1; ++a) {
        for (int b = from2; b < from2 + rows2; ++b) {
            if (!tame || s1[a][0] + s2[b][0] < 0.9999F) {
                least = std::min(least, cost(a, b));
            }
        }
    }
    return least;
}

TEST(G729Gain, FloatSearchFindsTheLeastError) {
    Random random;
    for (int n = 0; n < 400; ++n) {
        std::vector<Qol32f> k = noisef(random, 5, 100);
        k[0] = std::fabs(k[0]) + 1;
        k[2] = std::fabs(k[2]) + 1;
        const Qol32f g0 = static_cast<Qol32f>(uniformReal(random, 0.5, 20));
        const bool tame = n & 1;
        Qol32s cand[2] = {static_cast<Qol32s>(uniform(random, 0, 4)),
                          static_cast<Qol32s>(uniform(random, 0, 8))},
               idx[2];
        ASSERT_EQ(qolsGainCodebookSearch_G729_32f(k.data(), cand, idx, tame, g0), qolStsNoErr);
        const double best =
            leastCost(k, gbk1_32f, cand[0], 4, gbk2_32f, cand[1], 8, g0, tame, -1, -1);
        if (best < 1e300) {
            EXPECT_NEAR(leastCost(k, gbk1_32f, 0, 0, gbk2_32f, 0, 0, g0, tame, idx[0], idx[1]),
                        best, 1e-4 * (1 + std::fabs(best)) * g0 * g0);
        }
        cand[0] = static_cast<Qol32s>(uniform(random, 0, 2));
        cand[1] = static_cast<Qol32s>(uniform(random, 0, 2));
        ASSERT_EQ(qolsGainCodebookSearch_G729D_32f(k.data(), cand, idx, tame, g0), qolStsNoErr);
        EXPECT_TRUE(idx[0] >= cand[0] && idx[0] < cand[0] + 6 && idx[1] >= cand[1] &&
                    idx[1] < cand[1] + 6);
        const double bestD =
            leastCost(k, gbk1_6k_32f, cand[0], 6, gbk2_6k_32f, cand[1], 6, g0, tame, -1, -1);
        EXPECT_NEAR(leastCost(k, gbk1_6k_32f, 0, 0, gbk2_6k_32f, 0, 0, g0, tame, idx[0], idx[1]),
                    bestD, 1e-4 * (1 + std::fabs(bestD)) * g0 * g0);
    }
    Qol32s cand[2] = {5, 0}, idx[2] = {7, 7};
    const Qol32f k[5] = {};
    EXPECT_EQ(qolsGainCodebookSearch_G729_32f(k, cand, idx, 0, 1), qolStsSizeErr);
    EXPECT_EQ(idx[0], 7);
}

TEST(G729Tables, GainMapsAreInverse) {
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(imap1[map1[i]], i);
        EXPECT_EQ(imap1_6k[map1_6k[i]], i);
        EXPECT_EQ(imap2_6k[map2_6k[i]], i);
    }
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(imap2[map2[i]], i);
        EXPECT_NEAR(gbk2[i][0], gbk2_32f[i][0] * 16384, 1);
        EXPECT_NEAR(gbk2[i][1], gbk2_32f[i][1] * 8192, 1);
    }
}

} // namespace
} // namespace qolsc::test
