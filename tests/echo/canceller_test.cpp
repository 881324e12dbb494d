// SPDX-License-Identifier: Apache-2.0
// What is particular to the canceller's updates, controllers and tone detectors: the shifts, limits
// and asymmetries that callers rely on.
#include "kit/data.h"
#include "qolsc/echo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using namespace qolsc::test;

constexpr Qol32s kMost = 0x7FFFFFFF, kLeast = -kMost - 1;

/// One band, one tap: the coefficient after an update.
Qol32sc updated(Qol32sc c, Qol32sc x, Qol32sc e, QolStepSize_EC step, Qol32s scale = 0) {
    const Qol32sc* px = &x;
    Qol32sc* pc = &c;
    EXPECT_EQ(qolsFIRSubbandCoeffUpdate_EC_32sc_I(&step, &px, &e, &pc, 1, 1, scale), 0);
    return c;
}
Qol32sc updatedLow(Qol32sc c, Qol32sc x, Qol32sc e, QolStepSize_EC step, Qol32s scale = 0) {
    const Qol32sc* px = &x;
    Qol32sc *pc = &c, tmp{0, 0};
    EXPECT_EQ(qolsFIRSubbandLowCoeffUpdate_EC_32sc_I(&px, &e, &pc, 1, &tmp, &step, 0, 1, scale), 0);
    return c;
}

TEST(CoefficientUpdate, ShiftByOneIsCutAndByTwoRounded) {
    // A mantissa of 2^30 halves the error: 6 becomes 3, times 1.
    const Qol32sc x{1, 0}, e{6, 0};
    EXPECT_EQ(updated({0, 0}, x, e, {1 << 30, 31}).re, 3);
    EXPECT_EQ(updated({0, 0}, x, e, {1 << 30, 32}).re, 1); // 1.5 cut
    EXPECT_EQ(updated({0, 0}, x, e, {1 << 30, 33}).re, 1); // 0.75 rounded
    EXPECT_EQ(updated({0, 0}, {-1, 0}, e, {1 << 30, 32}).re, -2);
}

TEST(CoefficientUpdate, ShiftCountsAreTakenModulo64) {
    const Qol32sc x{1 << 10, 0}, e{1 << 10, 0};
    // 2^9 times 2^10 shifted right by 71 modulo 64.
    EXPECT_EQ(updated({0, 0}, x, e, {1 << 30, 102}).re, 1 << 12);
    EXPECT_EQ(updatedLow({0, 0}, x, e, {1 << 30, 102}).re, 1 << 12);
    EXPECT_EQ(updated({0, 0}, x, e, {1 << 30, 102}, 6).re, 1 << 18); // 65: one, rounded by one
}

TEST(CoefficientUpdate, FullFormSaturatesWhereTheCheapOneWraps) {
    const Qol32sc x{1, 0}, e{200, 0};
    EXPECT_EQ(updated({kMost - 5, 0}, x, e, {1 << 30, 31}).re, kMost);
    EXPECT_EQ(updatedLow({kMost - 5, 0}, x, e, {1 << 30, 31}).re, kLeast + 94);
    // To the left both saturate.
    EXPECT_EQ(updatedLow({kMost - 5, 0}, x, e, {1 << 30, 30}).re, kMost);
}

TEST(CoefficientUpdate, LeastImaginaryPartIsNegatedDifferently) {
    const Qol32sc x{0, kLeast}, e{1 << 10, 0};
    const QolStepSize_EC step{1 << 30, 31 + 20};
    EXPECT_EQ(updated({0, 0}, x, e, step).im, (Qol64s{kMost} * 512 + (1 << 19)) >> 20);
    EXPECT_EQ(updatedLow({0, 0}, x, e, step).im, -(1 << 20));
}

TEST(CoefficientUpdate, NegativeStepInTheLastBandLeavesAll) {
    std::vector<Qol32sc> x(9, {1000, 1000}), e(9, {1000, 0}), c(9, {1, 2});
    std::vector<QolStepSize_EC> s(9, {1 << 30, 20});
    s[8].mantissa = -1;
    const Qol32sc* px = x.data();
    Qol32sc* pc = c.data();
    EXPECT_EQ(qolsFIRSubbandCoeffUpdate_EC_32sc_I(s.data(), &px, e.data(), &pc, 1, 9, 0),
              qolStsSizeErr);
    for (const Qol32sc& z : c) {
        EXPECT_TRUE(z.re == 1 && z.im == 2);
    }
}

