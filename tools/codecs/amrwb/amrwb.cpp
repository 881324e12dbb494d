// SPDX-License-Identifier: Apache-2.0
// AMR-WB at its nine rates (3GPP TS 26.190). A decoder follows the mode of each frame.
#include "codecs/amrwb/decoder.h"
#include "codecs/amrwb/encoder.h"
#include "codecs/amrwb/streams.h"
#include "codecs/states.h"

namespace qolsc::tools {

namespace {

using namespace amrwb;

void* openEncoder(const Codec& codec, const CodecSettings& settings) {
    auto* e = new Encoder;
    reset(*e, modeOfBits(kFrameBits, codec.frameBits), settings.dtx);
    return e;
}

void* openDecoder(const Codec& codec, const CodecSettings&) {
    auto* d = new Decoder;
    reset(*d);
    d->mode = modeOfBits(kFrameBits, codec.frameBits);
    return d;
}

const StreamForm* const kForms[] = {&kFile, &kSerialWideband};

constexpr Codec wideband(const char* name, const char* title, int mode) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 16000,
                 .frameSamples = kFrame16k,
                 .granule = kFrame16k,
                 .frameBits = kFrameBits[mode],
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = closeState<Encoder>,
                 .encode = encodeState<Encoder>,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeState<Decoder>,
                 .decode = decodeState<Decoder>,
                 .delay = 95, // 5 ms of look-ahead and both resampling filters
                 .hasDtx = true};
}

} // namespace

extern const Codec kAMRWB_660, kAMRWB_885, kAMRWB_1265, kAMRWB_1425, kAMRWB_1585, kAMRWB_1825,
    kAMRWB_1985, kAMRWB_2305, kAMRWB_2385;
const Codec kAMRWB_660 = wideband("amrwb-6.60", "AMR-WB, 6.60 kbit/s", 0);
const Codec kAMRWB_885 = wideband("amrwb-8.85", "AMR-WB, 8.85 kbit/s", 1);
const Codec kAMRWB_1265 = wideband("amrwb-12.65", "AMR-WB, 12.65 kbit/s", 2);
const Codec kAMRWB_1425 = wideband("amrwb-14.25", "AMR-WB, 14.25 kbit/s", 3);
const Codec kAMRWB_1585 = wideband("amrwb-15.85", "AMR-WB, 15.85 kbit/s", 4);
const Codec kAMRWB_1825 = wideband("amrwb-18.25", "AMR-WB, 18.25 kbit/s", 5);
const Codec kAMRWB_1985 = wideband("amrwb-19.85", "AMR-WB, 19.85 kbit/s", 6);
const Codec kAMRWB_2305 = wideband("amrwb-23.05", "AMR-WB, 23.05 kbit/s", 7);
const Codec kAMRWB_2385 = wideband("amrwb-23.85", "AMR-WB, 23.85 kbit/s", 8);

} // namespace qolsc::tools
