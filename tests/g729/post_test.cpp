// SPDX-License-Identifier: Apache-2.0
// Post-processing of G.729: float forms against double precision, fast paths against the
// definition, saturation and memories.
#include "kit/data.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qolsc::test {
namespace {

Qol16s clip16(std::int64_t x) {
    return static_cast<Qol16s>(std::clamp<std::int64_t>(x, -32768, 32767));
}

// ---- high-pass ----

/// The recursion as the standard writes it, memories split in two halves.
struct PlainHighPass {
    std::array<Qol16s, 6> c;
    std::int64_t y1 = 0, y2 = 0;
    int x1 = 0, x2 = 0;
};

Qol16s step(PlainHighPass& f, Qol16s x, int scale) {
    const auto part = [](int a, std::int64_t y) {
        return (y >> 16) * a + (((y >> 1 & 0x7FFF) * a) >> 15);
    };
    const auto s = static_cast<Qol32s>(static_cast<std::uint64_t>(
        f.c[3] * x + std::int64_t{f.c[4]} * f.x1 + std::int64_t{f.c[5]} * f.x2 +
        part(f.c[1], f.y1) + part(f.c[2], f.y2)));
    const std::int64_t top = scale == 12 ? 0x7FFFFFF : 0xFFFFFFF;
    f.y2 = f.y1;
    f.y1 = s >= top        ? 0x7FFFFFFF
           : s <= -top - 1 ? -0x80000000LL
                           : std::int64_t{s} * (scale == 12 ? 16 : 8);
    f.x2 = f.x1;
    f.x1 = x;
    return scale == 12 ? clip16((f.y1 + 0x8000) >> 16) : clip16((std::int64_t{s} + 2048) >> 12);
}

void expectHighPass(const std::array<Qol16s, 6>& coeffs, int scale, const std::vector<Qol16s>& in) {
    std::vector<Qol8u> state(24 + 1);
    Qol8u* st = state.data() + 1; // any address will do
    ASSERT_EQ(qolsHighPassFilterInit_G729(coeffs.data(), st), qolStsNoErr);
    PlainHighPass plain{coeffs};
    std::vector<Qol16s> got = in;
    const std::size_t sizes[] = {1, 2, 79, 80, 81, 160, 7};
    for (std::size_t at = 0, k = 0; at < in.size(); ++k) {
        const std::size_t n = std::min(sizes[k % std::size(sizes)], in.size() - at);
        ASSERT_EQ(qolsHighPassFilter_G729_16s_ISfs(got.data() + at, static_cast<int>(n), scale, st),
                  qolStsNoErr);
        at += n;
    }
    for (std::size_t i = 0; i < in.size(); ++i) {
        ASSERT_EQ(got[i], step(plain, in[i], scale)) << "sample " << i << ", Q" << scale;
    }
}

TEST(HighPass, FollowsTheDefinitionThroughSaturation) {
    constexpr std::array<Qol16s, 6> kPre{4096, 7807, -3733, 1899, -3798, 1899},
        kPost{8192, 15836, -7667, 7699, -15398, 7699},
        kWild{0, 32767, -32768, 32767, 32767, -32768};
    Random r;
    std::vector<Qol16s> in = noise16(r, 3000, 20000);
    const std::vector<Qol16s> extremes = extremes16(r, 3000);
    in.insert(in.end(), extremes.begin(), extremes.end());
    for (int i = 0; i < 2000; ++i) { // full-scale squares drive the memories to their limits
        in.push_back(i / 50 % 2 == 0 ? 32767 : -32768);
    }
    const std::vector<Qol16s> tail = noise16(r, 1000, 3000);
    in.insert(in.end(), tail.begin(), tail.end());
    for (const int scale : {12, 13}) {
        expectHighPass(kPre, scale, in);
        expectHighPass(kPost, scale, in);
        expectHighPass(kWild, scale, in);
    }
}

// ---- synthesis ----

std::vector<Qol16s> plainSynthesis(const std::vector<Qol16s>& a, const std::vector<Qol16s>& x,
                                   const std::vector<Qol16s>& mem) {
    std::vector<Qol16s> y = mem;
    for (std::size_t n = 0; n < x.size(); ++n) {
        std::int64_t s = std::int64_t{a[0]} * x[n] + 0x800;
        for (std::size_t i = 1; i < a.size(); ++i) {
            s -= std::int64_t{a[i]} * y[mem.size() + n - i];
        }
        y.push_back(clip16(s >> 12));
    }
    return {y.begin() + static_cast<std::ptrdiff_t>(mem.size()), y.end()};
}

TEST(SynthesisE, BlocksEqualTheDefinitionForAllOrdersAndLengths) {
    Random r;
    for (int order = 1; order <= 40; ++order) {
        for (int len : {1, 2, 3, 4, 5, 7, 8, 40, 41, 80}) {
            // Small, large and extreme coefficients: with and without room in 32 bits.
            for (const int amplitude : {500, 4000, 32767}) {
                std::vector<Qol16s> a = noise16(r, order + 1, amplitude);
                a[0] = 4096;
                if (amplitude == 32767) {
                    a[1] = -32768;
                }
                const auto x = guarded(noise16(r, len, 32767), 1);
                const std::vector<Qol16s> mem = noise16(r, order, 32767);
                auto y = guarded<Qol16s>(static_cast<std::size_t>(len), 3);
                ASSERT_EQ(
                    qolsSynthesisFilter_G729E_16s(a.data(), order, x.data, y.data, len, mem.data()),
                    qolStsNoErr);
                const std::vector<Qol16s> want = plainSynthesis(a, values(x), mem);
                ASSERT_EQ(values(y), want) << "order " << order << ", length " << len;
                ASSERT_TRUE(intact(y));
                auto inPlace = x;
                inPlace = guarded(values(x), 1);
                qolsSynthesisFilter_G729E_16s_I(a.data(), order, inPlace.data, len, mem.data());
                ASSERT_EQ(values(inPlace), want);
            }
        }
    }
}

TEST(SynthesisFloat, StaysByTheDoubleRecursion) {
    Random r;
    for (int order = 1; order <= 30; ++order) {
        for (const int len : {1, 5, 40, 80, 640}) {
            // Reflection-like decay keeps the filter stable, so that errors do not grow.
            std::vector<Qol32f> a(static_cast<std::size_t>(order) + 1);
            a[0] = 1;
            for (std::size_t i = 1; i < a.size(); ++i) {
                a[i] = static_cast<Qol32f>(uniformReal(r, -0.9, 0.9) / order);
            }
            const std::vector<Qol32f> x = noisef(r, len, 1000.0);
            std::vector<Qol32f> mem = noisef(r, order, 1000.0), y(x.size());
            std::vector<double> want(mem.begin(), mem.end());
            for (std::size_t n = 0; n < x.size(); ++n) {
                double s = double{a[0]} * x[n];
                for (std::size_t i = 1; i < a.size(); ++i) {
                    s -= double{a[i]} * want[mem.size() + n - i];
                }
                want.push_back(s);
            }
            ASSERT_EQ(
                qolsSynthesisFilter_G729_32f(a.data(), order, x.data(), y.data(), len, mem.data()),
                qolStsNoErr);
            // order + 1 roundings of values up to 10^4 a sample, damped by 1 / (1 - 0.9).
            const double bound = (order + 1) * 1e4 * 6e-8 * 10;
            for (std::size_t n = 0; n < x.size(); ++n) {
                ASSERT_NEAR(y[n], want[n + static_cast<std::size_t>(order)], bound);
            }
            for (std::size_t i = 0; i < mem.size(); ++i) {
                ASSERT_NEAR(mem[i], want[x.size() + i], bound);
            }
        }
    }
}

TEST(PoleZero, TwoCallsEqualOneRunAndBothRoundingsAgree) {
    Random r;
    std::vector<Qol16s> coeffs = noise16(r, 22, 600);
    coeffs[0] = 4096;
    const std::vector<Qol16s> in = noise16(r, 80, 8000);
    std::vector<Qol16s> mem(20), memLow(20), x(10), y(10);
    x.insert(x.end(), in.begin(), in.end());
    for (std::size_t block = 0; block < 2; ++block) {
        Qol16s out[40], low[40];
        qolsIIR16s_G729_16s(coeffs.data(), in.data() + 40 * block, out, mem.data());
        qolsIIR16sLow_G729_16s(coeffs.data(), in.data() + 40 * block, low, memLow.data());
        for (std::size_t n = 0; n < 40; ++n) {
            const std::size_t at = 10 + 40 * block + n;
            std::int64_t s = 0x800;
            for (std::size_t i = 0; i <= 10; ++i) {
                s += std::int64_t{coeffs[i]} * x[at - i];
                s -= i == 0 ? 0 : std::int64_t{coeffs[11 + i]} * y[at - i];
            }
            y.push_back(clip16(s >> 12));
            ASSERT_EQ(out[n], y[at]);
            ASSERT_EQ(low[n], y[at]);
        }
    }
    EXPECT_TRUE(std::equal(mem.begin(), mem.begin() + 10, x.end() - 10));
    EXPECT_TRUE(std::equal(mem.begin() + 10, mem.end(), y.end() - 10));
}

// ---- long-term post-filter ----

TEST(LongTerm, SilenceAndNoisePassUnfiltered) {
    std::vector<Qol16s> silence(192);
    Qol16s out[40], delay = 7;
    qolsLongTermPostFilter_G729_16s(16384, 60, silence.data() + 152, out, &delay);
    EXPECT_EQ(delay, 0);
    EXPECT_TRUE(std::all_of(out, out + 40, [](Qol16s v) { return v == 0; }));
}

TEST(LongTerm, FindsTheDelayOfAPeriodicSignal) {
    for (int period = 20; period <= 140; ++period) {
        std::vector<Qol16s> x(192);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double phase = 2 * M_PI * static_cast<double>(i) / period;
            x[i] = static_cast<Qol16s>(
                2500 * (std::sin(phase) + std::sin(2 * phase + 1) + std::sin(5 * phase + 2)));
        }
        Qol16s out[40], delay = 0;
        qolsLongTermPostFilter_G729_16s(16384, period, x.data() + 152, out, &delay);
        // By the rounding of the words a fraction of 7/8 may win; it is rounded up.
        ASSERT_GE(delay, period);
        ASSERT_LE(delay, period + 1);
        for (std::size_t n = 0; n < 40; ++n) { // a periodic signal goes through nearly unchanged
            ASSERT_NEAR(out[n], x[152 + n], 8000 * 0.05) << "period " << period;
        }
    }
}

