// SPDX-License-Identifier: Apache-2.0
// Gain quantisers and decoders: erasures, masks, taming, and the float search against the full sum
// (G.729 3.9, 4.4.2, 4.4.3).
#include "kit/data.h"
#include "qolsc.h"
#include "tables/g729_gain.h"

#include <gtest/gtest.h>

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
