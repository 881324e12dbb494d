// SPDX-License-Identifier: Apache-2.0
// Decoder of G.729 at all rates (main body, Annexes D and E, noise frames of Annex B): synthesis,
// then the adaptive post-filter and the output high-pass filter (§4.2).
#include "codecs/g729/decoder.h"

#include "codecs/g729/postfilter.h"
#include "qolsc/g729.h"

#include <array>

namespace qolsc::tools::g729 {

namespace {

struct Decoder {
    Synthesis synthesis;
    PostFilter post;
    std::array<Qol8u, 24> highPass{};
};

} // namespace

void* openDecoder(const Codec&, const CodecSettings&) {
    auto* decoder = new Decoder;
    initSynthesis(decoder->synthesis, Concealment::oneOfTwo, true);
    qolsHighPassFilterInit_G729(kOutputHighPass, decoder->highPass.data());
    return decoder;
}

void closeDecoder(void* decoder) { delete static_cast<Decoder*>(decoder); }

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    auto& d = *static_cast<Decoder*>(decoder);
    Synthesis& s = d.synthesis;
    synthesizeFrame(s, readFrame(frame));
    const bool highRate = s.active && s.bits == kBits11800;
    adaptFactors(d.post, highRate, s.backward.dominant);
    bool voiced = false;
    for (int i = 0; i < 2; ++i) {
        const int at = i * kSubframe;
        const Qol16s* speech = s.speech + kMaxOrder + at;
        voiced |= highRate ? postFilterE(d.post, s.lpc[i], s.order, s.lags[0], speech, pcm + at)
                           : postFilter(d.post, s.lpc[i], s.lags[0], s.active, speech, pcm + at);
    }
    s.voiced = voiced;
    qolsHighPassFilter_G729_16s_ISfs(pcm, kFrameSamples, 13, d.highPass.data());
    return kFrameSamples;
}

} // namespace qolsc::tools::g729