TEST(LongTerm, NoiseFramesOfAnnexBCopyTheResidual) {
    Random r;
    const std::vector<Qol16s> speech = noise16(r, 50, 3000);
    std::vector<Qol16s> residual = noise16(r, 194, 3000), lpc = noise16(r, 11, 1000);
    lpc[0] = 4096;
    Qol16s out[40], voice = 5;
    for (const Qol16s type : {Qol16s{0}, Qol16s{2}}) {
        ASSERT_EQ(qolsLongTermPostFilter_G729B_16s(0, speech.data() + 10, lpc.data(),
                                                   residual.data(), out, &voice, type),
                  qolStsNoErr);
        EXPECT_EQ(voice, 0);
        EXPECT_TRUE(std::equal(out, out + 40, residual.data() + 154));
    }
    voice = 5;
    EXPECT_EQ(qolsLongTermPostFilter_G729B_16s(17, speech.data() + 10, lpc.data(), residual.data(),
                                               out, &voice, 1),
              qolStsSizeErr);
    EXPECT_EQ(voice, 5);
}

/// Annex A's filter in plain 64-bit arithmetic.
std::vector<Qol16s> plainHarmonic(int lag, const std::vector<Qol16s>& residual) {
    std::vector<std::int64_t> s(residual.size());
    std::transform(residual.begin(), residual.end(), s.begin(), [](Qol16s v) { return v >> 2; });
    const auto correlate = [&s](std::size_t from, int back) {
        std::int64_t sum = 0;
        for (std::size_t n = 154; n < 194; ++n) {
            sum += s[n - from] * s[n - from - static_cast<std::size_t>(back)];
        }
        return std::min<std::int64_t>(2 * sum, 0x7FFFFFFF);
    };
    const int lower = std::min(lag - 3, 137);
    int best = lower;
    std::int64_t c = correlate(0, lower);
    for (int l = lower + 1; l <= lower + 6; ++l) {
        if (correlate(0, l) > c) {
            c = correlate(0, l);
            best = l;
        }
    }
    c = std::max<std::int64_t>(c, 0);
    const auto plusOne = [](std::int64_t e) { return std::min<std::int64_t>(e + 1, 0x7FFFFFFF); };
    const std::int64_t e = plusOne(correlate(static_cast<std::size_t>(best), 0)),
                       e0 = plusOne(correlate(0, 0));
    int shift = 0;
    while ((std::max({c, e, e0}) << (shift + 1)) <= 0x7FFFFFFF) {
        ++shift;
    }
    const auto word = [shift](std::int64_t v) {
        return std::min<std::int64_t>(((v << shift) + 0x8000) >> 16, 32767);
    };
    const std::int64_t cw = word(c), ew = word(e), e0w = word(e0);
    std::vector<Qol16s> out(residual.end() - 40, residual.end());
    if (2 * cw * cw < ew * e0w) {
        return out;
    }
    std::int64_t g0 = 21845, g1 = 10923;
    if (cw <= ew) {
        const std::int64_t v = (ew >> 1) + (cw >> 2);
        g1 = v > 0 ? ((cw >> 2) << 15) / v : 0;
        g0 = 32767 - g1;
    }
    for (std::size_t n = 0; n < 40; ++n) {
        out[n] = clip16((g0 * residual[154 + n] >> 15) +
                        (g1 * residual[154 + n - static_cast<std::size_t>(best)] >> 15));
    }
    return out;
}