TEST(FixedFilter, ScalesTowardsZeroAndTheCheapOneDown) {
    const Qol32sc x{-3, 0}, c{1, 0}, *px = &x, *pc = &c;
    Qol32sc y{0, 0};
    EXPECT_EQ(qolsFIRSubband_EC_32sc_Sfs(&px, &pc, &y, 1, 1, 1), 0);
    EXPECT_EQ(y.re, -1);
    EXPECT_EQ(qolsFIRSubbandLow_EC_32sc_Sfs(&px, &pc, 1, &y, 0, 1, 1), 0);
    EXPECT_EQ(y.re, -2);
    const Qol32sc big{1 << 16, 0}, *pb = &big;
    EXPECT_EQ(qolsFIRSubband_EC_32sc_Sfs(&pb, &pb, &y, 1, 1, -31), 0);
    EXPECT_EQ(y.re, kMost);
    y = {7, 7};
    EXPECT_EQ(qolsFIRSubbandLow_EC_32sc_Sfs(&px, &pc, 1, &y, 1, 1, 0), 0); // no band at all
    EXPECT_EQ(y.re, 7);
    EXPECT_EQ(qolsFIRSubband_EC_32sc_Sfs(&px, &pc, &y, 256, 4097, 0), qolStsRangeErr);
    EXPECT_EQ(qolsFIRSubband_EC_32sc_Sfs(&px, &pc, &y, 256, 4098, 0), qolStsSubbandCountErr);
}

// ---- controllers ----

template <typename State>
struct Record {
    std::vector<Qol64s> memory;
    State* p;
};
template <typename State>
Record<State> record(Qol32s bytes) {
    Record<State> r{std::vector<Qol64s>(static_cast<std::size_t>(bytes) / 8 + 2), nullptr};
    r.p = reinterpret_cast<State*>(r.memory.data());
    return r;
}

TEST(SubbandController, SilenceGivesTheFallbackSteps) {
    Qol32s size = 0;
    ASSERT_EQ(qolsSubbandControllerGetSize_EC_16s(17, 24, 4, 8000, &size), 0);
    auto fixed = record<QolsSubbandControllerState_EC_16s>(size);
    ASSERT_EQ(qolsSubbandControllerInit_EC_16s(fixed.p, 17, 24, 4, 8000), 0);
    const std::vector<Qol32sc> zeros(17);
    const std::vector<const Qol32sc*> rows(4, zeros.data());
    auto* pp = const_cast<const Qol32sc**>(rows.data());
    std::vector<QolStepSize_EC> steps(17);
    ASSERT_EQ(qolsSubbandControllerUpdate_EC_16s(zeros.data(), zeros.data(), pp, nullptr,
                                                 steps.data(), fixed.p),
              0);
    EXPECT_EQ(steps[16].mantissa, (1 << 30) / (17 * 100000 * 4 / 1024));
    EXPECT_EQ(steps[16].exponent, 102);
    EXPECT_EQ(qolsSubbandControllerUpdate_EC_16s(nullptr, zeros.data(), pp, nullptr, steps.data(),
                                                 fixed.p),
              qolStsNullPtrErr);

    ASSERT_EQ(qolsSubbandControllerGetSize_EC_32f(17, 24, 4, 8000, &size), 0);
    auto floating = record<QolsSubbandControllerState_EC_32f>(size);
    ASSERT_EQ(qolsSubbandControllerInit_EC_32f(floating.p, 17, 24, 4, 8000), 0);
    const std::vector<Qol32fc> zerosf(17);
    std::vector<const Qol32fc*> rowsf(4, zerosf.data());
    std::vector<Qol64f> stepsf(17);
    for (const Qol32f rate : {0.0f, 1.0f}) {
        ASSERT_EQ(qolsSubbandAPControllerUpdate_EC_32f(rowsf.data(), nullptr, stepsf.data(),
                                                       floating.p, rate),
                  0);
        EXPECT_EQ(stepsf[3], 0.05f / (17.0f * 100000 * 4));
    }
    EXPECT_EQ(qolsSubbandAPControllerUpdate_EC_32f(rowsf.data(), nullptr, stepsf.data(), floating.p,
                                                   1.01f),
              qolStsRangeErr);
}

TEST(SubbandController, FixedStepsAreHalfOverThePower) {
    Qol32s size = 0;
    ASSERT_EQ(qolsSubbandControllerGetSize_EC_16s(3, 24, 2, 8000, &size), 0);
    auto s = record<QolsSubbandControllerState_EC_16s>(size);
    ASSERT_EQ(qolsSubbandControllerInit_EC_16s(s.p, 3, 24, 2, 8000), 0);
    const std::vector<Qol32sc> x(3, {100000, -200000});
    const Qol32sc* rows[2] = {x.data(), x.data()};
    QolStepSize_EC steps[3];
    ASSERT_EQ(qolsSubbandControllerUpdate_EC_16s(x.data(), x.data(), rows, nullptr, steps, s.p), 0);
    const double power = 1e10 + 4e10;
    EXPECT_NEAR(std::ldexp(steps[1].mantissa, -steps[1].exponent) * power, 0.5, 1e-6);
}

