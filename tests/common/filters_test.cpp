// SPDX-License-Identifier: Apache-2.0
// LP filters and scaled arithmetic against their definitions, sample by sample.
#include "common/plain.h"
#include "qolsc/common.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace qolsc;
using namespace qolsc::test;

namespace {

/// The recursion by its formula; true when a sample was saturated. Without test the low 16 bits are
/// kept.
bool plainSynthesis(const Words& a, const Words& x, Words& out, int s, const Words& memory,
                    bool test) {
    Words y(memory);
    bool saturated = false;
    for (std::size_t n = 0; n < x.size(); ++n) {
        Qol64s acc = Qol64s{a[0]} * x[n] + (1 << (s - 1));
        for (std::size_t k = 1; k <= 10; ++k) {
            acc -= Qol64s{a[k]} * y[10 + n - k];
        }
        const Qol32s v = wrap32(acc) >> s;
        saturated |= test && v != saturate16(v);
        y.push_back(test ? saturate16(v) : wrap16(v));
    }
    out.assign(y.begin() + 10, y.end());
    return saturated;
}

/// Stable, resonant, unstable and absurd filters in turn.
Words someFilter(Random& r, int kind, int s) {
    const int one = 1 << s;
    Words a(11);
    a[0] = static_cast<Qol16s>(one);
    const double radius = kind % 4 == 0 ? 0.7 : kind % 4 == 1 ? 0.98 : 1.05;
    for (std::size_t k = 1; k <= 10; ++k) {
        const double value =
            std::pow(radius, static_cast<double>(k)) * uniformReal(r, -0.4, 0.4) * one;
        a[k] = static_cast<Qol16s>(value);
    }
    return kind % 4 == 3 ? extremes16(r, 11) : a;
}

} // namespace

TEST(Synthesis, EveryFormEveryLength) {
    Random r;
    for (int run = 0; run < 1600; ++run) {
        const int len = 1 + run % 400, s = 12 + run / 7 % 2;
        const Words a = someFilter(r, run, s), memory = mixed16(r, 10, run / 3);
        const Words x = run % 5 == 0 ? extremes16(r, len) : noise16(r, len, 1 << (run % 15));
        Words wanted;
        const bool saturated = plainSynthesis(a, x, wanted, s, memory, true);
        const auto source = guarded(x, static_cast<std::size_t>(run % 8));
        auto out = guarded<Qol16s>(x.size(), static_cast<std::size_t>(run / 8 % 8));
        const QolStatus expected = saturated ? qolStsOverflow : qolStsNoErr;
        ASSERT_EQ(::qolsSynthesisFilter_NR_16s_Sfs(a.data(), source.data, out.data, len, s,
                                                   memory.data()),
                  expected);
        ASSERT_EQ(values(out), wanted) << run;
        ASSERT_TRUE(intact(out));
        auto inPlace = guarded(x, static_cast<std::size_t>(run % 8));
        ASSERT_EQ(::qolsSynthesisFilter_NR_16s_ISfs(a.data(), inPlace.data, len, s, memory.data()),
                  expected);
        ASSERT_EQ(values(inPlace), wanted) << run;

        plainSynthesis(a, x, wanted, s, memory, false);
        auto low = guarded(x);
        ASSERT_EQ(::qolsSynthesisFilterLow_NR_16s_ISfs(a.data(), low.data, len, s, memory.data()),
                  qolStsNoErr);
        ASSERT_EQ(values(low), wanted) << run;
        plainSynthesis(a, x, wanted, s, Words(10), false);
        ASSERT_EQ(
            ::qolsSynthesisFilter_NR_16s_Sfs(a.data(), source.data, out.data, len, s, nullptr),
            qolStsNoErr);
        ASSERT_EQ(values(out), wanted) << run;

        Words zeros(x.size() - 1), impulse(10);
        impulse[9] = a[0];
        plainSynthesis(a, zeros, wanted, s, impulse, false);
        wanted.insert(wanted.begin(), a[0]);
        ASSERT_EQ(::qolsSynthesisFilterZeroStateResponse_NR_16s(a.data(), out.data, len, s),
                  qolStsNoErr);
        ASSERT_EQ(values(out), wanted) << run;
    }
}

TEST(Synthesis, OneSaturatedSampleAtTheEnd) {
    Words a(11), x(40, 100), memory(10), out(40);
    a[0] = 4096;
    x[39] = 32767;
    a[1] = -4096; // sums up
    ASSERT_EQ(
        ::qolsSynthesisFilter_NR_16s_Sfs(a.data(), x.data(), out.data(), 40, 12, memory.data()),
        qolStsOverflow);
    EXPECT_EQ(out[38], 3900);
    EXPECT_EQ(out[39], 32767);
}