TEST(LongTermA, EqualsThePlainFormAtAllLevels) {
    Random r;
    Qol16s lpc[11] = {4096}; // the residual is the signal itself
    for (int round = 0; round < 600; ++round) {
        const int lag = static_cast<int>(uniform(r, 18, 145)), amplitude = round % 3 == 0   ? 32767
                                                                           : round % 3 == 1 ? 2000
                                                                                            : 20;
        std::vector<Qol16s> residual = noise16(r, 194, amplitude);
        for (std::size_t n = static_cast<std::size_t>(lag); n < residual.size(); ++n) {
            if (round % 2 == 0) { // periodic in every other round
                residual[n] = residual[n - static_cast<std::size_t>(lag)];
            }
        }
        std::vector<Qol16s> speech(10);
        speech.insert(speech.end(), residual.end() - 40, residual.end());
        std::vector<Qol16s> work = residual;
        std::fill(work.end() - 40, work.end(), Qol16s{0});
        auto out = guarded<Qol16s>(40, 1);
        ASSERT_EQ(qolsLongTermPostFilter_G729A_16s(static_cast<Qol16s>(lag), speech.data() + 10,
                                                   lpc, work.data(), out.data),
                  qolStsNoErr);
        ASSERT_EQ(work, residual);
        ASSERT_EQ(values(out), plainHarmonic(lag, residual)) << "lag " << lag;
        ASSERT_TRUE(intact(out));
    }
}

