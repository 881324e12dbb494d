// SPDX-License-Identifier: Apache-2.0
// Exports of correlation, lag search, convolution and adaptive scaling: scaling at its bounds,
// ties, warnings.
#include "common/plain.h"
#include "numeric/basop.h"
#include "qolsc/common.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace qolsc;
using namespace qolsc::test;

TEST(AutoCorr, WarningStoresNothing) {
    // 2^30 = 0x3FFFFFFF + 1 is the first energy that can't be doubled.
    const Words loud{-32768}, fits{32767};
    Qol32s out = 7, n = 9;
    EXPECT_EQ(::qolsAutoCorr_NormE_16s32s(loud.data(), 1, &out, 1, &n), qolStsOverflow);
    EXPECT_EQ(out, 7);
    EXPECT_EQ(n, 9);
    EXPECT_EQ(::qolsAutoCorr_NormE_16s32s(fits.data(), 1, &out, 1, &n), qolStsNoErr);
    EXPECT_EQ(out, 2 * 32767 * 32767 + 1);
    EXPECT_EQ(n, 0);
}

TEST(AutoCorr, SilenceKeepsTheOne) {
    const Words zeros(20);
    std::vector<Qol32s> out(4, 5);
    Qol32s n = 0;
    EXPECT_EQ(::qolsAutoCorr_NormE_16s32s(zeros.data(), 20, out.data(), 4, &n), qolStsNoErr);
    EXPECT_EQ(out, (std::vector<Qol32s>{0x40000000, 0, 0, 0}));
    EXPECT_EQ(n, 30);
}

TEST(AutoCorr, NormalisedLagsAreTheSumsShifted) {
    Random r;
    for (int len = 1; len <= 300; len += 7) {
        const Words x = noise16(r, len, 1 + 32767 / (len + 1));
        std::vector<Qol32s> plain(14), normalised(14);
        Words rounded(14);
        Qol32s n = 0, m = 0;
        ASSERT_EQ(::qolsAutoCorr_16s32s(x.data(), len, plain.data(), 14), qolStsNoErr);
        ASSERT_EQ(::qolsAutoCorr_NormE_16s32s(x.data(), len, normalised.data(), 14, &n),
                  qolStsNoErr);
        ASSERT_EQ(::qolsAutoCorr_NormE_NR_16s(x.data(), len, rounded.data(), 14, &m), qolStsNoErr);
        for (int k = 1; k < 14; ++k) {
            ASSERT_EQ(normalised[static_cast<std::size_t>(k)],
                      basop::L_shl(plain[static_cast<std::size_t>(k)], n + 1));
            ASSERT_EQ(rounded[static_cast<std::size_t>(k)],
                      basop::round_fx(basop::L_shl(plain[static_cast<std::size_t>(k)], m + 1)));
        }
        ASSERT_GE(normalised[0], 0x40000000);
    }
}

TEST(LagSearch, TiesAndSigns) {
    // Periodic data: every multiple of the period is as good.
    Words periodic(400);
    for (std::size_t i = 0; i < periodic.size(); ++i) {
        periodic[i] = static_cast<Qol16s>(i % 25 == 0 ? 1000 : -3);
    }
    Qol32s max = 0, lag = 0;
    ASSERT_EQ(::qolsAutoCorrLagMax_Fwd_16s(periodic.data(), 100, 20, 143, &max, &lag), qolStsNoErr);
    EXPECT_EQ(lag, 25);
    ASSERT_EQ(::qolsAutoCorrLagMax_Inv_16s(periodic.data() + 150, 100, 20, 143, &max, &lag),
              qolStsNoErr);
    EXPECT_EQ(lag, 25);
    ASSERT_EQ(::qolsCrossCorrLagMax_16s(periodic.data(), periodic.data(), 100, 143, &max, &lag),
              qolStsNoErr);
    EXPECT_EQ(lag, 125); // from above, the first of equals
    const Words zeros(200);
    ASSERT_EQ(::qolsCrossCorrLagMax_16s(periodic.data(), zeros.data(), 40, 60, &max, &lag),
              qolStsNoErr);
    EXPECT_EQ(max, 0);
    EXPECT_EQ(lag, 60);
    // An empty range keeps the start.
    ASSERT_EQ(::qolsAutoCorrLagMax_Fwd_16s(periodic.data(), 100, 30, 29, &max, &lag), qolStsNoErr);
    EXPECT_EQ(max, std::numeric_limits<Qol32s>::min());
    EXPECT_EQ(lag, 30);
}

