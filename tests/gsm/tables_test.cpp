// SPDX-License-Identifier: Apache-2.0
// Tables of the AMR family: checksums that see an exchange of two numbers as well as a wrong one,
// and the properties that the formulas behind them promise.
#include "tables/gsm_fcb.h"
#include "tables/gsm_lsf.h"
#include "tables/gsm_pitch.h"
#include "tables/lp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qolsc::test {
namespace {

using namespace tables;

/// Sum of the elements, each times its place counted from 1.
template <typename T>
void check(const char* name, const T& table, std::size_t count, std::int64_t expected) {
    const auto* x = reinterpret_cast<const Qol16s*>(&table);
    ASSERT_EQ(sizeof table / sizeof *x, count) << name;
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += static_cast<std::int64_t>(i + 1) * x[i];
    }
    EXPECT_EQ(sum, expected) << name;
}

TEST(AmrTables, Checksums) {
    check("kAmrWindow160_80", kAmrWindow160_80, 240, 570491203);
    check("kAmrWindow232_8", kAmrWindow232_8, 240, 683897173);
    check("kLpWindow200_40", kLpWindow200_40, 240, 659149379);
    check("kAmrLsfMatrix1", kAmrLsfMatrix1, 512, 51711293);
    check("kAmrLsfMatrix2", kAmrLsfMatrix2, 1024, 242552980);
    check("kAmrLsfMatrix3", kAmrLsfMatrix3, 1024, 74838932);
    check("kAmrLsfMatrix4", kAmrLsfMatrix4, 1024, 83350887);
    check("kAmrLsfMatrix5", kAmrLsfMatrix5, 256, 4259475);
    check("kAmrLsfSplit1", kAmrLsfSplit1, 1024, 216428247);
    check("kAmrLsfSplit2", kAmrLsfSplit2, 2048, 6278403);
    check("kAmrLsfSplit3", kAmrLsfSplit3, 2048, 78254094);
    check("kAmrLsfSplit1_795", kAmrLsfSplit1_795, 2048, 170843611);
    check("kAmrLsfSplit3_515", kAmrLsfSplit3_515, 512, -7360089);
    check("slope_cos15", slope_cos15, 64, -2129919);
    check("TablePredFac", TablePredFac, 10, 558215);
    check("TableMeanLsf1", TableMeanLsf1, 10, 527885);
    check("TableMeanLsf2", TableMeanLsf2, 10, 536723);
    check("corrweight", corrweight, 251, 761733247);
    check("inter_6", inter_6, 25, 247460);
    check("inter_6_l", inter_6_l, 61, 253489);
    check("trackTable", trackTable, 20, 44);
    check("startPos", startPos, 16, 309);
}

TEST(AmrTables, GrayCodeAndItsInverse) {
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(dgray[gray[i]], i);
        EXPECT_EQ(gray[dgray[i]], i);
        const int step = gray[i] ^ gray[(i + 1) % 8];
        EXPECT_TRUE(i == 3 || i == 7 || (step & (step - 1)) == 0) << "one bit a step but in two";
    }
}

TEST(AmrTables, MeansRiseWithRoomBetween) {
    for (const auto* mean : {&TableMeanLsf1, &TableMeanLsf2}) {
        for (int i = 1; i < 10; ++i) {
            EXPECT_GT((*mean)[i] - (*mean)[i - 1], 205);
        }
    }
}

// A whole lag takes one sample nearly as it is, and every phase has a gain near 1.
TEST(AmrTables, InterpolationFilters) {
    for (int f = 0; f < 6; ++f) {
        int sum = 0;
        for (int i = 0; i < 10; ++i) {
            sum += inter_6_l[f + 6 * i] + inter_6_l[6 - f + 6 * i];
        }
        EXPECT_NEAR(sum, 32768, 400) << f;
    }
    EXPECT_EQ(*std::max_element(inter_6_l, inter_6_l + 61), inter_6_l[0]);
    EXPECT_EQ(*std::max_element(inter_6, inter_6 + 25), inter_6[0]);
}

TEST(AmrTables, OrdersOfTracksTakeEveryTrackOnce) {
    for (int n = 0; n < 12; ++n) {
        const int set = 1 << startPos0_R67[n] | 1 << startPos1_R67[n] | 1 << startPos2_R67[n];
        EXPECT_TRUE((set & 1) && ((set & 10) == 2 || (set & 10) == 8) &&
                    ((set & 20) == 4 || (set & 20) == 16));
    }
    for (int n = 0; n < 8; ++n) {
        const int set = 1 << startPos0_R74[n] | 1 << startPos1_R74[n] | 1 << startPos2_R74[n] |
                        1 << startPos3_R74[n];
        EXPECT_TRUE(set == 15 || set == 23);
    }
}

TEST(AmrTables, WindowsRiseAndFall) {
    const auto unimodal = [](const Qol16s* w) {
        const Qol16s* top = std::max_element(w, w + 240);
        return std::is_sorted(w, top) && std::is_sorted(top, w + 240, std::greater<>());
    };
    EXPECT_TRUE(unimodal(kAmrWindow160_80));
    EXPECT_TRUE(unimodal(kAmrWindow232_8));
    EXPECT_TRUE(unimodal(kLpWindow200_40));
}

} // namespace
} // namespace qolsc::test
