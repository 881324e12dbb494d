// SPDX-License-Identifier: Apache-2.0
// Decoder of G.729 Annex A: the synthesis of the main body and the simplified post-filter (§A.4.2).
#include "codecs/g729a/decoder.h"

#include "codecs/g729/synthesis.h"
#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>
#include <array>

namespace qolsc::tools::g729a {

namespace {

using namespace g729;

/// Powers of a factor, Q15, 1 held at 32767, as the main body's tables have them.
constexpr std::array<Qol16s, kCoeffs> powersOf(int factor) {
    std::array<Qol16s, kCoeffs> p{32767};
    int f = factor;
    for (std::size_t i = 1; i < p.size(); ++i, f = (f * factor + 0x4000) >> 15) {
        p[i] = static_cast<Qol16s>(f);
    }
    return p;
}
constexpr auto kNumerator = powersOf(18022), kDenominator = powersOf(22938); // 0.55 and 0.7

struct Decoder {
    Synthesis synthesis;
    Qol16s residual[kPastExcitation + kSubframe] = {};
    Qol16s tiltMemory = 0;
    Qol16s memory[kOrder] = {}; ///< last outputs of 1/A(z/0.7)
    Qol16s gain = 4096;         ///< Q12
    std::array<Qol8u, 24> highPass{};
};

/// speech has 10 samples in front.
void postFilter(Decoder& d, const Qol16s* lpc, int lag, bool active, const Qol16s* speech,
                Qol16s* out) {
    Qol16s weighted[2 * kCoeffs];
    qolsMul_NR_16s_Sfs(lpc, kNumerator.data(), weighted, kCoeffs, 15);
    qolsMul_NR_16s_Sfs(lpc, kDenominator.data(), weighted + kCoeffs, kCoeffs, 15);

    Qol16s filtered[1 + kSubframe];
    filtered[0] = d.tiltMemory;
    if (active) {
        qolsLongTermPostFilter_G729A_16s(static_cast<Qol16s>(lag), speech, weighted, d.residual,
                                         filtered + 1);
    } else {
        qolsResidualFilter_G729_16s(speech, weighted, d.residual + kPastExcitation);
        std::copy_n(d.residual + kPastExcitation, kSubframe, filtered + 1);
    }
    std::copy_n(d.residual + kSubframe, kPastExcitation, d.residual);

    qolsTiltCompensation_G729A_16s(weighted, filtered + 1);
    d.tiltMemory = filtered[0];
    qolsSynthesisFilter_NR_16s_Sfs(weighted + kCoeffs, filtered + 1, out, kSubframe, 12, d.memory);
    std::copy_n(out + kSubframe - kOrder, kOrder, d.memory);
    qolsGainControl_G729A_16s_I(speech, out, &d.gain);
}

} // namespace

void* openDecoder(const Codec&, const CodecSettings&) {
    auto* decoder = new Decoder;
    initSynthesis(decoder->synthesis, Concealment::both, false);
    qolsHighPassFilterInit_G729(kOutputHighPass, decoder->highPass.data());
    return decoder;
}

void closeDecoder(void* decoder) { delete static_cast<Decoder*>(decoder); }

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    auto& d = *static_cast<Decoder*>(decoder);
    Synthesis& s = d.synthesis;
    synthesizeFrame(s, readFrame(frame));
    for (int i = 0; i < 2; ++i) {
        const int at = i * kSubframe;
        postFilter(d, s.lpc[i], s.lags[i], s.active, s.speech + kMaxOrder + at, pcm + at);
    }
    qolsHighPassFilter_G729_16s_ISfs(pcm, kFrameSamples, 13, d.highPass.data());
    return kFrameSamples;
}

} // namespace qolsc::tools::g729a
