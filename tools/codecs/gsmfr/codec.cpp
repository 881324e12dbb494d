// SPDX-License-Identifier: Apache-2.0
// GSM full rate as a codec: packing of the 76 parameters (260 bits, table 1.1) and coded forms.
// A frame on file and in RTP has 33 octets, a signature of four bits (0xD) in front (RFC 3551).
#include "codecs/gsmfr/gsmfr.h"
#include "codecs/states.h"
#include "codecs/streams.h"

#include <algorithm>

namespace qolsc::tools {

namespace gsmfr {

namespace {

constexpr int kFrameOctets = 33;
constexpr std::uint8_t kSignature = 0xD0;

/// Calls visit(parameter, bits) for the parameters in the order of transmission.
template <typename P, typename Visit>
void forParameters(P& p, Visit visit) {
    constexpr std::array<int, kOrder> kLarBits{6, 6, 5, 5, 4, 4, 3, 3};
    for (std::size_t i = 0; i < kOrder; ++i) {
        visit(p.lar[i], kLarBits[i]);
    }
    for (auto& s : p.subframes) {
        visit(s.lag, 7);
        visit(s.gain, 2);
        visit(s.grid, 2);
        visit(s.block, 6);
        for (auto& pulse : s.pulses) {
            visit(pulse, 3);
        }
    }
}

/// The frame's octets, the first bit in the top bit of the first.
void pack(const Parameters& p, std::vector<std::uint8_t>& payload) {
    payload.assign(kFrameOctets, 0);
    std::uint8_t* out = payload.data();
    std::uint32_t word = 0;
    int held = 0;
    forParameters(p, [&](Qol16s value, int bits) {
        word = word << bits | static_cast<std::uint32_t>(value);
        for (held += bits; held >= 8; held -= 8) {
            *out++ = static_cast<std::uint8_t>(word >> (held - 8));
        }
    });
    *out = static_cast<std::uint8_t>(word << (8 - held));
}

Parameters unpack(const std::vector<std::uint8_t>& payload) {
    Parameters p;
    auto in = payload.begin();
    std::uint32_t word = 0;
    int held = 0;
    forParameters(p, [&](Qol16s& value, int bits) {
        if (held < bits) {
            word = word << 8 | (in != payload.end() ? *in++ : 0u);
            held += 8;
        }
        held -= bits;
        value = static_cast<Qol16s>(word >> held & ((1u << bits) - 1));
    });
    return p;
}

/// The decoder with what it does for lost frames: the last frame again, fading (GSM 06.11 §4).
struct Receiver {
    Decoder decoder;
    Parameters last{};
    bool any = false;
};

void* openEncoder(const Codec&, const CodecSettings&) { return new Encoder; }

void encode(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    Parameters p;
    encodeFrame(*static_cast<Encoder*>(encoder), pcm, p);
    pack(p, frame.payload);
    frame.bits = kFrameBits;
}

void* openDecoder(const Codec&, const CodecSettings&) { return new Receiver; }

int decode(void* decoder, const Frame& frame, std::int16_t* pcm) {
    Receiver& r = *static_cast<Receiver*>(decoder);
    if (frame.kind == FrameKind::speech) {
        r.last = unpack(frame.payload);
        r.any = true;
    } else if (r.any) {
        for (Subframe& s : r.last.subframes) {
            s.block = static_cast<Qol16s>(std::max(s.block - 4, 0));
        }
    } else { // nothing to repeat: an encoder's silence
        r.last = Parameters{};
        for (Subframe& s : r.last.subframes) {
            s.lag = kMinLag;
            s.pulses.fill(4);
        }
    }
    decodeFrame(r.decoder, r.last, pcm);
    return kFrameSamples;
}

void writePacked(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    std::uint8_t high = kSignature;
    for (std::size_t i = 0; i < kFrameOctets; ++i) {
        const std::uint8_t octet = i < frame.payload.size() ? frame.payload[i] : std::uint8_t{0};
        out.push_back(static_cast<std::uint8_t>(high | octet >> 4));
        high = static_cast<std::uint8_t>(octet << 4);
    }
}

std::ptrdiff_t readPacked(const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    if (in.size() < kFrameOctets || (in[0] & 0xF0) != kSignature) {
        return -1;
    }
    frame.payload.resize(kFrameOctets);
    for (std::size_t i = 0; i < kFrameOctets; ++i) {
        const unsigned next = i + 1 < kFrameOctets ? in[i + 1] >> 4 : 0u;
        frame.payload[i] = static_cast<std::uint8_t>(in[i] << 4 | next);
    }
    frame.bits = kFrameBits;
    frame.mode = 0;
    frame.kind = FrameKind::speech;
    return kFrameOctets;
}

/// "words": the 76 parameters as 16-bit little-endian words, as in the standard's test sequences.
void writeWords(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    const Parameters p = unpack(frame.payload);
    forParameters(p, [&](Qol16s value, int) { putWord(out, static_cast<std::uint16_t>(value)); });
}

std::ptrdiff_t readWords(const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    if (in.size() < 2 * kParameters) {
        return -1;
    }
    Parameters p;
    std::size_t index = 0;
    bool fits = true;
    forParameters(p, [&](Qol16s& value, int bits) {
        const std::uint16_t word = wordAt(in, index++);
        fits = fits && word >> bits == 0;
        value = static_cast<Qol16s>(word & ((1u << bits) - 1));
    });
    if (!fits) {
        return -1;
    }
    pack(p, frame.payload);
    frame.bits = kFrameBits;
    frame.mode = 0;
    frame.kind = FrameKind::speech;
    return 2 * kParameters;
}

constexpr StreamForm kGsmPacked = {"packed", nullptr, writePacked, nullptr, readPacked};
constexpr StreamForm kGsmWords = {"words", nullptr, writeWords, nullptr, readWords};
const StreamForm* const kForms[] = {&kGsmPacked, &kSerial, &kGsmWords};

} // namespace

} // namespace gsmfr

extern const Codec kGsmFullRate;
const Codec kGsmFullRate{.name = "gsmfr",
                         .title = "GSM full rate (GSM 06.10), 13 kbit/s",
                         .sampleRate = 8000,
                         .frameSamples = gsmfr::kFrameSamples,
                         .granule = gsmfr::kFrameSamples,
                         .frameBits = gsmfr::kFrameBits,
                         .forms = gsmfr::kForms,
                         .openEncoder = gsmfr::openEncoder,
                         .closeEncoder = closeState<gsmfr::Encoder>,
                         .encode = gsmfr::encode,
                         .openDecoder = gsmfr::openDecoder,
                         .closeDecoder = closeState<gsmfr::Receiver>,
                         .decode = gsmfr::decode};

} // namespace qolsc::tools
