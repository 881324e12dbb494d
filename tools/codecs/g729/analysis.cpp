// SPDX-License-Identifier: Apache-2.0
// LP analysis, taming, fixed codebook and gains of the G.729 encoders (3.1 to 3.2.5, 3.8 to 3.10).
#include "codecs/g729/analysis.h"

#include "numeric/basop.h"
#include "qolsc.h"

#include <algorithm>

namespace qolsc::tools::g729 {

using namespace basop;

namespace {

constexpr Qol16s kHighPass_Q12[6] = {4096, 7807, -3733, 1899, -3798, 1899}; // 140 Hz, halved

constexpr int kTamingFrom = 40, kZone = 40;
constexpr Qol32s kTamingThreshold = 983040000; // 60000, Q14
constexpr Qol16s kTamedGain_Q14 = 15564;       // 0.95
constexpr Qol16s kMaxSharpening_Q14 = 13017;   // 0.7945

/// Autocorrelation, recursion and LSP; an unstable filter gives way to the last stable one.
void analyseLp(Analysis& a, Grid grid, LpFrame& lp) {
    Qol16s rc[2] = {}, residualEnergy = 0;
    Qol32s* r = lp.autoCorr.data();
    qolsAutoCorr_G729B(a.speech.data(), &lp.exponent, r);
    for (std::size_t i = 0; i < lp.acf.size(); ++i) {
        lp.acf[i] = extract_h(r[i]);
    }
    for (Qol32s& x : lp.autoCorr) {
        x &= ~1; // double-precision format
    }
    qolsLagWindow_G729_32s_I(r + 1, kAutoCorrLags - 1);
    if (qolsLevinsonDurbin_G729B(r, lp.lpc[1].data(), rc, &residualEnergy) == qolStsNoErr) {
        a.stable = lp.lpc[1];
        a.stableRc = {rc[0], rc[1]};
    }
    lp.lpc[1] = a.stable;
    lp.rc = a.stableRc;
    const auto toLsp = grid == Grid::main ? qolsLPCToLSP_G729_16s : qolsLPCToLSP_G729A_16s;
    toLsp(lp.lpc[1].data(), a.oldLsp.data(), lp.lsp.data());
}

int zoneOf(int place) { return place / kZone; }

/// Saturation in a form that compilers turn into vector code.
Qol16s clip(int x) { return static_cast<Qol16s>(std::clamp(x, -32768, 32767)); }

/// Response of the weighted synthesis filter to the four pulses, in the order of the tracks.
Subframe filterPulses(const Subframe& response, int positions, int signs) {
    // Zeros in front: every pulse adds a whole subframe, a loop of a known length.
    std::array<Qol16s, 2 * kSubframe> padded{};
    std::copy(response.begin(), response.end(), padded.begin() + kSubframe);
    Subframe y{};
    for (int p = 0; p < 4; ++p) {
        const int k = positions >> (3 * p) & (p < 3 ? 7 : 15);
        const int at = p < 3 ? 5 * k + p : 5 * (k >> 1) + 3 + (k & 1);
        const Qol16s* delayed = padded.data() + kSubframe - at;
        if ((signs >> p & 1) != 0) {
            for (int i = 0; i < kSubframe; ++i) {
                y[i] = clip(y[i] + delayed[i]);
            }
        } else {
            for (int i = 0; i < kSubframe; ++i) {
                y[i] = clip(y[i] - delayed[i]);
            }
        }
    }
    return y;
}

bool hasManyPulses(Search search) {
    return search == Search::tenPulses || search == Search::twelvePulses;
}

/// What the search of the fixed codebook gives.
struct FixedPart {
    Subframe code, filtered;
    Qol16s index[5] = {}; ///< signs, positions; or five words
};

/// Search of the fixed codebook on the target less the pitch contribution, the adaptive vector
/// times its gain.
FixedPart searchFixed(SubframeState& s, const Subframe& target, const PitchPart& p,
                      const Qol16s* adaptive, Qol16s gain, int subframe, Search search) {
    const Subframe& response = p.response;
    FixedPart part;
    if (hasManyPulses(search)) {
        Subframe ltpResidual;
        for (int i = 0; i < kSubframe; ++i) {
            ltpResidual[i] = sub(p.residual[i], extract_h(L_shl(L_mult(adaptive[i], gain), 1)));
        }
        qolsFixedCodebookSearch_G729E_16s(search == Search::twelvePulses ? 1 : 0, target.data(),
                                          ltpResidual.data(), response.data(), part.code.data(),
                                          part.filtered.data(), part.index);
        return part;
    }
    Subframe correlation;
    alignas(32) std::array<Qol16s, 616> matrix;
    qolsCrossCorr_NormM_16s(response.data(), target.data(), kSubframe, correlation.data());
    if (search == Search::twoPulses) {
        qolsFixedCodebookSearch_G729D_16s(correlation.data(), response.data(), part.code.data(),
                                          part.filtered.data(), part.index, part.index + 1);
        return part;
    }
    qolsToeplizMatrix_G729_16s(response.data(), matrix.data());
    if (search == Search::depthFirst) {
        qolsFixedCodebookSearch_G729A_16s(correlation.data(), matrix.data(), part.code.data(),
                                          part.index);
    } else {
        qolsFixedCodebookSearch_G729_16s(correlation.data(), matrix.data(), part.code.data(),
                                         part.index, &s.searchTimes, static_cast<Qol16s>(subframe));
    }
    part.filtered = filterPulses(response, part.index[1], part.index[0]);
    return part;
}

} // namespace

void initAnalysis(Analysis& a) {
    qolsHighPassFilterInit_G729(kHighPass_Q12, a.highPass.data());
    for (int row = 0; row < 4; ++row) {
        std::copy_n(kInitialLsf.data(), kOrder, a.lsfHistory.data() + row * kOrder);
    }
}

Lsp middleLsp(const Lsp& old, const Lsp& next) {
    Lsp m;
    qolsInterpolate_G729_16s(old.data(), next.data(), m.data(), kOrder);
    return m;
}

void analyseSpectrum(Analysis& a, const std::int16_t* pcm, Grid grid, LpFrame& lp) {
    Qol16s* input = a.speech.data() + kWindow - kFrameSamples;
    std::copy_n(pcm, kFrameSamples, input);
    qolsHighPassFilter_G729_16s_ISfs(input, kFrameSamples, 12, a.highPass.data());
    analyseLp(a, grid, lp);
    if (grid == Grid::main) {
        lp.middle = middleLsp(a.oldLsp, lp.lsp);
        qolsLSPToLPC_G729_16s(lp.middle.data(), lp.lpc[0].data());
    }
    a.oldLsp = lp.lsp;
}

void quantiseSpectrum(Analysis& a, LpFrame& lp, Qol16s* lspCodes) {
    Lsp quant;
    qolsLSPQuant_G729_16s(lp.lsp.data(), a.lsfHistory.data(), quant.data(), lspCodes);
    interpolateQuantised(a, quant, lp);
}

void interpolateQuantised(Analysis& a, const Lsp& quant, LpFrame& lp) {
    qolsLSPToLPC_G729_16s(middleLsp(a.oldQuantLsp, quant).data(), lp.quant[0].data());
    qolsLSPToLPC_G729_16s(quant.data(), lp.quant[1].data());
    a.oldQuantLsp = quant;
}

void advance(Analysis& a) {
    std::copy(a.speech.begin() + kFrameSamples, a.speech.end(), a.speech.begin());
}

bool mustTame(const Taming& t, int lag, int fraction) {
    const int place = fraction > 0 ? lag + 1 : lag;
    Qol32s worst = -1;
    for (int zone = zoneOf(std::max(place - 50, 0)); zone <= zoneOf(place + 8); ++zone) {
        worst = std::max(worst, t.error[static_cast<std::size_t>(zone)]);
    }
    return worst > kTamingThreshold;
}

void updateTaming(Taming& t, Qol16s gain, int lag) {
    const auto next = [gain](Qol32s e) {
        return L_add(0x4000, L_shl(Mpy_32_16(L_Extract(e), gain), 1));
    };
    Qol32s worst = -1;
    if (lag < kTamingFrom) {
        const Qol32s once = next(t.error[0]);
        worst = std::max({worst, once, next(once)});
    } else {
        for (int zone = zoneOf(lag - kTamingFrom); zone <= zoneOf(lag - 1); ++zone) {
            worst = std::max(worst, next(t.error[static_cast<std::size_t>(zone)]));
        }
    }
    std::copy_backward(t.error.begin(), t.error.end() - 1, t.error.end());
    t.error[0] = worst;
}

void sharpen(Subframe& v, int lag, Qol16s gain_Q15) {
    for (int i = lag; i < kSubframe; ++i) {
        v[i] = clip(v[i] + ((v[i - lag] * gain_Q15) >> 15));
    }
}

void codeSubframe(SubframeState& s, PitchPart& p, int subframe, Search search,
                  SubframeCodes& codes) {
    const bool tame = mustTame(s.taming, p.lag.integer, p.lag.fraction);
    const Qol16s gain = tame ? std::min(p.gain, kTamedGain_Q14) : p.gain;
    Subframe target2;
    qolsAdaptiveCodebookContribution_G729_16s(gain, p.filtered.data(), p.target.data(),
                                              target2.data());
    const Qol16s sharpening = shl(s.sharpening, 1);
    if (p.lag.integer < kSubframe) {
        sharpen(p.response, p.lag.integer, sharpening);
    }
    Qol16s* exc = s.excitation.data() + kPastExcitation + subframe * kSubframe;
    FixedPart fixedPart = searchFixed(s, target2, p, exc, gain, subframe, search);
    std::copy_n(fixedPart.index, 5, codes.words);
    Subframe& code = fixedPart.code;
    const Subframe& filteredCode = fixedPart.filtered;
    codes.sign = fixedPart.index[0];
    codes.position = fixedPart.index[1];
    if (p.lag.integer < kSubframe) {
        sharpen(code, p.lag.integer, sharpening);
    }

    Qol16s quant[2]; // pitch gain Q14, code gain Q1
    const auto quantise =
        search == Search::twoPulses ? qolsGainQuant_G729D_16s : qolsGainQuant_G729_16s;
    quantise(p.target.data(), p.filtered.data(), code.data(), filteredCode.data(),
             s.energyHistory.data(), quant, codes.gain, tame ? 1 : 0);
    s.sharpening = std::clamp(quant[0], kLeastSharpening, kMaxSharpening_Q14);
    // Q14 and Q13 Q1, rounded; the saturations of the standard's steps come down to the last one.
    qolsInterpolateC_NR_G729_16s_Sfs(exc, quant[0], code.data(), quant[1], exc, kSubframe, 14);
    updateTaming(s.taming, quant[0], p.lag.integer);
    for (int i = hasManyPulses(search) ? 0 : kMemory - kOrder; i < kMemory; ++i) {
        const int n = kSubframe - kMemory + i;
        const Qol16s pitch = extract_h(L_shl(L_mult(p.filtered[n], quant[0]), 1));
        const Qol16s fixed = extract_h(L_shl(L_mult(filteredCode[n], quant[1]), 2));
        s.weightedMemory[i] = sub(p.target[n], add(pitch, fixed));
    }
}

void codeLag(FrameCodes& codes, int subframe, Lag lag, int first) {
    if (subframe == 0) {
        codes.sub[0].lag = static_cast<Qol16s>(encodeLag0(lag));
        codes.parity = static_cast<Qol16s>(lagParity(codes.sub[0].lag));
    } else {
        codes.sub[1].lag = static_cast<Qol16s>(encodeLag1(lag, secondWindow(first)));
    }
}

void advance(SubframeState& s) {
    std::copy(s.excitation.begin() + kFrameSamples, s.excitation.end(), s.excitation.begin());
}

} // namespace qolsc::tools::g729
