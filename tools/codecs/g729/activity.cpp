// SPDX-License-Identifier: Apache-2.0
// Voice activity decision of G.729 Annex B in fixed point.
#include "codecs/g729/activity.h"

#include "numeric/basop.h"
#include "numeric/helpers.h"
#include "qolsc/g729.h"

#include <algorithm>

namespace qolsc::tools::g729 {

namespace {

using namespace basop;

constexpr int kStart = 32;       // frames that the first means are taken from
constexpr int kSettled = 128;    // frames until the minimum is known
constexpr int kBlock = 8;        // frames
constexpr Qol16s kQuiet = 3072;  // 15 dB
constexpr Qol16s kStep = 614;    // 3 dB
constexpr int kMostExtended = 4; // frames
constexpr int kLongPause = 10;   // frames
constexpr Qol16s kFlat = 83;     // spectral distortion 0.0025
constexpr Qol16s kLogOffset = 4875;
constexpr Qol16s kPowerOfTen = 9864; // log10(2), Q15

/// Autocorrelation of the low band's filter (0 to 1 kHz), Q15.
constexpr Qol16s kLowBand[kAutoCorrLags] = {7869, 7011, 4838, 2299, 321, -660, -782,
                                            -484, -164, 3,    39,   21,  4};

/// Measures of a frame; but for the spectrum, that of the background is taken off for the bounds.
struct Measures {
    Qol16s energy, lowBand, spectrum, crossings;
};

/// Power of ten of an autocorrelation, Q11.
Qol16s logOf(Qol32s r, int exponent) {
    Qol16s integer, fraction;
    ownLog2(r, &integer, &fraction);
    const Qol32s bits = Mpy_32_16({integer, fraction}, kPowerOfTen);
    const Qol32s sum = L_mac(bits, kPowerOfTen, static_cast<Qol16s>(exponent - 2));
    return sub(extract_h(L_shl(sum, 11)), kLogOffset);
}

Measures measure(const Background& mean, const Analysis& a, const LpFrame& lp, const Qol16s* lsf) {
    Measures m{};
    m.energy = logOf(lp.autoCorr[0], lp.exponent);
    Qol32s low = 0;
    for (std::size_t i = 1; i < kAutoCorrLags; ++i) {
        low = L_mac(low, extract_h(lp.autoCorr[i]), kLowBand[i]);
    }
    low = L_mac(L_shl(low, 1), extract_h(lp.autoCorr[0]), kLowBand[0]);
    m.lowBand = logOf(low, lp.exponent);
    Qol32s distortion = 0;
    for (std::size_t i = 0; i < kOrder; ++i) {
        const Qol16s d = sub(lsf[i], mean.lsf[i]);
        distortion = L_mac(distortion, d, d);
    }
    m.spectrum = extract_h(distortion);
    constexpr std::size_t kFrom = kCurrent, kTo = kCurrent + kFrameSamples;
    for (std::size_t i = kFrom + 1; i <= kTo; ++i) {
        if (mult(a.speech[i - 1], a.speech[i]) < 0) {
            m.crossings = static_cast<Qol16s>(m.crossings + 410); // 1/80
        }
    }
    return m;
}

enum Axis { kEnergy, kLowBandEnergy, kSpectrum, kCrossings };

/// A bound (§B.3.5): speech where ((x a + b) 2 >> shift) + 2 y c is above (or below) 0.
struct Bound {
    Axis x;
    Qol32s a, b;
    int shift;
    Axis y;
    Qol32s c;
    bool above;
};
constexpr Qol32s kWhole = 32768;
constexpr Bound kBounds[] = {{kCrossings, -14680, 8192 * -28521, 8, kSpectrum, kWhole, true},
                             {kCrossings, 19065, 8192 * -19446, 7, kSpectrum, kWhole, true},
                             {kCrossings, 20480, 8192 * 16384, 2, kEnergy, kWhole, false},
                             {kCrossings, -16384, 8192 * 19660, 2, kEnergy, kWhole, false},
                             {kEnergy, 32767, 1024 * 30802, 0, kEnergy, 0, false},
                             {kSpectrum, -28160, 64 * 19988, 0, kEnergy, 512, false},
                             {kSpectrum, 32767, 32 * -30199, 0, kEnergy, 0, true},
                             {kCrossings, -20480, 8192 * 22938, 2, kEnergy, kWhole, false},
                             {kCrossings, 23831, 4096 * 31576, 2, kEnergy, kWhole, false},
                             {kEnergy, 32767, 2048 * 17367, 0, kEnergy, 0, false},
                             {kSpectrum, -22400, 32 * 25395, 0, kEnergy, 256, false},
                             {kEnergy, -30427, 256 * -29959, 0, kLowBandEnergy, 32767, true},
                             {kEnergy, -23406, 512 * 28087, 0, kLowBandEnergy, 32767, false},
                             {kEnergy, 24576, 1024 * 29491, 0, kLowBandEnergy, 16384, false}};

bool isBeyondABound(const Background& mean, const Measures& m) {
    const Qol64s axis[] = {sub(mean.energy, m.energy), sub(mean.lowBand, m.lowBand), m.spectrum,
                           sub(mean.crossings, m.crossings)};
    return std::any_of(std::begin(kBounds), std::end(kBounds), [&axis](const Bound& bound) {
        const Qol64s value =
            ((axis[bound.x] * bound.a + bound.b) * 2 >> bound.shift) + 2 * axis[bound.y] * bound.c;
        return bound.above ? value > 0 : value < 0;
    });
}

void followMinimum(Activity& s, Qol16s energy) {
    const bool ends = s.frame % kBlock == 0;
    if (s.frame <= kSettled) {
        if (energy < s.minimum) {
            s.minimum = s.lastMinimum = energy;
        }
        if (ends) {
            s.blockMinima[static_cast<std::size_t>(s.frame / kBlock - 1)] = s.minimum;
            s.minimum = MAX_16;
        }
    } else {
        if (s.frame % kBlock == 1) {
            s.minimum = s.lastMinimum;
            s.blockMinimum = MAX_16;
        }
        s.minimum = std::min(s.minimum, energy);
        s.blockMinimum = std::min(s.blockMinimum, energy);
        if (ends) {
            std::copy(s.blockMinima.begin() + 1, s.blockMinima.end(), s.blockMinima.begin());
            s.blockMinima.back() = s.blockMinimum;
        }
    }
    if (ends) {
        s.lastMinimum = *std::min_element(s.blockMinima.begin(), s.blockMinima.end());
    }
}

/// a (32768 - f)/32768 + b f.
Qol16s mix(Qol16s a, Qol16s weightA, Qol16s b, Qol16s weightB) {
    return extract_h(L_mac(L_mult(weightA, a), weightB, b));
}

/// Adds a 32nd of a frame to the first means.
void gatherStart(Activity& s, const Measures& m, const Qol16s* lsf) {
    constexpr Qol16s kPart = 1024;
    const auto gather = [](Qol16s& sum, Qol16s x) {
        sum = extract_h(L_mac(static_cast<Qol32s>(sum) << 16, x, kPart));
    };
    gather(s.startMean, m.energy);
    gather(s.mean.crossings, m.crossings);
    for (std::size_t i = 0; i < kOrder; ++i) {
        gather(s.mean.lsf[i], lsf[i]);
    }
}

/// Makes means of the sums of a 32nd of each frame that was loud enough.
void endStart(Activity& s) {
    const int counted = kStart - s.quietStart;
    int shift = 0;
    while (counted > 0 && counted << shift < kStart) {
        ++shift;
    }
    const int parts = counted << shift;
    const Qol16s factor =
        counted == 0 ? Qol16s{0} : saturate16((kStart * 32768 + parts / 2) / parts);
    const auto scale = [factor, shift](Qol16s x) {
        return extract_h(L_shl(L_mult(x, factor), shift));
    };
    s.startMean = scale(s.startMean);
    s.mean.crossings = scale(s.mean.crossings);
    for (Qol16s& x : s.mean.lsf) {
        x = scale(x);
    }
    s.mean.energy = sub(s.startMean, 2048);  // 10 dB
    s.mean.lowBand = sub(s.startMean, 2458); // 12 dB
}

/// Weights of old mean and frame, Q15.
struct Pace {
    int upTo; ///< updates
    Qol16s energy[2], crossings[2], lsf[2];
};
constexpr Pace kPaces[] = {{20, {24576, 8192}, {26214, 6554}, {19661, 13017}},
                           {30, {31130, 1638}, {30147, 2621}, {21299, 11469}},
                           {40, {31785, 983}, {30802, 1966}, {22938, 9830}},
                           {50, {32440, 328}, {31457, 1311}, {24576, 8192}},
                           {60, {32604, 164}, {32440, 328}, {24576, 8192}},
                           {INT32_MAX, {32604, 164}, {32702, 66}, {24576, 8192}}};

void updateMeans(Activity& s, const Measures& m, const Qol16s* lsf) {
    ++s.updates;
    const Pace& p = *std::find_if(std::begin(kPaces), std::end(kPaces),
                                  [&s](const Pace& pace) { return s.updates < pace.upTo; });
    s.mean.energy = mix(s.mean.energy, p.energy[0], m.energy, p.energy[1]);
    s.mean.lowBand = mix(s.mean.lowBand, p.energy[0], m.lowBand, p.energy[1]);
    s.mean.crossings = mix(s.mean.crossings, p.crossings[0], m.crossings, p.crossings[1]);
    for (std::size_t i = 0; i < kOrder; ++i) {
        s.mean.lsf[i] = mix(s.mean.lsf[i], p.lsf[0], lsf[i], p.lsf[1]);
    }
}

/// Smoothing by what was decided before (§B.3.6); rc is the second reflection coefficient.
bool smooth(Activity& s, bool speech, const Measures& m, Qol16s rc) {
    bool extended = false;
    if (s.last && !speech && add(sub(s.mean.energy, m.energy), 410) < 0 && m.energy > kQuiet) {
        speech = extended = true;
    }
    if (!s.mayExtend) {
        s.mayExtend = true;
    } else if (s.beforeLast && s.last && !speech && abs_s(sub(s.lastEnergy, m.energy)) <= kStep) {
        speech = extended = true;
        s.mayExtend = ++s.extended <= kMostExtended;
        s.extended = s.mayExtend ? s.extended : 0;
    }
    s.pause += speech ? 0 : 1;
    if (speech && s.pause > kLongPause && sub(m.energy, s.lastEnergy) <= kStep) {
        speech = false;
        s.pause = 0;
    }
    if (speech) {
        s.pause = 0;
    }
    const bool low = sub(m.energy, kStep) < s.mean.energy;
    return speech && !(low && s.frame > kSettled && !extended && rc < 19661); // 0.6
}

} // namespace

bool isSpeech(Activity& s, const Analysis& a, const LpFrame& lp) {
    constexpr int kMostCounted = 32767, kCountAgain = 256;
    s.frame = s.frame == kMostCounted ? kCountAgain : s.frame + 1;
    Qol16s lsf[kOrder];
    qolsLSPToLSF_Norm_G729_16s(lp.lsp.data(), lsf);
    const Measures m = measure(s.mean, a, lp, lsf);
    followMinimum(s, m.energy);
    bool speech = m.energy >= kQuiet;
    if (s.frame <= kStart) {
        if (speech) {
            gatherStart(s, m, lsf);
        } else {
            ++s.quietStart;
        }
    }
    if (s.frame >= kStart) {
        if (s.frame == kStart) {
            endStart(s);
        }
        speech = smooth(s, speech && isBeyondABound(s.mean, m), m, lp.rc[1]);
        if (sub(m.energy, kStep) < s.mean.energy && lp.rc[1] < 24576 && m.spectrum < kFlat) {
            updateMeans(s, m, lsf);
        }
        if (s.frame > kSettled && ((s.mean.energy < s.minimum && m.spectrum < kFlat) ||
                                   sub(s.mean.energy, s.minimum) > 2048)) {
            s.mean.energy = s.minimum;
            s.updates = 0;
        }
    }
    s.lastEnergy = m.energy;
    s.beforeLast = s.last;
    s.last = speech;
    return speech;
}

} // namespace qolsc::tools::g729
