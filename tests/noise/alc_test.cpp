// SPDX-License-Identifier: Apache-2.0
// Level control: what ITU-T G.169 asks of one, on speech-like bursts at many levels.
#include "kit/data.h"
#include "qolsc.h"

#include <gtest/gtest.h>

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

/// Bursts of coloured noise, 400 ms on and 200 ms off, of that power in decibels below full scale.
std::vector<Qol16s> bursts(double level, int samples) {
    Random r;
    const double rms = 32768 * std::pow(10, -level / 20) * std::sqrt(1.5);
    std::vector<Qol16s> v;
    double low = 0;
    for (int i = 0; i < samples; ++i) {
        low = 0.9 * low + uniformReal(r, -1, 1);
        const bool on = i % 4800 < 3200;
        const double x = (on ? rms : 2.0) * low * 0.755;
        v.push_back(static_cast<Qol16s>(std::lrint(std::fmax(-32768, std::fmin(32767, x)))));
    }
    return v;
}

double activeLevel(const std::vector<Qol16s>& v, std::size_t from) {
    double sum = 0;
    int count = 0;
    for (std::size_t i = from; i < v.size(); ++i) {
        if (i % 4800 < 3200) {
            sum += static_cast<double>(v[i]) * v[i];
            ++count;
        }
    }
    return -20 * std::log10(std::sqrt(sum / count) / 32768);
}

TEST(LevelControl, BringsLevelsTogetherAndNeverPassesTheClipLevel) {
    double least = 100, most = -100;
    for (const double level : {12.0, 18.0, 24.0, 30.0, 36.0}) {
        Control c;
        ASSERT_EQ(qolsALCInit_G169_16s(stateOf(c)), 0);
        ASSERT_EQ(qolsALCSetLevel_G169_16s(stateOf(c), 26, 3), 0);
        ASSERT_EQ(qolsALCSetGain_G169_16s(stateOf(c), 20), 0);
        const std::vector<Qol16s> in = bursts(level, 8 * 60000);
        std::vector<Qol16s> out(in.size());
        ASSERT_EQ(
            qolsALC_G169_16s(in.data(), out.data(), static_cast<Qol32s>(in.size()), stateOf(c)), 0);
        const double reached = activeLevel(out, in.size() / 2);
        least = std::min(least, reached);
        most = std::max(most, reached);
        const double clip = 32768 / std::pow(10, 3.0 / 20);
        for (const Qol16s y : out) {
            ASSERT_LE(std::abs(static_cast<int>(y)), clip + 1);
        }
    }
    EXPECT_LT(most - least, 4) << "24 dB of input levels come together";
    RecordProperty("spread", std::to_string(most - least));
}

TEST(LevelControl, SilenceStaysAndShortBurstsDontCount) {
    Control c, quiet;
    ASSERT_EQ(qolsALCInit_G169_16s(stateOf(c)), 0);
    std::vector<Qol16s> silence(8000), out(8000, 1);
    ASSERT_EQ(qolsALC_G169_16s(silence.data(), out.data(), 8000, stateOf(c)), 0);
    EXPECT_EQ(out, silence);
    // A click of 10 blocks: once its hang has run out the segment count is what it was.
    const auto speechCount = [](Control& k) {
        Qol16s v;
        std::memcpy(&v, k.raw.data() + k.skew + 38, sizeof v);
        return v;
    };
    std::vector<Qol16s> click(8000);
    std::fill(click.begin(), click.begin() + 80, Qol16s{8000});
    ASSERT_EQ(qolsALC_G169_16s(click.data(), out.data(), 8000, stateOf(c)), 0);
    EXPECT_EQ(speechCount(c), 0);
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
