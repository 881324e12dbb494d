// SPDX-License-Identifier: Apache-2.0
// The decoder of GSM full rate. GSM 06.10 §5.3.
#include "codecs/gsmfr/gsmfr.h"

#include "numeric/basop.h"
#include "qolsc/gsmfr.h"

#include <algorithm>

namespace qolsc::tools::gsmfr {

using namespace basop;

namespace {

// §5.3.2: a lag outside the range keeps the last one.
void synthesizeLongTerm(Decoder& decoder, const Subframe& s, Qol16s* drp) {
    if (s.lag >= kMinLag && s.lag <= kMaxLag) {
        decoder.lag = s.lag;
    }
    const Qol16s gain = kLtpGain[static_cast<std::size_t>(s.gain)];
    const auto rpe = decodeRpe(s);
    for (int i = 0; i < kSubframeSamples; ++i) {
        drp[i] = add(rpe[static_cast<std::size_t>(i)], mult_r(gain, drp[i - decoder.lag]));
    }
}

} // namespace

void decodeFrame(Decoder& decoder, const Parameters& in, Qol16s* pcm) {
    Qol16s* drp = decoder.residual.data() + kMaxLag;
    for (int n = 0; n < kSubframes; ++n) {
        synthesizeLongTerm(decoder, in.subframes[static_cast<std::size_t>(n)],
                           drp + n * kSubframeSamples);
    }
    for (const Piece& p : interpolateLar(decoder.lar, decodeLar(in.lar))) {
        qolsShortTermSynthesisFilter_GSMFR_16s(p.reflection.data(), drp + p.first, pcm + p.first,
                                               p.samples, decoder.synthesis.data());
    }
    std::copy_n(decoder.residual.data() + kFrameSamples, kMaxLag, decoder.residual.data());
    qolsDeemphasize_GSMFR_16s_I(pcm, kFrameSamples, &decoder.emphasis);
}

} // namespace qolsc::tools::gsmfr
