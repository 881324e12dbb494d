// SPDX-License-Identifier: Apache-2.0
// The noise filter over whole signals: the output lies where the input does.
#include "denoise.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

namespace {

using namespace qolsc::tools;
using Samples = std::vector<std::int16_t>;

/// Noise of low frequencies, then a louder one on it that swells and fades.
Samples burstsOnNoise(double noise, int samples) {
    qolsc::test::Random r;
    Samples v;
    double low = 0, talk = 0;
    for (int i = 0; i < samples; ++i) {
        low = 0.7 * low + noise * qolsc::test::uniformReal(r, -1, 1);
        talk = 0.7 * talk + 6000 * qolsc::test::uniformReal(r, -1, 1);
        v.push_back(static_cast<std::int16_t>(
            std::lrint(low + (i < samples / 2 ? 0 : talk * std::sin(i * 0.0021)))));
    }
    return v;
}

/// Shift of b against a at which they agree best.
int lagOf(const Samples& a, const Samples& b) {
    int best = 0;
    double most = -1;
    for (int lag = -100; lag <= 100; ++lag) {
        double sum = 0;
        for (std::size_t i = a.size() / 2 + 100; i < a.size() - 100; ++i) {
            sum += static_cast<double>(a[i]) * b[i + static_cast<std::size_t>(lag)];
        }
        if (sum > most) {
            most = sum;
            best = lag;
        }
    }
    return best;
}

TEST(Denoise, EveryLevelKeepsThePlace) {
    const Samples in = burstsOnNoise(200, 20000);
    for (const int rate : {8000, 16000, 22050, 32000}) {
        for (int level = 0; level <= 5; ++level) {
            Denoised d;
            ASSERT_TRUE(denoise(in, rate, level, d));
            ASSERT_EQ(d.output.size(), in.size());
            EXPECT_EQ(lagOf(in, d.output), 0) << rate << " Hz, level " << level;
        }
    }
    Denoised d;
    EXPECT_FALSE(denoise(in, 11025, 3, d));
}

TEST(Denoise, CleanInputStaysInPlaceOnceLevelFiveSwitchesOff) {
    const Samples in = burstsOnNoise(2.5, 20000);
    Denoised d;
    ASSERT_TRUE(denoise(in, 8000, 5, d));
    ASSERT_GT(d.off, 0u);
    ASSERT_LT(d.off, in.size() / 2);
    // What follows the end of the start-up fade is the input.
    const std::size_t from = d.off + 208;
    EXPECT_TRUE(std::equal(in.begin() + static_cast<std::ptrdiff_t>(from), in.end(),
                           d.output.begin() + static_cast<std::ptrdiff_t>(from)));
    // What the filter held when it went off isn't lost.
    for (std::size_t i = d.off - 56; i < d.off; ++i) {
        EXPECT_EQ(d.output[i], in[i]) << i;
    }
}

} // namespace
