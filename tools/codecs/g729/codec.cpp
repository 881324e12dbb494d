// SPDX-License-Identifier: Apache-2.0
// Codec records of the G.729 main body and Annexes D and E. One decoder serves them all: it takes
// frames of every rate and of Annex B in any order.
#include "codecs/g729/bits.h"
#include "codecs/g729/decoder.h"
#include "codecs/g729/encoder.h"
#include "codecs/g729/encoder_e.h"
#include "codecs/g729/forms.h"
#include "codecs/streams.h"

namespace qolsc::tools {

namespace {

const StreamForm* const kForms[] = {&kPacked, &g729::kSerialFrames};

constexpr Codec record(const char* name, const char* title, int bits) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 8000,
                 .frameSamples = g729::kFrameSamples,
                 .granule = g729::kFrameSamples,
                 .frameBits = bits,
                 .forms = kForms,
                 .openEncoder = g729::openEncoder,
                 .closeEncoder = g729::closeEncoder,
                 .encode = g729::encode,
                 .openDecoder = g729::openDecoder,
                 .closeDecoder = g729::closeDecoder,
                 .decode = g729::decode,
                 .delay = 40,
                 .hasDtx = true};
}

constexpr Codec recordE() {
    Codec codec = record("g729-11.8", "ITU-T G.729 Annex E, 11.8 kbit/s", g729::kBits11800);
    codec.openEncoder = g729e::openEncoder;
    codec.closeEncoder = g729e::closeEncoder;
    codec.encode = g729e::encode;
    codec.hasDtx = false;
    return codec;
}

} // namespace

extern const Codec kG729, kG729_6400, kG729_11800;
const Codec kG729_11800 = recordE();
const Codec kG729 = record("g729", "ITU-T G.729, 8 kbit/s", g729::kFrameBits);
const Codec kG729_6400 = record("g729-6.4", "ITU-T G.729 Annex D, 6.4 kbit/s", g729::kBits6400);

} // namespace qolsc::tools
