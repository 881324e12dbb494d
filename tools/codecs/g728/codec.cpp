// SPDX-License-Identifier: Apache-2.0
// Codec records of G.728: frames of four vectors, any number of vectors in a call.
#include "codecs/bits.h"
#include "codecs/g728/g728.h"
#include "codecs/streams.h"

#include <algorithm>

namespace qolsc::tools {

namespace {

constexpr int kFrameVectors = 4;

const g728::Rate& rateOf(const Codec& codec) {
    const int bits = bitsPerCode(codec);
    return bits == 10 ? g728::kRate16 : bits == 8 ? g728::kRate128 : g728::kRate96;
}

struct Coder {
    void* state;
    int codeBits;
};

void* openEncoder(const Codec& codec, const CodecSettings&) {
    return new Coder{g728::openEncoder(rateOf(codec)), bitsPerCode(codec)};
}

void closeEncoder(void* encoder) {
    g728::closeEncoder(static_cast<Coder*>(encoder)->state);
    delete static_cast<Coder*>(encoder);
}

void encode(void* encoder, const std::int16_t* pcm, int samples, Frame& frame) {
    const auto* coder = static_cast<Coder*>(encoder);
    for (int i = 0; i + g728::kVector <= samples; i += g728::kVector) {
        putBits(frame, static_cast<std::uint32_t>(g728::encodeVector(coder->state, pcm + i)),
                coder->codeBits);
    }
}

void* openDecoder(const Codec& codec, const CodecSettings& settings) {
    return new Coder{g728::openDecoder(rateOf(codec), settings.filters), bitsPerCode(codec)};
}

void closeDecoder(void* decoder) {
    g728::closeDecoder(static_cast<Coder*>(decoder)->state);
    delete static_cast<Coder*>(decoder);
}

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    const auto* coder = static_cast<Coder*>(decoder);
    const bool lost = frame.kind == FrameKind::lost || frame.kind == FrameKind::noData;
    const int vectors = std::min(frame.bits / coder->codeBits, kFrameVectors);
    int position = 0;
    for (int i = 0; i < vectors; ++i) {
        const auto code = static_cast<int>(takeBits(frame, position, coder->codeBits));
        g728::decodeVector(coder->state, lost ? -1 : code, pcm + g728::kVector * i);
    }
    return g728::kVector * vectors;
}

const StreamForm* const kForms[] = {&kPacked, &kSerial, &kWords};

constexpr Codec record(const char* name, const char* title, int codeBits) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 8000,
                 .frameSamples = kFrameVectors * g728::kVector,
                 .granule = g728::kVector,
                 .frameBits = kFrameVectors * codeBits,
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = closeEncoder,
                 .encode = encode,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeDecoder,
                 .decode = decode};
}

} // namespace

extern const Codec kG728_16, kG728_128, kG728_96;
const Codec kG728_16 = record("g728-16", "ITU-T G.728 low-delay CELP, 16 kbit/s", 10);
const Codec kG728_128 = record("g728-12.8", "ITU-T G.728 low-delay CELP, 12.8 kbit/s", 8);
const Codec kG728_96 = record("g728-9.6", "ITU-T G.728 low-delay CELP, 9.6 kbit/s", 6);

} // namespace qolsc::tools