// ---- tilt, pre-emphasis, gain control ----

TEST(Tilt, EqualsThePlainFormForAllCoefficients) {
    Random r;
    for (int k = -32768; k <= 32767; k += k == 32766 ? 1 : 37) {
        const std::vector<Qol16s> x = k % 2 == 0 ? extremes16(r, 41) : noise16(r, 41);
        auto y = guarded<Qol16s>(40, 1);
        ASSERT_EQ(qolsTiltCompensation_G729E_16s(static_cast<Qol16s>(k), x.data(), y.data),
                  qolStsNoErr);
        const int mu = (k * (k > 0 ? 6554 : 29491) + 16384) >> 15, shift = k > 0 ? 14 : 11;
        const int gain = (1 << (15 + shift)) / std::min(32768 - std::abs(mu), 32767);
        for (std::size_t n = 0; n < 40; ++n) {
            const int sum = clip16(x[n + 1] + (((mu >> 1) * x[n] + 8192) >> 14));
            ASSERT_EQ(y.data[n], clip16((std::int64_t{sum} * gain + (1 << (shift - 1))) >> shift))
                << "k " << k;
        }
        ASSERT_TRUE(intact(y));
    }
}

TEST(Tilt, AnnexAPassesRisingResponsesAndKeepsTheMemory) {
    Qol16s lpc[22] = {}; // A(z/0.55) = 1, A(z/0.7) = 1 + 0.5 z^-1: alternating response
    lpc[0] = lpc[11] = 4096;
    lpc[12] = 2048;
    std::vector<Qol16s> x(41);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = static_cast<Qol16s>(100 * i);
    }
    const std::vector<Qol16s> before = x;
    qolsTiltCompensation_G729A_16s(lpc, x.data() + 1);
    EXPECT_EQ(x[0], before[40]);
    EXPECT_TRUE(std::equal(x.begin() + 1, x.end(), before.begin() + 1));
}

