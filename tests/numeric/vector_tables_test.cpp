// SPDX-License-Identifier: Apache-2.0
// Integer vector layer against tables of exact results. Rows with equal parameters make one vector,
// so that both the short and the wide paths are met.
#include "numeric/csv.h"
#include "vector/vector.h"

#include <gtest/gtest.h>

using namespace qolsc;
using namespace qolsc::test;

namespace {

int count(const Rows& rows) { return static_cast<int>(rows.size()); }
int parameter(const Rows& rows, std::size_t c) { return static_cast<int>(number(rows[0][c])); }

template <typename T>
using Reduction = QolStatus (*)(const T*, int, T*);
template <typename T>
using IndexedReduction = QolStatus (*)(const T*, int, T*, int*);

template <typename T>
void expectExtreme(const std::vector<std::string>& row, Reduction<T> plain,
                   IndexedReduction<T> indexed) {
    const auto v = elements<T>(row[1]);
    const int len = static_cast<int>(v.size());
    T value = 0;
    int index = -1;
    if (indexed) {
        EXPECT_EQ(indexed(v.data(), len, &value, &index), qolStsNoErr);
        EXPECT_EQ(index, number(row[3])) << row[0] << ' ' << row[1];
        T alone = 0;
        EXPECT_EQ(indexed(v.data(), len, &alone, nullptr), qolStsNoErr);
        EXPECT_EQ(alone, value);
    } else {
        EXPECT_EQ(plain(v.data(), len, &value), qolStsNoErr);
    }
    EXPECT_EQ(value, number(row[2])) << row[0] << ' ' << row[1];
}

} // namespace

TEST(VectorTables, AddSub) {
    for (const auto& [key, rows] : grouped(readTable("add_sub_16s.csv"), {0})) {
        const auto a = column<Qol16s>(rows, 1), b = column<Qol16s>(rows, 2);
        std::vector<Qol16s> got(rows.size());
        const auto f = rows[0][0] == "qolsAdd_16s" ? qolsAdd_16s : qolsSub_16s;
        EXPECT_EQ(f(a.data(), b.data(), got.data(), count(rows)), qolStsNoErr);
        EXPECT_EQ(got, column<Qol16s>(rows, 3)) << key;
    }
}

TEST(VectorTables, ScaledSum32) {
    for (const auto& [key, rows] : grouped(readTable("add_32s_sfs.csv"), {3})) {
        const auto a = column<Qol32s>(rows, 1), b = column<Qol32s>(rows, 2);
        std::vector<Qol32s> got(rows.size());
        EXPECT_EQ(qolsAdd_32s_Sfs(a.data(), b.data(), got.data(), count(rows), parameter(rows, 3)),
                  qolStsNoErr);
        EXPECT_EQ(got, column<Qol32s>(rows, 4)) << "scale " << key;
    }
}

TEST(VectorTables, ScaledProduct) {
    for (const auto& [key, rows] : grouped(readTable("mul_16s32s_sfs.csv"), {3})) {
        const auto a = column<Qol16s>(rows, 1), b = column<Qol16s>(rows, 2);
        std::vector<Qol32s> got(rows.size());
        EXPECT_EQ(
            qolsMul_16s32s_Sfs(a.data(), b.data(), got.data(), count(rows), parameter(rows, 3)),
            qolStsNoErr);
        EXPECT_EQ(got, column<Qol32s>(rows, 4)) << "scale " << key;
    }
}

TEST(VectorTables, ScaledDifferenceToConstant) {
    for (const auto& [key, rows] : grouped(readTable("subc_16s_sfs.csv"), {0, 2, 3})) {
        const auto x = column<Qol16s>(rows, 1);
        std::vector<Qol16s> got(rows.size());
        const auto f = rows[0][0] == "qolsSubC_16s_Sfs" ? qolsSubC_16s_Sfs : qolsSubCRev_16s_Sfs;
        EXPECT_EQ(f(x.data(), static_cast<Qol16s>(number(rows[0][2])), got.data(), count(rows),
                    parameter(rows, 3)),
                  qolStsNoErr);
        EXPECT_EQ(got, column<Qol16s>(rows, 4)) << key;
    }
}

TEST(VectorTables, Abs) {
    const Rows rows = readTable("abs_16s.csv");
    const auto x = column<Qol16s>(rows, 1);
    std::vector<Qol16s> got(rows.size());
    EXPECT_EQ(qolsAbs_16s(x.data(), got.data(), count(rows)), qolStsNoErr);
    EXPECT_EQ(got, column<Qol16s>(rows, 2));
}

