// SPDX-License-Identifier: Apache-2.0
// Discontinuous transmission of the AMR-WB encoder (3GPP TS 26.192 5, TS 26.193 5).
#include "codecs/amrwb/encoder.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

constexpr Qol16s kHangover = 7;
constexpr int kAnalysisPeriod = 30;

/// Distances between the frames of the history by age; the newest enters, the others grow older.
void updateDistances(EncoderNoise& n) {
    for (int i = 7; i > 0; --i) {
        std::copy_n(n.distances[i - 1], 7, n.distances[i] + 1);
    }
    n.distances[0][0] = 0;
    for (int age = 1; age < 8; ++age) {
        const Qol16s* newest = n.isfs[n.index];
        const Qol16s* other = n.isfs[(n.index - age) & 7];
        Qol32s sum = 0;
        for (int i = 0; i < kOrder; ++i) {
            const Qol16s d = sub(newest[i], other[i]);
            sum = L_mac(sum, d, d);
        }
        n.distances[0][age] = n.distances[age][0] = sum;
    }
}

/// Ages of the two frames that lie farthest from the others, and of the one that lies nearest.
struct Outliers {
    int first = 0, second = -1, middle = 0;
};
Outliers findOutliers(const Qol32s* sums) {
    Outliers o;
    for (int i = 1; i < 8; ++i) {
        o.first = sums[i] > sums[o.first] ? i : o.first;
        o.middle = sums[i] < sums[o.middle] ? i : o.middle;
    }
    for (int i = 0; i < 8; ++i) {
        if (i != o.first && (o.second < 0 || sums[i] > sums[o.second])) {
            o.second = i;
        }
    }
    return o;
}

/// Mean of the eight ISF sets, up to two outliers replaced by the middle one.
void averageIsfs(const EncoderNoise& n, const Qol32s* sums, Qol16s* isf) {
    const Outliers o = findOutliers(sums);
    const int shift = norm_l(sums[o.first]);
    const Qol32s middle = L_shl(sums[o.middle], shift);
    const auto isFar = [&](int age) {
        return L_mult(round_fx(L_shl(sums[age], shift)), 14564) > middle;
    };
    const bool farFirst = isFar(o.first), farSecond = isFar(o.second);
    for (int i = 0; i < kOrder; ++i) {
        Qol32s sum = 0;
        for (int age = 0; age < 8; ++age) {
            const bool replaced = (age == o.first && farFirst) || (age == o.second && farSecond);
            sum += n.isfs[(n.index - (replaced ? o.middle : age)) & 7][i];
        }
        isf[i] = extract_l(sum >> 3);
    }
}

/// Whether the noise changes so much that the decoder shall dither.
bool needsDither(const EncoderNoise& n, const Qol32s* sums, Qol16s energySum) {
    Qol32s spread = 0;
    for (int i = 0; i < 8; ++i) {
        spread = L_add(spread, sums[i]);
    }
    if (spread >> 26 > 0) {
        return true;
    }
    const auto mean = static_cast<Qol16s>(energySum >> 3);
    Qol16s deviation = 0;
    for (const Qol16s energy : n.logEnergies) {
        deviation = add(deviation, abs_s(sub(energy, mean)));
    }
    return deviation > 180;
}

} // namespace

bool isNoiseFrame(EncoderNoise& n, bool active) {
    n.elapsed = add(n.elapsed, 1);
    if (active) {
        n.hang = kHangover;
        return false;
    }
    if (n.hang == 0) {
        n.elapsed = 0;
        return true;
    }
    --n.hang;
    return add(n.elapsed, n.hang) < kAnalysisPeriod;
}

void codeNoise(EncoderNoise& n, Frame& frame, Qol16s* isf, Qol16s* exc) {
    updateDistances(n);
    Qol32s sums[8] = {};
    for (int age = 0; age < 8; ++age) {
        for (const Qol32s d : n.distances[age]) {
            sums[age] = L_add(sums[age], d);
        }
    }
    Qol16s mean[kOrder], indices[5], energySum = 0;
    averageIsfs(n, sums, mean);
    for (const Qol16s energy : n.logEnergies) {
        energySum = add(energySum, energy);
    }
    const Qol16s level = mult(add(static_cast<Qol16s>(energySum >> 2), 512), 21504);
    const auto energyIndex = static_cast<Qol16s>(std::clamp(level >> 6, 0, 63));
    qolsISFQuantDTX_AMRWB_16s(mean, isf, indices);
    for (int i = 0; i < 5; ++i) {
        putBits(frame, static_cast<Qol16u>(indices[i]), kIsfBitsNoise[i]);
    }
    putBits(frame, static_cast<Qol16u>(energyIndex), 6);
    putBits(frame, needsDither(n, sums, energySum) ? 1 : 0, 1);

    const Qol16s log2 = mult(static_cast<Qol16s>(energyIndex << 9), 12483);
    comfortNoise(
        ownPow2(static_cast<Qol16s>((log2 >> 10) + 15), static_cast<Qol16s>((log2 & 1023) << 5)),
        n.seed, exc);
}

} // namespace qolsc::tools::amrwb
