// SPDX-License-Identifier: Apache-2.0
// Encoder of G.729 Annex A, with the pauses of Annex B, assembled from the library's exports.
#include "codecs/g729a/encoder.h"

#include "codecs/g729/analysis.h"
#include "codecs/g729/dtx.h"
#include "numeric/basop.h"
#include "qolsc.h"

#include <algorithm>

namespace qolsc::tools::g729a {

using namespace g729;

namespace {

constexpr Qol16s kGamma_Q15 = 24576; // 0.75
constexpr Qol16s kTilt_Q15 = 22938;  // 0.7, emphasis of the low frequencies (A.3.3)

struct Encoder {
    Analysis analysis;
    SubframeState sub;
    std::array<Qol16s, kPastWeighted + kFrameSamples> weighted{};
    bool hasPauses = false;
    Dtx dtx;
};

/// Filter of the open-loop search: 1/(A(z/0.75) (1 - 0.7 z^-1)), the product cut to order 10.
Lpc lowPassWeighting(const Lpc& weighting) {
    Lpc a;
    a[0] = 4096;
    for (int i = 1; i <= kOrder; ++i) {
        a[i] = basop::sub(weighting[i], basop::mult(weighting[i - 1], kTilt_Q15));
    }
    return a;
}

/// LP residual and weighted speech of both subframes; weighting gets the filters 1/A(z/0.75).
void weightSpeech(Encoder& e, const LpFrame& lp, Lpc* weighting, Qol16s* residual) {
    for (int k = 0; k < 2; ++k) {
        const int at = k * kSubframe;
        Qol16s* out = e.weighted.data() + kPastWeighted + at;
        qolsMulPowerC_NR_16s_Sfs(lp.quant[k].data(), kGamma_Q15, weighting[k].data(), kCoeffs, 15);
        qolsResidualFilter_G729_16s(e.analysis.speech.data() + kCurrent + at, lp.quant[k].data(),
                                    residual + at);
        qolsSynthesisFilter_NR_16s_Sfs(lowPassWeighting(weighting[k]).data(), residual + at, out,
                                       kSubframe, 12, out - kOrder);
    }
}

/// Target, closed-loop pitch, its vector and gain.
void searchPitch(Encoder& e, const Lpc& weighting, int subframe, int openLag, PitchPart& p) {
    Qol16s* past = e.sub.excitation.data() + subframe * kSubframe;
    qolsSynthesisFilterZeroStateResponse_NR_16s(weighting.data(), p.response.data(), kSubframe, 12);
    qolsSynthesisFilter_NR_16s_Sfs(weighting.data(), past + kPastExcitation, p.target.data(),
                                   kSubframe, 12, e.sub.weightedMemory.data() + kMemory - kOrder);
    Qol16s delay[2];
    Subframe vector;
    qolsAdaptiveCodebookSearch_G729A_16s(openLag, p.target.data(), p.response.data(), past, delay,
                                         vector.data(), static_cast<Qol16s>(subframe));
    p.lag = {delay[0], delay[1]};
    qolsAdaptiveCodebookGain_G729A_16s(p.target.data(), weighting.data(), vector.data(),
                                       p.filtered.data(), &p.gain);
}

void encodeSpeech(Encoder& e, LpFrame& lp, Frame& frame) {
    FrameCodes codes{};
    quantiseSpectrum(e.analysis, lp, codes.lsp);
    Lpc weighting[2];
    weightSpeech(e, lp, weighting, e.sub.excitation.data() + kPastExcitation);
    Qol16s openLag = 0;
    qolsOpenLoopPitchSearch_G729A_16s(e.weighted.data() + kPastWeighted, &openLag);

    int lag = openLag;
    for (int k = 0; k < 2; ++k) {
        PitchPart p;
        searchPitch(e, weighting[k], k, lag, p);
        codeLag(codes, k, p.lag, lag);
        lag = p.lag.integer;
        codeSubframe(e.sub, p, k, Search::depthFirst, codes.sub[k]);
    }
    packFrame(codes, frame);
}

/// A frame of noise; the filters go on as if it had been coded.
void encodePause(Encoder& e, LpFrame& lp, Frame& frame) {
    encodeNoise(e.dtx, e.analysis, e.sub, Grid::annexA, lp, frame);
    Lpc weighting[2];
    std::array<Qol16s, kFrameSamples> residual;
    weightSpeech(e, lp, weighting, residual.data());
    for (int k = 0; k < 2; ++k) {
        const int at = k * kSubframe;
        Subframe error;
        for (int i = 0; i < kSubframe; ++i) {
            error[i] = basop::sub(residual[at + i], e.sub.excitation[kPastExcitation + at + i]);
        }
        Qol16s* memory = e.sub.weightedMemory.data() + kMemory - kOrder;
        qolsSynthesisFilter_NR_16s_Sfs(weighting[k].data(), error.data(), error.data(), kSubframe,
                                       12, memory);
        std::copy(error.end() - kOrder, error.end(), memory);
    }
}

} // namespace

void* openEncoder(const Codec&, const CodecSettings& settings) {
    auto* e = new Encoder;
    e->hasPauses = settings.dtx;
    initAnalysis(e->analysis);
    return e;
}

void closeEncoder(void* encoder) { delete static_cast<Encoder*>(encoder); }

void encode(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    Encoder& e = *static_cast<Encoder*>(encoder);
    LpFrame lp;
    analyseSpectrum(e.analysis, pcm, Grid::annexA, lp);
    if (e.hasPauses && !takeFrame(e.dtx, e.analysis, lp)) {
        encodePause(e, lp, frame);
    } else {
        encodeSpeech(e, lp, frame);
    }
    advance(e.analysis);
    advance(e.sub);
    std::copy(e.weighted.begin() + kFrameSamples, e.weighted.end(), e.weighted.begin());
}

} // namespace qolsc::tools::g729a
