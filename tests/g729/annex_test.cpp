// SPDX-License-Identifier: Apache-2.0
// Phase dispersion (Annex D), comfort noise (Annex B) and hybrid window (Annex E) of G.729.
#include "kit/data.h"
#include "qolsc.h"
#include "tables/g729_annex.h"
#include "tables/g729_post.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qolsc::test {
namespace {

TEST(PhaseDispersion, WithoutPulsesTheExcitationStays) {
    Random r;
    std::vector<Qol8u> state(20);
    qolsPhaseDispersionInit_G729D_16s(state.data());
    const std::vector<Qol16s> exc = noise16(r, 40, 3000);
    std::vector<Qol16s> innovation(40), out(40);
    for (const Qol16s pitchGain : {Qol16s{0}, Qol16s{12000}, Qol16s{16000}}) {
        qolsPhaseDispersion_G729D_16s(exc.data(), out.data(), 500, pitchGain, innovation.data(),
                                      state.data());
        EXPECT_EQ(out, exc);
    }
}

TEST(PhaseDispersion, APulseBecomesTheShiftedImpulse) {
    std::vector<Qol8u> state(20);
    qolsPhaseDispersionInit_G729D_16s(state.data());
    for (int i = 0; i < 6; ++i) { // low gains throughout: the strong impulse
        qolsPhaseDispersionUpdate_G729D_16s(1000, 30000, state.data());
    }
    for (const std::size_t at : {0u, 1u, 17u, 39u}) {
        std::vector<Qol16s> innovation(40), exc(40), out(40);
        innovation[at] = 8191;
        qolsPhaseDispersion_G729D_16s(exc.data(), out.data(), 30000, 1000, innovation.data(),
                                      state.data());
        for (std::size_t i = 0; i < 40; ++i) {
            ASSERT_EQ(innovation[i], (8191 * tables::g729::phImpLow[(i + 40 - at) % 40]) >> 15)
                << at;
        }
    }
}

TEST(PhaseDispersion, MemoryOfTheChoiceRisesByOneStepOnly) {
    std::vector<Qol8u> state(20);
    qolsPhaseDispersionInit_G729D_16s(state.data());
    std::vector<Qol16s> innovation(40), exc(40), out(40);
    innovation[3] = 8191;
    // From strong dispersion a high gain reaches the middle impulse first. The gain history still
    // holds five low gains, which hold it at the strong one.
    qolsPhaseDispersion_G729D_16s(exc.data(), out.data(), 0, 16000, innovation.data(),
                                  state.data());
    EXPECT_EQ(innovation[3], (8191 * tables::g729::phImpLow[0]) >> 15);
    for (int i = 0; i < 3; ++i) {
        std::fill(innovation.begin(), innovation.end(), Qol16s{0});
        innovation[3] = 8191;
        qolsPhaseDispersion_G729D_16s(exc.data(), out.data(), 0, 16000, innovation.data(),
                                      state.data());
    }
    EXPECT_EQ(innovation[3], (8191 * tables::g729::phImpMid[0]) >> 15);
}

Qol32s plainSum(Qol16u& seed) {
    Qol32s sum = 0;
    for (int k = 0; k < 12; ++k) {
        seed = static_cast<Qol16u>(seed * 31821u + 13849u);
        sum += static_cast<Qol16s>(seed);
    }
    return sum;
}

TEST(Noise, FourAtATimeEqualsOneByOneAtAllLengths) {
    for (int len = 1; len <= 50; ++len) {
        for (const int start : {0, 1, 11111, -1, -32768, 32767}) {
            auto seed = static_cast<Qol16s>(start), seedFloat = seed;
            auto plainSeed = static_cast<Qol16u>(start);
            auto out = guarded<Qol16s>(static_cast<std::size_t>(len), 1);
            auto outFloat = guarded<Qol32f>(static_cast<std::size_t>(len), 1);
            ASSERT_EQ(qolsRandomNoiseExcitation_G729B_16s(&seed, out.data, len), qolStsNoErr);
            ASSERT_EQ(qolsRandomNoiseExcitation_G729B_16s32f(&seedFloat, outFloat.data, len),
                      qolStsNoErr);
            for (int i = 0; i < len; ++i) {
                const Qol32s sum = plainSum(plainSeed);
                ASSERT_EQ(out.data[i], sum >> 7);
                ASSERT_EQ(outFloat.data[i], static_cast<Qol32f>(sum / 512.0));
            }
            ASSERT_EQ(static_cast<Qol16u>(seed), plainSeed);
            ASSERT_EQ(seedFloat, seed);
            ASSERT_TRUE(intact(out) && intact(outFloat));
        }
    }
}

TEST(HybridWindow, SilenceLetsTheStateDecay) {
    Random r;
    std::vector<Qol8u> state(124 + 1);
    Qol8u* st = state.data() + 1;
    qolsWinHybridInit_G729E_16s(st);
    const std::vector<Qol16s> speech = noise16(r, 145, 4000), silence(145);
    std::vector<Qol32s> first(31), second(31), third(31);
    qolsWinHybrid_G729E_16s32s(speech.data(), first.data(), st);
    qolsWinHybrid_G729E_16s32s(silence.data(), second.data(), st);
    qolsWinHybrid_G729E_16s32s(silence.data(), third.data(), st);
    for (std::size_t k = 0; k < 31; ++k) {
        EXPECT_NEAR(third[k], second[k] * 0.31640625, 4) << k;
    }
    EXPECT_GT(first[0], second[0]);
}

TEST(HybridWindow, LoudSignalsStopAtTheLimit) {
    std::vector<Qol8u> state(124);
    qolsWinHybridInit_G729E_16s(state.data());
    std::vector<Qol16s> square(145);
    for (std::size_t i = 0; i < square.size(); ++i) {
        square[i] = i / 31 % 2 == 0 ? 32767 : -32768;
    }
    std::vector<Qol32s> r(31);
    for (int i = 0; i < 5; ++i) {
        qolsWinHybrid_G729E_16s32s(square.data(), r.data(), state.data());
        EXPECT_EQ(r[0], 0x3FFFFFFF);
    }
}

TEST(HybridWindow, FloatFollowsTheDoubleModel) {
    Random r;
    std::vector<Qol8u> state(124 + 2);
    Qol8u* st = state.data() + 2;
    qolsWinHybridInit_G729E_32f(st);
    std::vector<double> recursive(31);
    for (int frame = 0; frame < 20; ++frame) {
        const std::vector<Qol32f> x = noisef(r, 145, 8000.0);
        std::vector<Qol32f> got(31);
        ASSERT_EQ(qolsWinHybrid_G729E_32f(x.data(), got.data(), st), qolStsNoErr);
        std::vector<double> w(145);
        for (std::size_t i = 0; i < w.size(); ++i) {
            w[i] = double{x[i]} * tables::g729::hybridWindowInverse[i];
        }
        double energy = 0;
        for (std::size_t k = 0; k < 31; ++k) {
            double older = 0, recent = 0;
            for (std::size_t i = 30; i < 110; ++i) {
                older += w[i] * w[i - k];
            }
            for (std::size_t i = 110; i < 145; ++i) {
                recent += w[i] * w[i - k];
            }
            recursive[k] = recursive[k] * 0.31640625 + older;
            const double want = recursive[k] + recent;
            energy = k == 0 ? want : energy;
            // 115 products, each rounded a few times at most at the size of the energy.
            ASSERT_NEAR(got[k], want, energy * 115 * 6e-8) << "lag " << k;
        }
    }
}

TEST(Tables, KeepTheirShapes) {
    using namespace tables::g729;
    for (int p = 0; p < 7; ++p) { // phase p/8 mirrors phase 1 - p/8; unity gain at low frequencies
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(tab_hup_s[p][i], tab_hup_s[6 - p][3 - i]);
        }
        for (int i = 0; i < 16; ++i) {
            EXPECT_EQ(tab_hup_l[p][i], tab_hup_l[6 - p][15 - i]);
        }
        EXPECT_NEAR(std::accumulate(tab_hup_s[p], tab_hup_s[p] + 4, 0), 32768, 400);
        EXPECT_NEAR(std::accumulate(tab_hup_l[p], tab_hup_l[p] + 16, 0), 32768, 400);
    }
    int f1 = 22938, f2 = 18022;
    EXPECT_EQ(facGamma1_pst[0], 32767);
    EXPECT_EQ(facGamma2_pst[0], 32767);
    for (int i = 1; i <= 10; ++i) {
        EXPECT_EQ(facGamma1_pst[i], f1);
        EXPECT_EQ(facGamma2_pst[i], f2);
        f1 = (f1 * 22938 + 16384) >> 15;
        f2 = (f2 * 18022 + 16384) >> 15;
    }
    for (int i = 0; i < 145; ++i) {
        EXPECT_NEAR(hw[i], hybridWindowInverse[i] * 32768, 2) << i;
    }
}

} // namespace
} // namespace qolsc::test
