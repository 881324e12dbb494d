// SPDX-License-Identifier: Apache-2.0
// Codec records of the G.729 main body and its Annexes D (6.4 kbit/s) and E (11.8 kbit/s).
#include "codecs/g729/decoder.h"

#include "codecs/streams.h"

namespace qolsc::tools {

namespace {

const StreamForm* const kForms[] = {&kPacked, &kSerial};

constexpr Codec record(const char* name, const char* title, int bits) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 8000,
                 .frameSamples = 80,
                 .granule = 80,
                 .frameBits = bits,
                 .forms = kForms,
                 .openEncoder = nullptr,
                 .closeEncoder = nullptr,
                 .encode = nullptr,
                 .openDecoder = g729::openDecoder,
                 .closeDecoder = g729::closeDecoder,
                 .decode = g729::decode,
                 .delay = 120};
}

} // namespace

extern const Codec kG729, kG729_6400, kG729_11800;
const Codec kG729 = record("g729", "ITU-T G.729, 8 kbit/s", 80);
const Codec kG729_6400 = record("g729-6.4", "ITU-T G.729 Annex D, 6.4 kbit/s", 64);
const Codec kG729_11800 = record("g729-11.8", "ITU-T G.729 Annex E, 11.8 kbit/s", 118);

} // namespace qolsc::tools
