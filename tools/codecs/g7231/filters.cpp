// SPDX-License-Identifier: Apache-2.0
// Short-term filters of the G.723.1 decoder (ITU-T G.723.1 3.7, 3.8).
#include "codecs/g7231/filters.h"

#include "qolsc/common.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::g7231 {

using namespace basop;

namespace {

/// Whether start + sum of 2 c[i] x[i] stays within 32 bits at every step, with |start| at most
/// `first` and any x of the line.
bool cannotSaturate(const Vector10& c, const Qol16s* line, Qol32s first) {
    Qol64s sum = 0;
    for (const Qol16s v : c) {
        sum += std::abs(Qol32s{v});
    }
    Qol32s most = 0;
    for (int i = 0; i < kLine; ++i) {
        most = std::max(most, std::abs(Qol32s{line[i]}));
    }
    return 2 * sum * most + first <= INT32_MAX;
}

} // namespace

void synthesisPlain(const Vector10& a, const Qol16s* x, Qol16s* line) {
    for (int n = 0; n < kSubframe; ++n) {
        Qol32s sum = x[n] * (1 << 13);
        for (int j = 0; j < kOrder; ++j) {
            sum = L_mac(sum, a[static_cast<std::size_t>(j)], line[kOrder + n - 1 - j]);
        }
        line[kOrder + n] = round_fx(L_shl(sum, 2));
    }
}

/// The library's filter is the same where no sum saturates; up to the first that would, the samples
/// are right, so that the bound on all of them tells.
void synthesis(const Vector10& a, const Qol16s* x, Qol16s* line) {
    Qol16s lpc[kOrder + 1] = {4096}; // 2^13 x in the doubled sums
    std::transform(a.begin(), a.end(), lpc + 1, negate);
    qolsSynthesisFilter_NR_16s_Sfs(lpc, x, line + kOrder, kSubframe, 13, line);
    if (!cannotSaturate(a, line, 1 << 28) || *std::min_element(a.begin(), a.end()) == -32768) {
        synthesisPlain(a, x, line);
    }
}

void allZeroPlain(const Vector10& zero, const Qol16s* line, Qol32s* w) {
    const Qol16s* x = line + kOrder;
    for (int n = 0; n < kSubframe; ++n) {
        w[n] = x[n] * (1 << 14);
        for (int j = 0; j < kOrder; ++j) {
            w[n] = L_msu(w[n], zero[static_cast<std::size_t>(j)], x[n - 1 - j]);
        }
    }
}

void allZero(const Vector10& zero, const Qol16s* line, Qol32s* w) {
    if (!cannotSaturate(zero, line, 1 << 29)) {
        allZeroPlain(zero, line, w);
        return;
    }
    const Qol16s* x = line + kOrder;
    for (int n = 0; n < kSubframe; ++n) {
        w[n] = x[n] * (1 << 14);
    }
    for (int j = 0; j < kOrder; ++j) {
        const Qol16s c = zero[static_cast<std::size_t>(j)];
        for (int n = 0; n < kSubframe; ++n) {
            w[n] -= 2 * (c * x[n - 1 - j]);
        }
    }
}

} // namespace qolsc::tools::g7231
