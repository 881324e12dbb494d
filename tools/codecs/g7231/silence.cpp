// SPDX-License-Identifier: Apache-2.0
// Activity and noise of G.723.1's encoder (ITU-T G.723.1 A.2, A.4).
#include "codecs/g7231/silence.h"

#include "qolsc/common.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::g7231 {

using namespace basop;

namespace {

/// Counts speech and the hangover behind it; true while the frame counts as speech.
bool hangOver(Detector& d, bool loud) {
    if (loud) {
        ++d.speech;
        ++d.hangover;
    } else {
        d.speech = std::max(d.speech - 1, 0);
    }
    if (d.speech >= 2) {
        d.hangover = 6;
        d.speech = std::min(d.speech, 3);
    }
    const bool active = d.hangover != 0;
    if (active && d.speech == 0) {
        --d.hangover;
    }
    return active;
}

/// Sum of sets on one scale, brought to 16 bits; returns the shift.
int sumSets(const Qol16s (*sets)[kOrder + 1], const Qol16s* shifts, int count, Qol16s* out) {
    const int least = *std::min_element(shifts, shifts + count) + 14;
    Qol32s sums[kOrder + 1] = {};
    for (int k = 0; k < count; ++k) {
        for (int i = 0; i <= kOrder; ++i) {
            sums[i] = L_add(sums[i], L_shl(sets[k][i], least - shifts[k]));
        }
    }
    const int t = std::max(0, 16 - norm_l(sums[0]));
    for (int i = 0; i <= kOrder; ++i) {
        out[i] = extract_l(sums[i] >> t);
    }
    return least - t;
}

void keepFilter(NoiseHistory& noise, const Vector10& a) {
    noise.filter = a;
    const Qol32s energy = L_add(dotDoubled(a.data(), a.data(), kOrder) >> 1, 0x04000000);
    const int shift = norm_l(energy) - 2;
    noise.filterShift = shift;
    noise.filterCorrelation[0] = round_fx(L_shl(energy, shift));
    for (int i = 1; i <= kOrder; ++i) {
        Qol32s sum = L_msu(0, 0x2000, a[static_cast<std::size_t>(i - 1)]);
        sum = dotDoubled(a.data(), a.data() + i, kOrder - i, sum);
        noise.filterCorrelation[i] = round_fx(L_shl(sum, shift));
    }
}

bool filterDiffers(const NoiseHistory& noise, Qol16s energy) {
    Qol32s sum = 0;
    for (int i = 0; i <= kOrder; ++i) {
        sum = L_mac(sum, noise.filterCorrelation[i], static_cast<Qol16s>(noise.sets[0][i] >> 2));
    }
    const Qol32s bound = L_add(mult_r(energy, 7000), energy);
    return sum > L_shl(bound, noise.filterShift + 9);
}

/// Decides what an inactive frame sends; G.723.1 A.4.
void describeNoise(NoiseHistory& noise, bool steady, const Vector10& previousLsp, Fields& f) {
    const Solution current = solve(noise.sets[0]);
    noise.energies[2] = noise.energies[1];
    noise.energies[1] = noise.energies[0];
    noise.energies[0] = current.error;
    noise.count = noise.active ? 1 : std::min(noise.count + 1, 3);
    const int index = quantiseNoiseGain(meanEnergy(noise.energies, noise.shifts, noise.count));
    const bool send =
        noise.active || filterDiffers(noise, current.error) || std::abs(index - noise.sent) > 3;
    f.kind = send ? Kind::silence : Kind::untransmitted;
    if (!send) {
        return;
    }
    Qol16s sum[kOrder + 1];
    sumSets(noise.sets + 1, noise.shifts + 1, 3, sum);
    const Vector10 mean = solve(sum).predictor;
    if (steady) {
        noise.predictor = mean;
    }
    keepFilter(noise, mean);
    if (filterDiffers(noise, current.error)) {
        keepFilter(noise, current.predictor);
    }
    f.lsp = quantiseLsp(predictorToLsp(noise.filter, previousLsp), previousLsp);
    noise.lsp = decodeLsp(f.lsp, previousLsp, false);
    f.noiseGain = noise.sent = index;
    noise.level = decodeNoiseGain(index);
}

} // namespace

bool detectActivity(Detector& d, const Vector10& predictor, bool sine, const Qol16s* x) {
    const int least = *std::min_element(d.lags, d.lags + 4);
    int near = 0;
    for (const int p : d.lags) {
        for (int j = 1; j <= 8; ++j) {
            if (std::abs(j * least - p) <= 3) {
                ++near;
                break;
            }
        }
    }
    d.adaptation = std::clamp(d.adaptation + (near == 4 || sine ? 2 : -1), 0, 6);
    Qol32s energy = 0;
    for (int n = kSubframe; n < kFrame; ++n) {
        Qol32s sum = L_mult(x[n], 0x2000);
        for (int j = 0; j < kOrder; ++j) {
            sum = L_msu(sum, x[n - 1 - j], predictor[static_cast<std::size_t>(j)]);
        }
        const Qol16s r = round_fx(sum);
        energy = L_mac(energy, r, r);
    }
    energy = L_mls(energy, 2913);
    if (d.level > d.energy) {
        d.level = d.energy - (d.energy >> 2) + (d.level >> 2);
    }
    d.level += d.adaptation == 0 ? d.level >> 5 : -(d.level >> 11);
    d.energy = energy;
    d.level = std::clamp(d.level, 0x80, 0x1FFFF);
    constexpr Qol16s kFactors[] = {9170,  9170,  9170,  9170,  10289, 11544,
                                   12953, 14533, 16306, 18296, 20529};
    const int b = norm_l(L_shl(d.level, 13));
    const Qol16s u = extract_h((L_shl(L_shl(d.level, 13), b) & 0x3F000000) << 1);
    const Qol16s g = extract_h(
        L_msu(L_mac(L_deposit_h(kFactors[b]), u, kFactors[std::max(b - 1, 0)]), u, kFactors[b]));
    const Qol32s threshold = L_mult(static_cast<Qol16s>(d.level >> 2), g) >> 11;
    return hangOver(d, threshold <= energy);
}

void keepCorrelations(NoiseHistory& noise, const Correlation* subframes) {
    Qol16s sets[kSubframes][kOrder + 1], shifts[kSubframes];
    for (int k = 0; k < kSubframes; ++k) {
        std::copy_n(subframes[k].r, kOrder + 1, sets[k]);
        shifts[k] = static_cast<Qol16s>(subframes[k].shift);
    }
    for (int k = 3; k > 0; --k) {
        std::copy_n(noise.sets[k - 1], kOrder + 1, noise.sets[k]);
        noise.shifts[k] = noise.shifts[k - 1];
    }
    noise.shifts[0] = static_cast<Qol16s>(sumSets(sets, shifts, kSubframes, noise.sets[0]));
}

void encodeNoise(NoiseHistory& noise, bool steady, const Vector10& previousLsp, Qol16s* past,
                 Fields& f, Qol16s* excitation) {
    describeNoise(noise, steady, previousLsp, f);
    noise.gain = noise.active ? noise.level
                              : extract_h(L_mac(L_mult(noise.gain, 0x7000), noise.level, 0x1000));
    noiseExcitation(noise.gain, noise.seed, past, f, excitation);
}

} // namespace qolsc::tools::g7231
