// SPDX-License-Identifier: Apache-2.0
// Encoder of the G.729 main body at 8 kbit/s, with the pauses of Annex B, and of Annex D, assembled
// from the library's exports.
#include "codecs/g729/encoder.h"

#include "codecs/g729/analysis.h"
#include "codecs/g729/dtx.h"
#include "codecs/g729/weighting.h"
#include "numeric/basop.h"
#include "qolsc.h"

#include <algorithm>

namespace qolsc::tools::g729 {

using namespace basop;

namespace {

struct Encoder {
    bool lowRate = false; ///< 6.4 kbit/s
    Analysis analysis;
    SubframeState sub;
    Adaptation adaptation;
    std::array<Qol16s, kPastWeighted + kFrameSamples> weighted{};
    std::array<Qol16s, kOrder> synthesisMemory{};
    std::array<Qol16s, kOrder> errorMemory{}; ///< speech less its synthesis
    bool hasPauses = false;
    Dtx dtx;
};

/// Weighting filter of a subframe.
struct Weighting {
    Lpc zeros, poles;
};

/// Weighting filters of both subframes.
void weightingFilters(Adaptation& a, const LpFrame& lp, Weighting* w) {
    Gammas gammas[2];
    adapt(a, lp, gammas);
    for (int k = 0; k < 2; ++k) {
        const Qol16s* lpc = lp.lpc[k].data();
        qolsMulPowerC_NR_16s_Sfs(lpc, gammas[k].g1, w[k].zeros.data(), kCoeffs, 15);
        qolsMulPowerC_NR_16s_Sfs(lpc, gammas[k].g2, w[k].poles.data(), kCoeffs, 15);
    }
}

/// Weighted speech of both subframes.
void weightSpeech(Encoder& e, const Weighting* w) {
    for (int k = 0; k < 2; ++k) {
        const int at = k * kSubframe;
        Qol16s* out = e.weighted.data() + kPastWeighted + at;
        Subframe residual;
        qolsResidualFilter_G729_16s(e.analysis.speech.data() + kCurrent + at, w[k].zeros.data(),
                                    residual.data());
        qolsSynthesisFilter_NR_16s_Sfs(w[k].poles.data(), residual.data(), out, kSubframe, 12,
                                       out - kOrder);
    }
}

/// Impulse response of the weighted synthesis filter.
Subframe impulseResponse(const Lpc& quant, const Weighting& w) {
    constexpr Qol16s kNoMemory[kOrder] = {};
    Subframe h{};
    std::copy(w.zeros.begin(), w.zeros.end(), h.begin());
    qolsSynthesisFilter_NR_16s_Sfs(quant.data(), h.data(), h.data(), kSubframe, 12, kNoMemory);
    qolsSynthesisFilter_NR_16s_Sfs(w.poles.data(), h.data(), h.data(), kSubframe, 12, kNoMemory);
    return h;
}

/// LP residual into the excitation; target of the pitch search from it.
void makeTarget(Encoder& e, const Lpc& quant, const Weighting& w, int subframe, Subframe& target) {
    Qol16s* residual = e.sub.excitation.data() + kPastExcitation + subframe * kSubframe;
    std::array<Qol16s, kOrder + kSubframe> error;
    std::copy(e.errorMemory.begin(), e.errorMemory.end(), error.begin());
    qolsResidualFilter_G729_16s(e.analysis.speech.data() + kCurrent + subframe * kSubframe,
                                quant.data(), residual);
    qolsSynthesisFilter_NR_16s_Sfs(quant.data(), residual, error.data() + kOrder, kSubframe, 12,
                                   e.errorMemory.data());
    qolsResidualFilter_G729_16s(error.data() + kOrder, w.zeros.data(), target.data());
    qolsSynthesisFilter_NR_16s_Sfs(w.poles.data(), target.data(), target.data(), kSubframe, 12,
                                   e.sub.weightedMemory.data() + kMemory - kOrder);
}

/// Local synthesis of the coded subframe.
void synthesise(Encoder& e, const Lpc& quant, int subframe) {
    Subframe speech;
    const Qol16s* exc = e.sub.excitation.data() + kPastExcitation + subframe * kSubframe;
    qolsSynthesisFilter_NR_16s_Sfs(quant.data(), exc, speech.data(), kSubframe, 12,
                                   e.synthesisMemory.data());
    for (int i = 0; i < kOrder; ++i) {
        const int n = kSubframe - kOrder + i;
        e.synthesisMemory[i] = speech[n];
        e.errorMemory[i] = sub(e.analysis.speech[kCurrent + subframe * kSubframe + n], speech[n]);
    }
}

/// Codes of a subframe; returns its integer lag.
int encodeSubframe(Encoder& e, const Lpc& quant, const Weighting& w, int subframe, int nearLag,
                   FrameCodes& codes) {
    PitchPart p;
    p.response = impulseResponse(quant, w);
    makeTarget(e, quant, w, subframe, p.target);
    Qol16s delay[2];
    Subframe vector;
    Qol16s* buffer = e.sub.excitation.data() + subframe * kSubframe;
    if (e.lowRate) {
        qolsAdaptiveCodebookSearch_G729D_16s(nearLag, p.target.data(), p.response.data(), buffer,
                                             static_cast<Qol16s>(subframe), delay);
        qolsDecodeAdaptiveVector_G729_16s(delay, buffer, vector.data());
    } else {
        qolsAdaptiveCodebookSearch_G729_16s(nearLag, p.target.data(), p.response.data(), buffer,
                                            delay, vector.data(), static_cast<Qol16s>(subframe));
    }
    p.lag = {delay[0], delay[1]};
    codeLag(codes, subframe, p.lag, nearLag);
    if (e.lowRate && subframe == 1) {
        codes.sub[1].lag = static_cast<Qol16s>(encodeLag1Short(p.lag, secondWindow(nearLag)));
    }
    qolsAdaptiveCodebookGain_G729_16s(p.target.data(), p.response.data(), vector.data(),
                                      p.filtered.data(), &p.gain);
    codeSubframe(e.sub, p, subframe, e.lowRate ? Search::twoPulses : Search::nested,
                 codes.sub[subframe]);
    synthesise(e, quant, subframe);
    return p.lag.integer;
}

void encodeSpeech(Encoder& e, LpFrame& lp, const Weighting* w, Frame& frame) {
    FrameCodes codes{};
    quantiseSpectrum(e.analysis, lp, codes.lsp);
    Qol16s openLag = 0;
    qolsOpenLoopPitchSearch_G729_16s(e.weighted.data() + kPastWeighted, &openLag);
    int lag = openLag;
    for (int k = 0; k < 2; ++k) {
        lag = encodeSubframe(e, lp.quant[k], w[k], k, lag, codes);
    }
    (e.lowRate ? packFrame6400 : packFrame)(codes, frame);
}

/// A frame of noise; the filters go on as if it had been coded.
void encodePause(Encoder& e, LpFrame& lp, const Weighting* w, Frame& frame) {
    encodeNoise(e.dtx, e.analysis, e.sub, Grid::main, lp, frame);
    for (int k = 0; k < 2; ++k) {
        Subframe speech, weighted;
        std::array<Qol16s, kOrder + kSubframe> error;
        std::copy(e.errorMemory.begin(), e.errorMemory.end(), error.begin());
        const int at = k * kSubframe;
        const Qol16s* exc = e.sub.excitation.data() + kPastExcitation + at;
        qolsSynthesisFilter_NR_16s_Sfs(lp.quant[k].data(), exc, speech.data(), kSubframe, 12,
                                       e.synthesisMemory.data());
        for (int i = 0; i < kSubframe; ++i) {
            error[kOrder + i] = sub(e.analysis.speech[kCurrent + at + i], speech[i]);
        }
        Qol16s* memory = e.sub.weightedMemory.data() + kMemory - kOrder;
        qolsResidualFilter_G729_16s(error.data() + kOrder, w[k].zeros.data(), weighted.data());
        qolsSynthesisFilter_NR_16s_Sfs(w[k].poles.data(), weighted.data(), weighted.data(),
                                       kSubframe, 12, memory);
        std::copy(weighted.end() - kOrder, weighted.end(), memory);
        std::copy(speech.end() - kOrder, speech.end(), e.synthesisMemory.begin());
        std::copy(error.end() - kOrder, error.end(), e.errorMemory.begin());
    }
}

} // namespace

void* openEncoder(const Codec& codec, const CodecSettings& settings) {
    auto* e = new Encoder;
    e->lowRate = codec.frameBits == kBits6400;
    e->hasPauses = settings.dtx;
    initAnalysis(e->analysis);
    return e;
}

void closeEncoder(void* encoder) { delete static_cast<Encoder*>(encoder); }

void encode(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    Encoder& e = *static_cast<Encoder*>(encoder);
    LpFrame lp;
    Weighting w[2];
    analyseSpectrum(e.analysis, pcm, Grid::main, lp);
    weightingFilters(e.adaptation, lp, w);
    weightSpeech(e, w);
    if (e.hasPauses && !takeFrame(e.dtx, e.analysis, lp)) {
        encodePause(e, lp, w, frame);
    } else {
        encodeSpeech(e, lp, w, frame);
    }
    advance(e.analysis);
    advance(e.sub);
    std::copy(e.weighted.begin() + kFrameSamples, e.weighted.end(), e.weighted.begin());
}

} // namespace qolsc::tools::g729
