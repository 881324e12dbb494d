// SPDX-License-Identifier: Apache-2.0
// Vector layer against the plain definition of each function: all lengths to 100 and larger ones,
// all alignments, random and extreme data, buffers between canaries, in place.
#include "vector/vector.h"

#include "numeric/rules.h"
#include "vector/elements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace qolsc;
using namespace qolsc::test;

namespace {

/// run(pSrc, pDst, len) against plain(x), element by element; also in place where types agree.
template <typename D, typename S, typename Run, typename Plain>
void checkUnary(const char* what, Run run, Plain plain) {
    Random r;
    for (const int len : lengths()) {
        for (std::size_t skew = 0; skew < (len < 40 ? 8u : 2u); ++skew) {
            const auto x = someVector<S>(r, len, skew & 1);
            const auto src = guarded(x, skew);
            auto dst = guarded<D>(x.size(), (skew * 3) % 8);
            ASSERT_EQ(run(src.data, dst.data, len), qolStsNoErr) << what;
            ASSERT_TRUE(intact(dst)) << what << " length " << len;
            for (std::size_t i = 0; i < x.size(); ++i) {
                ASSERT_TRUE(same(dst.data[i], static_cast<D>(plain(x[i]))))
                    << what << " length " << len << " at " << i << ": " << +x[i] << " -> "
                    << +dst.data[i];
            }
            if constexpr (std::is_same_v<D, S>) {
                auto both = guarded(x, skew);
                run(both.data, both.data, len);
                ASSERT_TRUE(intact(both)) << what;
                ASSERT_EQ(std::memcmp(both.data, dst.data, x.size() * sizeof(D)), 0)
                    << what << " in place, length " << len;
            }
        }
    }
    S in[1] = {};
    D out[1] = {};
    S* const noSource = nullptr;
    D* const noResult = nullptr;
    EXPECT_EQ(run(noSource, out, 1), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, noResult, 0), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, out, 0), qolStsSizeErr) << what;
    EXPECT_EQ(run(in, out, -1), qolStsSizeErr) << what;
}

template <typename D, typename S, typename Run, typename Plain>
void checkBinary(const char* what, Run run, Plain plain) {
    Random r;
    for (const int len : lengths()) {
        for (std::size_t skew = 0; skew < (len < 40 ? 8u : 2u); ++skew) {
            const auto x = someVector<S>(r, len, skew & 1), y = someVector<S>(r, len, skew & 2);
            const auto a = guarded(x, skew), b = guarded(y, (skew * 5) % 8);
            auto dst = guarded<D>(x.size(), (skew * 3) % 8);
            ASSERT_EQ(run(a.data, b.data, dst.data, len), qolStsNoErr) << what;
            ASSERT_TRUE(intact(dst)) << what << " length " << len;
            for (std::size_t i = 0; i < x.size(); ++i) {
                ASSERT_TRUE(same(dst.data[i], static_cast<D>(plain(x[i], y[i]))))
                    << what << " length " << len << " at " << i << ": " << +x[i] << ", " << +y[i]
                    << " -> " << +dst.data[i];
            }
            if constexpr (std::is_same_v<D, S>) {
                auto both = guarded(y, skew);
                run(a.data, both.data, both.data, len);
                ASSERT_EQ(std::memcmp(both.data, dst.data, x.size() * sizeof(D)), 0)
                    << what << " in place, length " << len;
            }
        }
    }
    S in[1] = {};
    D out[1] = {};
    S* const noSource = nullptr;
    D* const noResult = nullptr;
    EXPECT_EQ(run(noSource, in, out, 1), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, noSource, out, 1), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, in, noResult, 0), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, in, out, 0), qolStsSizeErr) << what;
}

/// run(pSrc, len, pResult) against plain(vector) with an equality of the caller's.
template <typename S, typename R, typename Run, typename Plain, typename Equal>
void checkReduction(const char* what, Run run, Plain plain, Equal equal) {
    Random r;
    for (const int len : lengths()) {
        for (std::size_t skew = 0; skew < 8; ++skew) {
            const auto x = someVector<S>(r, len, skew & 1);
            const auto src = guarded(x, skew);
            R got{};
            ASSERT_EQ(run(src.data, len, &got), qolStsNoErr) << what;
            ASSERT_TRUE(equal(got, plain(x), x)) << what << " length " << len << ": " << +got;
        }
    }
    S in[1] = {};
    R out{};
    EXPECT_EQ(run(static_cast<const S*>(nullptr), 1, &out), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, 0, static_cast<R*>(nullptr)), qolStsNullPtrErr) << what;
    EXPECT_EQ(run(in, 0, &out), qolStsSizeErr) << what;
}
constexpr auto exactly = [](auto got, auto want, const auto&) { return same(got, want); };

} // namespace

