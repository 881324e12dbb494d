// SPDX-License-Identifier: Apache-2.0
// Vector mathematics against the C library in double precision, and at the ends of its ranges.
#include "kit/data.h"
#include "vector/vector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace qolsc;
using namespace qolsc::test;

namespace {

/// Error in units of the last place of the exact value.
double ulps(float got, double want) {
    if (got == static_cast<float>(want)) {
        return 0;
    }
    const float f = static_cast<float>(want);
    return std::fabs(got - want) / std::ldexp(1.0, std::max(std::ilogb(f), -126) - 23);
}

template <typename Run, typename Exact>
void checkMath(const char* what, double lo, double hi, double bound, Run run, Exact exact) {
    Random r;
    for (const int len : {1, 2, 3, 4, 5, 17, 100000}) {
        auto x = std::vector<Qol32f>(static_cast<std::size_t>(len));
        for (Qol32f& v : x) {
            v = static_cast<Qol32f>(uniformReal(r, lo, hi));
        }
        auto got = guarded<Qol32f>(x.size(), 1);
        run(x.data(), got.data, len);
        ASSERT_TRUE(intact(got));
        for (int i = 0; i < len; ++i) {
            ASSERT_LE(ulps(got.data[i], exact(double{x[i]})), bound) << what << ' ' << x[i];
        }
    }
}

} // namespace

TEST(VectorMath, AccuracyInUnitsOfTheLastPlace) {
    const auto e = [](double x) { return std::exp(x); };
    const auto l = [](double x) { return std::log(x); };
    const auto s = [](double x) { return std::sin(x); };
    const auto c = [](double x) { return std::cos(x); };
    checkMath("exp", -80, 80, 0.51, qolsExp_32f, e);
    checkMath("exp", -1e-3, 1e-3, 0.51, qolsExp_32f, e);
    checkMath("exp", -104, -86, 0.51, qolsExp_32f, e); // results below the normal range
    checkMath("ln", 0, 1e-38, 0.51, qolsLn_32f, l);
    checkMath("ln", 0.5, 2, 0.51, qolsLn_32f, l);
    checkMath("ln", 1 - 1e-4, 1 + 1e-4, 0.51, qolsLn_32f, l);
    checkMath("ln", 1, 1e38, 0.51, qolsLn_32f, l);
    for (const double range : {0.01, 1.0, 10.0, 1e6, 1e30}) {
        checkMath("sin", -range, range, 0.51, qolsSin_32f_A24, s);
        checkMath("cos", -range, range, 0.51, qolsCos_32f_A24, c);
    }
}

TEST(VectorMath, SpecialValues) {
    const Qol32f inf = INFINITY, x[] = {0, inf, -inf, NAN, 1000, -1000};
    Qol32f y[6];
    EXPECT_EQ(qolsExp_32f(x, y, 6), qolStsNoErr);
    EXPECT_TRUE(y[0] == 1 && y[1] == inf && y[2] == 0 && y[3] != y[3] && y[4] == inf && y[5] == 0);
    const Qol32f positive[] = {1, inf, 1e-45f};
    EXPECT_EQ(qolsLn_32f(positive, y, 3), qolStsNoErr);
    EXPECT_TRUE(y[0] == 0 && y[1] == inf && std::fabs(y[2] + 103.27893f) < 1e-5f);
    const Qol32f withZero[] = {1, 0, 2, 3, 4};
    EXPECT_EQ(qolsLn_32f(withZero, y, 5), qolStsLnZeroArg);
    EXPECT_TRUE(y[1] == -inf && y[4] == std::log(4.0f));
    const Qol32f withNegative[] = {0, -1, 2};
    EXPECT_EQ(qolsLn_32f(withNegative, y, 3), qolStsLnNegArg);
    EXPECT_TRUE(y[0] == -inf && y[1] != y[1] && y[2] == std::log(2.0f));
    EXPECT_EQ(qolsLn_32f(nullptr, y, 1), qolStsNullPtrErr);
    EXPECT_EQ(qolsExp_32f(x, y, 0), qolStsSizeErr);
    const Qol32f far[] = {inf, NAN, 0};
    qolsSin_32f_A24(far, y, 3);
    EXPECT_TRUE(y[0] != y[0] && y[1] != y[1] && y[2] == 0);
}