TEST(Synthesis, SplitCallsAreOneCall) {
    Random r;
    const Words a = someFilter(r, 1, 12), x = noise16(r, 333, 3000);
    Words memory(10), whole(333), parts(333);
    ::qolsSynthesisFilter_NR_16s_Sfs(a.data(), x.data(), whole.data(), 333, 12, memory.data());
    for (int n = 0, step = 11; n < 333; n += step, step = std::min(40, 333 - n)) {
        ::qolsSynthesisFilter_NR_16s_Sfs(a.data(), x.data() + n, parts.data() + n, step, 12,
                                         memory.data());
        memory.assign(parts.begin() + n + step - 10, parts.begin() + n + step);
    }
    EXPECT_EQ(whole, parts);
}

TEST(Residual, EveryOrderAndLength) {
    Random r;
    for (int run = 0; run < 1200; ++run) {
        const int order = run % 3 == 0 ? 10 : run % 3 == 1 ? 16 - 8 * (run % 2) : 1 + run % 20;
        const int len = order + run / 3, s = run % 16;
        const Words a =
            run % 4 == 0 ? extremes16(r, order + 1) : noise16(r, order + 1, 1 << (run % 15));
        const auto x = guarded(mixed16(r, order + len, run), static_cast<std::size_t>(run % 8));
        auto out =
            guarded<Qol16s>(static_cast<std::size_t>(len), static_cast<std::size_t>(run / 8 % 8));
        ASSERT_EQ(
            ::qolsResidualFilter_Low_16s_Sfs(a.data(), order, x.data + order, out.data, len, s),
            qolStsNoErr);
        ASSERT_TRUE(intact(out));
        for (int n = 0; n < len; ++n) {
            Qol64s sum = s > 0 ? Qol64s{1} << (s - 1) : 0;
            for (int k = 0; k <= order; ++k) {
                sum += Qol64s{a[static_cast<std::size_t>(k)]} * x.data[order + n - k];
            }
            ASSERT_EQ(out.data[n], saturate16(sum >> s)) << run << ' ' << n;
        }
    }
}

TEST(Harmonic, EveryLag) {
    Random r;
    for (int run = 0; run < 800; ++run) {
        const int lag = run % 60, len = 1 + run % 171;
        const Qol16s val =
            run % 9 == 0 ? Qol16s{-32768} : static_cast<Qol16s>(uniform(r, -32768, 32767));
        const Words x = mixed16(r, lag + len, run);
        auto out =
            guarded<Qol16s>(static_cast<std::size_t>(len), static_cast<std::size_t>(run % 8));
        ASSERT_EQ(::qolsHarmonicFilter_NR_16s(val, lag, x.data() + lag, out.data, len),
                  qolStsNoErr);
        ASSERT_TRUE(intact(out));
        Words fed(x), own(x);
        ASSERT_EQ(::qolsHarmonicFilter_16s_I(val, lag, own.data() + lag, len), qolStsNoErr);
        for (int i = 0; i < len; ++i) {
            const auto now = static_cast<std::size_t>(lag + i), past = static_cast<std::size_t>(i);
            ASSERT_EQ(out.data[i], saturate16((Qol64s{32768} * x[now] +
                                               std::max<int>(val, -32767) * x[past] + 16384) >>
                                              15));
            fed[now] = wrap16(fed[now] + ((Qol32s{val} * fed[past]) >> 15));
        }
        ASSERT_EQ(own, fed) << run;
    }
}

TEST(FloatFilters, RoundedStepByStep) {
    Random r;
    for (int len = 1; len <= 400; ++len) {
        const int lag = len % 31;
        const std::vector<Qol32f> x = noisef(r, len + lag);
        std::vector<Qol32f> fed(x), own(x);
        ASSERT_EQ(::qolsHarmonicFilter_32f_I(lag, own.data() + lag, len, 0.7f), qolStsNoErr);
        for (std::size_t i = 0; i < static_cast<std::size_t>(len); ++i) {
            const volatile Qol32f product = 0.7f * fed[i];
            fed[i + static_cast<std::size_t>(lag)] += product;
        }
        ASSERT_EQ(own, fed) << len;
        own = x;
        Qol32f memory = 0.25f;
        ASSERT_EQ(::qolsPreemphasize_32f_I(0.9f, own.data(), len, &memory), qolStsNoErr);
        ASSERT_EQ(memory, x[static_cast<std::size_t>(len - 1)]);
        for (std::size_t i = 0; i < static_cast<std::size_t>(len); ++i) {
            const volatile Qol32f product = 0.9f * (i > 0 ? x[i - 1] : 0.25f);
            ASSERT_EQ(own[i], x[i] - product) << len << ' ' << i;
        }
    }
}

