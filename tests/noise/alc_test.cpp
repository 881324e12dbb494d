// SPDX-License-Identifier: Apache-2.0
// Level control: what ITU-T G.169 asks of one, on speech-like bursts at many levels.
#include "kit/data.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace qolsc::test;

namespace {

struct Control {
    std::vector<Qol8u> raw = std::vector<Qol8u>(124 + 8);
    std::size_t skew = 0;
};
QolsALCState_G169_16s* stateOf(Control& c) {
    return reinterpret_cast<QolsALCState_G169_16s*>(c.raw.data() + c.skew);
}

constexpr int kOn = 24000, kPeriod = 32000; ///< a sentence of 3 s, a pause of 1 s

/// Bursts of coloured noise of that power in decibels below full scale.
std::vector<Qol16s> bursts(double level, int samples) {
    Random r;
    const double rms = 32768 * std::pow(10, -level / 20) * std::sqrt(1.5);
    std::vector<Qol16s> v;
    double low = 0;
    for (int i = 0; i < samples; ++i) {
        low = 0.9 * low + uniformReal(r, -1, 1);
        const double x = (i % kPeriod < kOn ? rms : 2.0) * low * 0.755;
        v.push_back(static_cast<Qol16s>(std::lrint(std::fmax(-32768, std::fmin(32767, x)))));
    }
    return v;
}

/// Decibels below full scale of the bursts behind the first half.
double activeLevel(const std::vector<Qol16s>& v) {
    double sum = 0;
    int count = 0;
    for (std::size_t i = v.size() / 2; i < v.size(); ++i) {
        if (i % kPeriod < kOn) {
            sum += static_cast<double>(v[i]) * v[i];
            ++count;
        }
    }
    return -20 * std::log10(std::sqrt(sum / count) / 32768);
}

// Levels in dBm0: the sine of full scale has 3.14 dBm0.
TEST(LevelControl, BringsLevelsToTheTargetAndNeverPassesTheClipLevel) {
    constexpr double kTarget = 26, kMaxGain = 20;
    const double clip = 32768 / std::pow(10, 3.0 / 20);
    for (int dbm0 = -40; dbm0 <= -10; dbm0 += 5) {
        Control c;
        ASSERT_EQ(qolsALCInit_G169_16s(stateOf(c)), 0);
        ASSERT_EQ(qolsALCSetLevel_G169_16s(stateOf(c), kTarget, 3), 0);
        ASSERT_EQ(qolsALCSetGain_G169_16s(stateOf(c), kMaxGain), 0);
        const std::vector<Qol16s> in = bursts(-(dbm0 - 3.14 - 3.01), 8 * 60000);
        std::vector<Qol16s> out(in.size());
        ASSERT_EQ(
            qolsALC_G169_16s(in.data(), out.data(), static_cast<Qol32s>(in.size()), stateOf(c)), 0);
        const double level = activeLevel(in), wanted = std::max(kTarget, level - kMaxGain);
        // The control takes sqrt(power) times 0.7 to 0.89 for the level of speech, 1.0 to 3.1 dB
        // below its rms: the upper end once 500 blocks on end were active, which speech near the
        // threshold (a mean magnitude of 262) doesn't reach. Below it only the louder blocks count.
        const double least = dbm0 >= -20 ? -2 : -3.2, most = dbm0 >= -35 ? 2 : 2.5;
        EXPECT_GE(activeLevel(out) - wanted, least) << dbm0 << " dBm0";
        EXPECT_LE(activeLevel(out) - wanted, most) << dbm0 << " dBm0";
        for (const Qol16s y : out) {
            ASSERT_LE(std::abs(static_cast<int>(y)), clip);
        }
    }
}

// Full scale right behind a high gain: it falls within the block.
TEST(LevelControl, FullScaleBehindAHighGainStaysBelowTheClipLevel) {
    Control c;
    qolsALCInit_G169_16s(stateOf(c));
    qolsALCSetLevel_G169_16s(stateOf(c), 10, 6);
    qolsALCSetGain_G169_16s(stateOf(c), 30);
    std::vector<Qol16s> in = bursts(36, 4 * kPeriod), out(in.size());
    qolsALC_G169_16s(in.data(), out.data(), static_cast<Qol32s>(in.size()), stateOf(c));
    EXPECT_LT(activeLevel(out), activeLevel(in) - 15) << "the gain is high";
    in.clear();
    for (int i = 0; i < 8000; ++i) {
        in.push_back(i % 2 ? Qol16s{-32768} : Qol16s{32767});
    }
    qolsALC_G169_16s(in.data(), out.data(), static_cast<Qol32s>(in.size()), stateOf(c));
    for (std::size_t i = 0; i < in.size(); ++i) {
        ASSERT_LE(std::abs(static_cast<int>(out[i])), 32768 / std::pow(10, 6.0 / 20)) << i;
    }
}

TEST(LevelControl, SilenceStaysAndNoiseBeforeSpeechIsNotRaised) {
    Control c;
    qolsALCInit_G169_16s(stateOf(c));
    const std::vector<Qol16s> silence(8000);
    std::vector<Qol16s> out(8000, 1);
    ASSERT_EQ(qolsALC_G169_16s(silence.data(), out.data(), 8000, stateOf(c)), 0);
    EXPECT_EQ(out, silence);
    // Even noise that never stops: no segment begins, and the gain stays where Init has put it.
    Control d;
    qolsALCInit_G169_16s(stateOf(d));
    Random r;
    const std::vector<Qol16s> noise = noise16(r, 80000, 100);
    out.resize(noise.size());
    ASSERT_EQ(qolsALC_G169_16s(noise.data(), out.data(), 80000, stateOf(d)), 0);
    for (std::size_t i = 0; i < noise.size(); ++i) {
        ASSERT_LE(std::abs(static_cast<int>(out[i])), std::abs(static_cast<int>(noise[i]))) << i;
    }
}

// A segment of fewer than 50 active blocks leaves what was learnt of the speech as it was, once its
// hang of 200 blocks has run out; one of more doesn't.
TEST(LevelControl, ShortBurstsDontCount) {
    const auto field = [](Control& k, std::size_t at, auto v) {
        std::memcpy(&v, k.raw.data() + k.skew + at, sizeof v);
        return v;
    };
    constexpr std::size_t kSpeechCount = 38, kSpeechPower = 76, kTargetGain = 92;
    for (const int blocks : {10, 30, 60}) {
        Control c;
        qolsALCInit_G169_16s(stateOf(c));
        std::vector<Qol16s> talk = bursts(24, 16000), out(16000);
        talk.resize(16000 + 8000, 0); // and a pause
        out.resize(talk.size());
        qolsALC_G169_16s(talk.data(), out.data(), static_cast<Qol32s>(talk.size()), stateOf(c));
        const auto count = field(c, kSpeechCount, Qol16s{});
        const auto power = field(c, kSpeechPower, Qol32f{}), gain = field(c, kTargetGain, Qol32f{});
        EXPECT_GT(count, 0);
        EXPECT_GT(power, 0);
        std::vector<Qol16s> click(24000);
        std::fill(click.begin(), click.begin() + 8 * blocks, Qol16s{12000});
        out.resize(click.size());
        qolsALC_G169_16s(click.data(), out.data(), 24000, stateOf(c));
        const bool counts = blocks >= 50;
        EXPECT_EQ(field(c, kSpeechCount, Qol16s{}), count + counts) << blocks;
        EXPECT_EQ(field(c, kSpeechPower, Qol32f{}) == power, !counts) << blocks;
        EXPECT_EQ(field(c, kTargetGain, Qol32f{}) == gain, !counts) << blocks;
    }
}

TEST(LevelControl, PiecesAndAddressesMakeNoDifference) {
    const std::vector<Qol16s> in = bursts(24, 24000);
    Control whole;
    qolsALCInit_G169_16s(stateOf(whole));
    std::vector<Qol16s> want(in.size());
    qolsALC_G169_16s(in.data(), want.data(), static_cast<Qol32s>(in.size()), stateOf(whole));
    for (std::size_t skew = 0; skew < 8; ++skew) {
        Control c;
        c.skew = skew;
        qolsALCInit_G169_16s(stateOf(c));
        std::vector<Qol16s> got = in; // in place
        for (std::size_t at = 0, n = 8; at < in.size();
             at += n, n = std::min(in.size() - at, n + 8 + 8 * skew)) {
            ASSERT_EQ(qolsALC_G169_16s(got.data() + at, got.data() + at, static_cast<Qol32s>(n),
                                       stateOf(c)),
                      0);
        }
        EXPECT_EQ(got, want);
    }
}

} // namespace