TEST(VectorTables, MagSquared) {
    for (const auto& [key, rows] : grouped(readTable("magsquared_32sc32s_sfs.csv"), {3})) {
        std::vector<Qol32sc> x;
        for (const auto& row : rows) {
            x.push_back({static_cast<Qol32s>(number(row[1])), static_cast<Qol32s>(number(row[2]))});
        }
        std::vector<Qol32s> got(rows.size());
        EXPECT_EQ(qolsMagSquared_32sc32s_Sfs(x.data(), got.data(), count(rows), parameter(rows, 3)),
                  qolStsNoErr);
        EXPECT_EQ(got, column<Qol32s>(rows, 4)) << "scale " << key;
    }
}

TEST(VectorTables, Shifts) {
    for (const auto& [key, rows] : grouped(readTable("shifts.csv"), {0, 2})) {
        const std::string& name = rows[0][0];
        const int shift = parameter(rows, 2), len = count(rows);
        if (name == "qolsRShiftC_32s") {
            const auto x = column<Qol32s>(rows, 1);
            std::vector<Qol32s> got(rows.size());
            EXPECT_EQ(qolsRShiftC_32s(x.data(), shift, got.data(), len), qolStsNoErr);
            EXPECT_EQ(got, column<Qol32s>(rows, 3)) << key;
        } else if (name == "qolsLShiftC_16u") {
            const auto x = column<Qol16u>(rows, 1);
            std::vector<Qol16u> got(rows.size());
            EXPECT_EQ(qolsLShiftC_16u(x.data(), shift, got.data(), len), qolStsNoErr);
            EXPECT_EQ(got, column<Qol16u>(rows, 3)) << key;
        } else {
            const auto x = column<Qol16s>(rows, 1);
            std::vector<Qol16s> got(rows.size());
            const auto f = name == "qolsLShiftC_16s" ? qolsLShiftC_16s : qolsRShiftC_16s;
            EXPECT_EQ(f(x.data(), shift, got.data(), len), qolStsNoErr);
            EXPECT_EQ(got, column<Qol16s>(rows, 3)) << key;
        }
    }
}

TEST(VectorTables, ShiftChecks) {
    for (const auto& row : readTable("shift_checks.csv")) {
        Qol32s src[8] = {}, dst[8] = {};
        void* pSrc = number(row[1]) ? nullptr : src;
        void* pDst = number(row[2]) ? nullptr : dst;
        const int len = static_cast<int>(number(row[3])), shift = static_cast<int>(number(row[4]));
        const auto words = [&](auto f, auto* element) {
            return f(static_cast<decltype(element)>(pSrc), shift,
                     static_cast<decltype(element)>(pDst), len);
        };
        const QolStatus got =
            row[0] == "qolsRShiftC_32s"   ? words(qolsRShiftC_32s, src)
            : row[0] == "qolsLShiftC_16u" ? words(qolsLShiftC_16u, static_cast<Qol16u*>(nullptr))
            : row[0] == "qolsLShiftC_16s" ? words(qolsLShiftC_16s, static_cast<Qol16s*>(nullptr))
                                          : words(qolsRShiftC_16s, static_cast<Qol16s*>(nullptr));
        EXPECT_EQ(got, number(row[5])) << row[0] << " len " << len << " shift " << shift;
    }
}

TEST(VectorTables, Sums) {
    for (const auto& row : readTable("sums.csv")) {
        const int scale = static_cast<int>(number(row[2]));
        if (row[0] == "qolsSum_32s_Sfs") {
            const auto v = elements<Qol32s>(row[1]);
            Qol32s got;
            EXPECT_EQ(qolsSum_32s_Sfs(v.data(), static_cast<int>(v.size()), &got, scale), 0);
            EXPECT_EQ(got, number(row[3])) << row[0] << ' ' << row[1] << " by " << scale;
            continue;
        }
        const auto v = elements<Qol16s>(row[1]);
        const int len = static_cast<int>(v.size());
        Qol32s wide = 0;
        Qol16s narrow = 0;
        const bool isWide = row[0] == "qolsSum_16s32s_Sfs";
        EXPECT_EQ(isWide ? qolsSum_16s32s_Sfs(v.data(), len, &wide, scale)
                         : qolsSum_16s_Sfs(v.data(), len, &narrow, scale),
                  qolStsNoErr);
        EXPECT_EQ(isWide ? wide : narrow, number(row[3]))
            << row[0] << ' ' << row[1] << " by " << scale;
    }
}

TEST(VectorTables, DotProduct) {
    for (const auto& row : readTable("dotprod_16s64s.csv")) {
        const auto a = elements<Qol16s>(row[1]), b = elements<Qol16s>(row[2]);
        Qol64s got;
        EXPECT_EQ(qolsDotProd_16s64s(a.data(), b.data(), static_cast<int>(a.size()), &got), 0);
        EXPECT_EQ(got, number(row[3])) << row[1];
    }
}

