// SPDX-License-Identifier: Apache-2.0
// Trellis-coded quantisation of a vector (ITU-T G.728 Annex J, structure only: the roles of the
// arguments are this library's, see the header).
#include "g728/trellis.h"

#include "entry/checks.h"
#include "entry/entries.h"

#include <limits>

namespace qolsc {

namespace g728 {

Qol16s scaledLevel(int level, Qol64s mantissa, Qol64s shift) {
    const Qol64s p = trellisLevel(level) * Qol64s{saturate16(mantissa)};
    if (shift < 0) {
        return shiftLeftSaturate<Qol16s>(p,
                                         static_cast<int>(std::min<Qol64s>(-(shift + 1), 62)) + 1);
    }
    return saturate16(roundShift(p, static_cast<int>(std::min<Qol64s>(shift, 63))));
}

namespace {

constexpr Qol32s kWorstMetric = std::numeric_limits<Qol32s>::max();

/// Memory of a path: its last five values, newest first. What it has chosen in this vector.
struct Path {
    Qol16s memory[kVector];
    Qol8u codes[kVector];
    Qol16s values[kVector];
    Qol32s metric;
};

/// The taps' prediction from a path's memory, Q14 taps.
Qol16s predict(const Path& path, const Qol16s* taps) {
    Qol64s sum = 0;
    for (int i = 0; i < kVector; ++i) {
        sum += Qol32s{taps[i]} * path.memory[i];
    }
    // The same upper half as adding 0x3FFFC000 + 0x4000 bias would give: two bits up, rounded.
    return roundHigh(sum * 4);
}

struct Choice {
    Qol8u code;
    Qol16s level;
    Qol32s metric;
};

/// Nearest level of the branch's subset to the wanted value, the lower one of equals.
Choice nearest(int state, int branch, Qol16s wanted, Qol32s metric, const Qol16s* levels) {
    const int subset = trellisSubset(state, branch);
    Qol64s best = std::numeric_limits<Qol64s>::max();
    int number = 0;
    for (int i = 0; i < kLevels / kSubsets; ++i) {
        const Qol64s d = Qol64s{wanted} - levels[kSubsets * i + subset];
        if (d * d < best) {
            best = d * d;
            number = i;
        }
    }
    return {static_cast<Qol8u>(branch << 4 | number), levels[kSubsets * number + subset],
            saturate32(metric + (best >> 8))};
}

void extend(Path& path, const Choice& choice, Qol16s prediction, int sample) {
    const Qol16s value = saturate16(Qol32s{prediction} + choice.level);
    std::copy_backward(path.memory, path.memory + kVector - 1, path.memory + kVector);
    path.memory[0] = value;
    path.codes[sample] = choice.code;
    path.values[sample] = value;
    path.metric = choice.metric;
}

/// One sample: of the two branches into each state the smaller metric survives, that of the lower
/// state on equality.
void step(Path* paths, Qol16s target, const Qol16s* taps, const Qol16s* levels, int sample) {
    Path next[kStates];
    bool taken[kStates] = {};
    for (int state = 0; state < kStates; ++state) {
        const Path& from = paths[state];
        const Qol16s prediction = predict(from, taps);
        const Qol16s wanted = saturate16(Qol32s{target} - prediction);
        for (int branch = 0; branch < 2; ++branch) {
            const Choice choice = nearest(state, branch, wanted, from.metric, levels);
            const int to = trellisNext(state, branch);
            if (!taken[to] || choice.metric < next[to].metric) {
                next[to] = from;
                extend(next[to], choice, prediction, sample);
                taken[to] = true;
            }
        }
    }
    std::copy(next, next + kStates, paths);
}

/// Keeps the metrics small: less the least one as soon as one falls below 1 or comes near the end
/// of the word.
void renormalise(Path* paths) {
    Qol32s least = kWorstMetric, greatest = std::numeric_limits<Qol32s>::min();
    for (int s = 0; s < kStates; ++s) {
        least = std::min(least, paths[s].metric);
        greatest = std::max(greatest, paths[s].metric);
    }
    if (least < 1 || greatest > kWorstMetric / 2) {
        for (int s = 0; s < kStates; ++s) {
            paths[s].metric = saturate32(Qol64s{paths[s].metric} - least);
        }
    }
}

} // namespace

} // namespace g728

QolStatus qolsCodebookSearchTCQ_G728_16s8u(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pSrc3,
                                           Qol8u* pDst1, Qol16s* pDst2, Qol32s* pState, Qol64s val1,
                                           Qol64s val2) noexcept {
    if (anyNull(pSrc1, pSrc2) || anyNull(pSrc3) || anyNull(pDst1) || anyNull(pDst2) ||
        anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    using namespace g728;
    Qol16s levels[kLevels];
    for (int i = 0; i < kLevels; ++i) {
        levels[i] = scaledLevel(i, val1, val2);
    }
    Path paths[kStates] = {};
    for (int s = 0; s < kStates; ++s) {
        std::copy_n(pSrc3 + kVector * s, kVector, paths[s].memory);
        paths[s].metric = pState[s];
    }
    for (int i = 0; i < kVector; ++i) {
        step(paths, pSrc1[i], pSrc2, levels, i);
        renormalise(paths);
    }
    int best = 0;
    for (int s = 0; s < kStates; ++s) {
        best = paths[s].metric < paths[best].metric ? s : best;
        std::copy_n(paths[s].memory, kVector, pSrc3 + kVector * s);
        pState[s] = paths[s].metric;
    }
    std::copy_n(paths[best].codes, kVector, pDst1);
    std::copy_n(paths[best].values, kVector, pDst2);
    return qolStsNoErr;
}

} // namespace qolsc