TEST(Vector, FloatArithmetic) {
    checkBinary<Qol32f, Qol32f>("Add_32f", qolsAdd_32f, [](float a, float b) { return a + b; });
    checkBinary<Qol64f, Qol64f>("Add_64f", qolsAdd_64f, [](double a, double b) { return a + b; });
    checkBinary<Qol32f, Qol32f>("Sub_32f", qolsSub_32f, [](float a, float b) { return b - a; });
    checkBinary<Qol32f, Qol32f>("Mul_32f", qolsMul_32f, [](float a, float b) { return a * b; });
    checkBinary<Qol64f, Qol64f>("Mul_64f", qolsMul_64f, [](double a, double b) { return a * b; });
    for (const float c : {0.0f, -0.0f, 1.0f, 2.5f, -7e-3f}) {
        const auto with = [c](auto f) {
            return [f, c](auto* s, auto* d, int n) { return f(s, c, d, n); };
        };
        checkUnary<Qol32f, Qol32f>("AddC_32f", with(qolsAddC_32f),
                                   [c](float x) { return c == 0 ? x : x + c; });
        checkUnary<Qol32f, Qol32f>("SubC_32f", with(qolsSubC_32f),
                                   [c](float x) { return c == 0 ? x : x - c; });
        checkUnary<Qol32f, Qol32f>("MulC_32f", with(qolsMulC_32f),
                                   [c](float x) { return c == 0 ? 0.0f : x * c; });
        checkUnary<Qol64f, Qol64f>("MulC_64f", with(qolsMulC_64f),
                                   [c](double x) { return c == 0 ? 0.0 : x * double{c}; });
        const auto inPlace = [c](const Qol32f* s, Qol32f* d, int n) {
            if (s && d && n > 0) {
                std::memmove(d, s, sizeof(Qol32f) * static_cast<std::size_t>(n));
            }
            return qolsMulC_32f_I(c, s ? d : nullptr, n);
        };
        checkUnary<Qol32f, Qol32f>("MulC_32f_I", inPlace,
                                   [c](float x) { return c == 0 ? 0.0f : x * c; });
    }
}

TEST(Vector, AddProductAndComplexProducts) {
    Random r;
    for (const int len : lengths()) {
        const auto a = noisef(r, len), b = noisef(r, 2 * len), c = noisef(r, 2 * len);
        auto sum = guarded(std::vector<Qol32f>(c.begin(), c.begin() + len), 1);
        ASSERT_EQ(qolsAddProduct_32f(a.data(), b.data(), sum.data, len), qolStsNoErr);
        auto fc = guarded<Qol32fc>(static_cast<std::size_t>(len), 1);
        const auto* pairs = reinterpret_cast<const Qol32fc*>(b.data());
        ASSERT_EQ(qolsMul_32f32fc(a.data(), pairs, fc.data, len), qolStsNoErr);
        ASSERT_TRUE(intact(sum) && intact(fc)) << len;
        for (int i = 0; i < len; ++i) {
            const float product = a[i] * b[i];
            ASSERT_EQ(sum.data[i], c[i] + product);
            ASSERT_EQ(fc.data[i].re, a[i] * pairs[i].re);
            ASSERT_EQ(fc.data[i].im, a[i] * pairs[i].im);
        }
        auto spectrum = guarded(std::vector<Qol32f>(c.begin(), c.begin() + len), 3);
        ASSERT_EQ(qolsMulPackConj_32f_I(b.data(), spectrum.data, len), qolStsNoErr);
        ASSERT_TRUE(intact(spectrum));
        ASSERT_EQ(spectrum.data[0], c[0] * b[0]);
        for (int i = 1; i + 1 < len; i += 2) {
            const float reRe = c[i] * b[i], imIm = c[i + 1] * b[i + 1], imRe = c[i + 1] * b[i],
                        reIm = c[i] * b[i + 1];
            ASSERT_EQ(spectrum.data[i], reRe + imIm);
            ASSERT_EQ(spectrum.data[i + 1], imRe - reIm);
        }
        if (len % 2 == 0) {
            ASSERT_EQ(spectrum.data[len - 1], c[len - 1] * b[len - 1]);
        }
    }
}

