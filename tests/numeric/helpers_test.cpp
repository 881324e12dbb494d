// SPDX-License-Identifier: Apache-2.0
// Fixed-point helpers and scaling rules against tables of exact results.
#include "numeric/csv.h"
#include "numeric/helpers.h"

#include <gtest/gtest.h>

using namespace qolsc;
using namespace qolsc::test;

namespace {

template <typename T>
Qol64s scaledBy(const std::string& rule, Qol64s x, int s) {
    return rule == "E"   ? scaleEven<T>(x, s)
           : rule == "N" ? scaleNear<T>(x, s)
           : rule == "T" ? scaleTruncate<T>(x, s)
                         : saturate<T>(x);
}

} // namespace

TEST(Helpers, NormAndBitLength) {
    for (const auto& row : readTable("norm.csv")) {
        const auto x = static_cast<Qol32s>(number(row[1]));
        const int got = row[0] == "norm" ? norm(x) : bitLength(static_cast<Qol16u>(x));
        EXPECT_EQ(got, number(row[2])) << row[0] << ' ' << x;
    }
}

TEST(Helpers, TablesOfNormalisation) {
    for (const auto& row : readTable("norm_tables.csv")) {
        const auto& table = row[0] == "NormTable"    ? tables::NormTable
                            : row[0] == "NormTable2" ? tables::NormTable2
                                                     : tables::LogTable;
        EXPECT_EQ(table[static_cast<std::size_t>(number(row[1]))], number(row[2]))
            << row[0] << ' ' << row[1];
    }
}

TEST(Helpers, Log2) {
    for (const auto& row : readTable("log2.csv")) {
        Qol16s exponent, fraction;
        ownLog2(static_cast<Qol32s>(number(row[1])), &exponent, &fraction);
        EXPECT_EQ(exponent, number(row[2])) << row[1];
        EXPECT_EQ(fraction, number(row[3])) << row[1];
    }
}

TEST(Helpers, Pow2) {
    for (const auto& row : readTable("pow2.csv")) {
        EXPECT_EQ(ownPow2(static_cast<Qol16s>(number(row[1])), static_cast<Qol16s>(number(row[2]))),
                  number(row[3]))
            << row[1] << ' ' << row[2];
    }
}

TEST(Helpers, InvSqrt) {
    for (const auto& row : readTable("invsqrt.csv")) {
        auto value = static_cast<Qol32s>(number(row[1]));
        auto exponent = static_cast<Qol16s>(number(row[2]));
        ownInvSqrt_32s16s_I(&value, &exponent);
        EXPECT_EQ(value, number(row[3])) << row[1] << ' ' << row[2];
        EXPECT_EQ(exponent, number(row[4])) << row[1] << ' ' << row[2];
    }
}

TEST(Helpers, DoublePrecisionProduct) {
    const Rows rows = readTable("mul_32s16s.csv");
    const auto a = column<Qol32s>(rows, 1), b = column<Qol32s>(rows, 2);
    std::vector<Qol32s> got(rows.size());
    ownMul_32s16s(a.data(), b.data(), got.data(), static_cast<int>(rows.size()));
    EXPECT_EQ(got, column<Qol32s>(rows, 3));
}

TEST(Helpers, ConvertTruncating) {
    for (const auto& [key, rows] : grouped(readTable("convert_32s16s_sfs.csv"), {2})) {
        const auto x = column<Qol32s>(rows, 1);
        std::vector<Qol16s> got(rows.size());
        ownConvert_32s16s_sfs(x.data(), got.data(), static_cast<int>(x.size()),
                              static_cast<int>(number(rows[0][2])));
        EXPECT_EQ(got, column<Qol16s>(rows, 3)) << "shift " << key;
    }
}

TEST(Helpers, RulesOfScaling) {
    for (const auto& row : readTable("rounding.csv")) {
        const Qol64s x = number(row[1]);
        const int s = static_cast<int>(number(row[2]));
        const Qol64s got =
            row[3] == "16s" ? scaledBy<Qol16s>(row[0], x, s) : scaledBy<Qol32s>(row[0], x, s);
        EXPECT_EQ(got, number(row[4])) << row[0] << ' ' << x << " by " << s << " to " << row[3];
    }
}