TEST(Preemphasis, ProductOfTwoExtremesIsKept) {
    Qol16s x[2] = {-32768, 0}, mem = -32768;
    qolsPreemphasize_G729A_16s_I(-32768, x, 2, &mem);
    EXPECT_EQ(x[0], -32768); // -32768 - 32768, saturated
    EXPECT_EQ(x[1], -32768); // 0 - 32768
    EXPECT_EQ(mem, 0);
}

TEST(GainControl, SilentOutputSetsTheGainToZero) {
    Random r;
    const std::vector<Qol16s> in = noise16(r, 40, 1000);
    for (const auto control : {qolsGainControl_G729_16s_I, qolsGainControl_G729A_16s_I}) {
        std::vector<Qol16s> silent(40);
        Qol16s gain = 4096;
        ASSERT_EQ(control(in.data(), silent.data(), &gain), qolStsNoErr);
        EXPECT_EQ(gain, 0);
        EXPECT_EQ(silent, std::vector<Qol16s>(40));
    }
}

TEST(GainControl, AnnexASaturatesAndTakesTheGainAsUnsigned) {
    Random r;
    for (int round = 0; round < 300; ++round) {
        const std::vector<Qol16s> silence(40), x = extremes16(r, 40);
        std::vector<Qol16s> y = x;
        auto gain = static_cast<Qol16s>(uniform(r, -32768, 32767));
        std::int64_t g = static_cast<Qol16u>(gain);
        if (std::all_of(x.begin(), x.end(), [](Qol16s v) { return (v >> 2) == 0; })) {
            continue;
        }
        ASSERT_EQ(qolsGainControl_G729A_16s_I(silence.data(), y.data(), &gain), qolStsNoErr);
        for (std::size_t n = 0; n < 40; ++n) { // a silent source: the gain decays by 0.9
            g = g * 58982 >> 16;
            ASSERT_EQ(y[n], clip16(x[n] * g >> 12));
        }
        ASSERT_EQ(static_cast<Qol16u>(gain), g);
    }
}

TEST(GainControl, FloatFollowsTheRecursionInDoublePrecision) {
    Random r;
    for (int round = 0; round < 200; ++round) {
        const double target = uniformReal(r, 0, 4), factor = uniformReal(r, 0, 1);
        const std::vector<Qol32f> x = noisef(r, 40, 20000.0);
        std::vector<Qol32f> y = x;
        auto mem = static_cast<Qol32f>(uniformReal(r, 0, 4));
        double g = mem;
        const auto t = static_cast<Qol32f>(target), a = static_cast<Qol32f>(factor);
        ASSERT_EQ(qolsGainControl_G729_32f_I(t, a, y.data(), &mem), qolStsNoErr);
        for (std::size_t n = 0; n < 40; ++n) {
            g = double{a} * g + (1 - double{a}) * t;
            ASSERT_NEAR(y[n], g * x[n], 4e-6 * std::abs(x[n]) * 4);
        }
        ASSERT_NEAR(mem, g, 4e-6 * 4);
    }
}

} // namespace
} // namespace qolsc::test
