// SPDX-License-Identifier: Apache-2.0
// AMR-WB at its nine rates (3GPP TS 26.190). A decoder follows the mode of each frame.
#include "codecs/amrwb/decoder.h"
#include "codecs/amrwb/encoder.h"
#include "codecs/amrwb/streams.h"

namespace qolsc::tools {

namespace {

using namespace amrwb;

int modeOfCodec(const Codec& codec) {
    int mode = 0;
    while (kFrameBits[mode] != codec.frameBits) {
        ++mode;
    }
    return mode;
}

void* openEncoder(const Codec& codec, const CodecSettings& settings) {
    auto* e = new Encoder;
    reset(*e, modeOfCodec(codec), settings.dtx);
    return e;
}
void closeEncoder(void* encoder) { delete static_cast<Encoder*>(encoder); }
void encode(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    encodeFrame(*static_cast<Encoder*>(encoder), pcm, frame);
}

void* openDecoder(const Codec& codec, const CodecSettings&) {
    auto* d = new Decoder;
    reset(*d);
    d->mode = modeOfCodec(codec);
    return d;
}
void closeDecoder(void* decoder) { delete static_cast<Decoder*>(decoder); }
int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    decodeFrame(*static_cast<Decoder*>(decoder), frame, pcm);
    return kFrame16k;
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
                 .closeEncoder = closeEncoder,
                 .encode = encode,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeDecoder,
                 .decode = decode,
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
