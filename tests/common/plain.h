// SPDX-License-Identifier: Apache-2.0
// The definitions, written as sums, that the fast paths are compared with.
#pragma once

#include "kit/data.h"
#include "numeric/rules.h"

#include <vector>

namespace qolsc::test {

using Words = std::vector<Qol16s>;

/// Exact sum of x[i] y[i + lag] over i below n.
inline Qol64s plainSum(const Qol16s* x, const Qol16s* y, int n, int lag) {
    Qol64s s = 0;
    for (int i = 0; i < n; ++i) {
        s += Qol32s{x[i]} * y[i + lag];
    }
    return s;
}

/// Exact sum of a[k] b[n - k] over k of 0 to n.
inline Qol64s plainConv(const Qol16s* a, const Qol16s* b, int n) {
    Qol64s s = 0;
    for (int k = 0; k <= n; ++k) {
        s += Qol32s{a[k]} * b[n - k];
    }
    return s;
}

/// Random, extreme, full-scale and quiet data in turn.
inline Words mixed16(Random& r, int count, int kind) {
    switch (kind % 4) {
    case 0:
        return noise16(r, count);
    case 1:
        return extremes16(r, count);
    case 2:
        return Words(static_cast<std::size_t>(count), static_cast<Qol16s>(-32768));
    default:
        return noise16(r, count, 500);
    }
}

} // namespace qolsc::test