TEST(ScaledProducts, EveryScaleAndLength) {
    Random r;
    for (int run = 0; run < 800; ++run) {
        const int len = 1 + run % 400, s = run % 70;
        const Words x = mixed16(r, len, run), y = mixed16(r, len, run / 2);
        const Qol16s val = run % 3 == 0 ? Qol16s{-32768} : y[0];
        auto out = guarded<Qol16s>(x.size(), static_cast<std::size_t>(run % 8));
        auto byConstant = guarded<Qol16s>(x.size(), static_cast<std::size_t>(run % 8));
        Words powers(x.size()), inPlace(y);
        ASSERT_EQ(::qolsMul_NR_16s_Sfs(x.data(), y.data(), out.data, len, s), qolStsNoErr);
        ASSERT_EQ(::qolsMul_NR_16s_ISfs(x.data(), inPlace.data(), len, s), qolStsNoErr);
        ASSERT_EQ(::qolsMulC_NR_16s_Sfs(x.data(), val, byConstant.data, len, s), qolStsNoErr);
        ASSERT_EQ(::qolsMulPowerC_NR_16s_Sfs(x.data(), val, powers.data(), len, s), qolStsNoErr);
        ASSERT_TRUE(intact(out) && intact(byConstant));
        ASSERT_EQ(values(out), inPlace);
        const auto scaled = [s](Qol64s p) {
            return s == 0 ? p : s > 60 ? 0 : (p + (Qol64s{1} << (s - 1))) >> s;
        };
        Qol16s power = val;
        for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_EQ(out.data[i], saturate16(scaled(Qol32s{x[i]} * y[i]))) << run << ' ' << s;
            ASSERT_EQ(byConstant.data[i], saturate16(scaled(Qol32s{x[i]} * val)))
                << run << ' ' << s;
            ASSERT_EQ(powers[i], i == 0 ? x[0] : wrap16(scaled(Qol32s{x[i]} * power)))
                << run << ' ' << s;
            power = i == 0 ? power : wrap16(scaled(Qol32s{power} * val));
        }
    }
}

TEST(Interpolate, EveryPairOfScales) {
    Random r;
    for (int run = 0; run < 1000; ++run) {
        const int len = 1 + run % 37, s1 = run % 24, s2 = run % 3 == 0 ? s1 : run / 24 % 24,
                  m = std::min(s1, s2);
        const Words x = mixed16(r, len, run), y = mixed16(r, len, run / 2);
        const auto v1 = static_cast<Qol16s>(run % 5 == 0 ? -32768 : uniform(r, -1000, 32767));
        const auto v2 = static_cast<Qol16s>(run % 7 == 0 ? -32768 : uniform(r, -1000, 1000));
        auto out = guarded<Qol16s>(x.size(), static_cast<std::size_t>(run % 8));
        ASSERT_EQ(::qolsInterpolateC_NR_16s(x.data(), v1, s1, y.data(), v2, s2, out.data, len),
                  qolStsNoErr);
        ASSERT_TRUE(intact(out));
        for (std::size_t i = 0; i < x.size(); ++i) {
            const Qol64s sum = Qol64s{v1} * x[i] * (Qol64s{1} << (s1 - m)) +
                               Qol64s{v2} * y[i] * (Qol64s{1} << (s2 - m));
            const Qol64s wanted = m < 16   ? (sum + (1 << (15 - m))) >> (16 - m)
                                  : m > 16 ? sum * (1 << (m - 16))
                                           : sum;
            ASSERT_EQ(out.data[i], saturate16(wanted)) << run << ' ' << s1 << ' ' << s2;
        }
    }
}

TEST(InvSqrt, WithinItsBound) {
    Random r;
    for (int run = 0; run < 20000; ++run) {
        Qol32s x = static_cast<Qol32s>(uniform(r, 1, INT32_MAX) >> (run % 31));
        x = std::max(x, 1);
        Qol32s y = x;
        ASSERT_EQ(::qolsInvSqrt_32s_I(&y, 1), qolStsNoErr);
        const double exact = 0x1p30 / std::sqrt(static_cast<double>(x));
        // Chords of 1/sqrt over steps of 1/16 of the argument: 3/4 / 8 / 256.
        ASSERT_NEAR(y, exact, 1 + 0.00037 * exact) << x;
    }
    for (Qol32s x : {0, -1, INT32_MIN}) {
        ASSERT_EQ(::qolsInvSqrt_32s_I(&x, 1), qolStsNoErr);
        EXPECT_EQ(x, 0x3FFFFFFF);
    }
}
