// SPDX-License-Identifier: Apache-2.0
// Scaling rules and basic operators at their corners; all usable in constant expressions.
#include "numeric/helpers.h"

#include <gtest/gtest.h>

using namespace qolsc;
using namespace qolsc::basop;

static_assert(scaleNear<Qol16s>(-1, 1) == 0 && scaleEven<Qol16s>(3, 1) == 2 &&
              scaleEven<Qol16s>(1, 1) == 0);
static_assert(scaleTruncate<Qol16s>(Qol64s{-32768} * -32768, 15) == 32767);
static_assert(mult(MIN_16, MIN_16) == MAX_16 && L_mult(MIN_16, MIN_16) == MAX_32 &&
              L_negate(MIN_32) == MAX_32);
static_assert(norm_s(-1) == 15 && norm_s(0) == 0 && norm_l(-1) == 31 && norm_l(0) == 0 &&
              norm_l(1) == 30);
static_assert(shl(1, 15) == MAX_16 && shl(-1, 15) == MIN_16 && shl(-1, 40) == MIN_16 &&
              shr(-1, 40) == -1 && L_shl(-1, 32) == MIN_32);
static_assert(ownPow2(14, 0) == 16384);

TEST(Rules, RoundingAgreesWithExactArithmetic) {
    for (Qol64s x = -300; x <= 300; ++x) {
        for (int s = 1; s < 12; ++s) {
            const Qol64s even = (x + (Qol64s{1} << (s - 1)) - 1 + ((x >> s) & 1)) >> s;
            EXPECT_EQ(scaleEven<Qol32s>(x, s), even) << x << " >> " << s;
            EXPECT_EQ(roundShift(x, s), (x + (Qol64s{1} << (s - 1))) >> s) << x << " >> " << s;
        }
    }
}
