// SPDX-License-Identifier: Apache-2.0
// Comfort noise of G.729 Annex B (§B.4.4).
#include "codecs/g729/noise.h"

#include "numeric/helpers.h"
#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>
#include <array>

namespace qolsc::tools::g729 {

namespace {

using namespace basop;

constexpr int kSubframe = 40, kPast = 154;
constexpr int kPulses = 4;
constexpr int kMaxPulse = 5000;

struct Draw {
    Qol16s lag[2]; // integer, thirds
    int position[kPulses];
    bool positive[kPulses];
    Qol16s pitchGain; // Q14, below 0.5
};

Draw draw(Qol16s& seed) {
    Draw d{};
    unsigned r = nextRandom(seed);
    const int fraction = static_cast<int>(r & 3) - 1;
    d.lag[0] = static_cast<Qol16s>((r >> 2 & 63) + 40);
    d.lag[1] = static_cast<Qol16s>(fraction == 2 ? 0 : fraction);
    d.position[0] = static_cast<int>(5 * (r >> 8 & 7));
    d.positive[0] = (r >> 11 & 1) != 0;
    d.position[1] = static_cast<int>(5 * (r >> 12 & 7) + 1);
    d.positive[1] = (r >> 15 & 1) != 0;
    r = nextRandom(seed);
    d.position[2] = static_cast<int>(5 * (r & 7) + 2);
    d.positive[2] = (r >> 3 & 1) != 0;
    d.position[3] = static_cast<int>(5 * (r >> 5 & 7) + 3 + (r >> 4 & 1));
    d.positive[3] = (r >> 8 & 1) != 0;
    d.pitchGain = static_cast<Qol16s>(nextRandom(seed) & 0x1FFF);
    return d;
}

using Vector = std::array<Qol16s, kSubframe>;

Qol32s doubledEnergy(const Vector& x) {
    Qol64s s = 0;
    for (const Qol16s v : x) {
        s += Qol64s{v} * v;
    }
    return saturate32(2 * s);
}

/// Gaussian vector at 1.58 (0.58 in Q15 beside the whole) of the level.
Vector gaussian(Qol16s level, Qol16s& seed) {
    Vector x{};
    qolsRandomNoiseExcitation_G729B_16s(&seed, x.data(), kSubframe);
    Qol32s inverse = doubledEnergy(x) >> 1;
    qolsInvSqrt_32s_I(&inverse, 1);
    const Qol32s scale = Mpy_32_16(L_Extract(inverse), add(level, mult_r(level, 19043)));
    const int n = norm_l(scale);
    const Qol16s factor = extract_h(L_shl(scale, n));
    for (Qol16s& v : x) {
        v = shr_r(mult_r(v, factor), n - 14);
    }
    return x;
}

/// Signed sum of the vector, shifted right, at the pulses.
Qol16s sumAtPulses(const Draw& d, const Qol16s* x, int shift) {
    Qol16s sum = 0;
    for (int i = 0; i < kPulses; ++i) {
        const Qol16s v = shr(x[d.position[i]], shift);
        sum = d.positive[i] ? add(sum, v) : sub(sum, v);
    }
    return sum;
}

/// Largest z of 14 upper bits with 2 z^2 at most x.
Qol16s squareRoot(Qol32s x) {
    Qol16s z = 0;
    Qol16s bit = 0x4000;
    for (int i = 0; i < 14; ++i, bit = static_cast<Qol16s>(bit >> 1)) {
        const Qol16s trial = add(z, bit);
        if (L_mult(trial, trial) <= x) {
            z = trial;
        }
    }
    return z;
}

/// The quadratic equation for the height of the pulses: sum at the pulses, discriminant and the
/// right shift that both were taken at.
struct Equation {
    Qol16s sum;
    Qol32s discriminant;
    int shift;
};

Equation equationOf(const Draw& d, const Vector& u, Qol32s wanted) {
    Qol16s peak = 0;
    for (const Qol16s v : u) {
        peak = std::max(peak, abs_s(v));
    }
    const int sh = peak == 0 ? 0 : std::max(0, 3 - norm_s(peak));
    Vector scaled = u;
    for (Qol16s& v : scaled) {
        v = shr(v, sh);
    }
    const Qol16s half = shr(sumAtPulses(d, scaled.data(), 0), 1);
    const Qol32s rest = L_sub(L_shr(wanted, 1 + 2 * sh), doubledEnergy(scaled));
    return {half, L_mac(rest, half, half), sh + 1};
}

/// Without the adaptive part the Gaussian one leaves 3/4 of the energy to the pulses.
Equation equationOfGauss(const Draw& d, const Vector& gauss, Qol32s wanted) {
    int bits = 0;
    for (const int p : d.position) {
        bits |= abs_s(gauss[static_cast<std::size_t>(p)]);
    }
    const int sh = (bits & 0x4000) == 0 ? 1 : 2;
    const Qol16s sum = sumAtPulses(d, gauss.data(), sh);
    const Qol32s part = L_shr(Mpy_32_16(L_Extract(wanted), 24576), 2 * sh - 1);
    return {sum, L_mac(part, sum, sum), sh};
}

} // namespace

NoiseSubframe noiseExcitation(Qol16s level, Qol16s* exc, Qol16s& seed) {
    Qol16s* current = exc + kPast;
    if (level == 0) {
        std::fill_n(current, kSubframe, Qol16s{0});
        return {kSubframe + 1, 0, 0};
    }
    Draw d = draw(seed);
    const Vector gauss = gaussian(level, seed);
    qolsDecodeAdaptiveVector_G729_16s_I(d.lag, exc);
    Vector u{};
    for (std::size_t i = 0; i < u.size(); ++i) {
        u[i] = add(mult_r(current[i], static_cast<Qol16s>(2 * d.pitchGain)), gauss[i]);
    }

    const Qol32s wanted = L_mult(level, extract_l(L_shr(L_mult(level, kSubframe), 6)));
    Equation eq = equationOf(d, u, wanted);
    if (eq.discriminant < 0) {
        u = gauss;
        d.pitchGain = 0;
        eq = equationOfGauss(d, gauss, wanted);
    }
    const Qol16s root = squareRoot(eq.discriminant);
    const Qol16s x1 = sub(root, eq.sum), x2 = negate(add(eq.sum, root));
    const Qol16s x = abs_s(x2) < abs_s(x1) ? x2 : x1;
    const int height = std::clamp<int>(shr_r(x, 2 - eq.shift), -kMaxPulse, kMaxPulse);
    for (int i = 0; i < kPulses; ++i) {
        Qol16s& v = u[static_cast<std::size_t>(d.position[i])];
        v = saturate16(d.positive[i] ? v + height : v - height);
    }
    std::copy(u.begin(), u.end(), current);
    return {d.lag[0], d.pitchGain, static_cast<Qol16s>(std::abs(height))};
}

Qol16s sidLevel(int index) {
    // Table of Annex B, Q0: steps of 4 dB, then of 2 dB.
    static constexpr Qol16s kLevels[32] = {2,    5,    8,    13,   20,   32,    50,    64,
                                           80,   101,  127,  160,  201,  253,   318,   401,
                                           505,  635,  800,  1007, 1268, 1596,  2010,  2530,
                                           3185, 4009, 5048, 6355, 8000, 10071, 12679, 15962};
    return kLevels[index];
}

namespace {

/// Gain of an energy of x times 2^-exponent a sample.
SidGain sidGainOf(Qol32s x, int exponent) {
    Qol16s integer, fraction;
    ownLog2(x, &integer, &fraction);
    const Qol16s v =
        add(shl(static_cast<Qol16s>(integer - exponent), 10), mult_r(fraction, 1024)); // Q10
    if (v <= -2721) {
        return {0, -12};
    }
    if (v > 22111) {
        return {31, 66};
    }
    if (v <= 4762) {
        const int index = std::max<int>(1, mult(add(v, 3401), 24));
        return {index, 4 * index - 8};
    }
    const int index = std::max<int>(6, (mult(sub(v, 340), 193) >> 2) - 1);
    return {index, 2 * index + 4};
}

} // namespace

int sidIndexOfSpeech(SidEnergy energy) {
    // Energy of a sample of the frame: times 410, 1/80 in Q15.
    return sidGainOf(Mpy_32_16(L_Extract(L_shl(energy.word, energy.exponent)), 410), 0).index;
}

SidGain quantiseSidGain(const SidEnergy* energies, int count) {
    // One over 1280 and 2560 in Q15: the samples of a frame, and the scale of the filters.
    constexpr int kMargin[2] = {16, 15};
    constexpr Qol16s kFactor[2] = {26, 13};
    int exponent = energies[0].exponent;
    for (int i = 1; i < count; ++i) {
        exponent = std::min(exponent, energies[i].exponent);
    }
    exponent += kMargin[count - 1];
    Qol32s sum = 0;
    for (int i = 0; i < count; ++i) {
        sum = L_add(sum, L_shl(energies[i].word, exponent - energies[i].exponent));
    }
    return sidGainOf(Mpy_32_16(L_Extract(sum), kFactor[count - 1]), exponent);
}

Qol16s smoothLevel(Qol16s level, Qol16s target) {
    return add(mult_r(level, 28672), mult_r(target, 4096));
}

} // namespace qolsc::tools::g729
