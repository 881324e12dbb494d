// SPDX-License-Identifier: Apache-2.0
// Encoder of G.729 Annex E: the main body with a choice between forward and backward LP filters and
// with ten or twelve pulses a subframe.
#include "codecs/g729/encoder_e.h"

#include "codecs/bits.h"
#include "codecs/g729/analysis.h"
#include "codecs/g729/modes.h"
#include "codecs/g729/weighting.h"
#include "numeric/basop.h"
#include "qolsc.h"

#include <algorithm>

namespace qolsc::tools::g729e {

using namespace basop;
using namespace g729;

namespace {

using Filter = std::array<Qol16s, kBackwardCoeffs>; // up to order 30, Q12

/// Filters of a subframe.
struct Filters {
    Filter quant{};          ///< that the decoder has
    int order = kOrder;      ///< of it
    Filter zeros{}, poles{}; ///< weighting
    int weightingOrder = kOrder;
};

struct EncoderE {
    Analysis analysis;
    SubframeState sub;
    Adaptation adaptation;
    Backward backward;
    ModeState modes;
    Lsp lastLsp = kInitialLsp;
    std::array<Qol16s, kPastWeighted + kFrameSamples> weighted{};
    std::array<Qol16s, kMemory + kFrameSamples> synthesis{}; ///< memory, then the frame
    std::array<Qol16s, kMemory> errorMemory{};               ///< speech less its synthesis
};

/// Quantised forward filters of both subframes, with the new row of the predictor's history.
struct Forward {
    Lsp quant;
    std::array<Qol16s, kOrder> row;
    Qol16s codes[2];
    Filter lpc[2]{};
};

Forward quantiseForward(const EncoderE& e, const LpFrame& lp) {
    Forward f;
    qolsLSPQuant_G729E_16s(lp.lsp.data(), e.analysis.lsfHistory.data(), f.row.data(),
                           f.quant.data(), f.codes);
    qolsLSPToLPC_G729_16s(f.quant.data(), f.lpc[1].data());
    if (e.backward.lastBackward) { // there are no old LSP of use
        f.lpc[0] = f.lpc[1];
    } else {
        qolsLSPToLPC_G729_16s(middleLsp(e.analysis.oldQuantLsp, f.quant).data(), f.lpc[0].data());
    }
    return f;
}

void commitForward(EncoderE& e, const Forward& f) {
    auto& history = e.analysis.lsfHistory;
    std::copy_backward(history.begin(), history.end() - kOrder, history.end());
    std::copy(f.row.begin(), f.row.end(), history.begin());
    e.analysis.oldQuantLsp = f.quant;
}

/// Prediction gain over the frame with a filter for each subframe.
Qol16s predictionGain(const EncoderE& e, Qol16s energy, const Filter& first, const Filter& second,
                      int order) {
    const Qol16s* speech = e.analysis.speech.data() + kCurrent;
    std::array<Qol16s, kFrameSamples> residual;
    qolsResidualFilter_G729E_16s(first.data(), order, speech, residual.data(), kSubframe);
    qolsResidualFilter_G729E_16s(second.data(), order, speech + kSubframe,
                                 residual.data() + kSubframe, kSubframe);
    return sub(energy, logEnergy(residual.data(), kFrameSamples));
}

Qol32s squaredChange(const Lsp& a, const Lsp& b) {
    Qol32s s = 0;
    for (int i = 0; i < kOrder; ++i) {
        const Qol16s d = sub(a[i], b[i]);
        s = L_mac(s, d, d);
    }
    return s;
}

/// Decides the mode of a frame at 11.8 kbit/s and gives the filters of both subframes.
bool chooseFilters(EncoderE& e, const LpFrame& lp, const Forward& forward,
                   const BackwardFilter& filter, Filters* out) {
    Qol16s interpolated[2][kBackwardCoeffs];
    interpolateBackward(e.backward, filter, interpolated);
    Filter pair[2];
    for (int k = 0; k < 2; ++k) {
        std::copy_n(interpolated[k], kBackwardCoeffs, pair[k].begin());
    }
    ModeMeasures m{};
    m.energy = logEnergy(e.analysis.speech.data() + kCurrent, kFrameSamples);
    m.backward = predictionGain(e, m.energy, filter, filter, kBackwardOrder);
    m.interpolatedBackward = predictionGain(e, m.energy, pair[0], pair[1], kBackwardOrder);
    Filter unquantised{};
    std::copy(lp.lpc[1].begin(), lp.lpc[1].end(), unquantised.begin());
    m.forward = predictionGain(e, m.energy, unquantised, unquantised, kOrder);
    m.lspChange = squaredChange(lp.lsp, e.lastLsp);
    const bool backward = chooseBackward(e.modes, e.backward, m);
    for (int k = 0; k < 2; ++k) {
        out[k].quant = backward ? pair[k] : forward.lpc[k];
        out[k].order = backward ? kBackwardOrder : kOrder;
    }
    return backward;
}

void weightingFilters(EncoderE& e, const LpFrame& lp, bool backward, bool dominant,
                      Filters* filters) {
    Gammas gammas[2];
    adapt(e.adaptation, lp, gammas);
    for (int k = 0; k < 2; ++k) {
        Filters& f = filters[k];
        if (backward) {
            gammas[k] = dominant ? Gammas{32112, 13107} : Gammas{29491, 13107};
        }
        f.weightingOrder = dominant ? f.order : kOrder;
        const Qol16s* lpc = dominant ? f.quant.data() : lp.lpc[k].data();
        qolsMulPowerC_NR_16s_Sfs(lpc, gammas[k].g1, f.zeros.data(), f.weightingOrder + 1, 15);
        qolsMulPowerC_NR_16s_Sfs(lpc, gammas[k].g2, f.poles.data(), f.weightingOrder + 1, 15);
    }
}

void weightSpeech(EncoderE& e, const Filters* filters) {
    for (int k = 0; k < 2; ++k) {
        const Filters& f = filters[k];
        Qol16s* out = e.weighted.data() + kPastWeighted + k * kSubframe;
        Subframe residual;
        qolsResidualFilter_G729E_16s(f.zeros.data(), f.weightingOrder,
                                     e.analysis.speech.data() + kCurrent + k * kSubframe,
                                     residual.data(), kSubframe);
        qolsSynthesisFilter_G729E_16s(f.poles.data(), f.weightingOrder, residual.data(), out,
                                      kSubframe, out - f.weightingOrder);
    }
}

/// In place, with the newest samples of a memory of kMemory.
void synthesise(const Filter& a, int order, Qol16s* x, const Qol16s* memory) {
    qolsSynthesisFilter_G729E_16s_I(a.data(), order, x, kSubframe, memory + kMemory - order);
}

Subframe impulseResponse(const Filters& f) {
    constexpr Qol16s kNoMemory[kMemory] = {};
    Subframe h{};
    std::copy_n(f.zeros.begin(), f.weightingOrder + 1, h.begin());
    synthesise(f.quant, f.order, h.data(), kNoMemory);
    synthesise(f.poles, f.weightingOrder, h.data(), kNoMemory);
    return h;
}

/// LP residual into the excitation and into p; target of the pitch search from it.
void makeTarget(EncoderE& e, const Filters& f, int subframe, PitchPart& p) {
    Qol16s* exc = e.sub.excitation.data() + kPastExcitation + subframe * kSubframe;
    qolsResidualFilter_G729E_16s(f.quant.data(), f.order,
                                 e.analysis.speech.data() + kCurrent + subframe * kSubframe, exc,
                                 kSubframe);
    std::copy_n(exc, kSubframe, p.residual.begin());
    std::array<Qol16s, kMemory + kSubframe> error;
    std::copy(e.errorMemory.begin(), e.errorMemory.end(), error.begin());
    std::copy_n(exc, kSubframe, error.begin() + kMemory);
    synthesise(f.quant, f.order, error.data() + kMemory, e.errorMemory.data());
    qolsResidualFilter_G729E_16s(f.zeros.data(), f.weightingOrder, error.data() + kMemory,
                                 p.target.data(), kSubframe);
    synthesise(f.poles, f.weightingOrder, p.target.data(), e.sub.weightedMemory.data());
}

int encodeSubframe(EncoderE& e, const Filters& f, int subframe, int nearLag, Search search,
                   FrameCodes& codes) {
    PitchPart p;
    p.response = impulseResponse(f);
    makeTarget(e, f, subframe, p);
    Qol16s delay[2];
    Subframe vector;
    qolsAdaptiveCodebookSearch_G729_16s(nearLag, p.target.data(), p.response.data(),
                                        e.sub.excitation.data() + subframe * kSubframe, delay,
                                        vector.data(), static_cast<Qol16s>(subframe));
    p.lag = {delay[0], delay[1]};
    codeLag(codes, subframe, p.lag, nearLag);
    qolsAdaptiveCodebookGain_G729_16s(p.target.data(), p.response.data(), vector.data(),
                                      p.filtered.data(), &p.gain);
    codeSubframe(e.sub, p, subframe, search, codes.sub[subframe]);

    Qol16s* speech = e.synthesis.data() + kMemory + subframe * kSubframe;
    std::copy_n(e.sub.excitation.data() + kPastExcitation + subframe * kSubframe, kSubframe,
                speech);
    synthesise(f.quant, f.order, speech, speech - kMemory);
    for (int i = 0; i < kMemory; ++i) {
        const int n = kSubframe - kMemory + i;
        e.errorMemory[static_cast<std::size_t>(i)] =
            sub(e.analysis.speech[static_cast<std::size_t>(kCurrent + subframe * kSubframe + n)],
                speech[n]);
    }
    return p.lag.integer;
}

void packFrame11800(const FrameCodes& codes, bool backward, Frame& frame) {
    constexpr int kForward[5] = {7, 7, 7, 7, 7}, kBackward[5] = {13, 10, 7, 7, 7};
    clearFrame(frame);
    const auto put = [&frame](int value, int bits) {
        putBits(frame, static_cast<std::uint16_t>(value), bits);
    };
    put(backward ? 3 : 0, 2);
    if (!backward) {
        put(codes.lsp[0], 8);
        put(codes.lsp[1], 10);
    }
    for (int i = 0; i < 2; ++i) {
        const SubframeCodes& s = codes.sub[i];
        put(s.lag, i == 0 ? 8 : 5);
        if (i == 0) {
            put(codes.parity ^ (s.lag >> 1 & 1), 1);
        }
        for (int k = 0; k < 5; ++k) {
            put(s.words[k], backward ? kBackward[k] : kForward[k]);
        }
        put(s.gain[0], 3);
        put(s.gain[1], 4);
    }
}

void encodeAt(EncoderE& e, const std::int16_t* pcm, bool highRate, Frame& frame) {
    FrameCodes codes{};
    LpFrame lp;
    analyseSpectrum(e.analysis, pcm, Grid::main, lp);
    if (e.backward.lastBackward) { // no interpolation with what a backward frame left
        lp.middle = lp.lsp;
        qolsLSPToLPC_G729_16s(lp.lsp.data(), lp.lpc[0].data());
    }
    const Forward forward = quantiseForward(e, lp);
    const BackwardFilter filter = analyseBackward(e.backward);
    Filters filters[2];
    bool backward = false;
    if (highRate) {
        backward = chooseFilters(e, lp, forward, filter, filters);
    } else {
        filters[0].quant = forward.lpc[0];
        filters[1].quant = forward.lpc[1];
        e.modes = ModeState{};
        e.modes.stationarity = 0;
    }
    if (!backward) {
        commitForward(e, forward);
        std::copy_n(forward.codes, 2, codes.lsp);
    }
    e.lastLsp = lp.lsp;
    weightingFilters(e, lp, backward, highRate && e.backward.dominant, filters);
    weightSpeech(e, filters);

    Qol16s openLag = 0;
    qolsOpenLoopPitchSearch_G729_16s(e.weighted.data() + kPastWeighted, &openLag);
    const Search search = !highRate  ? Search::nested
                          : backward ? Search::twelvePulses
                                     : Search::tenPulses;
    int lag = openLag;
    for (int k = 0; k < 2; ++k) {
        lag = encodeSubframe(e, filters[k], k, lag, search, codes);
    }
    if (highRate) {
        packFrame11800(codes, backward, frame);
    } else {
        packFrame(codes, frame);
    }
    updateBackward(e.backward, false, filters[1].quant.data(), filters[1].order,
                   e.synthesis.data() + kMemory);
    std::copy(e.synthesis.end() - kMemory, e.synthesis.end(), e.synthesis.begin());
    advance(e.analysis);
    advance(e.sub);
    std::copy(e.weighted.begin() + kFrameSamples, e.weighted.end(), e.weighted.begin());
}

} // namespace

void* openEncoder(const Codec&, const CodecSettings&) {
    auto* e = new EncoderE;
    initAnalysis(e->analysis);
    initBackward(e->backward);
    return e;
}

void closeEncoder(void* encoder) { delete static_cast<EncoderE*>(encoder); }

void encode(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    encodeAt(*static_cast<EncoderE*>(encoder), pcm, true, frame);
}

void encode8000(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    encodeAt(*static_cast<EncoderE*>(encoder), pcm, false, frame);
}

} // namespace qolsc::tools::g729e
