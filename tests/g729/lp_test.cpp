// SPDX-License-Identifier: Apache-2.0
// LP analysis, LSP conversions and LSF quantisers: edges, history, fixed against float on speech.
#include "g729/lsp_quant.h"
#include "kit/data.h"
#include "numeric/basop.h"
#include "qolsc.h"
#include "tables/g729_lp.h"
#include "tables/g729_lsp.h"
#include "tables/lp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qolsc::test {
namespace {

using namespace tables::g729;

/// Calls use(lpc, lsp) for the frames of a speech file, lsp from the fixed form.
template <typename Use>
void forSpeech(const char* name, Use use) {
    const std::vector<Qol16s> speech = readWords(name);
    std::vector<Qol16s> previous = {30000, 26000, 21000,  15000,  8000,
                                    0,     -8000, -15000, -21000, -26000};
    for (std::size_t at = 0; at + 240 <= speech.size(); at += 240) {
        Qol32s r[13];
        Qol16s norm = 0, lpc[11], rc[10], error = 0, lsp[10];
        qolsAutoCorr_G729B(speech.data() + at, &norm, r);
        qolsLagWindow_G729_32s_I(r + 1, 10);
        if (qolsLevinsonDurbin_G729_32s16s(r, 10, lpc, rc, &error) != qolStsNoErr) {
            continue;
        }
        qolsLPCToLSP_G729_16s(lpc, previous.data(), lsp);
        use(r, lpc, lsp);
        previous.assign(lsp, lsp + 10);
    }
}

TEST(G729Lp, FloatFollowsFixedOnSpeech) {
    int frames = 0, close = 0;
    forSpeech("g729/sequences/annexa_pitch.in",
              [&](const Qol32s* r, const Qol16s* lpc, const Qol16s* lsp) {
                  Qol32f rf[11], af[11], rcf[10], error = 0, lspf[10], lspA[10], back[11];
                  for (int i = 0; i < 11; ++i) {
                      rf[i] = static_cast<Qol32f>(r[i]);
                  }
                  qolsLevinsonDurbin_G729_32f(rf, 10, af, rcf, &error);
                  double worst = 0;
                  for (int i = 0; i < 11; ++i) {
                      worst = std::max(worst, std::fabs(double{af[i]} - lpc[i] / 4096.0));
                  }
                  EXPECT_LT(worst, 0.05);
                  for (int i = 0; i < 11; ++i) {
                      af[i] = static_cast<Qol32f>(lpc[i]) / 4096;
                  }
                  const Qol32f none[10] = {};
                  qolsLPCToLSP_G729_32f(af, none, lspf);
                  qolsLPCToLSP_G729A_32f(af, none, lspA);
                  worst = 0;
                  for (int i = 0; i < 10; ++i) {
                      worst = std::max({worst, std::fabs(lspf[i] - lsp[i] / 32768.0),
                                        std::fabs(double{lspf[i]} - lspA[i])});
                  }
                  ++frames;
                  close += worst < 0.003;
                  qolsLSPToLPC_G729_32f(lspf, back);
                  for (int i = 0; i < 11; ++i) {
                      EXPECT_NEAR(back[i], af[i], 0.02);
                  }
              });
    EXPECT_GT(frames, 500);
    EXPECT_GT(close, frames * 97 / 100);
}

TEST(G729Lp, LspReturnToTheFilter) {
    forSpeech("g729/sequences/annexa_test.in",
              [](const Qol32s*, const Qol16s* lpc, const Qol16s* lsp) {
                  Qol16s back[11];
                  qolsLSPToLPC_G729_16s(lsp, back);
                  EXPECT_EQ(back[0], 4096);
                  for (int i = 1; i < 11; ++i) {
                      EXPECT_NEAR(back[i], lpc[i], 80) << i;
                  }
              });
}

TEST(G729Lp, RecursionOfDegenerateInput) {
    Qol32s r[31] = {0};
    Qol16s lpc[31], rc[30], error = 77;
    std::fill(lpc, lpc + 31, Qol16s{5});
    std::fill(rc, rc + 30, Qol16s{6});
    EXPECT_EQ(qolsLevinsonDurbin_G729_32s16s(r, 10, lpc, rc, &error), qolStsOverflow);
    EXPECT_EQ(lpc[0], 5);
    EXPECT_EQ(rc[0], 6);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(qolsLevinsonDurbin_G729_32s16s(r, 31, lpc, rc, &error), qolStsSizeErr);
    // White input: lag 1 of 0 gives a reflection of 0 and the recursion goes on.
    r[0] = 0x7FFFFFFE;
    EXPECT_EQ(qolsLevinsonDurbin_G729_32s16s(r, 30, lpc, rc, &error), qolStsNoErr);
    EXPECT_EQ(lpc[0], 4096);
    EXPECT_EQ(rc[0], 0);
    EXPECT_EQ(lpc[30], 0);
    // Anything must do without a fault.
    Random random;
    for (int n = 0; n < 2000; ++n) {
        const std::vector<Qol32s> any = noise32(random, 31);
        const int order = static_cast<int>(uniform(random, 1, 30));
        qolsLevinsonDurbin_G729_32s16s(any.data(), order, lpc, rc, &error);
        qolsLPCToLSP_G729_16s(lpc, rc, rc + 10);
    }
}

// Levinson's recursion in double precision.
std::vector<double> recursion(const Qol32s* r, std::size_t order) {
    std::vector<double> a{1.0};
    double error = r[0];
    for (std::size_t i = 1; i <= order; ++i) {
        double t = 0;
        for (std::size_t j = 0; j < i; ++j) {
            t += a[j] * r[i - j];
        }
        const double k = -t / error;
        a.push_back(0);
        const std::vector<double> last = a;
        for (std::size_t j = 0; j <= i; ++j) {
            a[j] = last[j] + k * last[i - j];
        }
        error *= 1 - k * k;
    }
    return a;
}

TEST(G729Lp, RecursionOfAnyOrder) {
    Random random;
    for (int n = 0; n < 20; ++n) {
        const std::vector<Qol16s> x = noise16(random, 300, 8000);
        std::vector<double> y(x.begin(), x.end());
        for (std::size_t i = 2; i < y.size(); ++i) {
            y[i] += 1.2 * y[i - 1] - 0.6 * y[i - 2];
        }
        Qol32s r[31];
        double energy = 0;
        for (std::size_t lag = 0; lag <= 30; ++lag) {
            double sum = 0;
            for (std::size_t i = lag; i < y.size(); ++i) {
                sum += y[i] * y[i - lag];
            }
            energy = lag == 0 ? sum : energy;
            r[lag] = static_cast<Qol32s>(sum / energy * 0x7FFF0000);
        }
        Qol16s lpc[31], rc[30], longest[30], error = 0;
        ASSERT_EQ(qolsLevinsonDurbin_G729_32s16s(r, 30, lpc, longest, &error), qolStsNoErr);
        for (int order = 1; order <= 30; ++order) {
            const std::vector<Qol32s> cut(r, r + order + 1); // what lies behind is not read
            ASSERT_EQ(qolsLevinsonDurbin_G729_32s16s(cut.data(), order, lpc, rc, &error),
                      qolStsNoErr);
            EXPECT_TRUE(std::equal(rc, rc + order, longest)) << order;
            const std::vector<double> want = recursion(r, static_cast<std::size_t>(order));
            for (std::size_t i = 0; i < want.size(); ++i) {
                ASSERT_NEAR(lpc[i] / 4096.0, want[i], 1.0 / 4096) << order << ", " << i;
            }
        }
    }
}

TEST(G729Lp, FloatRecursionEndsEarlyWhenUnstable) {
    const Qol32f r[3] = {1.0F, 0.5F, 1.0F};
    Qol32f lpc[3] = {9, 9, 9}, rc[2], error = 0;
    EXPECT_EQ(qolsLevinsonDurbin_G729_32f(r, 2, lpc, rc, &error), qolStsNoErr);
    EXPECT_EQ(error, 0.001F);
    EXPECT_EQ(lpc[2], 9);
}

TEST(G729Lp, MissingRootsGiveThePreviousVector) {
    const Qol16s lpc[11] = {4096, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32767};
    const Qol16s previous[10] = {10, 9, 8, 7, 6, 5, 4, 3, 2, 1};
    Qol16s lsp[10];
    EXPECT_EQ(qolsLPCToLSP_G729_16s(lpc, previous, lsp), qolStsNoErr);
    EXPECT_TRUE(std::equal(lsp, lsp + 10, previous));
}

/// Root search of 3.2.3 one point after the other; returns the count of roots.
struct RootModel {
    int gridSize, bisections;
    Qol16s f[2][6];
    bool half = false;

