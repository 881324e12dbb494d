// SPDX-License-Identifier: Apache-2.0
// Background noise in the AMR decoder: where it is known, lost frames of the three lowest rates are
// concealed more softly (3GPP TS 26.091 6.2, source-controlled concealment of TS 26.073).
#include "codecs/amr/decoder.h"

#include <algorithm>

namespace qolsc::tools::amr {

using namespace basop;

namespace {

// Energies of a frame, a 2^14th of the sum of squares.
constexpr Qol16s kLeastNoise = 20, kMostNoise = 1953, kMostFrame = 17578;
constexpr Qol16s kLongestNoise = 30, kLongestUnvoiced = 10;

template <int Count>
Qol16s medianOf(const Qol16s* x) {
    std::array<Qol16s, Count> v;
    std::copy_n(x, Count, v.begin());
    std::sort(v.begin(), v.end());
    return v[Count / 2];
}

/// Counts the frames without strong long-term prediction; what counts as strong rises in noise.
void stepVoicing(Background& b) {
    const Qol16s limit = b.frames > 15 ? 16383 : b.frames > 8 ? 15565 : 13926; // Q14
    const bool voiced =
        b.frames > 20 ? medianOf<9>(b.pitchGains) > limit : medianOf<5>(b.pitchGains + 4) > limit;
    b.unvoiced = voiced ? Qol16s{0} : std::min<Qol16s>(add(b.unvoiced, 1), kLongestUnvoiced);
}

} // namespace

void stepBackground(Background& b, const Qol16s* synthesis) {
    const Qol16s energy = extract_h(L_shl(macSum(0, synthesis, synthesis, kFrame), 2));
    const Qol16s *first = b.energies, *last = b.energies + 60;
    const Qol16s floor = shl(*std::min_element(first, last), 4);
    const Qol16s most = *std::max_element(first, last - 4),
                 mostOfLate = *std::max_element(first + 40, last);
    const bool fits = most > kLeastNoise && energy > kLeastNoise && energy < kMostFrame &&
                      (energy < floor || mostOfLate < kMostNoise);
    b.frames = fits ? std::min<Qol16s>(add(b.frames, 1), kLongestNoise) : Qol16s{0};
    b.isNoise = b.frames > 1;
    std::copy(b.energies + 1, b.energies + 60, b.energies);
    b.energies[59] = energy;
    stepVoicing(b);
}

Qol16s limitInNoise(Qol16s gain) {
    constexpr Qol16s kFrom = 12288, kMost = 14745; // 0.75, 0.9, Q14
    return gain > kFrom
               ? std::min<Qol16s>(add(static_cast<Qol16s>(sub(gain, kFrom) >> 1), kFrom), kMost)
               : gain;
}

Qol16s excitationLevel(const Qol16s* exc) {
    int shift = 0;
    const Qol32s root = squareRoot(macSum(0, exc, exc, kSubframe) >> 1, &shift);
    return extract_l(L_shr(L_shr(root, (shift >> 1) + 15), 2));
}

void raiseInNoise(const Decoder& d, Qol16s level, Qol16s* exc) {
    const Qol16s* past = d.excitationLevels;
    const Qol16s before = std::min(static_cast<Qol16s>(add(past[7], past[8]) >> 1), past[8]);
    Qol16s wanted = medianOf<9>(past);
    if (level >= wanted || level <= 5) {
        return;
    }
    Qol16s most = shl(before, 2);
    if (d.background.unvoiced < 7 || d.previousBad) {
        most = sub(most, before);
    }
    wanted = std::min(wanted, most);
    const int e = norm_s(level);
    const Qol32s factor = L_shr(L_mult(wanted, div_s(16383, shl(level, e))), 20 - e); // Q10
    const auto factor16 = static_cast<Qol16s>(std::min<Qol32s>(factor, MAX_16));
    for (int i = 0; i < kSubframe; ++i) {
        exc[i] = extract_l(L_mult(factor16, exc[i]) >> 11);
    }
}

} // namespace qolsc::tools::amr
