// SPDX-License-Identifier: Apache-2.0
// Data of the codebook searches' tests.
#pragma once

#include "kit/data.h"
#include "numeric/basop.h"

#include <array>
#include <cmath>

namespace qolsc::test {

/// A decaying response as of a weighted synthesis filter.
inline std::vector<Qol16s> response(Random& r) {
    std::vector<Qol16s> h(40);
    const double decay = uniformReal(r, 0.5, 0.97), turn = uniformReal(r, 0.1, 3);
    for (int i = 0; i < 40; ++i) {
        h[i] = static_cast<Qol16s>(4096 * std::pow(decay, i) * std::cos(turn * i));
    }
    return h;
}

inline std::vector<Qol16s> correlation(Random& r, int kind) {
    return kind == 0 ? noise16(r, 40, 8000) : kind == 1 ? noise16(r, 40) : extremes16(r, 40);
}

struct Signs {
    std::array<Qol16s, 40> d, p;
};
inline Signs signsOf(const std::vector<Qol16s>& corr) {
    Signs s;
    for (int i = 0; i < 40; ++i) {
        s.d[i] = basop::abs_s(corr[i]);
        s.p[i] = corr[i] >= 0 ? basop::MAX_16 : basop::MIN_16;
    }
    return s;
}

} // namespace qolsc::test