    explicit RootModel(const Qol16s* a, int size, int halvings)
        : gridSize(size), bisections(halvings) {
        half = !build(a, 1);
        if (half) {
            build(a, 2);
        }
    }
    bool build(const Qol16s* a, int shift) {
        bool fits = true;
        f[0][0] = f[1][0] = static_cast<Qol16s>(4096 >> shift);
        for (int i = 0; i < 5; ++i) {
            const int sum = ((a[i + 1] + a[10 - i]) >> shift) - f[0][i],
                      difference = ((a[i + 1] - a[10 - i]) >> shift) + f[1][i];
            f[0][i + 1] = saturate16(sum);
            f[1][i + 1] = saturate16(difference);
            fits = fits && f[0][i + 1] == sum && f[1][i + 1] == difference;
        }
        return fits;
    }
    Qol16s value(const Qol16s* p, Qol16s x) const {
        const int shift = half ? 9 : 10;
        const auto product = [x](Qol32s b) {
            return wrap32(2 * (Qol64s{b >> 16} * x + (((b >> 1 & 0x7FFF) * x) >> 15)));
        };
        Qol32s b2 = 1 << (14 + shift), b1 = wrap32(p[1] * Qol64s{8192} + (Qol64s{x} << shift));
        for (int i = 2; i <= 4; ++i) {
            const Qol32s b0 = wrap32(2 * Qol64s{product(b1)} - b2 + p[i] * Qol64s{8192});
            b2 = b1;
            b1 = b0;
        }
        return saturate16(wrap32(Qol64s{product(b1)} - b2 + p[5] * Qol64s{4096}) >> shift);
    }
    int search(Qol16s* lsp) const {
        const Qol16s* grid = gridSize == 60 ? tables::w_eval_60 : tables::w_eval_50;
        int roots = 0;
        Qol16s xLow = grid[0], yLow = value(f[0], xLow);
        for (int k = 1; k <= gridSize && roots < 10; ++k) {
            const Qol16s* p = f[roots & 1];
            Qol16s xHigh = xLow, yHigh = yLow;
            xLow = grid[k];
            yLow = value(p, xLow);
            if (yLow * yHigh > 0) {
                continue;
            }
            for (int i = 0; i < bisections; ++i) {
                const auto x = static_cast<Qol16s>((xLow >> 1) + (xHigh >> 1));
                const Qol16s y = value(p, x);
                (yLow * y <= 0 ? xHigh : xLow) = x;
                (yLow * y <= 0 ? yHigh : yLow) = y;
            }
            const Qol16s d = saturate16(yHigh - yLow);
            if (d != 0) {
                const int a = std::min(std::abs(int{d}), 32767);
                int e = 0;
                while ((a << e) < 16384) {
                    ++e;
                }
                Qol16s t = wrap16(((xHigh - xLow) * (0x1FFF8000 / (a << e))) >> (19 - e));
                t = d < 0 ? saturate16(-t) : t;
                xLow = wrap16(xLow - ((yLow * t) >> 10));
            }
            lsp[roots++] = xLow;
            yLow = value(f[roots & 1], xLow);
        }
        return roots;
    }
};

TEST(G729Lp, RootSearchIsThePlainOne) {
    Random random;
    const Qol16s previous[10] = {10, 9, 8, 7, 6, 5, 4, 3, 2, 1};
    int found = 0;
    const auto compare = [&](const Qol16s* lpc, const char* what) {
        for (const int size : {60, 50}) {
            Qol16s want[11] = {}, got[10];
            const bool all = RootModel(lpc, size, size == 60 ? 4 : 2).search(want) == 10;
            (size == 60 ? qolsLPCToLSP_G729_16s : qolsLPCToLSP_G729A_16s)(lpc, previous, got);
            ASSERT_TRUE(std::equal(got, got + 10, all ? want : previous)) << what;
            found += all;
        }
    };
    for (int n = 0; n < 3000; ++n) {
        const std::vector<Qol16s> lpc =
            n % 2 ? extremes16(random, 11) : noise16(random, 11, 1 << (n % 16));
        compare(lpc.data(), "random");
    }
    forSpeech("g729/sequences/annexa_pitch.in",
              [&](const Qol32s*, const Qol16s* lpc, const Qol16s*) { compare(lpc, "speech"); });
    EXPECT_GT(found, 1000);
}

TEST(G729Lp, NegativeFrequencyEndsTheConversion) {
    Qol16s lsf[10] = {1000, 2000, 3000, -1, 5000, 6000, 7000, 8000, 9000, 10000}, lsp[10];
    std::fill(lsp, lsp + 10, Qol16s{77});
    EXPECT_EQ(qolsLSFToLSP_G729_16s(lsf, lsp), qolStsLsfRangeErr);
    EXPECT_NE(lsp[2], 77);
    EXPECT_EQ(lsp[3], 77);
}

TEST(G729Lp, FrequenciesReturn) {
    for (int f = 100; f < 25000; f += 37) {
        Qol16s lsf[10], lsp[10], back[10], norm[10];
        for (int i = 0; i < 10; ++i) {
            lsf[i] = static_cast<Qol16s>(std::min(f + 60 * i, 25600));
        }
        ASSERT_EQ(qolsLSFToLSP_G729_16s(lsf, lsp), qolStsNoErr);
        qolsLSPToLSF_G729_16s(lsp, back);
        qolsLSPToLSF_Norm_G729_16s(lsp, norm);
        for (int i = 0; i < 10; ++i) {
            // The slope of the arccosine makes the ends coarse.
            const int tolerance = lsf[i] < 1000 || lsf[i] > 24700 ? 60 : 8;
            EXPECT_NEAR(back[i], lsf[i], tolerance) << i;
            EXPECT_NEAR(norm[i], lsf[i] * 16384 / 25736, tolerance);
        }
    }
}

TEST(G729Lp, FloatInterpolationIsTheWeightedSum) {
    Random random;
    for (int len = 1; len <= 70; ++len) {
        const auto n = static_cast<std::size_t>(len);
        const std::vector<Qol32f> a = noisef(random, len, 1000), b = noisef(random, len, 1000);
        const Qol32f u = noisef(random, 1, 2)[0], v = noisef(random, 1, 2)[0];
        auto out = guarded<Qol32f>(n, 1);
        ASSERT_EQ(qolsInterpolateC_G729_32f(a.data(), u, b.data(), v, out.data, len), qolStsNoErr);
        std::vector<Qol32f> inPlace = b;
        qolsInterpolateC_G729_32f(a.data(), u, inPlace.data(), v, inPlace.data(), len);
        for (std::size_t i = 0; i < n; ++i) {
            const double first = double{u} * a[i], second = double{v} * b[i];
            ASSERT_NEAR(out.data[i], first + second,
                        (std::fabs(first) + std::fabs(second)) * 1.2e-7);
            ASSERT_EQ(inPlace[i], out.data[i]);
        }
        ASSERT_TRUE(intact(out));
    }
}

TEST(G729Lp, InterpolationsShiftWhereTheyAreToldTo) {
    Random random;
    const std::vector<Qol16s> a = extremes16(random, 33), b = noise16(random, 33);
    for (int s = 0; s < 40; s += 3) {
        std::vector<Qol16s> apart(33), once(33);
        qolsInterpolateC_G729_16s_Sfs(a.data(), 20000, b.data(), -13107, apart.data(), 33, s);
        qolsInterpolateC_NR_G729_16s_Sfs(a.data(), 20000, b.data(), -13107, once.data(), 33, s);
        const int n = std::min(s, 31);
        for (int i = 0; i < 33; ++i) {
            const Qol64s x = Qol64s{a[i]} * 20000, y = Qol64s{b[i]} * -13107;
            EXPECT_EQ(apart[i], saturate16((x >> n) + (y >> n)));
            EXPECT_EQ(once[i], saturate16((x + y + (n ? Qol64s{1} << (n - 1) : 0)) >> n));
        }
    }
}

// ---- quantisers ----

/// The search of 3.2.4 element by element (only the choice, from a target without history).
void searchModel(const Qol16s* e, const Qol16s* w, int* choice) {
    using basop::L_mac, basop::mult, basop::sub;
    Qol64s least = INT64_MAX;
    for (int i = 0; i < 128; ++i) {
        Qol64s sum = 0;
        for (int j = 0; j < 10; ++j) {
            sum += Qol64s{sub(e[j], LSPCode1[i][j])} * sub(e[j], LSPCode1[i][j]);
        }
        if (sum < least) {
            least = sum;
            choice[0] = i;
        }
    }
    for (int half = 0; half < 2; ++half) {
        Qol32s best = basop::MAX_32;
        for (int i = 0; i < 32; ++i) {
            Qol32s sum = 0;
            for (int j = 5 * half; j < 5 * half + 5; ++j) {
                const Qol16s d = sub(sub(e[j], LSPCode1[choice[0]][j]), LSPCode2[i][j]);
                sum = L_mac(sum, mult(w[j], d), d);
            }
            if (sum < best) {
                best = sum;
                choice[1 + half] = i;
            }
        }
    }
}

// The indices are those of the plain search with the predictor that was chosen, on smooth targets
// and on ones far outside the codebook.
TEST(G729Lsf, SearchIsThePlainOne) {
    Random random;
    for (int n = 0; n < 1500; ++n) {
        std::vector<Qol16s> lsf(10), history(40);
        for (int j = 0; j < 10; ++j) {
            lsf[j] = static_cast<Qol16s>(1500 + 2200 * j + uniform(random, -1000, 1000));
            for (int k = 0; k < 4; ++k) {
                history[10 * k + j] = static_cast<Qol16s>(
                    1500 + 2200 * j + uniform(random, -800, 800) * (n % 3 ? 1 : 18));
            }
        }
        Qol16s w[10], e[10], q[10], idx[4];
        std::vector<Qol16s> after = history;
        qolsLSFQuant_G729_16s(lsf.data(), after.data(), q, idx);
        const int mode = idx[0];
        ownGetWgt(lsf.data(), w);
        ownLspPrevExtract(lsf.data(), fg[mode], fg_sum_inv[mode], history.data(), e);
        int want[3] = {};
        searchModel(e, w, want);
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(idx[1 + i], want[i]) << "case " << n;
        }
    }
}

