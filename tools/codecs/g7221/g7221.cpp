// SPDX-License-Identifier: Apache-2.0
// ITU-T G.722.1 at 24 and 32 kbit/s (7 kHz) and Annex C at 24, 32 and 48 kbit/s (14 kHz). Samples
// are 16-bit PCM, full scale.
#include "codecs/g7221/frame.h"
#include "codecs/states.h"
#include "codecs/streams.h"

namespace qolsc::tools {

namespace {

using namespace g7221;

Mode modeOf(const Codec& codec) {
    const int bitRate = codec.frameBits * (codec.sampleRate / codec.frameSamples);
    return codec.sampleRate == 16000 ? shortMode(bitRate) : longMode(bitRate);
}

void* openEncoder(const Codec& codec, const CodecSettings&) {
    return new EncoderState{modeOf(codec)};
}

void* openDecoder(const Codec& codec, const CodecSettings&) {
    return new DecoderState{modeOf(codec)};
}

const StreamForm* const kForms[] = {&kPacked, &kSerial};

constexpr Codec g7221Codec(const char* name, const char* title, int rate, int bitRate) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = rate,
                 .frameSamples = rate / 50,
                 .granule = rate / 50,
                 .frameBits = bitRate / 50,
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = closeState<EncoderState>,
                 .encode = encodeState<EncoderState>,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeState<DecoderState>,
                 .decode = decodeState<DecoderState>,
                 .delay = rate / 50}; // the transform's overlap
}

} // namespace

extern const Codec kG7221_24, kG7221_32, kG7221C_24, kG7221C_32, kG7221C_48;
const Codec kG7221_24 =
    g7221Codec("g7221-24", "ITU-T G.722.1 transform codec, 7 kHz, 24 kbit/s", 16000, 24000);
const Codec kG7221_32 =
    g7221Codec("g7221-32", "ITU-T G.722.1 transform codec, 7 kHz, 32 kbit/s", 16000, 32000);
const Codec kG7221C_24 =
    g7221Codec("g7221c-24", "ITU-T G.722.1 Annex C, 14 kHz, 24 kbit/s", 32000, 24000);
const Codec kG7221C_32 =
    g7221Codec("g7221c-32", "ITU-T G.722.1 Annex C, 14 kHz, 32 kbit/s", 32000, 32000);
const Codec kG7221C_48 =
    g7221Codec("g7221c-48", "ITU-T G.722.1 Annex C, 14 kHz, 48 kbit/s", 32000, 48000);

} // namespace qolsc::tools
