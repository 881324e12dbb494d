// SPDX-License-Identifier: Apache-2.0
// G.729.1 transform layer: perfect reconstruction on speech, the transform against its defining
// sum, the quantiser's ranks as a bijection, its fallback.
#include "g7291/g7291.h"
#include "kit/data.h"
#include "qolsc.h"
#include "tables/g7291.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>

using namespace qolsc::test;
namespace g7291 = qolsc::g7291;
namespace tables = qolsc::tables;

namespace {

using Words = std::vector<Qol16s>;

/// Root mean square of a signal and of its error after forward and inverse transform, the
/// coefficients of each block with as many fraction bits as 16 bits hold.
struct Reconstruction {
    double signal;
    double error;
};
Reconstruction reconstruct(const Words& x) {
    Words previous(160), memory(160), out(160);
    double signal = 0, error = 0;
    for (std::size_t i = 0; i + 160 <= x.size(); i += 160) {
        Qol32s y[160];
        Words coefficients(160);
        const Words before = previous;
        EXPECT_EQ(qolsMDCTFwd_G7291_16s(&x[i], previous.data(), y, previous.data(), 15), 0);
        int fraction = 15;
        for (const Qol32s v : y) {
            while (std::abs(std::ldexp(v, fraction - 15)) > 32766) {
                --fraction;
            }
        }
        for (std::size_t k = 0; k < 160; ++k) {
            coefficients[k] = static_cast<Qol16s>(std::lround(std::ldexp(y[k], fraction - 15)));
        }
        qolsMDCTInv_G7291_16s(coefficients.data(), memory.data(), out.data(), fraction);
        for (std::size_t k = 0; k < 160; ++k) {
            const double e = out[k] - before[k];
            signal += double{1} * before[k] * before[k];
            error += e * e;
        }
    }
    const auto count = static_cast<double>(x.size());
    return {std::sqrt(signal / count), std::sqrt(error / count)};
}

TEST(G7291, speechComesBackToRounding) {
    // 16 kHz speech taken at 8 kHz by its even samples; aliasing does no harm here.
    const Words wide = readWords("waveform/sequences/g722/inpsp.bin");
    Words speech;
    for (std::size_t i = 0; i < wide.size(); i += 2) {
        speech.push_back(wide[i]);
    }
    for (const int shift : {0, 3, 6}) {
        Words x = speech;
        for (Qol16s& v : x) {
            v = static_cast<Qol16s>(v >> shift);
        }
        const Reconstruction result = reconstruct(x);
        // Ten rounded steps of 16-bit data with block scaling leave 46 dB and more, and the
        // samples' own rounding (two terms in the overlap, the sum) 0.6 of a unit.
        EXPECT_LE(result.error, result.signal * std::pow(10, -46 / 20.0) + 0.6) << shift;
    }
}

TEST(G7291, transformEqualsItsSumAtAllLevels) {
    Random r;
    for (int turn = 0; turn < 60; ++turn) {
        const Words x = turn % 4 == 0 ? extremes16(r, 320) : noise16(r, 320, 32767 >> turn % 13);
        Qol32s y[160];
        Words memory(160);
        const int fraction = static_cast<int>(uniform(r, 0, 15));
        qolsMDCTFwd_G7291_16s(&x[160], &x[0], y, memory.data(), fraction);
        EXPECT_TRUE(std::equal(memory.begin(), memory.end(), x.begin() + 160));
        double exact[160], peak = 0;
        for (int k = 0; k < 160; ++k) {
            double sum = 0;
            for (int n = 0; n < 320; ++n) {
                sum += std::sqrt(2) * std::sin(M_PI * (n + 0.5) / 320) *
                       x[static_cast<std::size_t>(n)] *
                       std::cos(M_PI / 160 * (n + 80.5) * (k + 0.5));
            }
            exact[k] = sum / 320;
            peak = std::max(peak, std::abs(exact[k]));
        }
        for (int k = 0; k < 160; ++k) {
            ASSERT_NEAR(std::ldexp(y[k], -fraction), exact[k],
                        peak / 512 + std::ldexp(1, -fraction) + 0.01)
                << turn << " " << k;
        }
    }
}

TEST(G7291, pointTransformEqualsItsSum) {
    Random r;
    const Words re = noise16(r, 80, 8191), im = noise16(r, 80, 8191);
    for (const int direction : {1, -1}) {
        Words a = re, b = im;
        direction == 1 ? g7291::ownTDAC_tfr<g7291::Direction::forward>(a.data(), b.data())
                       : g7291::ownTDAC_tfr<g7291::Direction::inverse>(a.data(), b.data());
        for (int k = 0; k < 80; ++k) {
            std::complex<double> sum;
            for (std::size_t n = 0; n < 80; ++n) {
                sum += std::complex<double>(re[n], im[n]) *
                       std::polar(1.0, -direction * 2 * M_PI * k * static_cast<double>(n) / 80);
            }
            ASSERT_NEAR(a[static_cast<std::size_t>(k)], sum.real() / 32, 6) << k;
            ASSERT_NEAR(b[static_cast<std::size_t>(k)], sum.imag() / 32, 6) << k;
        }
    }
}

/// Decodes a code of one band of a dimension with a norm that keeps all magnitudes apart.
Words decodeBand(int dimension, Qol32u code) {
    Qol32u codes[18] = {};
    Words bits(18, 0), norms(18, 2048), out(320);
    const int band = dimension == 8 ? 17 : 5;
    codes[band] = code;
    bits[static_cast<std::size_t>(band)] = 32;
    EXPECT_EQ(qolsMDCTQuantInv_G7291_32u16s(codes, bits.data(), norms.data(), out.data()), 0);
    const int start = tables::G7291_TDAC_sb_boundTbl[band];
    return Words(out.begin() + start, out.begin() + start + dimension);
}

/// Rank of a code's arrangement, by the decoded unit-norm values themselves.
Qol32u rankOf(const g7291::Leader& leader, int dimension, const Qol16s* x) {
    Qol16s order[16];
    bool negative[16];
    for (int i = 0; i < dimension; ++i) {
        const int magnitude = std::abs(x[i]);
        int v = 0;
        while (v < leader.distinct && leader.value[v] != magnitude) {
            ++v;
        }
        order[i] = static_cast<Qol16s>(v);
        negative[i] = x[i] < 0;
    }
    return g7291::ownTDAC_schalk(leader, dimension, order, negative);
}

TEST(G7291, ranksAreABijection) {
    Random r;
    for (const int dimension : {8, 16}) {
        const Qol32u* offsets = g7291::leaderOffsets(dimension);
        for (int p = 0; p < g7291::leaderCount(dimension); ++p) {
            const g7291::Leader leader = g7291::leaderOf(dimension, p);
            const Qol32u count = offsets[p + 1] - offsets[p];
            // All of dimension 8; of dimension 16 the ends and a sample.
            const Qol32u tries = dimension == 8 ? count : std::min<Qol32u>(count, 3000);
            for (Qol32u t = 0; t < tries; ++t) {
                const Qol32u rank = tries == count ? t
                                    : t == 0       ? 0
                                    : t == 1       ? count - 1
                                                   : static_cast<Qol32u>(uniform(r, 0, count - 1));
                Qol16s x[16];
                g7291::ownTDAC_inv_schalk(rank, dimension, leader, x);
                // The whole leader and nothing else: its magnitudes, as often as it has them.
                Qol16s sorted[16];
                std::transform(x, x + dimension, sorted,
                               [](Qol16s v) { return static_cast<Qol16s>(std::abs(v)); });
                std::sort(sorted, sorted + dimension, std::greater<>());
                ASSERT_TRUE(
                    std::equal(sorted, sorted + dimension, g7291::leaderNorms(dimension, p)))
                    << dimension << " leader " << p << " rank " << rank;
                ASSERT_EQ(rankOf(leader, dimension, x), rank) << dimension << " leader " << p;
            }
        }
    }
}

/// For every allocation: the decoded band has the signs and the order of what was coded, and no
/// usable leader would have been nearer.
TEST(G7291, quantiserAgreesWithItsInverseForEveryAllocation) {
    Random r;
    for (int bits = 1; bits <= 32; ++bits) {
        for (int turn = 0; turn < 40; ++turn) {
            const Words x = noise16(r, 280, 1 << (2 + turn % 13)),
                        allocation(18, static_cast<Qol16s>(bits)), norms(18, 1000);
            Qol32u codes[18];
            Words y(320);
            ASSERT_EQ(qolsMDCTQuantFwd_G7291_16s32u(x.data(), allocation.data(), codes), 0);
            ASSERT_EQ(
                qolsMDCTQuantInv_G7291_32u16s(codes, allocation.data(), norms.data(), y.data()), 0);
            for (int b = 0; b < 18; ++b) {
                const int start = tables::G7291_TDAC_sb_boundTbl[b];
                const int d = tables::G7291_TDAC_sb_boundTbl[b + 1] - start;
                const int usable = g7291::usableLeaders(d, bits);
                const Qol32u* offsets = g7291::leaderOffsets(d);
                ASSERT_LT(codes[b], offsets[usable]) << "inside the book of " << bits << " bits";
                double agreement = 0;
                Words magnitudes;
                for (int i = start; i < start + d; ++i) {
                    const auto k = static_cast<std::size_t>(i);
                    ASSERT_GE(x[k] * y[k], 0) << "signs";
                    agreement += double{1} * x[k] * y[k];
                    magnitudes.push_back(static_cast<Qol16s>(std::abs(x[k])));
                }
                std::sort(magnitudes.begin(), magnitudes.end(), std::greater<>());
                const auto position =
                    std::upper_bound(offsets, offsets + usable, codes[b]) - offsets - 1;
                const auto correlation = [&](int p) {
                    const Qol16s* norm = g7291::leaderNorms(d, p);
                    double c = 0;
                    for (int i = 0; i < d; ++i) {
                        c += double{1} * magnitudes[static_cast<std::size_t>(i)] * norm[i];
                    }
                    return c;
                };
                const double chosen = correlation(static_cast<int>(position));
                for (int p = 0; p < usable; ++p) {
                    ASSERT_LE(correlation(p), chosen) << "a nearer leader";
                }
                ASSERT_GE(agreement, 0);
            }
        }
    }
}

TEST(G7291, invalidCodesDecodeToTheFallback) {
    for (const int dimension : {8, 16}) {
        const Qol32u* offsets = g7291::leaderOffsets(dimension);
        const Qol32u count = offsets[g7291::leaderCount(dimension)];
        const Qol32u fallback = offsets[10] + (dimension == 8 ? 21845 % 1024 : 21845);
        EXPECT_EQ(decodeBand(dimension, count), decodeBand(dimension, fallback));
        EXPECT_EQ(decodeBand(dimension, 0xFFFFFFFFu), decodeBand(dimension, fallback));
        EXPECT_NE(decodeBand(dimension, count - 1), decodeBand(dimension, fallback));
    }
}

TEST(G7291, noBitsGiveSilence) {
    const Qol32u codes[18] = {1, 2, 3};
    const Words none(18, 0), norms(18, 1000);
    Words out(320, 77);
    EXPECT_EQ(qolsMDCTQuantInv_G7291_32u16s(codes, none.data(), norms.data(), out.data()), 0);
    EXPECT_EQ(out, Words(320, 0));
}

TEST(G7291, postProcessingHalvesWhatIsWeak) {
    Words x(320, 1000), norms(18, 0);
    norms[0] = 500;
    norms[1] = 250;
    norms[17] = -3;
    EXPECT_EQ(qolsMDCTPostProcess_G7291_16s(x.data(), norms.data(), 18), 0);
    EXPECT_EQ(x[0], 1000);
    EXPECT_EQ(x[16], 750);
    EXPECT_EQ(x[279], 500);
    EXPECT_EQ(x[280], 1000) << "behind the last band";
    EXPECT_EQ(qolsMDCTPostProcess_G7291_16s(x.data(), norms.data(), 19), qolStsSizeErr);
}

} // namespace