TEST(G729Lsf, BoundsAreReported) {
    Random random;
    std::vector<int> seen(16);
    for (int n = 0; n < 20000; ++n) {
        const Qol16s idx[4] = {static_cast<Qol16s>(n & 1),
                               static_cast<Qol16s>(uniform(random, 0, 127)),
                               static_cast<Qol16s>(uniform(random, 0, 31)),
                               static_cast<Qol16s>(uniform(random, 0, 31))};
        // Low, high and mixed histories drive the vector to either bound.
        std::vector<Qol16s> history = n % 3 == 0 ? noise16(random, 40, 26000)
                                                 : std::vector<Qol16s>(40, n % 3 == 1 ? 28000 : 0);
        if (n % 5 == 0) {
            for (int k = 0; k < 4; ++k) {
                history[10 * k] = -3000;
            }
        }
        Qol16s lsf[10];
        const QolStatus status = qolsLSFDecode_G729_16s(idx, history.data(), lsf);
        ++seen[static_cast<std::size_t>(status)];
        if (status == qolStsLsfLowBound || status == qolStsLsfBothBounds) {
            EXPECT_EQ(lsf[0], 40);
        }
        if (status == qolStsLsfHighBound || status == qolStsLsfBothBounds) {
            EXPECT_EQ(lsf[9], 25681);
        }
        for (int j = 1; j < 9; ++j) {
            EXPECT_GE(lsf[j] - lsf[j - 1], 321);
        }
    }
    for (const int status : {0, 13, 14, 15}) {
        EXPECT_GT(seen[static_cast<std::size_t>(status)], 0) << status;
    }
}