TEST(VectorTables, SumOfSquares) {
    for (const auto& row : readTable("norm_l2sqr.csv")) {
        const auto v = elements<Qol16s>(row[1]);
        Qol64s got;
        EXPECT_EQ(qolsNorm_L2Sqr_16s64s_Sfs(v.data(), static_cast<int>(v.size()), &got,
                                            static_cast<int>(number(row[2]))),
                  qolStsNoErr);
        EXPECT_EQ(got, number(row[3])) << row[1] << " by " << row[2];
    }
}

TEST(VectorTables, Extremes) {
    for (const auto& row : readTable("extremes.csv")) {
        if (row[0] == "qolsMax_16s") {
            expectExtreme<Qol16s>(row, qolsMax_16s, nullptr);
        } else if (row[0] == "qolsMin_16s") {
            expectExtreme<Qol16s>(row, qolsMin_16s, nullptr);
        } else if (row[0] == "qolsMaxAbs_16s") {
            expectExtreme<Qol16s>(row, qolsMaxAbs_16s, nullptr);
        } else if (row[0] == "qolsMaxAbs_32s") {
            expectExtreme<Qol32s>(row, qolsMaxAbs_32s, nullptr);
        } else if (row[0] == "qolsMaxIndx_32s") {
            expectExtreme<Qol32s>(row, nullptr, qolsMaxIndx_32s);
        } else {
            ASSERT_EQ(row[0], "qolsMinIndx_16s");
            expectExtreme<Qol16s>(row, nullptr, qolsMinIndx_16s);
        }
    }
}

TEST(VectorTables, Convert32s16s) {
    const Rows rows = readTable("convert_32s16s.csv");
    const auto x = column<Qol32s>(rows, 1);
    std::vector<Qol16s> got(rows.size());
    EXPECT_EQ(qolsConvert_32s16s(x.data(), got.data(), count(rows)), qolStsNoErr);
    EXPECT_EQ(got, column<Qol16s>(rows, 2));
}

TEST(VectorTables, ConvertFloat) {
    for (const auto& [key, rows] : grouped(readTable("convert_32f_sfs.csv"), {0, 2, 3})) {
        std::vector<Qol32f> x;
        for (const auto& row : rows) {
            x.push_back(std::strtof(row[1].c_str(), nullptr));
        }
        const int mode = parameter(rows, 2), scale = parameter(rows, 3);
        if (rows[0][0] == "qolsConvert_32f16s_Sfs") {
            std::vector<Qol16s> got(rows.size());
            EXPECT_EQ(qolsConvert_32f16s_Sfs(x.data(), got.data(), count(rows), mode, scale), 0);
            EXPECT_EQ(got, column<Qol16s>(rows, 4)) << key;
        } else {
            std::vector<Qol32s> got(rows.size());
            EXPECT_EQ(qolsConvert_32f32s_Sfs(x.data(), got.data(), count(rows), mode, scale), 0);
            EXPECT_EQ(got, column<Qol32s>(rows, 4)) << key;
        }
    }
}

TEST(VectorTables, Companders) {
    for (const auto& [name, f] : {std::pair{"mulaw.csv", &qolsLinToMuLaw_16s8u},
                                  std::pair{"alaw.csv", &qolsLinToALaw_16s8u}}) {
        const Rows rows = readTable(name);
        const auto x = column<Qol16s>(rows, 1);
        std::vector<Qol8u> got(rows.size());
        EXPECT_EQ(f(x.data(), got.data(), count(rows)), qolStsNoErr);
        EXPECT_EQ(got, column<Qol8u>(rows, 2)) << name;
    }
}

TEST(VectorTables, CompandersOnAllSamples) {
    std::vector<Qol16s> x;
    for (int v = -32768; v < 32768; ++v) {
        x.push_back(static_cast<Qol16s>(v));
    }
    std::vector<Qol8u> mu(x.size()), a(x.size());
    qolsLinToMuLaw_16s8u(x.data(), mu.data(), 65536);
    qolsLinToALaw_16s8u(x.data(), a.data(), 65536);
    Qol32u sumMu = 0, sumA = 0, weightedMu = 0, weightedA = 0;
    for (Qol32u i = 0; i < 65536; ++i) {
        sumMu += mu[i];
        sumA += a[i];
        weightedMu += i * mu[i];
        weightedA += i * a[i];
    }
    // Sums over the G.711 tables.
    EXPECT_EQ(sumMu, 5694600u);
    EXPECT_EQ(weightedMu, 1914211772u);
    EXPECT_EQ(sumA, 6971392u);
    EXPECT_EQ(weightedA, 801820672u);
}
