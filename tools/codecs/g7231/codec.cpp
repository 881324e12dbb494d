// SPDX-License-Identifier: Apache-2.0
// Codec records of G.723.1. The octets of a payload are filled from their lowest bit on, as the
// standard has it; the two lowest bits of the first one tell the kind of the frame.
#include "codecs/bits.h"
#include "codecs/g7231/decoder.h"
#include "codecs/g7231/encoder.h"
#include "codecs/streams.h"

namespace qolsc::tools {

namespace {

using g7231::Kind;

constexpr std::uint8_t kUntransmitted = 3;

void* openEncoder(const Codec& codec, const CodecSettings& settings) {
    return g7231::openEncoder(codec.frameBits == 192, settings.filters, settings.dtx);
}

void encode(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    g7231::encodeFrame(encoder, pcm, frame);
}

void* openDecoder(const Codec&, const CodecSettings& settings) {
    return g7231::openDecoder(settings.filters);
}

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    g7231::decodeFrame(decoder, frame, pcm);
    return g7231::kFrame;
}

/// The form has no mark for losses: a lost frame goes out as one that wasn't transmitted.
void writeOctets(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    if (frame.kind == FrameKind::lost || frame.payload.empty()) {
        out.push_back(kUntransmitted);
        return;
    }
    out.insert(out.end(), frame.payload.begin(), frame.payload.end());
}

std::ptrdiff_t readOctets(const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    const auto kind = static_cast<Kind>(in[0] & 3);
    const int octets = g7231::octetsOf(kind);
    if (in.size() < static_cast<std::size_t>(octets)) {
        return -1;
    }
    frame.payload.assign(in.begin(), in.begin() + octets);
    frame.bits = 8 * octets;
    frame.kind = kind == Kind::silence         ? FrameKind::sid
                 : kind == Kind::untransmitted ? FrameKind::noData
                                               : FrameKind::speech;
    return octets;
}

/// Octets of each frame back to back, of the size that its kind has.
constexpr StreamForm kOctetFrames{"packed", nullptr, writeOctets, nullptr, readOctets};

const StreamForm* const kForms[] = {&kOctetFrames, &kSerial};

constexpr Codec record(const char* name, const char* title, int bits) {
    return Codec{.name = name,
                 .title = title,
                 .sampleRate = 8000,
                 .frameSamples = g7231::kFrame,
                 .granule = g7231::kFrame,
                 .frameBits = bits,
                 .forms = kForms,
                 .openEncoder = openEncoder,
                 .closeEncoder = g7231::closeEncoder,
                 .encode = encode,
                 .openDecoder = openDecoder,
                 .closeDecoder = g7231::closeDecoder,
                 .decode = decode,
                 .delay = g7231::kSubframe,
                 .hasDtx = true};
}

} // namespace

extern const Codec kG7231_63, kG7231_53;
const Codec kG7231_63 = record("g7231-6.3", "ITU-T G.723.1, 6.3 kbit/s", 192);
const Codec kG7231_53 = record("g7231-5.3", "ITU-T G.723.1, 5.3 kbit/s", 160);

} // namespace qolsc::tools