TEST(G729Lsf, BadModeLeavesTheHistory) {
    std::vector<Qol16s> history(40, 3), lsf(10, 4);
    for (const Qol16s mode : {-1, 2}) {
        const Qol16s idx[4] = {mode, 0, 0, 0};
        EXPECT_EQ(qolsLSFDecode_G729_16s(idx, history.data(), lsf.data()), qolStsOutOfRangeErr);
    }
    EXPECT_EQ(history, std::vector<Qol16s>(40, 3));
}

// What the quantiser found decodes to what it returned, and Annex E's form only leaves the history.
TEST(G729Lsf, QuantiserAndDecoderAgree) {
    std::vector<Qol16s> a(40, 12000), b(40, 12000);
    std::vector<Qol32f> real(40, 12000 / 8192.0F);
    int frames = 0, sameIndex = 0;
    forSpeech("g729/sequences/annexa_pitch.in",
              [&](const Qol32s*, const Qol16s*, const Qol16s* lsp) {
                  Qol16s q[10], packed[2], qE[10], row[10], packedE[2], lsf[10], again[10];
                  const std::vector<Qol16s> before = a;
                  qolsLSPQuant_G729E_16s(lsp, before.data(), row, qE, packedE);
                  qolsLSPQuant_G729_16s(lsp, a.data(), q, packed);
                  EXPECT_TRUE(std::equal(q, q + 10, qE));
                  EXPECT_TRUE(std::equal(row, row + 10, a.begin()));
                  EXPECT_TRUE(std::equal(before.begin(), before.begin() + 30, a.begin() + 10));
                  EXPECT_EQ(packed[0], packedE[0]);
                  const Qol16s idx[4] = {
                      static_cast<Qol16s>(packed[0] >> 7), static_cast<Qol16s>(packed[0] & 127),
                      static_cast<Qol16s>(packed[1] >> 5), static_cast<Qol16s>(packed[1] & 31)};
                  qolsLSFDecode_G729_16s(idx, b.data(), lsf);
                  qolsLSFToLSP_G729_16s(lsf, again);
                  EXPECT_TRUE(std::equal(q, q + 10, again));
                  EXPECT_EQ(a, b);

                  Qol32f lspf[10], rowf[10], qf[10];
                  Qol32s packedf[2];
                  for (int i = 0; i < 10; ++i) {
                      lspf[i] = static_cast<Qol32f>(lsp[i]) / 32768;
                  }
                  for (int i = 0; i < 40; ++i) {
                      real[i] = static_cast<Qol32f>(before[i]) / 8192;
                  }
                  qolsLSPQuant_G729E_32f(lspf, real.data(), rowf, qf, packedf);
                  ++frames;
                  sameIndex += packedf[0] == packed[0] && packedf[1] == packed[1];
              });
    EXPECT_GT(sameIndex, frames * 90 / 100);
}

