// SPDX-License-Identifier: Apache-2.0
// Fast kernels of the echo canceller against their definitions, and the filter bank against a model
// in double precision.
#include "echo/echo.h"
#include "echo/fullband_filter.h"
#include "echo/subband_filter.h"
#include "kit/data.h"
#include "kit/subband.h"

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
/// Magnitudes of up to so many bits, or now and then an end of the 32-bit range.
Rows<Qol32sc> fixedRows(Random& r, int count, int len, int bits, bool extreme) {
    const auto part = [&] {
        const Qol64s ends[] = {-0x80000000LL, -0x7FFFFFFF, 0x7FFFFFFF, 0x40000000};
        const Qol64s limit = (1LL << bits) - 1;
        return static_cast<Qol32s>(extreme && uniform(r, 0, 3) == 0 ? ends[uniform(r, 0, 3)]
                                                                    : uniform(r, -limit, limit));
    };
    return makeRows<Qol32sc>(count, len, [&] {
        const Qol32s re = part();
        return Qol32sc{re, part()};
    });
}
template <typename T>
Rows<T> copyOf(const Rows<T>& r) {
    Rows<T> c = r;
    for (std::size_t j = 0; j < c.rows.size(); ++j) {
        c.rows[j] = c.memory[j].data() + j % 3;
    }
    return c;
}
template <typename T>
bool same(const Rows<T>& a, const Rows<T>& b) {
    for (std::size_t j = 0; j < a.memory.size(); ++j) {
        if (std::memcmp(a.memory[j].data(), b.memory[j].data(), a.memory[j].size() * sizeof(T))) {
            return false;
        }
    }
    return true;
}
template <typename T>
bool same(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0);
}

TEST(SubbandKernels, FloatFilterIsWithinTheRoundingOfItsDefinition) {
    Random r;
    for (int bands = 1; bands <= 35; ++bands) {
        for (const int taps : {1, 2, 7, 43}) {
            const auto x = floatRows(r, taps, bands, 30000), c = floatRows(r, taps, bands, 2);
            const auto n = static_cast<std::size_t>(bands);
            auto fast = guarded<Qol32fc>(n), plain = guarded<Qol32fc>(n, 1);
            echo::firSubbandPairs_32fc(x.rows.data(), c.rows.data(), fast.data, taps, bands);
            echo::firSubbandPlain_32fc(x.rows.data(), c.rows.data(), plain.data, taps, bands);
            ASSERT_TRUE(intact(fast));
            for (std::size_t i = 0; i < n; ++i) {
                double magnitude = 0;
                for (std::size_t j = 0; j < x.rows.size(); ++j) {
                    const Qol32fc a = x.rows[j][i], b = c.rows[j][i];
                    magnitude += std::hypot(a.re, a.im) * std::hypot(b.re, b.im);
                }
                const double bound = (taps + 1) * 0x1p-24 * magnitude; // of the float sums
                ASSERT_NEAR(fast.data[i].re, plain.data[i].re, bound) << bands << ' ' << taps;
                ASSERT_NEAR(fast.data[i].im, plain.data[i].im, bound) << bands << ' ' << taps;
            }
        }
    }
}

TEST(SubbandKernels, FloatUpdateInPairsEqualsItsDefinition) {
    Random r;
    for (int bands = 1; bands <= 35; ++bands) {
        for (const int taps : {1, 2, 7, 43}) {
            const auto x = floatRows(r, taps, bands, 30000), e = floatRows(r, 1, bands, 1000);
            auto c = floatRows(r, taps, bands, 2), d = copyOf(c);
            std::vector<Qol64f> steps;
            for (int i = 0; i < bands; ++i) {
                steps.push_back(uniformReal(r, 0, 1e-9));
            }
            echo::updatePairs_32fc(steps.data(), x.rows.data(), e.rows[0], c.rows.data(), taps,
                                   bands);
            echo::updatePlain_32fc(steps.data(), x.rows.data(), e.rows[0], d.rows.data(), taps,
                                   bands);
            ASSERT_TRUE(same(c, d)) << bands << ' ' << taps;
        }
    }
}

