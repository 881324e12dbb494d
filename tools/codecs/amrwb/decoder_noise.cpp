// SPDX-License-Identifier: Apache-2.0
// Comfort noise of the AMR-WB decoder (3GPP TS 26.192 6).
#include "codecs/amrwb/decoder.h"

#include <algorithm>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

/// 1 / frames, Q15; frames up to 32.
Qol16s inverseOf(int frames) {
    return frames < 2 ? Qol16s{16384} : div_s(1024, shl(static_cast<Qol16s>(frames), 10));
}

/// Mean of the eight frames before the pause, the newest counted twice.
void averageHistory(Noise& n) {
    const int next = (n.index + 1) & 7;
    std::copy_n(n.isfs[n.index], kOrder, n.isfs[next]);
    n.logEnergies[next] = n.logEnergies[n.index];
    Qol16s energy = 0;
    Qol32s sums[kOrder] = {};
    for (int row = 0; row < 8; ++row) {
        energy = add(energy, n.logEnergies[row]);
        for (int i = 0; i < kOrder; ++i) {
            sums[i] += n.isfs[row][i];
        }
    }
    n.logEnergy = std::max<Qol16s>(add(static_cast<Qol16s>(energy >> 1), 1024), 0);
    for (int i = 0; i < kOrder; ++i) {
        n.isf[i] = extract_l(sums[i] >> 3);
    }
}

void readUpdate(Noise& n, const Frame& frame) {
    const int frames = std::min<int>(32, n.clock.since);
    n.inverse = inverseOf(frames);
    BitReader reader{frame};
    Qol16s indices[5];
    for (int i = 0; i < 5; ++i) {
        indices[i] = static_cast<Qol16s>(take(reader, kIsfBitsNoise[i]));
    }
    qolsISFQuantDecodeDTX_AMRWB_16s(indices, n.isf);
    n.logEnergy = mult(static_cast<Qol16s>(take(reader, 6) << 9), 12483);
    n.ditherOn = take(reader, 1) != 0;
    if (!n.clock.anyData || n.clock.state == NoiseState::speech) {
        std::copy_n(n.isf, kOrder, n.isfOld);
        n.logEnergyOld = n.logEnergy;
    }
}

Qol16s ditherValue(Qol16s& seed) {
    const int first = randomValue(seed) >> 1;
    return saturate16(first + (randomValue(seed) >> 1));
}

void dither(Noise& n, Qol16s* isf, Qol32s& energy) {
    energy = std::max(L_add(energy, L_mult(ditherValue(n.ditherSeed), 75)), 0);
    isf[0] = std::max<Qol16s>(add(isf[0], mult_r(ditherValue(n.ditherSeed), 256)), 128);
    for (int i = 1; i < kOrder - 1; ++i) {
        const auto factor = static_cast<Qol16s>(256 + 2 * i);
        isf[i] =
            std::max(add(isf[i], mult_r(ditherValue(n.ditherSeed), factor)), add(isf[i - 1], 448));
    }
    isf[kOrder - 2] = std::min<Qol16s>(isf[kOrder - 2], 16384);
}

} // namespace

void makeNoise(Noise& n, const NoiseStep& step, FrameType type, const Frame& frame, Qol16s* isf,
               Qol16s* exc) {
    const bool sid = isSid(type), valid = type == FrameType::sidUpdate;
    if (sid && step.analysed) {
        averageHistory(n);
    }
    if (sid) {
        std::copy_n(n.isf, kOrder, n.isfOld);
        n.logEnergyOld = n.logEnergy;
    }
    if (valid) {
        readUpdate(n, frame);
        n.clock.since = 0;
    }
    const auto share =
        static_cast<Qol16s>(std::min<int>(1024, mult(shl(n.clock.since, 10), n.inverse)) * 16);
    const auto rest = static_cast<Qol16s>(16384 - share);
    Qol32s energy = L_mac(L_mult(share, n.logEnergy), rest, n.logEnergyOld);
    for (int i = 0; i < kOrder; ++i) {
        isf[i] = shl(add(mult(share, n.isf[i]), mult(rest, n.isfOld[i])), 1);
    }
    if (n.ditherOn) {
        dither(n, isf, energy);
    }
    energy >>= 9;
    comfortNoise(ownPow2(static_cast<Qol16s>(extract_h(energy) + 15),
                         static_cast<Qol16s>((energy & 0xFFFF) >> 1)),
                 n.seed, exc);
    if (step.next == NoiseState::muted) {
        const int frames = n.clock.since > 0 ? std::min<int>(32, n.clock.since) : 8;
        n.inverse = div_s(1024, shl(static_cast<Qol16s>(frames), 10));
        n.clock.since = 0;
        n.logEnergyOld = n.logEnergy;
        n.logEnergy = sub(n.logEnergy, 64);
    }
    if (sid && (valid || step.analysed)) {
        n.clock.since = 0;
        n.clock.anyData = true;
    }
}

} // namespace qolsc::tools::amrwb