TEST(Vector, IntegerArithmetic) {
    checkBinary<Qol16s, Qol16s>("Add_16s", qolsAdd_16s,
                                [](int a, int b) { return saturate16(a + b); });
    checkBinary<Qol16s, Qol16s>("Sub_16s", qolsSub_16s,
                                [](int a, int b) { return saturate16(b - a); });
    checkUnary<Qol16s, Qol16s>("Abs_16s", qolsAbs_16s,
                               [](int x) { return saturate16(std::abs(x)); });
    for (const int s : {-70, -40, -32, -31, -30, -16, -15, -2, -1, 0,  1,
                        2,   3,   15,  16,  17,  30,  31,  32, 33, 40, 100}) {
        SCOPED_TRACE(s);
        checkBinary<Qol32s, Qol32s>(
            "Add_32s_Sfs",
            [s](auto* a, auto* b, auto* d, int n) { return qolsAdd_32s_Sfs(a, b, d, n, s); },
            [s](Qol64s a, Qol64s b) { return scaleEven<Qol32s>(a + b, s); });
        checkBinary<Qol32s, Qol16s>(
            "Mul_16s32s_Sfs",
            [s](auto* a, auto* b, auto* d, int n) { return qolsMul_16s32s_Sfs(a, b, d, n, s); },
            [s](Qol64s a, Qol64s b) { return scaleEven<Qol32s>(a * b, s); });
        for (const Qol16s c : {Qol16s{0}, Qol16s{-32768}, Qol16s{77}}) {
            checkUnary<Qol16s, Qol16s>(
                "SubC_16s_Sfs",
                [s, c](auto* x, auto* d, int n) { return qolsSubC_16s_Sfs(x, c, d, n, s); },
                [s, c](Qol64s x) { return scaleEven<Qol16s>(x - c, s); });
            checkUnary<Qol16s, Qol16s>(
                "SubCRev_16s_Sfs",
                [s, c](auto* x, auto* d, int n) { return qolsSubCRev_16s_Sfs(x, c, d, n, s); },
                [s, c](Qol64s x) { return scaleEven<Qol16s>(c - x, s); });
        }
    }
}

TEST(Vector, MagSquared) {
    Random r;
    const auto plain = [](Qol32sc x, int s) -> Qol32s {
        using Wide = unsigned __int128;
        const Wide sum = Wide(Qol64u(Qol64s{x.re} * x.re)) + Qol64u(Qol64s{x.im} * x.im);
        Wide y = 0;
        if (s <= 0) {
            y = sum == 0 ? 0 : sum << std::min(-s, 60);
        } else if (s < 64) {
            const Wide rest = sum & ((Wide{1} << s) - 1), half = Wide{1} << (s - 1);
            y = (sum >> s) + (rest > half || (rest == half && (sum >> s & 1)) ? 1 : 0);
        }
        return y > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<Qol32s>(y);
    };
    for (int s = -66; s < 67; ++s) {
        for (int len = 1; len < 20; ++len) {
            std::vector<Qol32sc> x(static_cast<std::size_t>(len));
            for (Qol32sc& v : x) {
                const int shift = static_cast<int>(next(r) % 32);
                v = {static_cast<Qol32s>(next(r)) >> shift, element<Qol32s>(r, len & 1) >> shift};
            }
            auto got = guarded<Qol32s>(x.size(), 1);
            ASSERT_EQ(qolsMagSquared_32sc32s_Sfs(x.data(), got.data, len, s), qolStsNoErr);
            ASSERT_TRUE(intact(got));
            for (int i = 0; i < len; ++i) {
                ASSERT_EQ(got.data[i], plain(x[i], s)) << x[i].re << ' ' << x[i].im << " by " << s;
            }
        }
    }
}

