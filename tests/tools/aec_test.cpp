// SPDX-License-Identifier: Apache-2.0
// Whole cancellers on made scenes: what they take away, that they find back after the echo path has
// changed, and that a modem's tone switches them off.
#include "aec/canceller.h"
#include "aec/scene.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace qolsc::tools;
using Samples = std::vector<std::int16_t>;

/// Noise that swells and fades four times a second.
Samples farEnd(int rate, int seconds) {
    qolsc::test::Random r;
    Samples x = qolsc::test::noise16(r, rate * seconds, 10000);
    for (std::size_t n = 0; n < x.size(); ++n) {
        const double t = static_cast<double>(n) / rate;
        x[n] = static_cast<std::int16_t>(x[n] * (0.55 + 0.45 * std::sin(8 * std::numbers::pi * t)));
    }
    return x;
}

/// Mean over the blocks from `from` to `to` seconds.
double meanErle(const Samples& near, const Samples& output, int rate, double from, double to) {
    const auto first = static_cast<std::size_t>(from * rate),
               count = static_cast<std::size_t>((to - from) * rate);
    const auto values = erle(std::span(near).subspan(first, count),
                             std::span(output).subspan(first, count), static_cast<int>(count));
    return values.at(0);
}

TEST(Canceller, TakesTheEchoAwayAndFindsBackAfterAChange) {
    for (const int rate : {8000, 16000}) {
        const Samples far = farEnd(rate, 8);
        const Scene scene = makeScene({.rate = rate, .roomMs = 40, .changeAt = 4}, far, {});
        ASSERT_EQ(scene.near, scene.echo);
        const auto expect = [&](const char* name, bool lowDelay, double first, double again) {
            const AecSettings settings{.engine = aecEngineNamed(name),
                                       .rate = rate,
                                       .tailMs = 64,
                                       .suppress = false,
                                       .lowDelay = lowDelay};
            const AecResult result = cancelEcho(settings, far, scene.near);
            EXPECT_GT(meanErle(scene.near, result.output, rate, 2, 4), first) << name << rate;
            EXPECT_GT(meanErle(scene.near, result.output, rate, 6, 8), again) << name << rate;
        };
        for (const char* name : {"subband", "subband-fixed", "subband-dt"}) {
            expect(name, false, 38, 30);
        }
        expect("subband", true, 38, 30);
        expect("fullband", false, 20, 15);
        expect("fullband-fixed", false, 15, 12);
    }
}

TEST(Canceller, WaitsForAnEchoThatComesLate) {
    const int rate = 8000;
    const Samples far = farEnd(rate, 3);
    const Scene scene = makeScene({.roomMs = 30, .delayMs = 80}, far, {});
    for (const char* name : {"subband", "subband-fixed", "subband-dt"}) {
        const AecResult result =
            cancelEcho({.engine = aecEngineNamed(name), .suppress = false}, far, scene.near);
        EXPECT_GT(meanErle(scene.near, result.output, rate, 0.5, 1.5), 10) << name;
        EXPECT_GT(meanErle(scene.near, result.output, rate, 2, 3), 25) << name;
    }
}

TEST(Canceller, KeepsItsFiltersThroughDoubleTalk) {
    const int rate = 8000;
    const Samples far = farEnd(rate, 6);
    qolsc::test::Random r{77};
    const Samples talk = qolsc::test::noise16(r, rate * 3 / 2, 6000);
    const Scene alone = makeScene({.roomMs = 40}, far, {}),
                talked = makeScene({.roomMs = 40, .talkFrom = 3}, far, talk);
    for (const char* name : {"subband", "subband-fixed", "subband-dt"}) {
        const AecSettings settings{.engine = aecEngineNamed(name), .tailMs = 64, .suppress = false};
        const AecResult quiet = cancelEcho(settings, far, alone.near);
        AecResult result = cancelEcho(settings, far, talked.near);
        EXPECT_GT(
            result.trace.doubleTalk[static_cast<std::size_t>(4 * rate / result.trace.frameSize)], 0)
            << name;
        // What the talker adds to the output, but for himself, is echo.
        for (std::size_t n = 0; n < result.output.size(); ++n) {
            result.output[n] =
                static_cast<std::int16_t>(result.output[n] - (talked.near[n] - alone.near[n]));
        }
        const auto left = [&](const Samples& output, double from, double to) {
            return meanErle(alone.near, output, rate, from, to);
        };
        EXPECT_GT(left(result.output, 3, 4.5), left(quiet.output, 3, 4.5) - 3) << name;
        EXPECT_GT(left(result.output, 4.6, 6), 38) << name;
    }
}

/// An echo that is suddenly louder isn't turned over in the error; it looks like talk.
TEST(Canceller, FindsBackWhenTheEchoGetsLouderOrWeaker) {
    const int rate = 8000;
    const Samples far = farEnd(rate, 8);
    const Scene before = makeScene({.roomMs = 40}, far, {});
    for (const double level : {0.0, -18.0}) {
        const Scene after = makeScene({.roomMs = 40, .echoDb = level}, far, {});
        Samples near = before.near;
        std::copy(after.near.begin() + 4 * rate, after.near.end(), near.begin() + 4 * rate);
        for (const char* name : {"subband", "subband-fixed", "subband-dt"}) {
            const AecSettings settings{
                .engine = aecEngineNamed(name), .tailMs = 64, .suppress = false};
            const Samples output = cancelEcho(settings, far, near).output;
            EXPECT_GT(meanErle(near, output, rate, 6, 8), 25) << name << level;
        }
    }
}

