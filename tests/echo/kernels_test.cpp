// SPDX-License-Identifier: Apache-2.0
// Fast kernels of the echo canceller against their definitions, and the filter bank against a model
// in double precision.
#include "echo/echo.h"
#include "echo/fullband_filter.h"
#include "echo/subband_filter.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace {

using namespace qolsc;
using namespace qolsc::test;

/// Rows of complex numbers that lie apart and at odd places.
template <typename T>
struct Rows {
    std::vector<std::vector<T>> memory;
    std::vector<T*> rows;
};
template <typename T, typename Fill>
Rows<T> makeRows(int count, int len, Fill fill) {
    Rows<T> r;
    for (int j = 0; j < count; ++j) {
        r.memory.emplace_back(static_cast<std::size_t>(len + j % 3));
        for (T& z : r.memory.back()) {
            z = fill();
        }
    }
    for (int j = 0; j < count; ++j) {
        r.rows.push_back(r.memory[static_cast<std::size_t>(j)].data() + j % 3);
    }
    return r;
}
Rows<Qol32fc> floatRows(Random& r, int count, int len, double amplitude) {
    return makeRows<Qol32fc>(count, len, [&] {
        return Qol32fc{static_cast<Qol32f>(uniformReal(r, -amplitude, amplitude)),
                       static_cast<Qol32f>(uniformReal(r, -amplitude, amplitude))};
    });
}
std::vector<Qol32fc> row(const Rows<Qol32fc>& r, int j, int len) {
    const Qol32fc* p = r.rows[static_cast<std::size_t>(j)];
    return {p, p + len};
}
bool same(const std::vector<Qol32fc>& a, const std::vector<Qol32fc>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

TEST(SubbandKernels, FilterAndUpdateInPairsEqualTheirDefinitions) {
    Random r;
    for (int bands = 1; bands <= 35; ++bands) {
        for (const int taps : {1, 2, 7, 43}) {
            const auto x = floatRows(r, taps, bands, 30000);
            auto c = floatRows(r, taps, bands, 2), d = c;
            for (int j = 0; j < taps; ++j) {
                d.rows[static_cast<std::size_t>(j)] =
                    d.memory[static_cast<std::size_t>(j)].data() + j % 3;
            }
            auto fast = guarded<Qol32fc>(static_cast<std::size_t>(bands)),
                 plain = guarded<Qol32fc>(static_cast<std::size_t>(bands), 1);
            echo::firSubbandPairs_32fc(x.rows.data(), c.rows.data(), fast.data, taps, bands);
            echo::firSubbandPlain_32fc(x.rows.data(), c.rows.data(), plain.data, taps, 0, bands);
            ASSERT_TRUE(same(values(fast), values(plain))) << bands << " bands, " << taps;
            ASSERT_TRUE(intact(fast));

            std::vector<Qol64f> steps;
            for (int i = 0; i < bands; ++i) {
                steps.push_back(uniformReal(r, 0, 1e-9));
            }
            const auto e = floatRows(r, 1, bands, 1000);
            echo::updatePairs_32fc(steps.data(), x.rows.data(), e.rows[0], c.rows.data(), taps,
                                   bands);
            echo::updatePlain_32fc(steps.data(), x.rows.data(), e.rows[0], d.rows.data(), taps, 0,
                                   bands);
            for (int j = 0; j < taps; ++j) {
                ASSERT_TRUE(same(row(c, j, bands), row(d, j, bands))) << bands << ' ' << j;
            }
        }
    }
}

TEST(FullbandKernels, LanesEqualTheDefinitions) {
    Random r;
    for (const int taps : {1, 2, 7, 8, 9, 31, 32, 33, 64, 100}) {
        for (const int len : {1, 7, 8, 40, 49}) {
            const auto n = static_cast<std::size_t>(len), h = static_cast<std::size_t>(taps);
            const auto x = noisef(r, taps + len, 1000), ref = noisef(r, len, 1000),
                       c = noisef(r, taps);
            std::vector<Qol32f> a(n), b(n);
            echo::firLanes_32f(x.data() + h, ref.data(), a.data(), len, c.data(), taps);
            echo::firPlain_32f(x.data() + h, ref.data(), b.data(), len, c.data(), taps);
            ASSERT_EQ(a, b);
            for (const bool extreme : {false, true}) {
                const auto xs = extreme ? extremes16(r, taps + len) : noise16(r, taps + len);
                const auto cs = extreme ? extremes16(r, taps) : noise16(r, taps);
                const auto rs = noise16(r, len);
                std::vector<Qol16s> as(n), bs(n);
                echo::firLanes_16s(xs.data() + h, rs.data(), as.data(), len, cs.data(), taps);
                echo::firPlain_16s(xs.data() + h, rs.data(), bs.data(), len, cs.data(), taps);
                ASSERT_EQ(as, bs) << taps << ' ' << extreme;
            }
        }
    }
}

TEST(FullbandKernels, AdaptivePassEqualsTheDefinition) {
    Random r;
    for (const int taps : {1, 7, 8, 9, 32, 100}) {
        const auto h = static_cast<std::size_t>(taps);
        for (const Qol16s g : {0, 1, -1, 77, 32767, -32768}) {
            const auto x = extremes16(r, taps + 1);
            auto c = extremes16(r, taps);
            std::vector<Qol16s> reversed(c.rbegin(), c.rend());
            const Qol32s a = echo::nlmsPlain_16s(x.data() + h, g, c.data(), taps);
            const Qol32s b = echo::nlmsReversed_16s(x.data() + h, g, reversed.data(), taps);
            ASSERT_EQ(a, b);
            ASSERT_EQ(c, std::vector<Qol16s>(reversed.rbegin(), reversed.rend()));
        }
        const auto x = noisef(r, taps + 1, 100);
        auto c = noisef(r, taps);
        std::vector<Qol32f> reversed(c.rbegin(), c.rend());
        const Qol32f a = echo::nlmsPlain_32f(x.data() + h, 0.01f, c.data(), taps);
        const Qol32f b = echo::nlmsReversed_32f(x.data() + h, 0.01f, reversed.data(), taps);
        ASSERT_EQ(c, std::vector<Qol32f>(reversed.rbegin(), reversed.rend()));
        double magnitude = 0; // the sums differ in their order only
        for (int k = 0; k < taps; ++k) {
            magnitude +=
                std::abs(c[static_cast<std::size_t>(k)] * x[static_cast<std::size_t>(taps - k)]);
        }
        ASSERT_NEAR(a, b, 2 * taps * 0x1p-24 * magnitude);
    }
}

TEST(NormalisedDivision, IsWithinItsBound) {
    Random r;
    for (int k = 0; k < 20000; ++k) {
        const auto num = static_cast<Qol32s>(uniform(r, 1, 0x7FFFFFFF) >> uniform(r, 0, 30)),
                   den = static_cast<Qol32s>(uniform(r, 1, 0x7FFFFFFF) >> uniform(r, 0, 30));
        if (num < 1 || den < 1) {
            continue;
        }
        const echo::Quotient q = echo::divideNormalised(num, den);
        const double exact = static_cast<double>(num) / den,
                     found = std::ldexp(q.mantissa_Q30, q.shift - 30);
        ASSERT_LT(std::abs(found / exact - 1), 1.2e-7) << num << '/' << den;
    }
    const echo::Quotient one = echo::divideNormalised(0, 1); // a numerator of 0 counts as 1
    EXPECT_EQ(one.mantissa_Q30, 0x40000000);
    EXPECT_EQ(one.shift, 0);
}

// ---- filter bank ----

struct Bank {
    std::vector<Qol8u> state, buffer;
    QolsSubbandProcessState_32f* p;
};
Bank makeBank(int order, int frameSize, const std::vector<Qol32f>& window) {
    Qol32s size = 0, init = 0, work = 0;
    EXPECT_EQ(qolsSubbandProcessGetSize_32f(order, static_cast<Qol32s>(window.size()), &size, &init,
                                            &work),
              0);
    Bank b{std::vector<Qol8u>(static_cast<std::size_t>(size)),
           std::vector<Qol8u>(static_cast<std::size_t>(work)), nullptr};
    b.p = reinterpret_cast<QolsSubbandProcessState_32f*>(b.state.data());
    EXPECT_EQ(qolsSubbandProcessInit_32f(b.p, order, frameSize, static_cast<Qol32s>(window.size()),
                                         window.data(), nullptr),
              0);
    return b;
}

TEST(FilterBank, AnalysisAndSynthesisFollowTheModel) {
    Random r;
    for (const int order : {1, 2, 3, 5, 7}) {
        const int n = 1 << order, len = 3 * n, hop = n - n / 4;
        const auto w = noisef(r, len); // not symmetric, so that the reversal shows
        Bank analysis = makeBank(order, hop, w), synthesis = makeBank(order, hop, w);
        std::vector<double> delay(static_cast<std::size_t>(len)), out(delay);
        for (int frame = 0; frame < 5; ++frame) {
            const auto x = noisef(r, hop, 1000);
            std::vector<Qol32fc> bands(static_cast<std::size_t>(n / 2 + 1));
            ASSERT_EQ(qolsSubbandAnalysis_32f32fc(x.data(), bands.data(), analysis.p,
                                                  analysis.buffer.data()),
                      0);
            delay.erase(delay.begin(), delay.begin() + hop);
            delay.insert(delay.end(), x.begin(), x.end());
            std::vector<double> time(static_cast<std::size_t>(n));
            for (int k = 0; k <= n / 2; ++k) {
                std::complex<double> sum = 0;
                for (int i = 0; i < len; ++i) {
                    const auto at = static_cast<std::size_t>(i);
                    sum += delay[at] * w[at] *
                           std::polar(1.0, -2 * std::numbers::pi * k * (i % n) / n);
                }
                ASSERT_NEAR(bands[static_cast<std::size_t>(k)].re, sum.real(), 0.05) << order;
                ASSERT_NEAR(bands[static_cast<std::size_t>(k)].im, sum.imag(), 0.05) << order;
                for (int i = 0; i < n; ++i) {
                    time[static_cast<std::size_t>(i)] +=
                        (sum * std::polar(1.0, 2 * std::numbers::pi * k * i / n)).real() *
                        (k == 0 || k == n / 2 ? 1 : 2) / n;
                }
            }
            std::vector<Qol32f> y(static_cast<std::size_t>(hop));
            ASSERT_EQ(qolsSubbandSynthesis_32fc32f(bands.data(), y.data(), synthesis.p,
                                                   synthesis.buffer.data()),
                      0);
            out.erase(out.begin(), out.begin() + hop);
            out.resize(static_cast<std::size_t>(len));
            for (int i = 0; i < len; ++i) {
                out[static_cast<std::size_t>(i)] += time[static_cast<std::size_t>(i % n)] *
                                                    w[static_cast<std::size_t>(len - 1 - i)];
            }
            for (int i = 0; i < hop; ++i) {
                ASSERT_NEAR(y[static_cast<std::size_t>(i)], out[static_cast<std::size_t>(i)], 0.05)
                    << order << ' ' << i;
            }
        }
    }
}

TEST(FilterBank, RefusesWhatItDoesNotServe) {
    Qol32s a = 0, b = 0, c = 0;
    EXPECT_EQ(qolsSubbandProcessGetSize_32f(31, 0x7FFFFFFF, &a, &b, &c), qolStsBadArgErr);
    EXPECT_EQ(qolsSubbandProcessGetSize_16s(1000, 128, &a, &b, &c), qolStsBadArgErr);
    EXPECT_EQ(qolsSubbandProcessGetSize_32f(31, 0x7FFFFFFF, nullptr, &b, &c), qolStsNullPtrErr);
    EXPECT_EQ(qolsSubbandProcessGetSize_32f(0, 128, nullptr, &b, &c), qolStsBadArgErr);
    std::vector<Qol8u> memory(8192);
    auto* p = reinterpret_cast<QolsSubbandProcessState_32f*>(memory.data());
    auto* q = reinterpret_cast<QolsSubbandProcessState_16s*>(memory.data());
    EXPECT_EQ(qolsSubbandProcessInit_32f(p, 5, 24, 256, nullptr, nullptr), qolStsBadArgErr);
    EXPECT_EQ(qolsSubbandProcessInit_16s(q, 5, 33, 128, nullptr, nullptr), qolStsBadArgErr);
    const std::vector<Qol16s> w(128, 8192);
    EXPECT_EQ(qolsSubbandProcessInit_16s(q, 5, 32, 128, w.data(), nullptr), qolStsNoErr);
    EXPECT_EQ(qolsSubbandProcessInit_16s(q, 5, 24, 128, nullptr, nullptr), qolStsNoErr);
}

} // namespace