TEST(Vector, Shifts) {
    for (const int n : {0, 1, 7, 15, 16, 31, 32, 100}) {
        SCOPED_TRACE(n);
        checkUnary<Qol16s, Qol16s>(
            "LShiftC_16s", [n](auto* x, auto* d, int l) { return qolsLShiftC_16s(x, n, d, l); },
            [n](Qol16s x) { return n > 15 ? 0 : wrap16(Qol64s{x} * (1 << n)); });
        checkUnary<Qol16u, Qol16u>(
            "LShiftC_16u", [n](auto* x, auto* d, int l) { return qolsLShiftC_16u(x, n, d, l); },
            [n](Qol16u x) { return n > 15 ? 0 : x << n; });
        checkUnary<Qol16s, Qol16s>(
            "RShiftC_16s", [n](auto* x, auto* d, int l) { return qolsRShiftC_16s(x, n, d, l); },
            [n](Qol16s x) { return x >> std::min(n, 15); });
        checkUnary<Qol32s, Qol32s>(
            "RShiftC_32s", [n](auto* x, auto* d, int l) { return qolsRShiftC_32s(x, n, d, l); },
            [n](Qol32s x) { return x >> std::min(n, 31); });
    }
}

TEST(Vector, Reductions) {
    const auto near = [](auto got, double want, const auto& x) {
        double size = 1e-30;
        for (const auto v : x) {
            size += std::fabs(static_cast<double>(v));
        }
        const double ulp = sizeof(got) == 4 ? 0x1p-24 : 0x1p-53;
        return std::fabs(got - want) <= size * ulp * (2 + 0.125 * static_cast<double>(x.size()));
    };
    const auto sumOf = [](const auto& x) {
        long double sum = 0;
        for (const auto v : x) {
            sum += v;
        }
        return static_cast<double>(sum);
    };
    checkReduction<Qol32f, Qol32f>(
        "Sum_32f fast", [](auto* p, int n, Qol32f* d) { return qolsSum_32f(p, n, d, 1); }, sumOf,
        near);
    checkReduction<Qol32f, Qol32f>(
        "Sum_32f accurate", [](auto* p, int n, Qol32f* d) { return qolsSum_32f(p, n, d, 2); },
        sumOf,
        [](float got, double want, const auto& x) {
            double size = 0;
            for (const float v : x) {
                size += std::fabs(double{v});
            }
            return std::fabs(got - want) <= std::fabs(want) * 0x1p-24 + size * 0x1p-48;
        });
    checkReduction<Qol64f, Qol64f>("Sum_64f", qolsSum_64f, sumOf, near);
    for (const int s : {-3, 0, 1, 5}) {
        checkReduction<Qol16s, Qol32s>(
            "Sum_16s32s_Sfs",
            [s](auto* p, int n, Qol32s* d) { return qolsSum_16s32s_Sfs(p, n, d, s); },
            [s](const auto& x) {
                return scaleEven<Qol32s>(std::accumulate(x.begin(), x.end(), Qol64s{0}), s);
            },
            exactly);
        checkReduction<Qol32s, Qol32s>(
            "Sum_32s_Sfs", [s](auto* p, int n, Qol32s* d) { return qolsSum_32s_Sfs(p, n, d, s); },
            [s](const auto& x) {
                return scaleEven<Qol32s>(std::accumulate(x.begin(), x.end(), Qol64s{0}), s);
            },
            exactly);
        checkReduction<Qol16s, Qol64s>(
            "Norm_L2Sqr",
            [s](auto* p, int n, Qol64s* d) { return qolsNorm_L2Sqr_16s64s_Sfs(p, n, d, s); },
            [s](const auto& x) {
                Qol64s sum = 0;
                for (const Qol64s v : x) {
                    sum += v * v;
                }
                return s >= 0 ? sum >> s : sum * (1 << -s);
            },
            exactly);
    }
    Qol16s ones[9];
    std::fill_n(ones, 9, Qol16s{1});
    Qol64s most = 0;
    EXPECT_EQ(qolsNorm_L2Sqr_16s64s_Sfs(ones, 9, &most, -63), qolStsNoErr);
    EXPECT_EQ(most, std::numeric_limits<Qol64s>::max());
}

