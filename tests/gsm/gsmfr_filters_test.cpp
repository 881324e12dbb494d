// SPDX-License-Identifier: Apache-2.0
// GSM full-rate primitives: vector forms against plain ones, split calls, edge values.
#include "gsm/gsmfr_filters.h"
#include "kit/data.h"
#include "qolsc/gsmfr.h"

#include <gtest/gtest.h>

#include <array>

namespace qolsc::test {
namespace {

using Order = std::array<Qol16s, 8>;

Order reflection(Random& r, bool extreme) {
    Order rc;
    for (Qol16s& k : rc) {
        k = static_cast<Qol16s>(extreme && uniform(r, 0, 1) ? -32767 : uniform(r, -32767, 32767));
    }
    return rc;
}

TEST(GsmFullRateFilters, LatticesEqualThePlainOnes) {
    Random r;
    for (int len = 1; len <= 60; ++len) {
        for (int n = 0; n < 12; ++n) {
            const Order rc = reflection(r, n & 1);
            const auto x = n % 3 ? noise16(r, len, n % 3 == 1 ? 2000 : 32767) : extremes16(r, len);
            const auto start = n & 2 ? extremes16(r, 8) : noise16(r, 8);
            auto a = guarded(x), b = guarded(x, 3);
            auto memA = guarded(start), memB = guarded(start, 1);
            gsmfr::analysisLattice(rc.data(), a.data, len, memA.data);
            gsmfr::analysisLattice_noMinimum(rc.data(), b.data, len, memB.data);
            ASSERT_EQ(values(a), values(b)) << len;
            ASSERT_EQ(values(memA), values(memB)) << len;
            gsmfr::synthesisLattice(rc.data(), x.data(), a.data, len, memA.data);
            gsmfr::synthesisLattice_noMinimum(rc.data(), x.data(), b.data, len, memB.data);
            ASSERT_EQ(values(a), values(b)) << len;
            ASSERT_EQ(values(memA), values(memB)) << len;
            ASSERT_TRUE(intact(b) && intact(memB));
        }
    }
}

// -32768 squared is 32767 rounded, which the vector form's product doesn't give.
TEST(GsmFullRateFilters, LatticesServeTheLeastCoefficient) {
    Order rc{};
    rc[0] = -32768;
    std::vector<Qol16s> x(8, -32768), y(8);
    Order memory;
    memory.fill(-32768);
    Order plain = memory;
    std::vector<Qol16s> expected = x;
    gsmfr::analysisLattice(rc.data(), expected.data(), 8, plain.data());
    qolsShortTermAnalysisFilter_GSMFR_16s_I(rc.data(), x.data(), 8, memory.data());
    EXPECT_EQ(x, expected);
    EXPECT_EQ(memory, plain);
}

TEST(GsmFullRateFilters, SplitCallsEqualOne) {
    Random r;
    const auto x = noise16(r, 160);
    const Order rc = reflection(r, false);
    for (const int cut : {1, 7, 13, 40, 159}) {
        std::vector<Qol16s> whole(160), parts(160);
        std::array<Qol32s, 2> z1{}, z2{};
        qolsHighPassFilter_GSMFR_16s(x.data(), whole.data(), 160, z1.data());
        qolsHighPassFilter_GSMFR_16s(x.data(), parts.data(), cut, z2.data());
        qolsHighPassFilter_GSMFR_16s(x.data() + cut, parts.data() + cut, 160 - cut, z2.data());
        ASSERT_EQ(whole, parts);
        ASSERT_EQ(z1, z2);
        Qol16s p1 = 77, p2 = 77;
        qolsPreemphasize_GSMFR_16s(whole.data(), whole.data(), 160, &p1);
        qolsPreemphasize_GSMFR_16s(parts.data(), parts.data(), cut, &p2);
        qolsPreemphasize_GSMFR_16s(parts.data() + cut, parts.data() + cut, 160 - cut, &p2);
        ASSERT_EQ(whole, parts) << "in place";
        ASSERT_EQ(p1, p2);
        Order m1{}, m2{};
        qolsShortTermAnalysisFilter_GSMFR_16s_I(rc.data(), whole.data(), 160, m1.data());
        qolsShortTermAnalysisFilter_GSMFR_16s_I(rc.data(), parts.data(), cut, m2.data());
        qolsShortTermAnalysisFilter_GSMFR_16s_I(rc.data(), parts.data() + cut, 160 - cut,
                                                m2.data());
        ASSERT_EQ(whole, parts);
        ASSERT_EQ(m1, m2);
    }
}

TEST(GsmFullRateFilters, WeightingOfAnyLength) {
    Random r;
    constexpr int kTaps[11] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};
    for (int len = 1; len <= 50; ++len) {
        const auto x = len & 1 ? noise16(r, len + 10) : extremes16(r, len + 10);
        auto y = guarded<Qol16s>(static_cast<std::size_t>(len), 1);
        ASSERT_EQ(qolsWeightingFilter_GSMFR_16s(x.data() + 5, y.data, len), qolStsNoErr);
        for (int i = 0; i < len; ++i) {
            std::int64_t sum = 4096;
            for (int k = 0; k < 11; ++k) {
                sum += std::int64_t{kTaps[k]} * x[static_cast<std::size_t>(i + k)];
            }
            sum >>= 13;
            sum = sum > 32767 ? 32767 : sum < -32768 ? -32768 : sum;
            ASSERT_EQ(y.data[i], sum);
        }
        ASSERT_TRUE(intact(y));
    }
}

TEST(GsmFullRateFilters, EmphasisEdges) {
    std::vector<Qol16s> x(20, 32767);
    Qol16s memory = 32767;
    qolsDeemphasize_GSMFR_16s_I(x.data(), 20, &memory);
    for (const Qol16s v : x) {
        EXPECT_EQ(v, 32760);
    }
    EXPECT_EQ(memory, 32767) << "the value before upscaling";
    std::vector<Qol16s> y(17, -32768), out(17);
    memory = 32767;
    qolsPreemphasize_GSMFR_16s(y.data(), out.data(), 17, &memory);
    EXPECT_EQ(out[0], -32768);
    EXPECT_EQ(out[1], -32768 + 28180);
    EXPECT_EQ(memory, -32768);
}

TEST(GsmFullRateFilters, SchurEdges) {
    std::array<Qol32s, 9> acf{};
    std::array<Qol16s, 8> k;
    k.fill(5);
    EXPECT_EQ(qolsSchur_GSMFR_32s16s(acf.data(), k.data(), -3), qolStsNoErr);
    EXPECT_EQ(k[0], 5) << "a negative order writes nothing";
    EXPECT_EQ(qolsSchur_GSMFR_32s16s(acf.data(), k.data(), 8), qolStsNoErr);
    for (const Qol16s v : k) {
        EXPECT_EQ(v, 0);
    }
    acf = {1000000, 900000, 700000, 400000, 100000, -200000, -300000, -350000, -300000};
    std::array<Qol16s, 8> full, part;
    qolsSchur_GSMFR_32s16s(acf.data(), full.data(), 8);
    for (int order = 1; order < 8; ++order) {
        qolsSchur_GSMFR_32s16s(acf.data(), part.data(), order);
        EXPECT_TRUE(std::equal(part.begin(), part.begin() + order, full.begin()));
    }
}

TEST(GsmFullRateFilters, InverseApcmShifts) {
    const std::array<Qol16s, 13> codes = {0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4};
    std::array<Qol16s, 13> a, b;
    qolsRPEQuantDecode_GSMFR_16s(codes.data(), 18431, 0, a.data());
    EXPECT_EQ(a[7], (7 * 4096 * 18431 + 16384) >> 15);
    qolsRPEQuantDecode_GSMFR_16s(codes.data(), 18431, 1, b.data());
    EXPECT_EQ(b[7], (a[7] + 1) >> 1);
    EXPECT_EQ(qolsRPEQuantDecode_GSMFR_16s(codes.data(), 18431, 32767, b.data()), qolStsNoErr);
}

} // namespace
} // namespace qolsc::test
