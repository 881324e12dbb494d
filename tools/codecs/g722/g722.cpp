// SPDX-License-Identifier: Apache-2.0
// ITU-T G.722 at 64, 56 and 48 kbit/s: one octet for each pair of 16 kHz samples, the high-band
// code in the two upper bits. At 56 and 48 kbit/s the lowest one or two bits of the octet are left
// to auxiliary data; they are 0 here, and the octet stays an octet.
//
// SAMPLE ALIGNMENT: PCM here is 16 BITS, full scale, as the QMF calls want it. Nothing is shifted;
// the standard's 14-bit samples are the upper 14 bits. Between QMF and ADPCM, band samples have 15
// bits.
#include "codecs/bits.h"
#include "codecs/g722/conceal.h"
#include "codecs/states.h"
#include "codecs/streams.h"

#include <array>

namespace qolsc::tools {

namespace {

constexpr int kFrameSamples = 320; // 20 ms
constexpr int kQmfMemory = 24;

/// Auxiliary bits of an octet by rate, from the codec's record: 64, 56 or 48 kbit/s is the rate of
/// the audio, the octets always come at 64.
int auxiliaryBits(const Codec& codec);

struct Coder {
    std::vector<std::uint8_t> record;
    std::array<Qol16s, kQmfMemory> qmf{};
    int auxiliary = 0;
    G722Concealer concealer{};
};

QolsSBADPCMState_G722* stateOf(Coder& coder) {
    return reinterpret_cast<QolsSBADPCMState_G722*>(coder.record.data());
}

Coder* newCoder(const Codec& codec, Qol32s size) {
    auto* coder = new Coder;
    coder->record.resize(static_cast<std::size_t>(size));
    coder->auxiliary = auxiliaryBits(codec);
    return coder;
}

void* openEncoder(const Codec& codec, const CodecSettings&) {
    Qol32s size = 0;
    qolsSBADPCMEncodeStateSize_G722_16s(&size);
    Coder* coder = newCoder(codec, size);
    qolsSBADPCMEncodeInit_G722_16s(stateOf(*coder));
    return coder;
}

void encode(void* encoder, const std::int16_t* pcm, int samples, Frame& frame) {
    auto& coder = *static_cast<Coder*>(encoder);
    std::array<Qol16s, kFrameSamples> pairs{};
    qolsQMFEncode_G722_16s(pcm, pairs.data(), samples, coder.qmf.data());
    qolsSBADPCMEncode_G722_16s(pairs.data(), pairs.data(), samples, stateOf(coder));
    for (std::size_t i = 0; i < static_cast<std::size_t>(samples); i += 2) {
        const int low = pairs[i] >> coder.auxiliary << coder.auxiliary;
        putBits(frame, static_cast<std::uint32_t>(pairs[i + 1] << 6 | low), 8);
    }
}

void* openDecoder(const Codec& codec, const CodecSettings&) {
    Qol32s size = 0;
    qolsSBADPCMDecodeStateSize_G722_16s(&size);
    Coder* coder = newCoder(codec, size);
    qolsSBADPCMDecodeInit_G722_16s(stateOf(*coder));
    return coder;
}

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    auto& coder = *static_cast<Coder*>(decoder);
    std::array<Qol16s, kFrameSamples> pairs{};
    const int samples = 2 * (frame.bits / 8);
    if (frame.kind == FrameKind::lost) {
        concealLost(coder.concealer, stateOf(coder), pairs.data(), samples / 2);
    } else {
        int position = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(samples); i += 2) {
            const auto octet = takeBits(frame, position, 8);
            pairs[i] = static_cast<Qol16s>(octet & 63);
            pairs[i + 1] = static_cast<Qol16s>(octet >> 6);
        }
        concealResume(coder.concealer, stateOf(coder));
        qolsSBADPCMDecode_G722_16s(pairs.data(), pairs.data(), samples,
                                   static_cast<Qol16s>(coder.auxiliary + 1), stateOf(coder));
        concealGood(coder.concealer, pairs.data(), samples / 2);
    }
    qolsQMFDecode_G722_16s(pairs.data(), pcm, samples, coder.qmf.data());
    return samples;
}

const StreamForm* const kForms[] = {&kPacked, &kSerial, &kWords};

constexpr Codec g722(const char* name, const char* title) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 16000,
                 .frameSamples = kFrameSamples,
                 .granule = 2,
                 .frameBits = kFrameSamples / 2 * 8,
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = closeState<Coder>,
                 .encode = encode,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeState<Coder>,
                 .decode = decode,
                 .delay = kQmfMemory - 2}; // both filters, 23 taps between them less the pair
}

} // namespace

extern const Codec kG722_64, kG722_56, kG722_48;
const Codec kG722_64 = g722("g722-64", "ITU-T G.722 sub-band ADPCM, 64 kbit/s (16-bit PCM)");
const Codec kG722_56 = g722("g722-56", "ITU-T G.722 sub-band ADPCM, 56 kbit/s in 64 (16-bit PCM)");
const Codec kG722_48 = g722("g722-48", "ITU-T G.722 sub-band ADPCM, 48 kbit/s in 64 (16-bit PCM)");

namespace {
int auxiliaryBits(const Codec& codec) {
    return &codec == &kG722_56 ? 1 : &codec == &kG722_48 ? 2 : 0;
}
} // namespace

} // namespace qolsc::tools