TEST(SubbandKernels, UpdateOverFramesInPairsEqualsItsDefinition) {
    Random r;
    for (int bands = 1; bands <= 5; ++bands) {
        for (const int order : {1, 2, 3, 8}) {
            constexpr int kTaps = 9;
            const auto x = floatRows(r, kTaps + order - 1, bands, 30000),
                       e = floatRows(r, order, bands, 1000);
            auto c = floatRows(r, kTaps, bands, 2), d = copyOf(c);
            const auto steps =
                makeRows<Qol64f>(order, bands, [&] { return uniformReal(r, -1e-9, 1e-9); });
            echo::updateApPairs_32fc(steps.rows.data(), x.rows.data(), e.rows.data(), c.rows.data(),
                                     kTaps, bands, order);
            echo::updateApPlain_32fc(steps.rows.data(), x.rows.data(), e.rows.data(), d.rows.data(),
                                     kTaps, bands, static_cast<Qol32u>(order));
            ASSERT_TRUE(same(c, d)) << bands << ' ' << order;
        }
    }
}

TEST(SubbandKernels, FixedFiltersInPairsEqualTheirDefinitions) {
    Random r;
    for (int bands = 1; bands <= 19; ++bands) {
        for (const int taps : {1, 2, 5, 44}) {
            for (const int bits : {20, 27, 31}) {
                const bool extreme = bits == 31;
                const auto x = fixedRows(r, taps, bands, bits, extreme),
                           c = fixedRows(r, taps, bands, bits, extreme);
                for (const int scale : {-31, -3, 0, 1, 18, 31}) {
                    const auto n = static_cast<std::size_t>(bands);
                    auto fast = guarded<Qol32sc>(n, 1), plain = guarded<Qol32sc>(n);
                    echo::firSubbandPairs_32sc(x.rows.data(), c.rows.data(), fast.data, taps, bands,
                                               scale);
                    echo::firSubbandPlain_32sc(x.rows.data(), c.rows.data(), plain.data, taps,
                                               bands, scale);
                    ASSERT_TRUE(same(values(fast), values(plain)))
                        << bands << ' ' << taps << ' ' << bits << ' ' << scale;
                    if (scale >= 0) {
                        const int first = bands / 3;
                        echo::firSubbandLowPairs_32sc(x.rows.data(), c.rows.data(), fast.data, taps,
                                                      first, bands, scale);
                        echo::firSubbandLowPlain_32sc(x.rows.data(), c.rows.data(), plain.data,
                                                      taps, first, bands, scale);
                        ASSERT_TRUE(same(values(fast), values(plain))) << bands << ' ' << taps;
                    }
                    ASSERT_TRUE(intact(fast));
                }
            }
        }
    }
}

// Terms of 2^62 and more: sums that saturate, sums that come back from the end, a clamped term.
TEST(SubbandKernels, FixedFilterSaturatesAtEveryStep) {
    constexpr Qol32s kLeast = -0x7FFFFFFF - 1, kMost = 0x7FFFFFFF;
    const Qol32sc values[] = {{kLeast, kLeast}, {kMost, kLeast}, {kMost, kMost}, {kLeast, 0}};
    Random r;
    for (int round = 0; round < 500; ++round) {
        auto x = fixedRows(r, 4, 3, 1, false), c = fixedRows(r, 4, 3, 1, false);
        for (std::size_t j = 0; j < 4; ++j) {
            for (int i = 0; i < 3; ++i) {
                x.rows[j][i] = values[uniform(r, 0, 3)];
                c.rows[j][i] = values[uniform(r, 0, 3)];
            }
        }
        std::vector<Qol32sc> fast(3), plain(3);
        echo::firSubbandPairs_32sc(x.rows.data(), c.rows.data(), fast.data(), 4, 3, 31);
        echo::firSubbandPlain_32sc(x.rows.data(), c.rows.data(), plain.data(), 4, 3, 31);
        ASSERT_TRUE(same(fast, plain));
    }
}