TEST(Vector, DotProducts) {
    Random r;
    for (const int len : lengths()) {
        for (std::size_t skew = 0; skew < 8; ++skew) {
            const auto x = guarded(someVector<Qol16s>(r, len, skew & 1), skew);
            const auto y = guarded(someVector<Qol16s>(r, len, skew & 2), 7 - skew);
            Qol64s want = 0, got = 1;
            for (int i = 0; i < len; ++i) {
                want += Qol64s{x.data[i]} * y.data[i];
            }
            ASSERT_EQ(qolsDotProd_16s64s(x.data, y.data, len, &got), qolStsNoErr);
            ASSERT_EQ(got, want) << len;

            const auto f = guarded(noisef(r, len), skew), g = guarded(noisef(r, len), 7 - skew);
            double exact = 0, size = 0;
            for (int i = 0; i < len; ++i) {
                const double p = double{f.data[i]} * g.data[i];
                exact += p;
                size += std::fabs(p);
            }
            Qol32f single;
            Qol64f wide;
            qolsDotProd_32f(f.data, g.data, len, &single);
            qolsDotProd_32f64f(f.data, g.data, len, &wide);
            ASSERT_NEAR(single, exact, size * 0x1p-24 * (2 + 0.125 * len));
            ASSERT_NEAR(wide, exact, size * 0x1p-50 + 1e-300);
        }
    }
    // The one pair of products that leaves 32 bits.
    const std::vector<Qol16s> least(64, -32768);
    Qol64s got;
    EXPECT_EQ(qolsDotProd_16s64s(least.data(), least.data(), 64, &got), qolStsNoErr);
    EXPECT_EQ(got, Qol64s{64} << 30);
}

namespace {

/// First element that no later one beats strictly.
template <bool Greatest, typename T>
std::size_t winner(const std::vector<T>& x) {
    std::size_t w = 0;
    for (std::size_t i = 1; i < x.size(); ++i) {
        w = (Greatest ? x[i] > x[w] : x[i] < x[w]) ? i : w;
    }
    return w;
}

template <bool Greatest, typename T, typename Plain, typename Indexed>
void checkExtreme(Plain plain, Indexed indexed) {
    Random r;
    for (const int len : lengths()) {
        for (int kind = 0; kind < 6; ++kind) {
            auto x = someVector<T>(r, len, kind & 1);
            if (kind > 1) { // ties everywhere
                for (T& v : x) {
                    v = static_cast<T>(uniform(r, -2, 2));
                }
            }
            if constexpr (std::is_floating_point_v<T>) {
                if (kind > 3) {
                    x[next(r) % x.size()] = std::numeric_limits<T>::quiet_NaN();
                }
            }
            const std::size_t w = winner<Greatest>(x);
            const auto g = guarded(x, static_cast<std::size_t>(kind));
            T value{};
            if constexpr (!std::is_same_v<Plain, std::nullptr_t>) {
                ASSERT_EQ(plain(g.data, len, &value), qolStsNoErr);
                ASSERT_TRUE(value == x[w] || same(value, x[w])) << len;
            }
            if constexpr (!std::is_same_v<Indexed, std::nullptr_t>) {
                int index = -1;
                ASSERT_EQ(indexed(g.data, len, &value, &index), qolStsNoErr);
                ASSERT_TRUE(value == x[w] || same(value, x[w])) << len;
                ASSERT_EQ(index, static_cast<int>(w)) << len;
                ASSERT_EQ(indexed(g.data, len, &value, nullptr), qolStsNoErr);
            }
        }
    }
}

} // namespace

TEST(Vector, Extremes) {
    checkExtreme<true, Qol16s>(&qolsMax_16s, nullptr);
    checkExtreme<false, Qol16s>(&qolsMin_16s, &qolsMinIndx_16s);
    checkExtreme<true, Qol32f>(&qolsMax_32f, &qolsMaxIndx_32f);
    checkExtreme<false, Qol32f>(&qolsMin_32f, &qolsMinIndx_32f);
    checkExtreme<true, Qol32s>(nullptr, &qolsMaxIndx_32s);
    const auto mostAbs = [](const auto& x) {
        Qol64s m = 0;
        for (const Qol64s v : x) {
            m = std::max(m, std::abs(v));
        }
        return m;
    };
    checkReduction<Qol16s, Qol16s>(
        "MaxAbs_16s", qolsMaxAbs_16s, [&](const auto& x) { return saturate16(mostAbs(x)); },
        exactly);
    checkReduction<Qol32s, Qol32s>(
        "MaxAbs_32s", qolsMaxAbs_32s, [&](const auto& x) { return saturate32(mostAbs(x)); },
        exactly);
}