/// Far ends that tell little of the path, or suddenly more: whatever the filters make of them, the
/// output is never much louder than the near end.
TEST(Canceller, StaysQuietWithAnyFarEnd) {
    constexpr int rate = 8000, seconds = 6;
    const double pi = std::numbers::pi;
    qolsc::test::Random random;
    const Samples noise = qolsc::test::noise16(random, rate * seconds, 32767);
    const auto made = [&](auto&& value) {
        Samples x;
        for (int n = 0; n < rate * seconds; ++n) {
            x.push_back(static_cast<std::int16_t>(std::clamp<double>(value(n), -32768, 32767)));
        }
        return x;
    };
    const auto at = [&](int n) { return noise[static_cast<std::size_t>(n)]; };
    const std::pair<const char*, Samples> ends[] = {
        {"tone", made([&](int n) { return 8000 * std::sin(2 * pi * 1000 * n / rate); })},
        {"square", made([&](int n) { return n / 20 % 2 ? 32767 : -32768; })},
        {"constant", made([&](int n) { return n < 4 * rate ? 20000 : -20000; })},
        {"clicks", made([&](int n) { return n % 2000 == 0 ? 32767 : 0; })},
        {"hum, then noise", made([&](int n) {
             return n < 3 * rate ? 20 * std::sin(2 * pi * 100 * n / rate) : 0.5 * at(n);
         })},
        {"tone, then noise", made([&](int n) {
             return n < 3 * rate ? 9000 * std::sin(2 * pi * 440 * n / rate) : 0.5 * at(n);
         })},
        {"noise of all levels", made([&](int n) { return at(n) >> (n / 1000 % 12); })},
    };
    for (const auto& [title, far] : ends) {
        const Scene scene =
            makeScene({.rate = rate, .roomMs = 40, .noiseDb = -60, .changeAt = 4.5}, far, {});
        for (const char* name : {"subband", "subband-fixed", "subband-dt"}) {
            const AecResult result =
                cancelEcho({.engine = aecEngineNamed(name), .rate = rate}, far, scene.near);
            // The bank spreads a sound over 48 ms, and a change of the path may add the old echo to
            // the new one.
            for (double t = 0.5; t < seconds - 0.6; t += 0.1) {
                const auto first = static_cast<std::size_t>(t * rate);
                double before = 0, after = 0;
                for (std::size_t n = first - 800; n < first + 1600; ++n) {
                    before += std::pow(scene.near[n], 2);
                }
                for (std::size_t n = first; n < first + 800; ++n) {
                    after += std::pow(result.output[n], 2);
                }
                ASSERT_LT(after, 8 * before + 800 * 100) << title << " " << name << " " << t;
            }
        }
    }
}

TEST(Canceller, LeavesTheNearEndAloneWithoutFarEnd) {
    const Samples near = farEnd(8000, 2), far(near.size());
    // The windows rebuild but for the rounding of samples, and in fixed point of windows to Q13.
    const auto expect = [&](const char* name, bool lowDelay, double share) {
        const AecResult result = cancelEcho(
            {.engine = aecEngineNamed(name), .suppress = false, .lowDelay = lowDelay}, far, near);
        ASSERT_EQ(result.output.size(), near.size());
        double error = 0, power = 0;
        for (std::size_t n = 0; n < near.size(); ++n) {
            error += std::pow(result.output[n] - near[n], 2);
            power += std::pow(near[n], 2);
        }
        EXPECT_LT(error, share * power) << name;
    };
    expect("subband", true, 1e-6);
    expect("subband", false, 1e-6);
    expect("subband-fixed", false, 1e-5);
    expect("fullband", false, 1e-6);
}

TEST(Canceller, IsSwitchedOffByAToneAndComesBack) {
    Samples far(24000), near(24000);
    for (std::size_t n = 0; n < far.size(); ++n) {
        const double sign = n / 3600 % 2 ? -1 : 1;
        far[n] = static_cast<std::int16_t>(
            sign * 6000 * std::sin(0.525 * std::numbers::pi * static_cast<double>(n)));
        near[n] = static_cast<std::int16_t>(far[n] / 2);
    }
    // Silence of 300 ms keeps it off, silence of 400 ms ends that.
    for (const auto& [silence, off] : {std::pair(2400, 1.0), std::pair(4000, 0.0)}) {
        Samples x = far, d = near;
        x.resize(x.size() + static_cast<std::size_t>(silence));
        d.resize(x.size());
        const AecResult result = cancelEcho({}, x, d);
        const auto frame = static_cast<std::size_t>(result.trace.frameSize);
        EXPECT_EQ(result.trace.disabled.front(), 0);
        EXPECT_EQ(result.trace.disabled[23900 / frame], 1);
        EXPECT_EQ(result.trace.disabled[d.size() / frame - 1], off);
        EXPECT_TRUE(std::equal(near.end() - 8000, near.end(), result.output.begin() + 16000));
    }
}

TEST(Scene, IsReproducibleAndHasTheLevelAskedFor) {
    const SceneSettings settings{.echoDb = -12, .noiseDb = -40, .seed = 5};
    const std::vector<double> h = roomResponse(settings, false);
    double energy = 0;
    for (const double v : h) {
        energy += v * v;
    }
    EXPECT_NEAR(10 * std::log10(energy), -12, 1e-9);
    EXPECT_NE(h, roomResponse(settings, true));
    const Samples silence(8000);
    const Scene scene = makeScene(settings, silence, {});
    EXPECT_EQ(scene.near, makeScene(settings, silence, {}).near);
    double noise = 0;
    for (const std::int16_t v : scene.near) {
        noise += v * v / 8000.0;
    }
    EXPECT_NEAR(10 * std::log10(noise / (32768.0 * 32768.0)), -40, 0.5);
}

} // namespace