TEST(SubbandKernels, FixedUpdatesInPairsEqualTheirDefinitions) {
    Random r;
    for (int bands = 1; bands <= 19; ++bands) {
        for (const int taps : {1, 2, 5, 44}) {
            for (const int bits : {20, 30, 31}) {
                const bool extreme = bits == 31;
                const auto x = fixedRows(r, taps, bands, bits, extreme),
                           e = fixedRows(r, 1, bands, bits, extreme);
                const int first = bands / 4;
                for (const bool cheap : {false, true}) {
                    std::vector<QolStepSize_EC> steps;
                    for (int i = 0; i < bands; ++i) {
                        const bool least = cheap && uniform(r, 0, 4) == 0;
                        steps.push_back({least ? -0x7FFFFFFF - 1
                                               : static_cast<Qol32s>(uniform(r, 0, 0x7FFFFFFF)),
                                         static_cast<Qol32s>(uniform(r, i % 8 ? 60 : 20, 150))});
                    }
                    const std::size_t n = cheap ? static_cast<std::size_t>(bands) : 0;
                    auto fastTmp = guarded<Qol32sc>(n), plainTmp = guarded<Qol32sc>(n);
                    auto c = fixedRows(r, taps, bands, bits, extreme), d = copyOf(c);
                    echo::updatePairs_32sc(steps.data(), x.rows.data(), e.rows[0],
                                           cheap ? fastTmp.data : nullptr, c.rows.data(), taps,
                                           first, bands, 18);
                    echo::updatePlain_32sc(steps.data(), x.rows.data(), e.rows[0],
                                           cheap ? plainTmp.data : nullptr, d.rows.data(), taps,
                                           first, bands, 18);
                    ASSERT_TRUE(same(c, d)) << bands << ' ' << taps << ' ' << bits << ' ' << cheap;
                    ASSERT_TRUE(same(values(fastTmp), values(plainTmp)));
                    ASSERT_TRUE(intact(fastTmp));
                }
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
        for (const Qol16s g : {0, 1, -1, 77, 8191, -8191, 8192, -8192, 32767, -32768}) {
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

// ---- controllers ----

template <typename C>
std::vector<Qol8u> makeController(int bands, int taps) {
    Qol32s bytes = 0;
    EXPECT_EQ(C::controllerSize(bands, 24, taps, 8000, &bytes), 0);
    std::vector<Qol8u> memory(static_cast<std::size_t>(bytes));
    EXPECT_EQ(C::controllerInit(reinterpret_cast<typename C::Controller*>(memory.data()), bands, 24,
                                taps, 8000),
              0);
    return memory;
}

/// What a controller of all bands moves equals what a controller for each band alone moves.
template <typename C>
void expectIndependentBands(int bands, int taps) {
    using Number = typename C::Number;
    Random r;
    const auto part = [&](double amplitude) {
        return static_cast<decltype(Number{}.re)>(uniformReal(r, -amplitude, amplitude));
    };
    const auto number = [&] { return Number{part(1 << 18), part(1 << 18)}; };
    auto adaptive = makeRows<Number>(taps, bands, number);
    auto fixed = makeRows<Number>(taps, bands, number);
    auto all = makeController<C>(bands, taps);
    std::vector<std::vector<Qol8u>> single;
    for (int i = 0; i < bands; ++i) {
        single.push_back(makeController<C>(1, taps));
    }
    int saved = 0, restored = 0;
    for (int frame = 0; frame < 200; ++frame) {
        auto adaptiveOne = copyOf(adaptive), fixedOne = copyOf(fixed);
        const auto adaptiveBefore = copyOf(adaptive), fixedBefore = copyOf(fixed);
        std::vector<Number> adaptiveErr, fixedErr;
        for (int i = 0; i < bands; ++i) {
            const bool better = (i + frame / 40) % 3 == 0;
            adaptiveErr.push_back({part(better ? 1e3 : 1e4), part(better ? 1e3 : 1e4)});
            fixedErr.push_back({part(5e3), part(5e3)});
        }
        typename C::Gain gain = 0;
        ASSERT_EQ(C::control(adaptiveErr.data(), fixedErr.data(), adaptive.rows.data(),
                             fixed.rows.data(), &gain,
                             reinterpret_cast<typename C::Controller*>(all.data())),
                  0);
        for (std::size_t i = 0; i < single.size(); ++i) {
            std::vector<Number*> a, f;
            for (std::size_t j = 0; j < adaptiveOne.rows.size(); ++j) {
                a.push_back(adaptiveOne.rows[j] + i);
                f.push_back(fixedOne.rows[j] + i);
            }
            ASSERT_EQ(C::control(&adaptiveErr[i], &fixedErr[i], a.data(), f.data(), &gain,
                                 reinterpret_cast<typename C::Controller*>(single[i].data())),
                      0);
        }
        ASSERT_TRUE(same(adaptive, adaptiveOne) && same(fixed, fixedOne)) << frame;
        restored += !same(adaptive, adaptiveBefore);
        saved += !same(fixed, fixedBefore);
        for (int i = frame % 2; i < bands; i += 5) { // the adaptive filter moves a little
            adaptive.rows[0][i] = number();
        }
    }
    EXPECT_GT(saved, 0) << bands;
    EXPECT_GT(restored, 0) << bands;
}

TEST(Controller, BandsAreMovedIndependently) {
    for (const int bands : {8, 17}) {
        for (const int taps : {40, 41}) {
            expectIndependentBands<SubbandFloat>(bands, taps);
            expectIndependentBands<SubbandFixed>(bands, taps);
        }
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
