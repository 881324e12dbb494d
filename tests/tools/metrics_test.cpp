// SPDX-License-Identifier: Apache-2.0
// Figures on signals whose figures are known.
#include "kit/data.h"
#include "metrics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using namespace qolsc::tools;
using Samples = std::vector<std::int16_t>;

Samples sine(double hertz, int rate, int count, double amplitude) {
    Samples samples;
    for (int i = 0; i < count; ++i) {
        samples.push_back(static_cast<std::int16_t>(
            std::lround(amplitude * std::sin(2 * std::numbers::pi * hertz * i / rate))));
    }
    return samples;
}

Samples scaled(const Samples& samples, double factor) {
    Samples out;
    for (const std::int16_t sample : samples) {
        out.push_back(static_cast<std::int16_t>(std::lround(sample * factor)));
    }
    return out;
}

TEST(Metrics, equalSignals) {
    const Samples a = sine(440, 8000, 8000, 10000);
    const Quality q = compare(a, a, 8000);
    EXPECT_TRUE(std::isinf(q.snr));
    EXPECT_EQ(q.segmentalSnr, 35) << "each block is limited";
    EXPECT_EQ(q.logSpectralDistance, 0);
}

TEST(Metrics, errorOfATenthIsTwentyDecibels) {
    const Samples a = sine(1000, 8000, 16000, 20000);
    const Quality q = compare(a, scaled(a, 0.9), 8000);
    EXPECT_NEAR(q.snr, 20, 0.01);
    EXPECT_NEAR(q.segmentalSnr, 20, 0.01);
}

TEST(Metrics, halfTheAmplitudeIsSixDecibelsOfSpectralDistance) {
    qolsc::test::Random r;
    const Samples a = qolsc::test::noise16(r, 16000, 16000);
    EXPECT_NEAR(compare(a, scaled(a, 0.5), 16000).logSpectralDistance, 6.02, 0.05);
}

TEST(Metrics, silenceHasNoFigures) {
    const Samples silence(8000, 0);
    const Quality q = compare(silence, sine(440, 8000, 8000, 1000), 8000);
    EXPECT_TRUE(std::isnan(q.segmentalSnr));
    EXPECT_TRUE(std::isnan(q.logSpectralDistance));
}

TEST(Metrics, onlyBlocksWithSpeechCount) {
    Samples a = sine(440, 8000, 8000, 10000);
    Samples b = scaled(a, 0.9);
    a.resize(16000, 0);
    b.resize(16000, 300); // noise in the pause
    EXPECT_NEAR(compare(a, b, 8000).segmentalSnr, 20, 0.05);
    EXPECT_TRUE(std::isnan(segmentSnr(a, b, 8000).back()));
}

TEST(Metrics, aSineStandsInItsBinWithItsPower) {
    const int size = windowSize(8000);
    ASSERT_EQ(size, 256);
    const Spectra spectra = powerSpectra(sine(1000, 8000, 1024, 8000), size, 128);
    const auto* window = spectra.db.data() + 2 * spectra.bins;
    EXPECT_EQ(std::max_element(window, window + spectra.bins) - window, 1000 * size / 8000);
    // A Hann window gives a sine of amplitude A the power A^2 / 4 * (n / 2)^2 / (3 n / 8).
    EXPECT_NEAR(window[32], 10 * std::log10(8000.0 * 8000 / 4 * size * 2 / 3), 0.05);
}

} // namespace
