// SPDX-License-Identifier: Apache-2.0
// The coder of GSM full rate. GSM 06.10 §5.2.
#include "codecs/gsmfr/gsmfr.h"

#include "numeric/basop.h"
#include "qolsc/common.h"
#include "qolsc/gsmfr.h"

#include <algorithm>
#include <bit>

namespace qolsc::tools::gsmfr {

using namespace basop;

namespace {

/// Decision levels of the long-term gain (table 4.3a) and mantissas of APCM (table 4.5), Q15.
constexpr std::array<Qol16s, 4> kGainLevel{6554, 16384, 26214, 32767};
constexpr std::array<Qol16s, 8> kNrFac{29128, 26215, 23832, 21846, 20165, 18725, 17476, 16384};

Qol16s largest(const Qol16s* x, int count) {
    Qol16s most = 0;
    for (int i = 0; i < count; ++i) {
        most = std::max(most, abs_s(x[i]));
    }
    return most;
}

// §5.2.4. The signal is scaled for the sums and back again: the low bits stay lost.
std::array<Qol32s, kOrder + 1> autocorrelate(Qol16s* s) {
    const Qol16s most = largest(s, kFrameSamples);
    const int shift = most ? 4 - norm_s(most) : 0;
    if (shift > 0) {
        const auto factor = static_cast<Qol16s>(16384 >> (shift - 1));
        for (int i = 0; i < kFrameSamples; ++i) {
            s[i] = mult_r(s[i], factor);
        }
    }
    std::array<Qol32s, kOrder + 1> acf;
    qolsAutoCorr_16s32s(s, kFrameSamples, acf.data(), kOrder + 1);
    for (Qol32s& a : acf) {
        a *= 2; // at most 160 * 2^22 before
    }
    if (shift > 0) {
        for (int i = 0; i < kFrameSamples; ++i) {
            s[i] = wrap16(s[i] * (1 << shift));
        }
    }
    return acf;
}

// §5.2.6, §5.2.7.
Qol16s codeLar(Qol16s r, std::size_t i) {
    const Qol16s a = abs_s(r);
    const int magnitude = a < 22118 ? a >> 1 : a < 31130 ? a - 11059 : (a - 26112) << 2;
    const auto lar = static_cast<Qol16s>(r < 0 ? -magnitude : magnitude);
    const int t = add(add(mult(kLarA[i], lar), kLarB[i]), 256) >> 9;
    return static_cast<Qol16s>(std::clamp<int>(t, kLarMin[i], kLarMax[i]) - kLarMin[i]);
}

// §5.2.11: lag by the largest correlation, then the gain. dp points at the subframe.
void searchLongTerm(const Qol16s* d, const Qol16s* dp, Subframe& s) {
    const Qol16s most = largest(d, kSubframeSamples);
    const int headroom = most ? norm_s(most) : 6;
    const int shift = headroom > 6 ? 0 : 6 - headroom;
    std::array<Qol16s, kSubframeSamples> w;
    for (std::size_t i = 0; i < w.size(); ++i) {
        w[i] = static_cast<Qol16s>(d[i] >> shift);
    }
    Qol32s sum = 0, index = 0;
    qolsCrossCorrLagMax_16s(w.data(), dp - kMaxLag, kSubframeSamples, kMaxLag - kMinLag, &sum,
                            &index);
    const int lag = kMaxLag - index;
    s.lag = static_cast<Qol16s>(lag);
    const Qol32s correlation = (2 * sum) >> (6 - shift);
    Qol32s power = 0;
    for (int i = 0; i < kSubframeSamples; ++i) {
        const int x = dp[i - lag] >> 3;
        power += 2 * x * x;
    }
    if (correlation <= 0) {
        s.gain = 0;
        return;
    }
    s.gain = 3;
    if (correlation < power) {
        const int n = norm_l(power);
        const Qol16s R = extract_h(correlation << n), S = extract_h(power << n);
        s.gain = 0;
        while (s.gain < 3 && R > mult(S, kGainLevel[static_cast<std::size_t>(s.gain)])) {
            ++s.gain;
        }
    }
}

// §5.2.14: the grid of the largest energy, the first of equals.
std::array<Qol16s, kPulses> chooseGrid(const std::array<Qol16s, kSubframeSamples>& x, Subframe& s) {
    Qol32s most = -1;
    for (std::size_t m = 0; m < 4; ++m) {
        Qol32s energy = 0;
        for (std::size_t i = 0; i < kPulses; ++i) {
            const int v = x[m + 3 * i] >> 2;
            energy += v * v;
        }
        if (energy > most) {
            most = energy;
            s.grid = static_cast<Qol16s>(m);
        }
    }
    std::array<Qol16s, kPulses> pulses;
    for (std::size_t i = 0; i < kPulses; ++i) {
        pulses[i] = x[static_cast<std::size_t>(s.grid) + 3 * i];
    }
    return pulses;
}

// §5.2.15.
void codePulses(const std::array<Qol16s, kPulses>& pulses, Subframe& s) {
    const Qol16s most = largest(pulses.data(), kPulses);
    const int exponent = std::min<int>(std::bit_width(static_cast<unsigned>(most >> 9)), 6);
    s.block = static_cast<Qol16s>((most >> (exponent + 5)) + 8 * exponent);
    const BlockScale scale = blockScale(s.block);
    const Qol16s factor = kNrFac[static_cast<std::size_t>(scale.mantissa)];
    for (std::size_t i = 0; i < kPulses; ++i) {
        const Qol16s scaled = wrap16(pulses[i] * (1 << (6 - scale.exponent)));
        s.pulses[i] = static_cast<Qol16s>((mult(scaled, factor) >> 12) + 4);
    }
}

// One subframe of the residual d; dp points at the place of its reconstruction.
void encodeSubframe(const Qol16s* d, Qol16s* dp, Subframe& s) {
    searchLongTerm(d, dp, s);
    constexpr int kEdge = 5; // the weighting filter sees zeros around the subframe
    std::array<Qol16s, kSubframeSamples + 2 * kEdge> e{};
    std::array<Qol16s, kSubframeSamples> predicted;
    const Qol16s gain = kLtpGain[static_cast<std::size_t>(s.gain)];
    for (std::size_t i = 0; i < predicted.size(); ++i) {
        predicted[i] = mult_r(gain, dp[static_cast<int>(i) - s.lag]);
        e[i + kEdge] = sub(d[i], predicted[i]);
    }
    std::array<Qol16s, kSubframeSamples> x;
    qolsWeightingFilter_GSMFR_16s(e.data() + kEdge, x.data(), kSubframeSamples);
    codePulses(chooseGrid(x, s), s);
    const auto rpe = decodeRpe(s);
    for (std::size_t i = 0; i < predicted.size(); ++i) {
        dp[i] = add(rpe[i], predicted[i]);
    }
}

} // namespace

void encodeFrame(Encoder& encoder, const Qol16s* pcm, Parameters& out) {
    std::array<Qol16s, kFrameSamples> s;
    qolsHighPassFilter_GSMFR_16s(pcm, s.data(), kFrameSamples, encoder.offset.data());
    qolsPreemphasize_GSMFR_16s(s.data(), s.data(), kFrameSamples, &encoder.emphasis);

    const auto acf = autocorrelate(s.data());
    std::array<Qol16s, kOrder> reflection;
    qolsSchur_GSMFR_32s16s(acf.data(), reflection.data(), kOrder);
    for (std::size_t i = 0; i < kOrder; ++i) {
        out.lar[i] = codeLar(reflection[i], i);
    }
    for (const Piece& p : interpolateLar(encoder.lar, decodeLar(out.lar))) {
        qolsShortTermAnalysisFilter_GSMFR_16s_I(p.reflection.data(), s.data() + p.first, p.samples,
                                                encoder.analysis.data());
    }

    Qol16s* dp = encoder.residual.data() + kMaxLag;
    for (int n = 0; n < kSubframes; ++n) {
        encodeSubframe(s.data() + n * kSubframeSamples, dp + n * kSubframeSamples,
                       out.subframes[static_cast<std::size_t>(n)]);
    }
    std::copy_n(encoder.residual.data() + kFrameSamples, kMaxLag, encoder.residual.data());
}

} // namespace qolsc::tools::gsmfr
