// SPDX-License-Identifier: Apache-2.0
// AMR-WB: conversions between ISP, ISF and LP coefficients, ISF quantisers and their decoders.
#include "kit/data.h"
#include "qolsc/amrwb.h"
#include "tables/amrwb_isf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace qolsc;
using test::Random;
using test::uniform;
using Words = std::vector<Qol16s>;

const int kIsfRates[] = {5, 9, 13, 15, 16, 18, 19, 20, 21, 25};

/// ISFs in order, about equally spaced; the last at half resolution.
Words someIsfs(Random& r, int order) {
    Words isf(static_cast<std::size_t>(order));
    const double step = 16384.0 / order;
    for (int i = 0; i < order - 1; ++i) {
        isf[i] = static_cast<Qol16s>(step * (i + 1 + test::uniformReal(r, -0.35, 0.35)));
    }
    isf[order - 1] = static_cast<Qol16s>(uniform(r, 1000, 7000));
    return isf;
}

TEST(AmrWbIsp, FrequenciesAndPairsAreInverses) {
    Random r;
    for (int order = 1; order <= 20; ++order) {
        for (int round = 0; round < 50; ++round) {
            const Words isf = someIsfs(r, order);
            Words isp(isf.size()), back(isf.size());
            ASSERT_EQ(qolsISFToISP_AMRWB_16s(isf.data(), isp.data(), order), qolStsNoErr);
            ASSERT_EQ(qolsISPToISF_Norm_AMRWB_16s(isp.data(), back.data(), order), qolStsNoErr);
            for (int i = 0; i < order; ++i) {
                const double w = std::numbers::pi * isf[i] * (i == order - 1 ? 2 : 1) / 16384;
                ASSERT_NEAR(isp[i], 32768 * std::cos(w), 8) << order << " " << i;
                // Where the cosine is flat a unit of the pair is many units of the frequency.
                ASSERT_NEAR(back[i], isf[i], std::sin(w) > 0.2 ? 2.5 / std::sin(w) : 80);
            }
        }
    }
}

TEST(AmrWbIsp, SingleValueIsHalved) {
    const Qol16s isp = 0; // 3200 Hz: 8192, halved
    Qol16s isf;
    ASSERT_EQ(qolsISPToISF_Norm_AMRWB_16s(&isp, &isf, 1), qolStsNoErr);
    EXPECT_EQ(isf, 4096);
}

TEST(AmrWbIsp, OutOfRangeFrequenciesStayInTheTable) {
    const Qol16s isf[4] = {-32768, 32767, 20000, 32767};
    Qol16s isp[4];
    ASSERT_EQ(qolsISFToISP_AMRWB_16s(isf, isp, 4), qolStsNoErr);
    EXPECT_EQ(isp[0], 32767);
    EXPECT_EQ(isp[1], -32768);
    EXPECT_EQ(isp[3], -32768);
}

/// A(z) in double precision: half-polynomials of the pairs, the last pair weighting them.
std::vector<double> lpOf(const Words& isp) {
    const int m = static_cast<int>(isp.size()), h = m / 2;
    const auto product = [&isp](int first, int factors) {
        std::vector<double> f{1};
        for (int k = 0; k < factors; ++k) {
            std::vector<double> g(f.size() + 2);
            const double q = isp[first + 2 * k] / 32768.0;
            for (std::size_t i = 0; i < f.size(); ++i) {
                g[i] += f[i];
                g[i + 1] -= 2 * q * f[i];
                g[i + 2] += f[i];
            }
            f = g;
        }
        return f;
    };
    std::vector<double> f1 = product(0, h), f2 = product(1, h - 1);
    f2.resize(f2.size() + 2);
    for (int i = m; i >= 2; --i) {
        f2[i] -= f2[i - 2];
    }
    const double c = isp[m - 1] / 32768.0;
    std::vector<double> a(static_cast<std::size_t>(m) + 1);
    for (int i = 0; i <= m; ++i) {
        a[i] = 0.5 * ((1 + c) * f1[i] + (1 - c) * f2[i]);
    }
    return a;
}