TEST(FullbandController, OldestSampleStaysInTheRunningSum) {
    Qol32s size = 0;
    ASSERT_EQ(qolsFullbandControllerGetSize_EC_32f(4, 2, 8000, &size), 0);
    EXPECT_EQ(size, 72);
    auto s = record<QolsFullbandControllerState_EC_32f>(size);
    ASSERT_EQ(qolsFullbandControllerInit_EC_32f(s.p, 4, 2, 8000), 0);
    const Qol32f x[6] = {3000, 5000, 7000, 11000, 13000, 17000}, ref[4] = {};
    Qol32f steps[4];
    ASSERT_EQ(qolsFullbandControllerUpdate_EC_32f(x + 2, ref, steps, s.p), 0);
    const double m = 1e6, e0 = (9 + 25) * m, e1 = e0 + (49 - 25) * m, e2 = e1 + (121 - 49) * m;
    EXPECT_NEAR(steps[0] * e0, 0.5, 1e-6);
    EXPECT_NEAR(steps[1] * e1, 0.5, 1e-6); // 5000 leaves, 3000 stays
    EXPECT_NEAR(steps[2] * e2, 0.5, 1e-6);
}

TEST(FullbandFilter, FixedAdaptationSaturatesItsErrorOnTheWayOutOnly) {
    // Two samples in one call or in two calls: the large scaled error survives only inside.
    const Qol16s x[4] = {0, 4, 4, 4}, ref[2] = {30000, 30000};
    const Qol32s steps[2] = {10000, 10000};
    Qol16s once[2], twice[2], c1 = 0, c2 = 0, e1 = 0, e2 = 0;
    ASSERT_EQ(qolsNLMS_EC_16s(x + 1, ref, steps, once, 2, &c1, 1, &e1), 0);
    ASSERT_EQ(qolsNLMS_EC_16s(x + 1, ref, steps, twice, 1, &c2, 1, &e2), 0);
    EXPECT_EQ(e2, 32767);
    ASSERT_EQ(qolsNLMS_EC_16s(x + 2, ref + 1, steps + 1, twice + 1, 1, &c2, 1, &e2), 0);
    EXPECT_EQ(once[0], twice[0]);
    EXPECT_GT(c1, c2);
}

TEST(FullbandFilter, CallsInPiecesAdaptAsOneCall) {
    Random r;
    const auto x = noisef(r, 64 + 160, 1000), ref = noisef(r, 160, 1000);
    const std::vector<Qol32f> steps(160, 1e-8f);
    std::vector<Qol32f> a(160), b(160), ca(64), cb(64);
    Qol32f ea = 0, eb = 0;
    ASSERT_EQ(
        qolsNLMS_EC_32f(x.data() + 64, ref.data(), steps.data(), a.data(), 160, ca.data(), 64, &ea),
        0);
    for (int n = 0; n < 160; n += 20) {
        ASSERT_EQ(qolsNLMS_EC_32f(x.data() + 64 + n, ref.data() + n, steps.data() + n, b.data() + n,
                                  20, cb.data(), 64, &eb),
                  0);
    }
    EXPECT_EQ(a, b);
    EXPECT_EQ(ca, cb);
    EXPECT_EQ(ea, eb);
}

TEST(DoubleTalk, FewBandsAreAlwaysCalledDoubleTalk) {
    Qol32s size = 0;
    ASSERT_EQ(qolsSubbandControllerDTGetSize_EC_16s(3, 24, 2, 8000, &size), 0);
    auto s = record<QolsSubbandControllerDTState_EC_16s>(size);
    ASSERT_EQ(qolsSubbandControllerDTInit_EC_16s(s.p, 3, 24, 2, 8000), 0);
    const std::vector<Qol32sc> zeros(3);
    const Qol32sc* rows[2] = {zeros.data(), zeros.data()};
    std::vector<QolStepSize_EC> steps(3, {5, 5});
    Qol32s talk = 0, low = 7;
    ASSERT_EQ(qolsSubbandControllerDTUpdate_EC_16s(rows, zeros.data(), zeros.data(), steps.data(),
                                                   &talk, &low, 3, s.p),
              0);
    EXPECT_EQ(talk, 1);
    EXPECT_EQ(low, 0);
    EXPECT_EQ(steps[0].mantissa, 5); // no band in use: nothing written
    EXPECT_EQ(qolsSubbandControllerDTUpdate_EC_16s(rows, zeros.data(), zeros.data(), steps.data(),
                                                   &talk, &low, 4, s.p),
              qolStsRangeErr);
}

// ---- tones ----

