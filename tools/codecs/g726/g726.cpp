// SPDX-License-Identifier: Apache-2.0
// ITU-T G.726 at its four rates. The standard's linear samples have 14 bits: 16-bit samples lose
// two on the way in and get two zero bits on the way out.
#include "codecs/bits.h"
#include "codecs/states.h"
#include "codecs/streams.h"

#include "qolsc/g726.h"

#include <array>

namespace qolsc::tools {

namespace {

constexpr int kFrameSamples = 160; // 20 ms, as in RTP

struct Coder {
    std::vector<std::uint8_t> record;
    int codeBits = 0;
    bool companded = false;
    int ringing = 0; ///< counts the codes put in the place of lost ones
};

QolSpchBitRate rateOf(int codeBits) {
    constexpr QolSpchBitRate kRates[] = {QOL_SPCHBR_16000, QOL_SPCHBR_24000, QOL_SPCHBR_32000,
                                         QOL_SPCHBR_40000};
    return kRates[codeBits - 2];
}

void* openEncoder(const Codec& codec, const CodecSettings&) {
    Qol32s size = 0;
    qolsEncodeGetStateSize_G726_16s8u(&size);
    auto* coder =
        new Coder{std::vector<std::uint8_t>(static_cast<std::size_t>(size)), bitsPerCode(codec)};
    qolsEncodeInit_G726_16s8u(reinterpret_cast<QolsEncodeState_G726*>(coder->record.data()),
                              rateOf(coder->codeBits));
    return coder;
}

void encode(void* encoder, const std::int16_t* pcm, int samples, Frame& frame) {
    auto* coder = static_cast<Coder*>(encoder);
    std::array<Qol16s, kFrameSamples> linear{};
    std::array<Qol8u, kFrameSamples> codes{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(samples); ++i) {
        linear[i] = static_cast<Qol16s>(pcm[i] >> 2);
    }
    qolsEncode_G726_16s8u(reinterpret_cast<QolsEncodeState_G726*>(coder->record.data()),
                          linear.data(), codes.data(), samples);
    for (std::size_t i = 0; i < static_cast<std::size_t>(samples); ++i) {
        putBits(frame, codes[i], coder->codeBits);
    }
}

void* openDecoder(const Codec& codec, const CodecSettings& settings) {
    const QolPCMLaw law = settings.law == Law::alaw    ? QOL_PCM_ALAW
                          : settings.law == Law::mulaw ? QOL_PCM_MULAW
                                                       : QOL_PCM_LINEAR;
    Qol32s size = 0;
    qolsDecodeGetStateSize_G726_8u16s(&size);
    auto* coder = new Coder{std::vector<std::uint8_t>(static_cast<std::size_t>(size)),
                            bitsPerCode(codec), law != QOL_PCM_LINEAR};
    qolsDecodeInit_G726_8u16s(reinterpret_cast<QolsDecodeState_G726*>(coder->record.data()),
                              rateOf(coder->codeBits), law);
    return coder;
}

/// The standard knows no lost frames. Codes of the least difference in their place let the
/// predictor ring out and the scale factor shrink: code 0 is a difference of zero; at 16 kbit/s,
/// which has no such code, the two least ones take turns.
Qol8u codeForLost(Coder& coder) {
    return coder.codeBits == 2 && (++coder.ringing & 1) != 0 ? 3 : 0;
}

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    auto* coder = static_cast<Coder*>(decoder);
    std::array<Qol8u, kFrameSamples> codes{};
    const int samples = frame.bits / coder->codeBits;
    int position = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(samples); ++i) {
        codes[i] = frame.kind == FrameKind::lost
                       ? codeForLost(*coder)
                       : static_cast<Qol8u>(takeBits(frame, position, coder->codeBits));
    }
    qolsDecode_G726_8u16s(reinterpret_cast<QolsDecodeState_G726*>(coder->record.data()),
                          codes.data(), pcm, samples);
    if (!coder->companded) {
        for (int i = 0; i < samples; ++i) {
            pcm[i] = static_cast<std::int16_t>(pcm[i] * 4); // 14 bits: it can't overflow
        }
    }
    return samples;
}

const StreamForm* const kForms[] = {&kPackedLowFirst, &kSerial, &kCodes, &kWords};

constexpr Codec g726(const char* name, const char* title, int codeBits) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 8000,
                 .frameSamples = kFrameSamples,
                 .granule = 1,
                 .frameBits = kFrameSamples * codeBits,
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = closeState<Coder>,
                 .encode = encode,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeState<Coder>,
                 .decode = decode,
                 .hasLaw = true};
}

} // namespace

extern const Codec kG726_16, kG726_24, kG726_32, kG726_40;
const Codec kG726_16 = g726("g726-16", "ITU-T G.726 ADPCM, 16 kbit/s", 2);
const Codec kG726_24 = g726("g726-24", "ITU-T G.726 ADPCM, 24 kbit/s", 3);
const Codec kG726_32 = g726("g726-32", "ITU-T G.726 ADPCM, 32 kbit/s", 4);
const Codec kG726_40 = g726("g726-40", "ITU-T G.726 ADPCM, 40 kbit/s", 5);

} // namespace qolsc::tools