TEST(AmrWbIsp, LpCoefficientsOnBothSidesOfHalfOrderNine) {
    Random r;
    for (const int order : {2, 4, 8, 14, 16, 18, 20}) {
        for (int round = 0; round < 100; ++round) {
            const Words isf = someIsfs(r, order);
            Words isp(isf.size()), lpc(isf.size() + 1);
            qolsISFToISP_AMRWB_16s(isf.data(), isp.data(), order);
            ASSERT_EQ(qolsISPToLPC_AMRWB_16s(isp.data(), lpc.data(), order), qolStsNoErr);
            const auto expected = lpOf(isp);
            // From half order 9 on the polynomials have two bits less.
            const double tolerance = order > 16 ? 8 : 2;
            for (int i = 0; i <= order; ++i) {
                ASSERT_NEAR(lpc[i], 4096 * expected[i], tolerance)
                    << "order " << order << " at " << i;
            }
        }
    }
}

TEST(AmrWbIsp, RootsComeBackFromLpCoefficients) {
    Random r;
    int found = 0;
    for (const int order : {8, 10, 16}) {
        for (int round = 0; round < 100; ++round) {
            const Words isf = someIsfs(r, order);
            Words isp(isf.size()), lpc(isf.size() + 1), back(isf.size()),
                previous(isf.size(), 12345);
            qolsISFToISP_AMRWB_16s(isf.data(), isp.data(), order);
            qolsISPToLPC_AMRWB_16s(isp.data(), lpc.data(), order);
            ASSERT_EQ(qolsLPCToISP_AMRWBE_16s(lpc.data(), previous.data(), back.data(), order),
                      qolStsNoErr);
            if (back == previous) {
                continue;
            }
            ++found;
            for (int i = 0; i < order; ++i) {
                ASSERT_NEAR(back[i], isp[i], 120) << "order " << order << " at " << i;
            }
            if (order == 16) {
                Words same(16);
                qolsLPCToISP_AMRWB_16s(lpc.data(), same.data(), previous.data());
                ASSERT_EQ(same, back);
            }
        }
    }
    EXPECT_GT(found, 290);
}

TEST(AmrWbIsp, MissingRootsLeaveThePreviousPairs) {
    Words lpc(17), previous(16), isp(16);
    for (int i = 0; i < 16; ++i) {
        previous[i] = static_cast<Qol16s>(1000 * i);
    }
    lpc[0] = 4096;
    lpc[1] = 32767; // far from minimum phase
    ASSERT_EQ(qolsLPCToISP_AMRWB_16s(lpc.data(), isp.data(), previous.data()), qolStsNoErr);
    EXPECT_EQ(isp, previous);
    // More roots than the grid has intervals: nothing to search, nothing outside the buffers.
    Words large(301), largePrevious(300, 7), largeIsp(300);
    ASSERT_EQ(qolsLPCToISP_AMRWBE_16s(large.data(), largePrevious.data(), largeIsp.data(), 300),
              qolStsNoErr);
    EXPECT_EQ(largeIsp, largePrevious);
}

/// ISFs as the encoder has them: around the mean.
Words speechIsfs(Random& r) {
    Words isf(16);
    for (int i = 0; i < 16; ++i) {
        isf[i] = static_cast<Qol16s>(tables::meanISFTbl[i] + uniform(r, -300, 300));
    }
    return isf;
}

