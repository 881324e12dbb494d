// SPDX-License-Identifier: Apache-2.0
// Codec record of the G.729 main body. Its decoder takes frames of Annexes B, D and E too.
#include "codecs/g729/bits.h"
#include "codecs/g729/decoder.h"
#include "codecs/g729/encoder.h"
#include "codecs/g729/forms.h"
#include "codecs/streams.h"

namespace qolsc::tools {

namespace {
const StreamForm* const kForms[] = {&kPacked, &g729::kSerialFrames};
}

extern const Codec kG729;
const Codec kG729{.name = "g729",
                  .title = "ITU-T G.729, 8 kbit/s",
                  .sampleRate = 8000,
                  .frameSamples = g729::kFrameSamples,
                  .granule = g729::kFrameSamples,
                  .frameBits = g729::kFrameBits,
                  .forms = kForms,
                  .openEncoder = g729::openEncoder,
                  .closeEncoder = g729::closeEncoder,
                  .encode = g729::encode,
                  .openDecoder = g729::openDecoder,
                  .closeDecoder = g729::closeDecoder,
                  .decode = g729::decode,
                  .delay = 40};

} // namespace qolsc::tools
