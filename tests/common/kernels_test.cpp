// SPDX-License-Identifier: Apache-2.0
// Correlation and convolution kernels against their sums, over all lengths to 400 and all
// alignments of both sources.
#include "common/common.h"
#include "common/plain.h"

#include <gtest/gtest.h>

using namespace qolsc;
using namespace qolsc::test;

namespace {

constexpr int kLongest = 400;

/// The alignments that a case takes: all eight of one source against a moving one of the other.
template <typename Case>
void overLengths(Case each) {
    Random r;
    for (int len = 1; len <= kLongest; ++len) {
        each(r, len, len % 8, (len / 8) % 8, len);
    }
    for (int skews = 0; skews < 64; ++skews) {
        each(r, 40 + skews % 5, skews % 8, skews / 8, skews);
        each(r, 161 + skews % 9, skews % 8, skews / 8, skews + 1);
    }
    each(r, 1025, 1, 3, 0);
    each(r, 777, 7, 2, 1);
}

} // namespace

TEST(Kernels, DotProducts) {
    overLengths([](Random& r, int len, int skew1, int skew2, int kind) {
        const auto a = guarded(mixed16(r, len, kind), skew1),
                   b = guarded(mixed16(r, len, kind), skew2);
        const Qol64s sum = plainSum(a.data, b.data, len, 0);
        ASSERT_EQ(dotExact(a.data, b.data, len), sum) << len;
        ASSERT_EQ(dotWrap(a.data, b.data, len), wrap32(sum)) << len;
        ASSERT_EQ(energyExact(a.data, len), plainSum(a.data, a.data, len, 0)) << len;
    });
}

TEST(Kernels, ExactSumsBeyondOneBlock) {
    const Words least(300001, -32768);
    EXPECT_EQ(dotExact(least.data(), least.data(), 300001), Qol64s{300001} << 30);
}

TEST(Kernels, Lags) {
    overLengths([](Random& r, int len, int skew1, int skew2, int kind) {
        for (const int lags : {1, 2, 3, 4, 7, 11, 21, 40, 70}) {
            const auto x = guarded(mixed16(r, len, kind), skew1),
                       y = guarded(mixed16(r, len + lags - 1, kind), skew2);
            auto out =
                guarded<Qol32s>(static_cast<std::size_t>(lags), static_cast<std::size_t>(skew2));
            corrLags(x.data, y.data, len, out.data, lags);
            ASSERT_TRUE(intact(out));
            for (int k = 0; k < lags; ++k) {
                ASSERT_EQ(out.data[k], wrap32(plainSum(x.data, y.data, len, k)))
                    << len << ' ' << lags << ' ' << k;
            }
            if (lags <= 11) {
                _qolsCrossCorr_Inv_16s32s(x.data, y.data + lags - 1, len, out.data, lags);
                for (int k = 0; k < lags; ++k) {
                    ASSERT_EQ(out.data[k], wrap32(plainSum(x.data, y.data, len, lags - 1 - k)))
                        << len << ' ' << k;
                }
            }
        }
    });
}

TEST(Kernels, Triangle) {
    overLengths([](Random& r, int len, int skew1, int skew2, int kind) {
        for (const int lags : {1, 5, 11, 17, len, len + 3}) {
            const auto x = guarded(mixed16(r, len, kind), skew1),
                       y = guarded(mixed16(r, len, kind), skew2);
            auto out =
                guarded<Qol32s>(static_cast<std::size_t>(lags), static_cast<std::size_t>(skew1));
            corrTriangle(x.data, y.data, len, out.data, lags);
            ASSERT_TRUE(intact(out));
            for (int k = 0; k < lags; ++k) {
                ASSERT_EQ(out.data[k], wrap32(plainSum(x.data, y.data, len - k, k)))
                    << len << ' ' << lags << ' ' << k;
            }
        }
    });
}

TEST(Kernels, TruncatedConvolution) {
    overLengths([](Random& r, int len, int skew1, int skew2, int kind) {
        const auto a = guarded(mixed16(r, len, kind), skew1),
                   b = guarded(mixed16(r, len, kind), skew2);
        auto out = guarded<Qol32s>(static_cast<std::size_t>(len), static_cast<std::size_t>(skew1));
        convTruncated(a.data, b.data, out.data, 0, len);
        ASSERT_TRUE(intact(out));
        for (int n = 0; n < len; ++n) {
            ASSERT_EQ(out.data[n], wrap32(plainConv(a.data, b.data, n))) << len << ' ' << n;
        }
        const int first = len / 3;
        convTruncated(a.data, b.data, out.data, first, len - first);
        for (int n = first; n < len; ++n) {
            ASSERT_EQ(out.data[n - first], wrap32(plainConv(a.data, b.data, n))) << len << ' ' << n;
        }
    });
}