TEST(Vector, Thresholds) {
    for (const float level : {-3.0f, 0.0f, 20.0f}) {
        checkUnary<Qol32f, Qol32f>(
            "LTVal",
            [=](auto* s, auto* d, int n) { return qolsThreshold_LTVal_32f(s, d, n, level, 9); },
            [=](float x) { return x < level ? 9 : x; });
        checkUnary<Qol32f, Qol32f>(
            "GTVal_32f",
            [=](auto* s, auto* d, int n) { return qolsThreshold_GTVal_32f(s, d, n, level, -9); },
            [=](float x) { return x > level ? -9 : x; });
        checkUnary<Qol64f, Qol64f>(
            "GTVal_64f",
            [=](auto* s, auto* d, int n) { return qolsThreshold_GTVal_64f(s, d, n, level, -9); },
            [=](double x) { return x > level ? -9 : x; });
        const auto both = [=](auto x) -> decltype(x) { return x < level ? 5 : x > 30 ? 6 : x; };
        checkUnary<Qol32f, Qol32f>(
            "LTValGTVal_32f",
            [=](auto* s, auto* d, int n) {
                return qolsThreshold_LTValGTVal_32f(s, d, n, level, 5, 30, 6);
            },
            both);
        checkUnary<Qol64f, Qol64f>(
            "LTValGTVal_64f",
            [=](auto* s, auto* d, int n) {
                return qolsThreshold_LTValGTVal_64f(s, d, n, level, 5, 30, 6);
            },
            both);
        if (level >= 0) {
            checkUnary<Qol32f, Qol32f>(
                "LTAbs",
                [=](auto* s, auto* d, int n) { return qolsThreshold_LTAbs_32f(s, d, n, level); },
                [=](float x) { return std::fabs(x) < level ? std::copysign(level, x) : x; });
        }
    }
    Qol32f f[1] = {1};
    Qol64f d[1] = {1};
    EXPECT_EQ(qolsThreshold_LTValGTVal_32f(f, f, 1, 2, 0, 1, 0), qolStsThresholdErr);
    EXPECT_EQ(qolsThreshold_LTValGTVal_64f(d, d, 1, 2, 0, 1, 0), qolStsThresholdErr);
    EXPECT_EQ(qolsThreshold_LTAbs_32f(f, f, 1, -1), qolStsThreshNegLevelErr);
    EXPECT_EQ(qolsThreshold_LTInv_64f(d, d, 1, -1), qolStsThreshNegLevelErr);
    EXPECT_EQ(qolsThreshold_LTInv_64f(d, d, 0, -1), qolStsSizeErr);
    EXPECT_EQ(f[0], 1);
}

TEST(Vector, ReciprocalWithFloor) {
    Random r;
    for (const int len : {1, 2, 3, 5, 100, 2047, 2048, 2049, 5001}) {
        for (const double level : {0.0, 1.0}) {
            std::vector<Qol64f> x(static_cast<std::size_t>(len));
            for (Qol64f& v : x) {
                v = uniformReal(r, -3, 3);
            }
            auto dst = guarded<Qol64f>(x.size(), 1);
            EXPECT_EQ(qolsThreshold_LTInv_64f(x.data(), dst.data, len, level), qolStsNoErr);
            for (int i = 0; i < len; ++i) {
                const double raised = std::fabs(x[i]) < level ? std::copysign(level, x[i]) : x[i];
                ASSERT_EQ(dst.data[i], 1 / raised) << len << ' ' << i;
            }
            x[0] = 0.0;
            x.back() = -0.0;
            const QolStatus warning = level > 0 ? qolStsNoErr : len < 2048 ? 4 : 6;
            EXPECT_EQ(qolsThreshold_LTInv_64f(x.data(), dst.data, len, level), warning) << len;
            EXPECT_TRUE(intact(dst));
            EXPECT_EQ(dst.data[len - 1], level > 0 ? -1 : -INFINITY);
        }
    }
}

