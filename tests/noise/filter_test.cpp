// SPDX-License-Identifier: Apache-2.0
// Noise filter: modes of taking blocks in, both calling forms, levels, and what it does to noise.
#include "kit/data.h"
#include "noise/pscnr.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace qolsc::test;

namespace {

using Floats = std::vector<Qol32f>;

struct Filter {
    std::vector<Qol64f> memory;
    QolsFilterNoiseState_EC_32f* state = nullptr;
};

Filter made(int rate, int level) {
    Filter f;
    Qol32s size = 0;
    EXPECT_EQ(qolsFilterNoiseGetStateSize_EC_32f(rate, &size), 0);
    f.memory.resize(static_cast<std::size_t>(size + 7) / 8);
    f.state = reinterpret_cast<QolsFilterNoiseState_EC_32f*>(f.memory.data());
    EXPECT_EQ(qolsFilterNoiseInit_EC_32f(rate, f.state), 0);
    EXPECT_EQ(qolsFilterNoiseLevel_EC_32f(level, f.state), 0);
    return f;
}

/// Detector and filter over whole blocks.
Floats filtered(Filter& f, Floats x) {
    for (std::size_t i = 0; i + 16 <= x.size(); i += 16) {
        Qol64f power;
        Qol32f dc;
        Qol32s taken;
        EXPECT_EQ(qolsFilterNoiseDetect_EC_32f64f(&x[i], &power, &dc, &taken, f.state), 0);
        EXPECT_EQ(qolsFilterNoise_EC_32f_I(&x[i], -1, f.state), 0);
    }
    return x;
}

TEST(NoiseFilter, LevelSixIsRefusedAndHeld) {
    Filter f = made(8000, 3);
    const Qol32f scale = f.state->gainScale, floor = f.state->floorHigh;
    EXPECT_EQ(qolsFilterNoiseLevel_EC_32f(6, f.state), qolStsRangeErr);
    EXPECT_EQ(f.state->level, 6);
    EXPECT_EQ(f.state->gainScale, scale);
    EXPECT_EQ(f.state->floorHigh, floor);
    for (const int mode : {-1, 0, 1}) {
        EXPECT_EQ(qolsFilterNoiseSetMode_EC_32f(mode, f.state), 0);
    }
    EXPECT_EQ(qolsFilterNoiseSetMode_EC_32f(2, f.state), qolStsBadArgErr);
    EXPECT_EQ(f.state->smoothMode, 1) << "the last one served";
}

TEST(NoiseFilter, UpdateModeMinusOneTakesNothingIn) {
    Filter f = made(8000, 2);
    Random r;
    Floats x = noisef(r, 160, 300);
    filtered(f, x);
    const Qol32s held = f.state->historyCount;
    const Floats history(f.state->pHistory, f.state->pHistory + held);
    Floats y = noisef(r, 16, 300);
    EXPECT_EQ(qolsFilterNoise_EC_32f_I(y.data(), -1, f.state), 0);
    EXPECT_EQ(f.state->historyCount, held);
    EXPECT_EQ(Floats(f.state->pHistory, f.state->pHistory + held), history);
    EXPECT_EQ(qolsFilterNoise_EC_32f_I(y.data(), 0, f.state), 0);
    EXPECT_EQ(f.state->historyCount, held + 16);
}

TEST(NoiseFilter, InPlaceIsTheSameButForTheStart) {
    for (const int mode : {-1, 0, 1}) {
        for (int level = 0; level <= 5; ++level) {
            Filter a = made(8000, level), b = made(8000, level);
            qolsFilterNoiseSetMode_EC_32f(mode, a.state);
            qolsFilterNoiseSetMode_EC_32f(mode, b.state);
            Random r;
            for (int block = 0; block < 300; ++block) {
                const Floats x = noisef(r, 16, block % 100 < 50 ? 300 : 9000);
                Floats in = x, out = x;
                const Qol32s update = block % 40 == 20 ? 1 : 0;
                ASSERT_EQ(qolsFilterNoise_EC_32f_I(in.data(), update, a.state), 0);
                ASSERT_EQ(qolsFilterNoise_EC_32f(x.data(), out.data(), update, b.state), 0);
                ASSERT_EQ(in, out) << "mode " << mode << ", level " << level << ", block " << block;
            }
            EXPECT_EQ(a.state->started, 0);
            EXPECT_EQ(b.state->started, 1);
        }
    }
}

TEST(NoiseFilter, HistoryAndEnergiesAreThoseOfTheNewestSamples) {
    for (const int rate : {8000, 16000, 22050, 32000}) {
        Filter f = made(rate, 2);
        Random r;
        Floats all;
        const auto cap = static_cast<std::size_t>(f.state->historyCap),
                   window = static_cast<std::size_t>(f.state->shortWindow);
        for (int block = 0; block < 1200; ++block) {
            // No whole numbers, and a fall of 100 dB.
            const Floats x = noisef(r, 16, block < 600 ? 30000 : 0.3);
            all.insert(all.end(), x.begin(), x.end());
            qolsc::noise::takeIn(*f.state, x.data());
            const std::size_t held = std::min(all.size(), cap);
            ASSERT_EQ(static_cast<std::size_t>(f.state->historyCount), held);
            double energy = 0, newest = 0;
            for (std::size_t i = 0; i < held; ++i) {
                const double v = all[all.size() - 1 - i];
                energy += v * v;
                newest += i < window ? v * v : 0;
            }
            const double most = cap * 9e8;
            ASSERT_NEAR(f.state->longEnergy, energy, 1e-13 * most) << rate << ", block " << block;
            ASSERT_NEAR(f.state->shortEnergy, newest, 1e-13 * most) << rate << ", block " << block;
            const auto back = static_cast<std::size_t>(block % 5 * 8);
            if (all.size() >= window + back) {
                Floats row(512);
                const Qol32f* p = qolsc::noise::newest(*f.state, static_cast<Qol32s>(window),
                                                       static_cast<Qol32s>(back), row.data());
                ASSERT_TRUE(std::equal(p, p + window, all.end() - static_cast<long>(window + back)))
                    << rate << ", block " << block;
            }
        }
    }
}

TEST(NoiseFilter, DetectorsSpectrumServesTheFilter) {
    for (const int rate : {8000, 16000}) {
        Filter a = made(rate, 3), b = made(rate, 3);
        Random r;
        for (int block = 0; block < 400; ++block) {
            Floats x = noisef(r, 16, block % 100 < 50 ? 300 : 9000), y = x;
            Qol64f power;
            Qol32f dc;
            Qol32s taken;
            qolsFilterNoiseDetect_EC_32f64f(x.data(), &power, &dc, &taken, a.state);
            qolsFilterNoiseDetect_EC_32f64f(x.data(), &power, &dc, &taken, b.state);
            b.state->isTransformed = 0;
            const Qol32s update = block % 9 == 0 ? 0 : -1;
            qolsFilterNoise_EC_32f_I(x.data(), update, a.state);
            qolsFilterNoise_EC_32f_I(y.data(), update, b.state);
            ASSERT_EQ(x, y) << rate << ", block " << block;
        }
    }
}

/// Seconds until the detector takes the first frame of a noise; 0 when it takes none in 4 s.
double firstNoise(int rate, double pole) {
    Filter f = made(rate, 2);
    Random r;
    double low = 0;
    for (int block = 0; block < 4 * rate / 16; ++block) {
        Qol32f x[16], dc;
        for (Qol32f& v : x) {
            low = pole * low + uniformReal(r, -300, 300);
            v = static_cast<Qol32f>(low);
        }
        Qol64f power;
        Qol32s taken;
        qolsFilterNoiseDetect_EC_32f64f(x, &power, &dc, &taken, f.state);
        if (taken) {
            return (block + 1) * 16.0 / rate;
        }
    }
    return 0;
}

// The detector's bound on sign changes, 56 in 128 samples at 8 kHz and 28 in 256 at 16 kHz, lies
// below those of white noise, about half the samples; room and car noise has fewer.
TEST(NoiseDetector, TakesNoiseOfLowFrequencies) {
    for (const int rate : {8000, 16000, 22050, 32000}) {
        EXPECT_GT(firstNoise(rate, 0.95), 0) << rate;
    }
    EXPECT_EQ(firstNoise(16000, 0), 0);
}

} // namespace