TEST(AmrWbIsf, DecoderFollowsTheQuantiser) {
    Random r;
    for (const int rate : kIsfRates) {
        Words memoryEnc(16), memoryDec(16), history(48), previous(16);
        for (int frame = 0; frame < 40; ++frame) {
            const Words isf = speechIsfs(r);
            Words quantised(16), decoded(16);
            Qol16s indices[7];
            ASSERT_EQ(qolsISFQuant_AMRWB_16s(isf.data(), memoryEnc.data(), quantised.data(),
                                             indices, rate),
                      qolStsNoErr);
            ASSERT_EQ(qolsISFQuantDecode_AMRWB_16s(indices, decoded.data(), memoryDec.data(),
                                                   previous.data(), history.data(), 0, rate),
                      qolStsNoErr);
            ASSERT_EQ(quantised, decoded);
            ASSERT_EQ(memoryEnc, memoryDec);
            for (int i = 0; i < 15; ++i) {
                ASSERT_GE(decoded[i], i == 0 ? 128 : decoded[i - 1] + 128);
            }
            double error = 0;
            for (int i = 0; i < 16; ++i) {
                error += std::pow(quantised[i] - isf[i], 2);
            }
            ASSERT_LT(std::sqrt(error / 16), 400);
            previous = decoded;
        }
    }
}

TEST(AmrWbIsf, FarInputsTakeTheExactDistances) {
    // Beyond the range of the vector distances; must still be the nearest rows, decoded alike.
    Random r;
    for (int round = 0; round < 50; ++round) {
        const Words isf = test::noise16(r, 16);
        Words memory(16), memoryDec(16), history(48), quantised(16), decoded(16), previous(16);
        Qol16s indices[7];
        qolsISFQuant_AMRWB_16s(isf.data(), memory.data(), quantised.data(), indices, 13);
        qolsISFQuantDecode_AMRWB_16s(indices, decoded.data(), memoryDec.data(), previous.data(),
                                     history.data(), 0, 13);
        ASSERT_EQ(quantised, decoded);
    }
}

TEST(AmrWbIsf, BadFrameLeavesTheHistory) {
    Random r;
    Words memory(16, 300), history(48), previous(16), out(16);
    for (int i = 0; i < 48; ++i) {
        history[i] = static_cast<Qol16s>(tables::meanISFTbl[i % 16] + uniform(r, -200, 200));
    }
    std::copy_n(history.begin(), 16, previous.begin());
    const Words historyBefore = history, memoryBefore = memory;
    const Qol16s indices[7] = {1, 2, 3, 4, 5, 6, 7};
    ASSERT_EQ(qolsISFQuantDecode_AMRWB_16s(indices, out.data(), memory.data(), previous.data(),
                                           history.data(), 1, 20),
              qolStsNoErr);
    EXPECT_EQ(history, historyBefore);
    for (int i = 0; i < 16; ++i) {
        const int average =
            (tables::meanISFTbl[i] + history[i] + history[16 + i] + history[32 + i] + 2) >> 2;
        const int expected = (previous[i] * 29491 >> 15) + (average * 3277 >> 15);
        EXPECT_EQ(out[i], expected) << i; // far enough apart here: no reordering
        EXPECT_EQ(memory[i], (expected - average - (memoryBefore[i] * 10923 >> 15)) >> 1);
    }
    // The next good frame enters it, before ordering.
    ASSERT_EQ(qolsISFQuantDecode_AMRWB_16s(indices, out.data(), memory.data(), previous.data(),
                                           history.data(), 0, 20),
              qolStsNoErr);
    EXPECT_TRUE(
        std::equal(historyBefore.begin(), historyBefore.begin() + 32, history.begin() + 16));
}

TEST(AmrWbIsf, AnyIndexStaysInsideTheTables) {
    Random r;
    for (int round = 0; round < 500; ++round) {
        const auto indices = test::noise16(r, 7);
        Words out(16), memory(16), history(48), previous(16);
        const int rate = kIsfRates[uniform(r, 0, 9)];
        ASSERT_EQ(qolsISFQuantDecode_AMRWB_16s(indices.data(), out.data(), memory.data(),
                                               previous.data(), history.data(), 0, rate),
                  qolStsNoErr);
        ASSERT_EQ(qolsISFQuantDecodeDTX_AMRWB_16s(indices.data(), out.data()), qolStsNoErr);
    }
}