std::vector<Qol16s> reversedTone(int rate, double seconds, double period, double amplitude) {
    std::vector<Qol16s> x;
    for (int n = 0; n < rate * seconds; ++n) {
        const int half = period > 0 ? static_cast<int>(n / (rate * period)) : 0;
        const double sign = half % 2 == 0 ? 1 : -1;
        x.push_back(static_cast<Qol16s>(
            std::lrint(sign * amplitude * std::sin(2 * std::numbers::pi * 2100 * n / rate))));
    }
    return x;
}

struct Found {
    int fixed, floating; // calls that reported
};
Found detect(const std::vector<Qol16s>& x, int rate, int piece) {
    auto a = record<QolsToneDetectState_EC_16s>(72);
    auto b = record<QolsToneDetectState_EC_32f>(80);
    EXPECT_EQ(qolsToneDetectInit_EC_16s(a.p, rate), 0);
    EXPECT_EQ(qolsToneDetectInit_EC_32f(b.p, rate), 0);
    const std::vector<Qol32f> f(x.begin(), x.end());
    Found found{0, 0};
    for (std::size_t n = 0; n < x.size(); n += static_cast<std::size_t>(piece)) {
        const auto len =
            static_cast<Qol32s>(std::min(x.size() - n, static_cast<std::size_t>(piece)));
        Qol32s result = -1;
        EXPECT_EQ(qolsToneDetect_EC_16s(x.data() + n, len, &result, a.p), 0);
        found.fixed += result;
        EXPECT_EQ(qolsToneDetect_EC_32f(f.data() + n, len, &result, b.p), 0);
        found.floating += result;
    }
    return found;
}

TEST(ToneDetector, FindsReversalsOfTheDisablingToneOnly) {
    Random r;
    for (const int rate : {8000, 16000}) {
        // From -40 to -6 dBm0; full scale is +3.14 dBm0.
        for (const double dbm0 : {-6.0, -20.0, -40.0}) {
            const double amplitude = 32767 * std::pow(10, (dbm0 - 3.14) / 20);
            // Noise 20 dB below: uniform noise of amplitude a has a power of a^2 / 3.
            auto x = reversedTone(rate, 2.5, 0.45, amplitude);
            const auto level = static_cast<int>(amplitude / 10 * std::sqrt(1.5));
            for (Qol16s& v : x) {
                v = static_cast<Qol16s>(v + uniform(r, -level, level));
            }
            for (const int piece : {1, 80, 1000000}) {
                const Found found = detect(x, rate, piece);
                EXPECT_GT(found.fixed, 0) << rate << ' ' << dbm0;
                EXPECT_GT(found.floating, 0) << rate << ' ' << dbm0;
            }
        }
        for (const double period : {0.0, 0.40, 0.48}) {
            const Found none = detect(reversedTone(rate, 3, period, 8000), rate, 160);
            EXPECT_EQ(none.fixed, 0) << period;
            EXPECT_EQ(none.floating, 0) << period;
        }
    }
}

TEST(ToneDetector, IsSilentOnDtmfAndSpeech) {
    constexpr double low[] = {697, 770, 852, 941}, high[] = {1209, 1336, 1477, 1633};
    const std::vector<Qol16s> speech = readWords("amrwb/sequences/speech.inp"); // 16 kHz
    ASSERT_GT(speech.size(), 90000u);
    for (const int rate : {8000, 16000}) {
        std::vector<Qol16s> x;
        for (int digit = 0; digit < 64; ++digit) { // 50 to 113 ms, pauses of 120 to 57 ms
            const double a = low[digit % 4], b = high[digit / 4 % 4];
            for (int n = 0; n < rate * (50 + digit) / 1000; ++n) {
                const double t = 2 * std::numbers::pi * n / rate;
                x.push_back(static_cast<Qol16s>(8000 * std::sin(a * t) + 10000 * std::sin(b * t)));
            }
            x.insert(x.end(), static_cast<std::size_t>(rate * (120 - digit) / 1000), Qol16s{0});
        }
        const std::size_t step = rate == 16000 ? 1 : 2;
        for (std::size_t n = 0; n + 1 < speech.size(); n += step) {
            x.push_back(step == 1 ? speech[n]
                                  : static_cast<Qol16s>((speech[n] + speech[n + 1]) / 2));
        }
        const Found found = detect(x, rate, 80);
        EXPECT_EQ(found.fixed, 0) << rate;
        EXPECT_EQ(found.floating, 0) << rate;
    }
}

TEST(ToneDetector, CountsReportsPerCallWhileTheToneGoesOn) {
    // Reversals at 0.45, 0.9, 1.35 and 1.8 s: all but the first report.
    const Found found = detect(reversedTone(8000, 2.1, 0.45, 8000), 8000, 1);
    EXPECT_EQ(found.fixed, 3);
    EXPECT_EQ(found.floating, 3);
}

} // namespace
