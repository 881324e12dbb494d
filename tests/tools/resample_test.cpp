// SPDX-License-Identifier: Apache-2.0
// Sample-rate conversion against the signal computed at the other rate.
#include "resample.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

std::vector<std::int16_t> sine(double hertz, int rate, int count) {
    std::vector<std::int16_t> samples;
    for (int i = 0; i < count; ++i) {
        samples.push_back(
            static_cast<std::int16_t>(std::lround(12000 * std::sin(2 * M_PI * hertz * i / rate))));
    }
    return samples;
}

double errorDb(const std::vector<std::int16_t>& a, const std::vector<std::int16_t>& b) {
    double signal = 0;
    double error = 0;
    for (std::size_t i = 400; i + 400 < std::min(a.size(), b.size()); ++i) { // off the ends
        signal += double{1} * b[i] * b[i];
        error += (double{1} * a[i] - b[i]) * (double{1} * a[i] - b[i]);
    }
    return 10 * std::log10(error / signal);
}

TEST(Resample, aToneStaysTheTone) {
    for (const auto& [from, to] : {std::pair{44100, 8000},
                                   {48000, 16000},
                                   {16000, 8000},
                                   {8000, 16000},
                                   {11025, 8000},
                                   {16000, 32000}}) {
        const auto out = qolsc::tools::resample(sine(1000, from, from), from, to);
        EXPECT_EQ(out.size(), static_cast<std::size_t>(to)) << from << " to " << to;
        EXPECT_LT(errorDb(out, sine(1000, to, to)), -60) << from << " to " << to;
    }
}

TEST(Resample, whatTheLowerRateCannotHoldIsGone) {
    const auto out = qolsc::tools::resample(sine(6000, 16000, 16000), 16000, 8000);
    for (std::size_t i = 400; i + 400 < out.size(); ++i) {
        ASSERT_LE(std::abs(out[i]), 3) << i;
    }
}

TEST(Resample, equalRatesAndShortSignals) {
    EXPECT_EQ(qolsc::tools::resample(sine(500, 8000, 1), 8000, 16000).size(), 2u);
    EXPECT_TRUE(qolsc::tools::resample({}, 8000, 16000).empty());
}

} // namespace
