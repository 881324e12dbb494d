// SPDX-License-Identifier: Apache-2.0
// Lag and gain of the harmonic noise shaping filter (ITU-T G.723.1 2.11).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g723/g723.h"

namespace qolsc {

namespace g723 {

namespace {

constexpr int kLags = 7, kReach = 3;
constexpr Qol16s kMostGain = 10240; // 0.3125 in Q15

/// Current energy, then the energies at the seven lags, then the correlations, on one scale.
struct Measures {
    Qol16s current;
    Qol16s energy[kLags];
    Qol16s correlation[kLags];
};

Measures measure(const Qol16s* x, int lag) {
    Qol32s v[1 + 2 * kLags];
    const Qol64s current = energyExact(x, kSubframe);
    v[0] = saturate32(2 * current);
    Qol32s most = v[0];
    for (int k = 0; k < kLags; ++k) {
        const Qol16s* past = x - (lag - kReach + k);
        const Qol64s energy = energyExact(past, kSubframe);
        v[1 + k] = saturate32(2 * energy);
        v[1 + kLags + k] = dotDoubledSteps(x, past, kSubframe, staysInside(current, energy, 1));
        most = std::max({most, v[1 + k], basop::L_abs(v[1 + kLags + k])});
    }
    const int n = basop::norm_l(most);
    const auto scaled = [n](Qol32s value) { return basop::round_fx(basop::L_shl(value, n)); };
    Measures m;
    m.current = scaled(v[0]);
    for (int k = 0; k < kLags; ++k) {
        m.energy[k] = scaled(v[1 + k]);
        m.correlation[k] = scaled(v[1 + kLags + k]);
    }
    return m;
}

/// Place of the largest square of the correlation over the energy, the first of equals; -1 without
/// a positive correlation.
int bestLag(const Measures& m) {
    Qol32s square = 1, energy = 32767;
    int best = -1;
    for (int k = 0; k < kLags; ++k) {
        const Qol16s c = m.correlation[k];
        const Qol32s q = basop::mult_r(c, c);
        if (c > 0 && q * energy > square * m.energy[k]) {
            square = q;
            energy = m.energy[k];
            best = k;
        }
    }
    return best;
}

Qol16s gainOf(Qol16s current, Qol16s energy, Qol16s c) {
    const Qol32s p = basop::L_mult(current, energy);
    if ((p >> 2) + (p >> 3) >= basop::L_mult(c, c)) {
        return 0;
    }
    return c >= energy ? kMostGain : basop::mult_r(basop::div_s(c, energy), kMostGain);
}

} // namespace

} // namespace g723

QolStatus qolsHarmonicSearch_G723_16s(Qol16s valOpenLoopLag, const Qol16s* pWgtSpeech,
                                      Qol16s* pHarmonicLag, Qol16s* pHarmonicGain) noexcept {
    if (anyNull(pWgtSpeech, pHarmonicLag, pHarmonicGain)) {
        return qolStsNullPtrErr;
    }
    if (valOpenLoopLag < g723::kLeastLag || valOpenLoopLag > g723::kMostLag) {
        return qolStsSizeErr;
    }
    const g723::Measures m = g723::measure(pWgtSpeech, valOpenLoopLag);
    const int best = g723::bestLag(m);
    *pHarmonicLag = valOpenLoopLag;
    *pHarmonicGain = 0;
    if (best >= 0) {
        *pHarmonicLag = static_cast<Qol16s>(valOpenLoopLag + best - g723::kReach);
        *pHarmonicGain = g723::gainOf(m.current, m.energy[best], m.correlation[best]);
    }
    return qolStsNoErr;
}

} // namespace qolsc
