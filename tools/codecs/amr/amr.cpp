// SPDX-License-Identifier: Apache-2.0
// AMR at its eight rates (3GPP TS 26.090). A decoder follows the mode of each frame.
#include "codecs/amr/decoder.h"
#include "codecs/amr/encoder.h"
#include "codecs/amr/rate.h"
#include "codecs/amr/streams.h"
#include "codecs/states.h"

namespace qolsc::tools {

void amr::setRate(void* encoder, int mode) { static_cast<Encoder*>(encoder)->mode = mode; }

namespace {

using namespace amr;

void* openEncoder(const Codec& codec, const CodecSettings& settings) {
    const std::string& name = settings.detector;
    if (!name.empty() && name != "amr1" && name != "amr2") {
        return nullptr;
    }
    auto* e = new Encoder;
    reset(*e, modeOfBits(kFrameBits, codec.frameBits),
          !settings.dtx    ? Detector::none
          : name == "amr2" ? Detector::option2
                           : Detector::option1);
    return e;
}

void* openDecoder(const Codec& codec, const CodecSettings&) {
    auto* d = new Decoder;
    d->mode = modeOfBits(kFrameBits, codec.frameBits);
    reset(*d);
    return d;
}

const StreamForm* const kForms[] = {&kFile, &kSerialWords};

constexpr Codec narrowband(const char* name, const char* title, int mode) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 8000,
                 .frameSamples = kFrame,
                 .granule = kFrame,
                 .frameBits = kFrameBits[mode],
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = closeState<Encoder>,
                 .encode = encodeState<Encoder>,
                 .openDecoder = openDecoder,
                 .closeDecoder = closeState<Decoder>,
                 .decode = decodeState<Decoder>,
                 .delay = 40, // look-ahead of 5 ms
                 .hasDtx = true,
                 .hasDetectors = true};
}

} // namespace

extern const Codec kAMR_475, kAMR_515, kAMR_590, kAMR_670, kAMR_740, kAMR_795, kAMR_1020, kAMR_1220;
const Codec kAMR_475 = narrowband("amr-4.75", "AMR, 4.75 kbit/s", k475);
const Codec kAMR_515 = narrowband("amr-5.15", "AMR, 5.15 kbit/s", k515);
const Codec kAMR_590 = narrowband("amr-5.90", "AMR, 5.90 kbit/s", k59);
const Codec kAMR_670 = narrowband("amr-6.70", "AMR, 6.70 kbit/s", k67);
const Codec kAMR_740 = narrowband("amr-7.40", "AMR, 7.40 kbit/s", k74);
const Codec kAMR_795 = narrowband("amr-7.95", "AMR, 7.95 kbit/s", k795);
const Codec kAMR_1020 = narrowband("amr-10.2", "AMR, 10.2 kbit/s", k102);
const Codec kAMR_1220 = narrowband("amr-12.2", "AMR, 12.2 kbit/s", k122);

} // namespace qolsc::tools
