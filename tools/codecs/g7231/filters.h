// SPDX-License-Identifier: Apache-2.0
// Short-term filters of the G.723.1 decoder on a subframe that lies behind its ten past samples.
// The definitions saturate at each step; the others take plain sums where a bound on samples and
// coefficients rules that out, else the definition.
#pragma once

#include "codecs/g7231/frame.h"

namespace qolsc::tools::g7231 {

inline constexpr int kLine = kOrder + kSubframe;

/// line[kOrder + n] = round(4 (2^13 x[n] + sum of 2 a[j] line[kOrder + n - 1 - j])). G.723.1 3.7.
void synthesis(const Vector10& a, const Qol16s* x, Qol16s* line);
void synthesisPlain(const Vector10& a, const Qol16s* x, Qol16s* line);

/// w[n] = 2^14 line[kOrder + n] - sum of 2 zero[j] line[kOrder + n - 1 - j]. G.723.1 3.8.
void allZero(const Vector10& zero, const Qol16s* line, Qol32s* w);
void allZeroPlain(const Vector10& zero, const Qol16s* line, Qol32s* w);

} // namespace qolsc::tools::g7231