// A refused index decodes zeros in the float form; nothing is read outside a table.
TEST(G729Lsf, FloatDecoderTakesAnyIndex) {
    std::vector<Qol32f> history(40, 0.0F);
    Qol32f lsf[10];
    for (const Qol32s bad : {-1, 33, 128, 1 << 30, -(1 << 30)}) {
        const Qol32s idx[4] = {0, bad, bad, bad};
        EXPECT_EQ(qolsLSFDecode_G729_32f(idx, history.data(), lsf), qolStsNoErr);
        const Qol32s noise[3] = {bad, bad, bad};
        EXPECT_EQ(qolsLSFDecode_G729B_32f(noise, history.data(), lsf), qolStsNoErr);
        std::fill(history.begin(), history.end(), 0.0F);
    }
    const Qol32s idx[4] = {0, 128, 0, 0};
    qolsLSFDecode_G729_32f(idx, history.data(), lsf);
    EXPECT_EQ(history[5], 0.0F);
    EXPECT_FLOAT_EQ(lsf[0], 0.005F);
    EXPECT_FLOAT_EQ(lsf[1], 0.005F + 0.0392F);
}

TEST(G729Tables, AreWhatTheyDeriveFrom) {
    for (int mode = 0; mode < 2; ++mode) {
        for (int j = 0; j < 10; ++j) {
            int sum = 32767, noise = 32767;
            for (int k = 0; k < 4; ++k) {
                sum -= fg[mode][k][j];
                noise -= noise_fg[mode][k][j];
            }
            EXPECT_NEAR(fg_sum[mode][j], sum, 5);
            EXPECT_NEAR(noise_fg_sum[mode][j], noise, 5);
            EXPECT_NEAR(fg_sum_inv[mode][j], 4096.0 * 32768 / fg_sum[mode][j], 4);
            EXPECT_NEAR(noise_fg_sum_inv[mode][j], 4096.0 * 32768 / noise_fg_sum[mode][j], 4);
        }
    }
    for (int i = 0; i < 128; ++i) {
        for (int j = 0; j < 10; ++j) {
            EXPECT_NEAR(LSPCode1[i][j], lspcb1[i][j] * 8192, 1);
        }
    }
    for (int k = 1; k < 60; ++k) {
        EXPECT_NEAR(gridCos60[k], std::cos(3.14159265358979 * k / 60), 1e-6);
    }
}

} // namespace
} // namespace qolsc::test