TEST(Vector, Conversions) {
    checkUnary<Qol32s, Qol16s>("16s32s", qolsConvert_16s32s, [](Qol16s x) { return x; });
    checkUnary<Qol32f, Qol16s>("16s32f", qolsConvert_16s32f, [](Qol16s x) { return x; });
    checkUnary<Qol32f, Qol32s>("32s32f", qolsConvert_32s32f,
                               [](Qol32s x) { return static_cast<float>(x); });
    checkUnary<Qol16s, Qol32s>("32s16s", qolsConvert_32s16s,
                               [](Qol32s x) { return saturate16(x); });
    checkUnary<Qol32f, Qol64f>("64f32f", qolsConvert_64f32f,
                               [](double x) { return static_cast<float>(x); });
    const Qol64f far[] = {1e300, -1e300, INFINITY, -INFINITY, 3.5e38};
    Qol32f limited[5];
    EXPECT_EQ(qolsConvert_64f32f(far, limited, 5), qolStsNoErr);
    const float most = std::numeric_limits<float>::max();
    EXPECT_TRUE(limited[0] == most && limited[1] == -most && limited[2] == most &&
                limited[3] == -most && limited[4] == most);
    for (const int s : {-200, -140, -31, -5, 0, 1, 3, 20, 130, 200}) {
        for (const int mode : {0, 1, 2}) {
            const auto rounded = [=](float x) {
                const double y = std::ldexp(double{x}, -s);
                const double whole = mode == 0   ? std::trunc(y)
                                     : mode == 1 ? std::nearbyint(y)
                                                 : std::round(y);
                return static_cast<Qol64s>(std::clamp(whole, -1e12, 1e12));
            };
            checkUnary<Qol16s, Qol32f>(
                "32f16s_Sfs",
                [=](auto* p, auto* d, int n) { return qolsConvert_32f16s_Sfs(p, d, n, mode, s); },
                [=](float x) { return saturate16(rounded(x)); });
            checkUnary<Qol32s, Qol32f>(
                "32f32s_Sfs",
                [=](auto* p, auto* d, int n) { return qolsConvert_32f32s_Sfs(p, d, n, mode, s); },
                [=](float x) { return saturate32(rounded(x)); });
        }
    }
}

TEST(Vector, ConvolutionAndCorrelation) {
    Random r;
    for (int trial = 0; trial < 400; ++trial) {
        const int len1 = static_cast<int>(uniform(r, 1, 70)),
                  len2 = static_cast<int>(uniform(r, 1, 200)),
                  lenDst = static_cast<int>(uniform(r, 1, 130)),
                  at = static_cast<int>(uniform(r, -90, 210));
        const auto a = guarded(noisef(r, len1), 1), b = guarded(noisef(r, len2), 2);
        auto conv = guarded<Qol32f>(static_cast<std::size_t>(lenDst), 3);
        auto corr = guarded<Qol32f>(static_cast<std::size_t>(lenDst), 1);
        ASSERT_EQ(qolsConvBiased_32f(a.data, len1, b.data, len2, conv.data, lenDst, at),
                  qolStsNoErr);
        ASSERT_EQ(qolsCrossCorr_32f(a.data, len1, b.data, len2, corr.data, lenDst, at, nullptr),
                  qolStsNoErr);
        ASSERT_TRUE(intact(conv) && intact(corr));
        for (int n = 0; n < lenDst; ++n) {
            double wantConv = 0, wantCorr = 0;
            for (int k = 0; k < len1; ++k) {
                const int i = n + at - k, j = n + at + k;
                wantConv += i >= 0 && i < len2 ? double{a.data[k]} * b.data[i] : 0;
                wantCorr += j >= 0 && j < len2 ? double{a.data[k]} * b.data[j] : 0;
            }
            const double bound = len1 * 0x1p-22;
            ASSERT_NEAR(conv.data[n], wantConv, bound)
                << len1 << ' ' << len2 << ' ' << at << ' ' << n;
            ASSERT_NEAR(corr.data[n], wantCorr, bound)
                << len1 << ' ' << len2 << ' ' << at << ' ' << n;
        }
    }
    Qol32f x[1] = {};
    EXPECT_EQ(qolsConvBiased_32f(x, 1, nullptr, 1, x, 1, 0), qolStsNullPtrErr);
    EXPECT_EQ(qolsConvBiased_32f(x, 1, x, 0, x, 1, 0), qolStsSizeErr);
    EXPECT_EQ(qolsCrossCorr_32f(x, 1, x, 1, x, 0, 0, nullptr), qolStsSizeErr);
}
