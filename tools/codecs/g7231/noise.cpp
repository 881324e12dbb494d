// SPDX-License-Identifier: Apache-2.0
// Comfort noise of G.723.1 Annex A.
#include "codecs/g7231/noise.h"

#include "codecs/g7231/tables.h"

#include <algorithm>

namespace qolsc::tools::g7231 {

using namespace basop;

Solution solve(const Qol16s* r) {
    Solution s{{}, r[0], 0};
    Vector10& a = s.predictor;
    for (std::size_t i = 0; i < kOrder; ++i) {
        Qol32s acc = L_shl(Qol32s{r[i + 1]}, 14);
        for (std::size_t j = 0; j < i; ++j) {
            acc = L_msu(acc, a[j], r[i - j]);
        }
        acc = L_shl(acc, 2);
        if (L_abs(acc) >= L_deposit_h(s.error)) {
            s.second = 32767;
            break;
        }
        Qol16s k = div_l(L_abs(acc), s.error);
        k = acc >= 0 ? negate(k) : k;
        s.second = i == 1 ? k : s.second;
        const Vector10 old = a;
        a[i] = round_fx(L_deposit_h(negate(k)) >> 2);
        s.error = round_fx(L_add(L_mls(acc, k), L_deposit_h(s.error)));
        for (std::size_t j = 0; j < i; ++j) {
            a[j] = round_fx(L_mac(L_deposit_h(old[j]), k, old[i - 1 - j]));
        }
    }
    return s;
}

namespace {

constexpr int kLastIndex = 63;

Qol32s levelSquare(int segment, int j) {
    const Qol32s v = tables::kSidGainBases[segment] + (j << (segment + 1));
    return 2 * v * v;
}

Qol16s draw(Qol16s& seed, Qol16s n) {
    return mult(static_cast<Qol16s>(nextRandom(seed) & 0x7FFF), n);
}

} // namespace

int quantiseNoiseGain(Qol32s x) {
    if (x >= tables::kSidGainBounds[2]) {
        return kLastIndex;
    }
    const int segment = x >= tables::kSidGainBounds[1] ? 2 : x >= tables::kSidGainBounds[0] ? 1 : 0;
    const int steps = segment == 2 ? 4 : 3;
    int j = 1 << steps;
    for (int i = 0, k = j / 2; i < steps; ++i, k >>= 1) {
        j += x >= levelSquare(segment, j) ? k : -k;
    }
    const Qol32s y = levelSquare(segment, j) - x;
    if (y <= 0) {
        return 16 * segment + (y > x - levelSquare(segment, j + 1) ? j : j + 1);
    }
    return 16 * segment + (y < x - levelSquare(segment, j - 1) ? j : j - 1);
}

Qol16s decodeNoiseGain(int index) {
    const int segment = std::min(index >> 4, 2);
    return static_cast<Qol16s>(
        (((index - 16 * segment) << (segment + 1)) + tables::kSidGainBases[segment]) << 5);
}

Qol32s meanEnergy(const Qol16s* energies, const Qol16s* shifts, int count) {
    const Qol16s least = *std::min_element(shifts, shifts + count);
    Qol32s sum = 0;
    for (int i = 0; i < count; ++i) {
        sum += mult_r(tables::kSidGainFactors[count], shr(energies[i], shifts[i] - least));
    }
    return L_shl(sum, 15 - least);
}

namespace {

constexpr int kPulsesHalf = 11, kHalf = 2 * kSubframe;

struct HalfPulses {
    int position[kPulsesHalf];
    Qol16s sign[kPulsesHalf];
};

void drawPulses(Qol16s& seed, HalfPulses (&halves)[2]) {
    int grids[kSubframes];
    for (int h = 0; h < 2; ++h) {
        int t = draw(seed, 8192);
        grids[2 * h] = t & 1;
        t >>= 1;
        grids[2 * h + 1] = kSubframe + (t & 1);
        for (Qol16s& sign : halves[h].sign) {
            sign = static_cast<Qol16s>(((t & 2) - 1) * 16384);
            t >>= 1;
        }
    }
    for (int k = 0; k < kSubframes; ++k) {
        int list[30], left = 30;
        for (int i = 0; i < 30; ++i) {
            list[i] = i;
        }
        int* position = halves[k / 2].position + (k % 2 == 0 ? 0 : 6);
        for (int i = 0; i < tables::PulsesPerSbfr[k]; ++i) {
            const int j = draw(seed, static_cast<Qol16s>(left));
            *position++ = 2 * list[j] + grids[k];
            list[j] = list[--left];
        }
    }
}

/// Height of the pulses that brings the half frame to the gain.
Qol16s pulseHeight(const Qol16s* x, const HalfPulses& pulses, Qol16s gain) {
    Qol16s most = 0;
    for (int n = 0; n < kHalf; ++n) {
        most = std::max(most, abs_s(x[n]));
    }
    const int s = most == 0 ? 0 : std::max(-2, 4 - norm_s(most));
    Qol16s y[kHalf];
    for (int n = 0; n < kHalf; ++n) {
        y[n] = shr(x[n], s);
    }
    const Qol32s energy = dotDoubled(y, y, kHalf);
    Qol32s sum = 0;
    for (int i = 0; i < kPulsesHalf; ++i) {
        sum = L_mac(sum, y[pulses.position[i]], pulses.sign[i]);
    }
    const Qol16s inner = extract_h(L_shl(sum, 1));
    constexpr Qol16s kShare = 2979; // 1/11 in Q15
    const Qol16s w = extract_l(L_mult(gain, kSubframe) >> 6);
    const Qol32s c = L_mls(L_sub(energy, L_shr(L_mult(w, gain), 2 * s + 4)), kShare);
    const Qol16s b = mult_r(inner, kShare);
    const Qol32s d = L_negate(L_sub(c, L_mult(b, b)));
    Qol16s z = negate(b);
    if (d > 0) {
        const Qol16s root = rootOf(d);
        const Qol16s other = add(b, root);
        z = sub(root, b);
        z = abs_s(other) < abs_s(z) ? negate(other) : z;
    }
    return std::clamp<Qol16s>(shl(z, s + 1), -10000, 10000);
}

} // namespace

void noiseExcitation(Qol16s gain, Qol16s& seed, Qol16s* past, Fields& f, Qol16s* excitation) {
    const int lags[2] = {draw(seed, 21) + 123, draw(seed, 19) + 123};
    constexpr int kOffsets[kSubframes] = {1, 0, 1, 3};
    for (std::size_t k = 0; k < kSubframes; ++k) {
        f.sub[k].lag = lags[k / 2];
        f.sub[k].gain = draw(seed, 50) + 1;
        f.sub[k].offset = kOffsets[k];
    }
    HalfPulses halves[2];
    drawPulses(seed, halves);
    for (int h = 0; h < 2; ++h) {
        Qol16s* x = excitation + kHalf * h;
        Qol16s history[kPast];
        std::copy_n(past, kPast, history);
        for (int k = 0; k < 2; ++k) {
            const Subframe& s = f.sub[static_cast<std::size_t>(2 * h + k)];
            qolsDecodeAdaptiveVector_G723_16s(
                static_cast<Qol16s>(s.lag), static_cast<Qol16s>(s.offset),
                static_cast<Qol16s>(s.gain), history, x + kSubframe * k, 2);
            pushHistory(history, x + kSubframe * k, kSubframe);
        }
        const Qol16s z = pulseHeight(x, halves[h], gain);
        for (int i = 0; i < kPulsesHalf; ++i) {
            Qol16s& target = x[halves[h].position[i]];
            target = add(target, mult(z, halves[h].sign[i]));
        }
        pushHistory(past, x, kHalf);
    }
}

} // namespace qolsc::tools::g7231
