// SPDX-License-Identifier: Apache-2.0
// Frames of noise in the encoders of G.729 with Annex B.
#include "codecs/g729/dtx.h"

#include "codecs/bits.h"
#include "numeric/basop.h"
#include "qolsc/g729.h"

#include <algorithm>
#include <span>

namespace qolsc::tools::g729 {

using namespace basop;

namespace {

constexpr int kSidInterval = 3;               // frames, the least
constexpr Qol16s kChangedFilter = 4855;       // 0.148: a SID frame is due
constexpr Qol16s kFilterBesideAverage = 3161; // 0.096: the average no longer fits
constexpr int kChangedLevel = 2;              // dB

Acf sumOf(std::span<const Acf> parts) {
    int exponent = parts[0].exponent;
    for (const Acf& part : parts) {
        exponent = std::min(exponent, part.exponent);
    }
    exponent += 14;
    Qol32s sum[kCoeffs] = {};
    for (const Acf& part : parts) {
        for (std::size_t i = 0; i < kCoeffs; ++i) {
            sum[i] = L_add(sum[i], L_shl(part.r[i], exponent - part.exponent));
        }
    }
    const int n = norm_l(sum[0]);
    Acf total;
    for (std::size_t i = 0; i < kCoeffs; ++i) {
        total.r[i] = extract_h(L_shl(sum[i], n));
    }
    total.exponent = exponent + n - 16;
    return total;
}

void averagePair(Dtx& d) {
    std::copy_backward(d.averages.begin(), d.averages.end() - 1, d.averages.end());
    d.averages[0] = sumOf(d.frames);
}

/// Filter of an autocorrelation; returns the energy of its residual.
Qol16s filterOf(Analysis& a, const Acf& acf, Lpc& lpc) {
    Qol32s r[kCoeffs];
    for (std::size_t i = 0; i < kCoeffs; ++i) {
        r[i] = static_cast<Qol32s>(acf.r[i]) << 16;
    }
    Qol16s rc[2], energy = 0;
    if (qolsLevinsonDurbin_G729B(r, lpc.data(), rc, &energy) == qolStsNoErr) {
        a.stable = lpc;
        a.stableRc = {rc[0], rc[1]};
    }
    lpc = a.stable;
    return energy;
}

/// Autocorrelation of a filter's coefficients.
Acf coefficientAcf(const Lpc& lpc) {
    Acf acf;
    for (std::size_t lag = 0; lag < kCoeffs; ++lag) {
        Qol32s sum = 0;
        for (std::size_t i = lag; i < kCoeffs; ++i) {
            sum = L_mac(sum, lpc[i], lpc[i - lag]);
        }
        acf.exponent = lag == 0 ? norm_l(sum) : acf.exponent;
        acf.r[lag] = round_fx(L_shl(sum, acf.exponent));
    }
    return acf;
}

/// True when a filter leaves clearly more of a signal than the signal's own one does (Itakura's
/// distance).
bool isFarFrom(const Acf& filter, const Acf& signal, Qol16s residual, Qol16s threshold) {
    int shift[2] = {0, 0}; // of filter and signal, as much as the sum needs to fit
    Qol64s distance = 0;
    for (int next = 1;; next = 1 - next) {
        distance = Qol32s{filter.r[0] >> shift[0]} * (signal.r[0] >> shift[1]);
        bool fits = true;
        for (std::size_t i = 1; i < kCoeffs; ++i) {
            distance += Qol64s{2} * (filter.r[i] >> shift[0]) * (signal.r[i] >> shift[1]);
            fits = fits && distance == saturate32(distance);
        }
        if (fits) {
            break;
        }
        ++shift[next];
    }
    const Qol32s limit = L_add(mult_r(residual, threshold), residual);
    return distance > L_shl(limit, filter.exponent + 9 - shift[0] - shift[1]);
}

/// Keeps the LSF apart before they are quantised, Q13.
void spread(Qol16s* lsf) {
    constexpr Qol16s kLeast = 40, kGap = 642, kMost = 25681;
    lsf[0] = std::max(lsf[0], kLeast);
    for (int i = 0; i < kOrder - 1; ++i) {
        if (lsf[i + 1] - lsf[i] < kGap) {
            lsf[i + 1] = add(lsf[i], kGap);
        }
    }
    lsf[9] = std::min(lsf[9], kMost);
    if (lsf[9] < lsf[8]) {
        lsf[8] = sub(lsf[9], kGap / 2);
    }
}

/// Chooses between the filter of the noise so far and that of this frame, and quantises it.
SidCodes describe(Dtx& d, Analysis& a, Grid grid, const Acf& acf, const Lpc& current,
                  const SidGain& gain) {
    Lpc filter{4096};
    if (const Acf past = sumOf(d.averages); past.r[0] != 0) {
        filterOf(a, past, filter);
    }
    d.sentFilter = coefficientAcf(filter);
    if (isFarFrom(d.sentFilter, acf, d.energies[0].word, kFilterBesideAverage)) {
        filter = current;
        d.sentFilter = coefficientAcf(filter);
    }
    Lsp lsp;
    const auto toLsp = grid == Grid::main ? qolsLPCToLSP_G729_16s : qolsLPCToLSP_G729A_16s;
    toLsp(filter.data(), a.oldQuantLsp.data(), lsp.data());
    Qol16s lsf[kOrder], quantised[kOrder];
    qolsLSPToLSF_G729_16s(lsp.data(), lsf);
    spread(lsf);
    SidCodes codes{};
    qolsLSFQuant_G729B_16s(lsf, a.lsfHistory.data(), quantised, codes.lsf);
    qolsLSFToLSP_G729_16s(quantised, d.noiseLsp.data());
    codes.gain = static_cast<Qol16s>(gain.index);
    d.sentEnergy = gain.energy;
    d.sentLevel = sidLevel(gain.index);
    return codes;
}

void packSid(const SidCodes& codes, Frame& frame) {
    frame.kind = FrameKind::sid;
    putBits(frame, static_cast<std::uint16_t>(codes.lsf[0]), 1);
    putBits(frame, static_cast<std::uint16_t>(codes.lsf[1]), 5);
    putBits(frame, static_cast<std::uint16_t>(codes.lsf[2]), 4);
    putBits(frame, static_cast<std::uint16_t>(codes.gain), 5);
    putBits(frame, 0, 16 - kBitsSid);
}

} // namespace

bool takeFrame(Dtx& d, const Analysis& a, const LpFrame& lp) {
    const bool speech = isSpeech(d.activity, a, lp);
    d.frames[1] = d.frames[0];
    d.frames[0] = {lp.acf, -(16 + lp.exponent)};
    d.midPair = !d.midPair;
    if (speech) {
        d.lastSpeech = true;
        d.seed = kNoiseSeed;
        if (!d.midPair) {
            averagePair(d);
        }
    }
    return speech;
}

void encodeNoise(Dtx& d, Analysis& a, SubframeState& sub, Grid grid, LpFrame& lp, Frame& frame) {
    const Acf acf = sumOf(d.frames);
    Lpc filter{4096};
    d.energies[1] = d.energies[0];
    d.energies[0] = {acf.r[0] == 0 ? Qol16s{0} : filterOf(a, acf, filter), acf.exponent};

    const bool first = d.lastSpeech;
    d.lastSpeech = false;
    d.energyCount = first ? 1 : std::min(d.energyCount + 1, 2);
    const SidGain gain = quantiseSidGain(d.energies.data(), d.energyCount);
    if (!first) {
        d.changed = d.changed || isFarFrom(d.sentFilter, acf, d.energies[0].word, kChangedFilter) ||
                    std::abs(d.sentEnergy - gain.energy) > kChangedLevel;
        d.sinceSid = std::min(d.sinceSid + 1, kSidInterval);
    }
    clearFrame(frame);
    frame.kind = FrameKind::noData;
    if (first || (d.sinceSid == kSidInterval && d.changed)) {
        d.sinceSid = 0;
        d.changed = false;
        packSid(describe(d, a, grid, acf, filter, gain), frame);
    }
    d.level = first ? d.sentLevel : smoothLevel(d.level, d.sentLevel);
    for (int k = 0; k < 2; ++k) {
        const NoiseSubframe made =
            noiseExcitation(d.level, sub.excitation.data() + k * kSubframe, d.seed);
        updateTaming(sub.taming, made.pitchGain, made.lag);
    }
    interpolateQuantised(a, d.noiseLsp, lp);
    sub.sharpening = kLeastSharpening;
    if (!d.midPair) {
        averagePair(d);
    }
}

} // namespace qolsc::tools::g729