TEST(LagSearch, AgainstTheDefinition) {
    Random r;
    for (int run = 0; run < 200; ++run) {
        const int len = static_cast<int>(uniform(r, 1, 300)),
                  lo = static_cast<int>(uniform(r, 0, 80));
        const int hi = lo + static_cast<int>(uniform(r, 0, 150));
        const Words x = mixed16(r, len + 2 * hi + 1, run);
        const Qol16s* p = x.data() + hi;
        Qol32s best[2] = {INT32_MIN, INT32_MIN}, where[2] = {lo, lo};
        for (int l = lo; l <= hi; ++l) {
            const Qol32s c[2] = {wrap32(plainSum(p, p, len, l)), wrap32(plainSum(p, p, len, -l))};
            for (int d = 0; d < 2; ++d) {
                if (c[d] > best[d]) {
                    best[d] = c[d];
                    where[d] = l;
                }
            }
        }
        Qol32s max = 0, lag = 0;
        ASSERT_EQ(::qolsAutoCorrLagMax_Fwd_16s(p, len, lo, hi, &max, &lag), qolStsNoErr);
        ASSERT_EQ(max, best[0]);
        ASSERT_EQ(lag, where[0]);
        ASSERT_EQ(::qolsAutoCorrLagMax_Inv_16s(p, len, lo, hi, &max, &lag), qolStsNoErr);
        ASSERT_EQ(max, best[1]);
        ASSERT_EQ(lag, where[1]);
    }
}

TEST(LagSearch, FloatSumsKeepTheirBound) {
    Random r;
    for (int len = 1; len <= 400; ++len) {
        const int lag = len % 13;
        const auto x = guarded(noisef(r, len + lag), static_cast<std::size_t>(len % 8));
        double sum = 0, size = 0;
        for (int i = 0; i < len; ++i) {
            sum += static_cast<double>(x.data[lag + i]) * x.data[i];
            size += std::fabs(static_cast<double>(x.data[lag + i]) * x.data[i]);
        }
        Qol32f maxF = 0;
        Qol64f maxD = 0;
        Qol32s at = 0;
        ASSERT_EQ(::qolsAutoCorrLagMax_32f(x.data + lag, len, lag, lag, &maxF, &at), qolStsNoErr);
        ASSERT_NEAR(maxF, sum, (len / 8 + 5) * 0x1p-24 * size) << len;
        ASSERT_EQ(at, lag);
        // The double form, at lag 0, where the energy is positive.
        double energy = 0;
        for (int i = 0; i < len; ++i) {
            energy += static_cast<double>(x.data[i]) * x.data[i];
        }
        ASSERT_EQ(::qolsCrossCorrLagMax_32f64f(x.data, x.data, len, 0, &maxD, &at), qolStsNoErr);
        ASSERT_NEAR(maxD, energy, (len + 6) * 0x1p-53 * energy)
            << len; // the reference rounds len times
    }
}

TEST(CrossCorr, ScalingOfEveryForm) {
    Random r;
    for (int run = 0; run < 60; ++run) {
        const int len = 1 + run * 3, lags = 1 + run % 45;
        const Words x = mixed16(r, len, run), y = mixed16(r, len + lags, run);
        Words low(static_cast<std::size_t>(lags)), scaled(static_cast<std::size_t>(lags));
        std::vector<Qol32s> plain(static_cast<std::size_t>(lags)),
            tri(static_cast<std::size_t>(len));
        const int s = run % 40;
        ASSERT_EQ(::qolsCrossCorr_NR_16s(x.data(), y.data(), len, low.data(), lags), qolStsNoErr);
        ASSERT_EQ(::qolsCrossCorr_NR_16s_Sfs(x.data(), y.data(), len, scaled.data(), lags, s),
                  qolStsNoErr);
        ASSERT_EQ(::qolsCrossCorr_NR_16s32s(x.data(), y.data(), len, plain.data(), lags),
                  qolStsNoErr);
        for (int k = 0; k < lags; ++k) {
            const auto i = static_cast<std::size_t>(k);
            const Qol32s sum = wrap32(plainSum(x.data(), y.data(), len, k));
            ASSERT_EQ(plain[i], sum);
            ASSERT_EQ(low[i], wrap16((Qol64s{sum} + 16384) >> 15));
            ASSERT_EQ(scaled[i],
                      saturate16(s == 0 ? sum : (Qol64s{sum} + (Qol64s{1} << (s - 1))) >> s));
        }
        for (const int shift : {-40, -31, -1, 0, 3, 31, 1000}) {
            ASSERT_EQ(::qolsCrossCorr_16s32s_Sfs(x.data(), y.data(), len, tri.data(), shift),
                      qolStsNoErr);
            for (int k = 0; k < len; ++k) {
                const Qol32s sum = wrap32(plainSum(x.data(), y.data(), len - k, k));
                const int right = std::min(shift, 31), left = std::min(-shift, 31);
                ASSERT_EQ(tri[static_cast<std::size_t>(k)],
                          shift >= 0 ? sum >> right : wrap32(Qol64s{sum} * (Qol64s{1} << left)));
            }
        }
    }
}

