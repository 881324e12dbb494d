// SPDX-License-Identifier: Apache-2.0
// Pitch searches and the adaptive-codebook vector against plain models (G.729 3.4, 3.7, A.3.4).
#include "kit/data.h"
#include "numeric/helpers.h"
#include "qolsc.h"
#include "tables/g729_pitch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qolsc::test {
namespace {

using namespace basop;
using tables::g729::inter_3l;

std::vector<Qol16s> anyExcitation(Random& r, int kind) {
    return kind == 0 ? noise16(r, 194, 3000) : kind == 1 ? noise16(r, 194) : extremes16(r, 194);
}

void vectorModel(Qol16s* exc, int lag, int fraction) {
    const Qol16s* x0 = exc - lag;
    int f = -fraction;
    if (f < 0) {
        f += 3;
        --x0;
    }
    for (int n = 0; n < 40; ++n) {
        Qol32s s = 0;
        for (int i = 0; i < 10; ++i) {
            s = L_mac(s, x0[n - i], inter_3l[f + 3 * i]);
            s = L_mac(s, x0[n + 1 + i], inter_3l[3 - f + 3 * i]);
        }
        exc[n] = round_fx(s);
    }
}

TEST(G729Pitch, AdaptiveVectorIsTheSaturatingChain) {
    Random random;
    for (int lag = 18; lag <= 144; ++lag) {
        for (int f = -1; f <= 1; ++f) {
            for (int kind = 0; kind < 3; ++kind) {
                std::vector<Qol16s> want = anyExcitation(random, kind);
                Guarded<Qol16s> got = guarded(want, static_cast<std::size_t>(lag % 8));
                vectorModel(want.data() + 154, lag, f);
                const Qol16s delay[2] = {static_cast<Qol16s>(lag), static_cast<Qol16s>(f)};
                ASSERT_EQ(qolsDecodeAdaptiveVector_G729_16s_I(delay, got.data), qolStsNoErr);
                ASSERT_EQ(values(got), want) << "lag " << lag << " fraction " << f;
                ASSERT_TRUE(intact(got));
            }
        }
    }
}

TEST(G729Pitch, LagLimitsOfTheVector) {
    std::vector<Qol16s> exc(194, 5);
    const std::vector<Qol16s> before = exc;
    constexpr Qol16s kRefused[4][2] = {{145, 0}, {17, 0}, {50, 2}, {50, -2}};
    for (const Qol16s(&delay)[2] : kRefused) {
        EXPECT_EQ(qolsDecodeAdaptiveVector_G729_16s_I(delay, exc.data()), qolStsOutOfRangeErr);
    }
    EXPECT_EQ(exc, before);
    // The float form takes one lag more; beyond its history there are zeros.
    std::vector<Qol32f> excf(194, 1.0F);
    const Qol32s delay[2] = {145, 1};
    EXPECT_EQ(qolsDecodeAdaptiveVector_G729_32f_I(delay, excf.data() + 154), qolStsNoErr);
    EXPECT_NEAR(excf[154], excf[155], 0.01F);
}

/// Sums over the even samples in 64 bits, doubled and saturated.
Qol32s evenSum(const Qol16s* x, const Qol16s* y) {
    Qol64s s = 0;
    for (int i = 0; i < 80; i += 2) {
        s += Qol32s{x[i]} * y[i];
    }
    return saturate32(2 * s);
}

int openLoopModelA(const std::vector<Qol16s>& span) {
    std::vector<Qol16s> v = span;
    Qol64s e = 0;
    for (int i = 0; i < 223; i += 2) {
        e += Qol32s{v[i]} * v[i];
    }
    for (Qol16s& x : v) {
        x = 2 * e > MAX_32 ? shr(x, 3) : 2 * e < 0x100000 ? shl(x, 3) : x;
    }
    const Qol16s* frame = v.data() + 143;
    const int sections[3][3] = {{20, 39, 1}, {40, 79, 1}, {80, 143, 2}};
    int lag[3];
    Qol16s m[3];
    for (int s = 0; s < 3; ++s) {
        Qol32s most = MIN_32;
        lag[s] = sections[s][0];
        const auto offer = [&](int l) {
            const Qol32s c = evenSum(frame, frame - l);
            if (c > most) {
                most = c;
                lag[s] = l;
            }
        };
        for (int l = sections[s][0]; l <= sections[s][1]; l += sections[s][2]) {
            offer(l);
        }
        if (s == 2) {
            const int middle = lag[2];
            offer(middle + 1);
            offer(middle - 1);
        }
        Qol32s energy = evenSum(frame - lag[s], frame - lag[s]);
        energy = energy == MAX_32 ? energy : energy + 1;
        qolsInvSqrt_32s_I(&energy, 1);
        m[s] = extract_l(mul32Wrap(most, energy));
    }
    const auto near = [](int a, int b) {
        return std::abs(2 * a - b) < 5 || std::abs(3 * a - b) < 7;
    };
    if (near(lag[1], lag[2])) {
        m[1] = add(m[1], shr(m[2], 2));
    }
    if (near(lag[0], lag[1])) {
        m[0] = add(m[0], mult(m[1], 6554));
    }
    const int first = m[0] < m[1] ? 1 : 0;
    return m[first] < m[2] ? lag[2] : lag[first];
}

TEST(G729Pitch, OpenLoopOfAnnexAIsTheModel) {
    Random random;
    const std::vector<Qol16s> speech = readWords("g729/sequences/annexa_pitch.in");
    for (int n = 0; n < 600; ++n) {
        std::vector<Qol16s> span(223);
        if (n % 3 == 0) {
            span = n % 2 ? extremes16(random, 223) : noise16(random, 223, 1 << (n % 16));
        } else {
            std::copy_n(speech.begin() + 80 * n, 223, span.begin());
        }
        if (n % 9 == 0) { // loud at odd places only: the energy test does not see it
            for (int i = 0; i < 223; i += 2) {
                span[i] = 3;
            }
        }
        Qol16s lag = 0;
        qolsOpenLoopPitchSearch_G729A_16s(span.data() + 143, &lag);
        ASSERT_EQ(lag, openLoopModelA(span)) << "case " << n;
    }
}

// Float and fixed open-loop lags on speech: equal but for a few frames of near ties, where the
// fixed form's 16-bit words decide.
TEST(G729Pitch, FloatOpenLoopFollowsTheFixedOne) {
    const std::vector<Qol16s> speech = readWords("g729/sequences/annexd_testfile.raw");
    int frames = 0, same = 0;
    for (std::size_t at = 143; at + 80 <= speech.size(); at += 80) {
        const std::vector<Qol32f> span(speech.begin() + static_cast<std::ptrdiff_t>(at) - 143,
                                       speech.begin() + static_cast<std::ptrdiff_t>(at) + 80);
        Qol16s fixed = 0;
        Qol32s real = 0;
        qolsOpenLoopPitchSearch_G729A_16s(speech.data() + at, &fixed);
        qolsOpenLoopPitchSearch_G729A_32f(span.data() + 143, &real);
        ++frames;
        same += fixed == real;
    }
    EXPECT_GT(same, frames * 98 / 100);
}

/// Normalised correlations of the closed loop, lag by lag, with the recursion of 3.7.
std::vector<Qol16s> closedLoopModel(const Qol16s* exc, const Qol16s* x, const Qol16s* h, int low,
                                    int high) {
    std::vector<Qol16s> y(40), out;
    qolsConvPartial_16s_Sfs(exc - low, h, y.data(), 40, 12);
    Qol64s energy = 0;
    for (const Qol16s v : y) {
        energy += Qol32s{v} * v;
    }
    const int shift = energy > 0x2000000 ? 14 : 12;
    for (Qol16s& v : y) {
        v = static_cast<Qol16s>(v >> (shift - 12));
    }
    for (int lag = low; lag <= high; ++lag) {
        Qol32s e = 0, c = 0;
        for (int i = 0; i < 40; ++i) {
            e = wrapAdd32(e, y[i] * y[i]);
            c = wrapAdd32(c, x[i] * y[i]);
        }
        e = L_shl(e, 1);
        qolsInvSqrt_32s_I(&e, 1);
        out.push_back(
            wrap16(mul32Wrap(wrap32(Qol64s{wrap16(c >> 15)} * 65536 + (c & 0x7FFF) * 2), e)));
        const Qol16s s = exc[-lag - 1];
        for (int i = 39; i > 0; --i) {
            y[i] = wrap16(y[i - 1] + ((s * h[i]) >> shift));
        }
        y[0] = static_cast<Qol16s>(s >> (shift - 12));
    }
    return out;
}

TEST(G729Pitch, ClosedLoopLagIsTheBestOfTheModel) {
    Random random;
    for (int n = 0; n < 600; ++n) {
        const std::vector<Qol16s> exc = noise16(random, 194, n % 2 ? 400 : 6000);
        const std::vector<Qol16s> x = noise16(random, 40, 2000);
        std::vector<Qol16s> h(40);
        for (int i = 0; i < 40; ++i) {
            h[i] = static_cast<Qol16s>(4096 * std::pow(0.8, i));
        }
        const Qol16s subFrame = n % 2;
        const int open = static_cast<int>(uniform(random, 18, 145));
        const int width = subFrame ? 9 : 6;
        const int low = std::min(std::max(open - (subFrame ? 5 : 3), 20), 143 - width);
        const std::vector<Qol16s> value =
            closedLoopModel(exc.data() + 154, x.data(), h.data(), low - 4, low + width + 4);
        int best = low;
        for (int lag = low; lag <= low + width; ++lag) {
            best = value[lag - low + 4] >= value[best - low + 4] ? lag : best;
        }
        std::vector<Qol16s> work = exc, vector(40);
        Qol16s delay[2];
        ASSERT_EQ(qolsAdaptiveCodebookSearch_G729_16s(open, x.data(), h.data(), work.data(), delay,
                                                      vector.data(), subFrame),
                  qolStsNoErr);
        EXPECT_LE(std::abs(3 * (delay[0] - best) + delay[1]), 2);
        if (subFrame == 0 && best > 84) {
            EXPECT_EQ(delay[0], best);
            EXPECT_EQ(delay[1], 0);
        }
        std::vector<Qol16s> want = exc;
        vectorModel(want.data() + 154, delay[0], delay[1]);
        EXPECT_EQ(work, want);
        EXPECT_TRUE(std::equal(vector.begin(), vector.end(), want.begin() + 154));
    }
}

TEST(G729Pitch, SearchRefusesWithoutWriting) {
    std::vector<Qol16s> exc(194, 1), x(40), h(40), vector(40, 9);
    Qol16s delay[2] = {7, 7};
    for (const int open : {17, 146}) {
        EXPECT_EQ(qolsAdaptiveCodebookSearch_G729A_16s(open, x.data(), h.data(), exc.data(), delay,
                                                       vector.data(), 0),
                  qolStsSizeErr);
    }
    EXPECT_EQ(delay[0], 7);
    EXPECT_EQ(exc, std::vector<Qol16s>(194, 1));
    EXPECT_EQ(vector, std::vector<Qol16s>(40, 9));
}

TEST(G729Pitch, GainOfExtremes) {
    std::vector<Qol16s> x(40, 1000), h(40), v(40, 500), y(40);
    h[0] = 4096;
    Qol16s gain = -1;
    qolsAdaptiveCodebookGain_G729_16s(x.data(), h.data(), v.data(), y.data(), &gain);
    EXPECT_EQ(gain, 19661); // 2 limited to 1.2
    EXPECT_EQ(y, v);
    std::fill(v.begin(), v.end(), Qol16s{0});
    qolsAdaptiveCodebookGain_G729_16s(x.data(), h.data(), v.data(), y.data(), &gain);
    EXPECT_EQ(gain, 0);
    std::fill(v.begin(), v.end(), Qol16s{2000});
    qolsAdaptiveCodebookGain_G729_16s(x.data(), h.data(), v.data(), y.data(), &gain);
    EXPECT_NEAR(gain, 8192, 2); // one half, Q14
}

TEST(G729Pitch, DotProductOfEvenPlaces) {
    Random random;
    for (int len = 1; len < 40; ++len) {
        const std::vector<Qol16s> a = extremes16(random, len), b = extremes16(random, len);
        Qol64s sum = 0;
        for (int i = 0; i < len; i += 2) {
            sum += Qol32s{a[i]} * b[i];
        }
        Qol32s got = 0;
        const QolStatus status = qolsDotProd_G729A_16s32s(a.data(), b.data(), len, &got);
        EXPECT_EQ(got, saturate32(2 * sum));
        EXPECT_EQ(status, got == 2 * sum ? qolStsNoErr : qolStsOverflow);
    }
}

TEST(G729Pitch, FloatDotProductOfEvenPlaces) {
    Random random;
    for (int len = 1; len <= 223; ++len) {
        const std::vector<Qol32f> a = noisef(random, len, 4000), b = noisef(random, len, 4000);
        double sum = 0, magnitude = 0;
        for (int i = 0; i < len; i += 2) {
            sum += double{a[i]} * b[i];
            magnitude += std::fabs(double{a[i]} * b[i]);
        }
        Qol32f got = 0;
        ASSERT_EQ(qolsDotProd_G729A_32f(a.data(), b.data(), len, &got), qolStsNoErr);
        EXPECT_NEAR(got, sum, magnitude * 112 * 6e-8) << len; // a rounding a product and addition
    }
}

// Of speech as target and vector; the fixed form truncates its product.
TEST(G729Pitch, FloatContributionFollowsTheFixedOne) {
    const std::vector<Qol16s> speech = readWords("g729/sequences/annexa_test.in");
    Random random;
    for (std::size_t at = 40; at + 40 <= speech.size(); at += 40) {
        const std::vector<Qol16s> y(speech.begin() + static_cast<std::ptrdiff_t>(at) - 40,
                                    speech.begin() + static_cast<std::ptrdiff_t>(at)),
            x(speech.begin() + static_cast<std::ptrdiff_t>(at),
              speech.begin() + static_cast<std::ptrdiff_t>(at) + 40);
        const std::vector<Qol32f> yf(y.begin(), y.end()), xf(x.begin(), x.end());
        const auto gain = static_cast<Qol16s>(uniform(random, 0, 19661)); // 1.2, Q14
        std::vector<Qol16s> fixed(40);
        std::vector<Qol32f> real(40);
        qolsAdaptiveCodebookContribution_G729_16s(gain, y.data(), x.data(), fixed.data());
        qolsAdaptiveCodebookContribution_G729_32f(static_cast<Qol32f>(gain) / 16384, yf.data(),
                                                  xf.data(), real.data());
        for (std::size_t i = 0; i < 40; ++i) {
            ASSERT_NEAR(real[i], x[i] - gain / 16384.0 * y[i], 0.01);
            if (std::fabs(real[i]) < 32000) { // the fixed one keeps the low bits
                ASSERT_NEAR(fixed[i], real[i], 1.01) << "subframe " << at / 40 << ", " << i;
            }
        }
    }
}

// From one lag to the next the recursion gives what the convolution of the excitation gives.
TEST(G729Pitch, FloatRecursionIsTheConvolution) {
    Random random;
    const std::vector<Qol32f> h = noisef(random, 40, 1), past = noisef(random, 143, 3000);
    const auto convolve = [&](int lag, int i) { // of past samples only
        double sum = 0;
        for (int j = 0; j <= i; ++j) {
            sum += double{h[i - j]} * past[143 - lag + j];
        }
        return sum;
    };
    for (const int len : {1, 2, 7, 39, 40}) {
        std::vector<Qol32f> y(static_cast<std::size_t>(len));
        for (int i = 0; i < len; ++i) {
            y[i] = static_cast<Qol32f>(convolve(40, i));
        }
        for (int lag = 41; lag <= 143; ++lag) {
            ASSERT_EQ(qolsFilteredExcitation_G729_32f(h.data(), y.data(), len, past[143 - lag]),
                      qolStsNoErr);
            for (int i = 0; i < len; ++i) {
                ASSERT_NEAR(y[i], convolve(lag, i), 0.1) << lag << ", " << i;
            }
        }
    }
}

} // namespace
} // namespace qolsc::test
