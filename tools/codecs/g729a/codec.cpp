// SPDX-License-Identifier: Apache-2.0
// Codec record of G.729 Annex A, with Annex B.
#include "codecs/g729/bits.h"
#include "codecs/g729/forms.h"
#include "codecs/g729a/decoder.h"
#include "codecs/g729a/encoder.h"
#include "codecs/streams.h"

namespace qolsc::tools {

namespace {
const StreamForm* const kForms[] = {&kPacked, &g729::kSerialFrames};
}

extern const Codec kG729A;
const Codec kG729A{.name = "g729a",
                   .title = "ITU-T G.729 Annex A, 8 kbit/s",
                   .sampleRate = 8000,
                   .frameSamples = g729::kFrameSamples,
                   .granule = g729::kFrameSamples,
                   .frameBits = g729::kFrameBits,
                   .forms = kForms,
                   .openEncoder = g729a::openEncoder,
                   .closeEncoder = g729a::closeEncoder,
                   .encode = g729a::encode,
                   .openDecoder = g729a::openDecoder,
                   .closeDecoder = g729a::closeDecoder,
                   .decode = g729a::decode,
                   .delay = 40,
                   .hasDtx = true};

} // namespace qolsc::tools