TEST(AmrWbIsf, CloseFrequenciesComeOut128Apart) {
    // All rows of index 0 but the second element pulled down by the memory.
    Words memory(16), history(48), previous(16), out(16);
    for (int i = 4; i < 10; ++i) {
        memory[i] = static_cast<Qol16s>(i % 2 != 0 ? -6000 : 6000);
    }
    const Qol16s indices[7] = {};
    qolsISFQuantDecode_AMRWB_16s(indices, out.data(), memory.data(), previous.data(),
                                 history.data(), 0, 13);
    int touched = 0;
    for (int i = 1; i < 15; ++i) {
        ASSERT_GE(out[i] - out[i - 1], 128);
        touched += out[i] - out[i - 1] == 128 ? 1 : 0;
    }
    EXPECT_GT(touched, 0);
}

/// Count of elements and a polynomial checksum.
template <typename T>
void expectTable(const T& table, std::size_t count, std::uint32_t checksum) {
    const auto* p = reinterpret_cast<const Qol16s*>(&table);
    ASSERT_EQ(sizeof table / sizeof *p, count);
    std::uint32_t h = 0;
    for (std::size_t i = 0; i < count; ++i) {
        h = h * 31 + static_cast<Qol16u>(p[i]);
    }
    EXPECT_EQ(h, checksum);
}

TEST(AmrWbTables, Checksums) {
    expectTable(tables::meanISFTbl, 16, 0x59712EE9u);
    expectTable(tables::meanISFnoiseTbl, 16, 0x82F0706Du);
    expectTable(tables::QCdbk1ISFTbl, 3072, 0x6F89BF7Du);
    expectTable(tables::QCdbk2ISFTbl, 2048, 0xB3692DE0u);
    expectTable(tables::QCdbk21ISFTbl, 256, 0xB569C366u);
    expectTable(tables::QCdbk22ISFTbl, 512, 0xE6520B0Du);
    expectTable(tables::QCdbk23ISFTbl, 512, 0x727E584Au);
    expectTable(tables::QCdbk24ISFTbl, 128, 0x81238560u);
    expectTable(tables::QCdbk25ISFTbl, 128, 0x73A789A8u);
    expectTable(tables::QCdbk21ISF36bTbl, 1024, 0xF8CD5E08u);
    expectTable(tables::QCdbk22ISF36bTbl, 512, 0xD0FA45F1u);
    expectTable(tables::QCdbk23ISF36bTbl, 512, 0x2C1AD7ADu);
    expectTable(tables::QCdbk1ISFnoiseTbl, 128, 0xC580A98Au);
    expectTable(tables::QCdbk2ISFnoiseTbl, 256, 0xCC134A86u);
    expectTable(tables::QCdbk3ISFnoiseTbl, 256, 0x56F1CB81u);
    expectTable(tables::QCdbk4ISFnoiseTbl, 128, 0x36AD6EECu);
    expectTable(tables::QCdbk5ISFnoiseTbl, 128, 0x9C7A1E62u);
    expectTable(tables::ispCosTbl, 129, 0x73CF58BFu);
    expectTable(tables::ispSlopeTbl, 128, 0x47BDCB60u);
    expectTable(tables::ispGrid, 101, 0x76F56EC7u);
}

TEST(AmrWbTables, Cosines) {
    for (int i = 0; i <= 128; ++i) {
        ASSERT_NEAR(tables::ispCosTbl[i], 32768 * std::cos(std::numbers::pi * i / 128), 8);
    }
    for (int i = 0; i <= 100; ++i) {
        ASSERT_NEAR(tables::ispGrid[i], 32768 * std::cos(std::numbers::pi * i / 100), 10);
    }
}

} // namespace