TEST(Convolution, EveryForm) {
    Random r;
    for (int len = 1; len <= 400; len += len < 90 ? 1 : 31) {
        const Words a = mixed16(r, len, len), b = mixed16(r, len, len / 2);
        Words shifted(static_cast<std::size_t>(len)), low(shifted), exact(shifted);
        const int s = len % 35;
        ASSERT_EQ(::qolsConvPartial_16s_Sfs(a.data(), b.data(), shifted.data(), len, s),
                  qolStsNoErr);
        ASSERT_EQ(::qolsConvPartial_NR_Low_16s(a.data(), b.data(), low.data(), len), qolStsNoErr);
        ASSERT_EQ(::qolsConvPartial_NR_16s(a.data(), b.data(), exact.data(), len), qolStsNoErr);
        const bool small = plainSum(a.data(), a.data(), len, 0) < 0x7FFFFFFE &&
                           plainSum(b.data(), b.data(), len, 0) < 0x7FFFFFFE;
        for (int n = 0; n < len; ++n) {
            const auto i = static_cast<std::size_t>(n);
            const Qol64s sum = plainConv(a.data(), b.data(), n);
            ASSERT_EQ(shifted[i], wrap16(wrap32(sum) >> std::min(s, 31)));
            ASSERT_EQ(low[i], wrap16((sum + 16384) >> 15));
            Qol32s acc = 0;
            for (int k = 0; k <= n; ++k) {
                acc = saturate32(acc + Qol64s{2} * a[static_cast<std::size_t>(k)] *
                                           b[static_cast<std::size_t>(n - k)]);
            }
            ASSERT_EQ(exact[i], small ? saturate16((sum + 16384) >> 15) : basop::round_fx(acc))
                << len << ' ' << n;
        }
    }
}

TEST(AutoScale, HeadroomIsWhatWasAsked) {
    Random r;
    for (int run = 0; run < 300; ++run) {
        const int len = 1 + run % 50, wanted = run % 17;
        Words x = noise16(r, len, 1 << (run % 16 == 15 ? 14 : run % 16)), y(x.size());
        Qol32s scale = wanted, scaleI = wanted;
        ASSERT_EQ(::qolsAutoScale_16s(x.data(), y.data(), len, &scale), qolStsNoErr);
        int magnitude = 0, any = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_EQ(y[i], wrap16(scale >= 0 ? Qol64s{x[i]} << std::min(scale, 16)
                                              : Qol64s{x[i]} >> std::min(-scale, 15)));
            magnitude |= y[i] < 0 ? ~y[i] : y[i];
            any |= x[i];
        }
        // 0 and -1 have no significant bits left: their headroom is 15, and nothing shifts them
        // further right.
        if (any != 0 && wanted < 15) {
            ASSERT_EQ(15 - std::bit_width(static_cast<unsigned>(magnitude)), wanted) << run;
        }
        ASSERT_EQ(::qolsAutoScale_16s_I(x.data(), len, &scaleI), qolStsNoErr);
        ASSERT_EQ(x, y);
        ASSERT_EQ(scale, scaleI);
    }
    Qol32s negative = -1;
    Words one{5};
    EXPECT_EQ(::qolsAutoScale_16s_I(one.data(), 1, &negative), qolStsScaleRangeErr);
    EXPECT_EQ(one[0], 5);
    EXPECT_EQ(negative, -1);
}

TEST(DotProdAutoScale, GivesWayInTurn) {
    const Words a(2, -32768);
    Qol32s sum = 0, scale = 0;
    ASSERT_EQ(::qolsDotProdAutoScale_16s32s_Sfs(a.data(), a.data(), 2, &sum, &scale), qolStsNoErr);
    EXPECT_EQ(scale, 2); // 2^32, 2^31, then 2^30 by one shift of each
    EXPECT_EQ(sum, 1 << 30);
    const Words b(1000, -32768), c(1000, 32767);
    ASSERT_EQ(::qolsDotProdAutoScale_16s32s_Sfs(b.data(), c.data(), 1000, &sum, &scale),
              qolStsNoErr);
    EXPECT_EQ(scale, 10);
    EXPECT_EQ(sum, 2000 * -1024 * 1023);
}
