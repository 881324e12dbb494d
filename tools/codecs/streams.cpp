// SPDX-License-Identifier: Apache-2.0
// The shared coded forms: packed octets, ITU-T G.192 serial words, one code an octet or word.
#include "codecs/streams.h"

#include "codecs/bits.h"

#include <algorithm>

namespace qolsc::tools {

namespace {

constexpr std::ptrdiff_t kMalformed = -1;
constexpr int kMostSerialBits = 8192;

std::size_t octets(int bits) { return static_cast<std::size_t>(bits + 7) / 8; }

bool isGranular(const Codec& codec) { return codec.granule < codec.frameSamples; }

// ---- packed ----

void writePacked(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    out.insert(out.end(), frame.payload.begin(), frame.payload.end());
}

/// Bits of the next frame: a full one, or what a codec of granules has left; 0 when neither fits.
int packedBits(const Codec& codec, std::size_t available) {
    if (available >= octets(codec.frameBits)) {
        return codec.frameBits;
    }
    if (!isGranular(codec)) {
        return 0;
    }
    const int code = bitsPerCode(codec);
    return static_cast<int>(available) * 8 / code * code;
}

std::ptrdiff_t readPacked(const Codec& codec, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    frame.bits = packedBits(codec, in.size());
    if (frame.bits == 0) {
        return kMalformed;
    }
    frame.payload.assign(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(octets(frame.bits)));
    return static_cast<std::ptrdiff_t>(frame.payload.size());
}

void writePackedLowFirst(const Codec& codec, const Frame& frame, std::vector<std::uint8_t>& out) {
    const int code = bitsPerCode(codec);
    const std::size_t start = out.size();
    out.resize(start + octets(frame.bits), 0);
    int position = 0;
    for (int bit = 0; position < frame.bits; bit += code) {
        const std::uint32_t value = takeBits(frame, position, code);
        for (int i = 0; i < code; ++i) {
            out[start + static_cast<std::size_t>(bit + i) / 8] |=
                static_cast<std::uint8_t>(((value >> i) & 1u) << ((bit + i) % 8));
        }
    }
}

std::ptrdiff_t readPackedLowFirst(const Codec& codec, std::span<const std::uint8_t> in,
                                  Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    const int bits = packedBits(codec, in.size());
    if (bits == 0) {
        return kMalformed;
    }
    const int code = bitsPerCode(codec);
    for (int bit = 0; bit + code <= bits; bit += code) {
        std::uint32_t value = 0;
        for (int i = 0; i < code; ++i) {
            const unsigned octet = in[static_cast<std::size_t>(bit + i) / 8];
            value |= ((octet >> ((bit + i) % 8)) & 1u) << i;
        }
        putBits(frame, value, code);
    }
    return static_cast<std::ptrdiff_t>(octets(bits));
}

// ---- serial ----

void writeSerialForm(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    writeSerial(frame, out);
}

std::ptrdiff_t readSerialForm(const Codec& codec, std::span<const std::uint8_t> in, Frame& frame) {
    const std::ptrdiff_t taken = readSerial(in, frame);
    if (taken <= 0 || frame.kind == FrameKind::noData) {
        return taken;
    }
    if (frame.kind == FrameKind::lost && frame.bits == 0) {
        frame.bits = codec.frameBits;
        frame.payload.assign(octets(frame.bits), 0);
    }
    const bool fits = isGranular(codec)
                          ? frame.bits <= codec.frameBits && frame.bits % bitsPerCode(codec) == 0
                          : frame.bits == codec.frameBits;
    return fits ? taken : kMalformed;
}

// ---- codes ----

template <int Octets>
void writeCodes(const Codec& codec, const Frame& frame, std::vector<std::uint8_t>& out) {
    const int code = bitsPerCode(codec);
    for (int position = 0; position < frame.bits;) {
        const std::uint32_t value = takeBits(frame, position, code);
        for (int i = 0; i < Octets; ++i) {
            out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }
}

template <int Octets>
std::ptrdiff_t readCodes(const Codec& codec, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    const int code = bitsPerCode(codec);
    const std::size_t most = static_cast<std::size_t>(codec.frameSamples / codec.granule);
    const std::size_t count = std::min(in.size() / Octets, most);
    if (count == 0 || (count < most && in.size() % Octets != 0)) {
        return kMalformed;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t value = 0;
        for (std::size_t k = 0; k < Octets; ++k) {
            value |= static_cast<std::uint32_t>(in[i * Octets + k]) << (8 * k);
        }
        if (value >> code != 0) {
            return kMalformed;
        }
        putBits(frame, value, code);
    }
    return static_cast<std::ptrdiff_t>(count * Octets);
}

} // namespace

void writeSerial(const Frame& frame, std::vector<std::uint8_t>& out) {
    const bool lost = frame.kind == FrameKind::lost;
    const int bits = frame.kind == FrameKind::noData ? 0 : frame.bits;
    putWord(out, lost ? kSerialSyncLost : kSerialSync);
    putWord(out, static_cast<std::uint16_t>(bits));
    for (int position = 0; position < bits;) {
        const bool one = takeBits(frame, position, 1) != 0;
        putWord(out, lost ? std::uint16_t{0} : one ? kSerialOne : kSerialZero);
    }
}

std::ptrdiff_t readSerial(std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    if (in.size() < 4) {
        return kMalformed;
    }
    const std::uint16_t sync = wordAt(in, 0);
    const int bits = wordAt(in, 1);
    if ((sync != kSerialSync && sync != kSerialSyncLost) || bits > kMostSerialBits ||
        in.size() < 4 + 2 * static_cast<std::size_t>(bits)) {
        return kMalformed;
    }
    bool lost = sync == kSerialSyncLost;
    for (int i = 0; i < bits; ++i) {
        const std::uint16_t word = wordAt(in, 2 + static_cast<std::size_t>(i));
        if (word != 0 && word != kSerialZero && word != kSerialOne) {
            return kMalformed;
        }
        lost = lost || word == 0;
        putBits(frame, word == kSerialOne ? 1u : 0u, 1);
    }
    frame.kind = lost ? FrameKind::lost : bits == 0 ? FrameKind::noData : FrameKind::speech;
    return 4 + 2 * static_cast<std::ptrdiff_t>(bits);
}

const StreamForm* findForm(const Codec& codec, const std::string& name) {
    for (const StreamForm* form : codec.forms) {
        if (name == form->name) {
            return form;
        }
    }
    return nullptr;
}

constexpr StreamForm kPacked{"packed", nullptr, writePacked, nullptr, readPacked, true};
constexpr StreamForm kPackedLowFirst{"packed", nullptr, writePackedLowFirst, nullptr,
                                     readPackedLowFirst};
constexpr StreamForm kSerial{"serial", nullptr, writeSerialForm, nullptr, readSerialForm};
constexpr StreamForm kCodes{"codes", nullptr, writeCodes<1>, nullptr, readCodes<1>};
constexpr StreamForm kWords{"words", nullptr, writeCodes<2>, nullptr, readCodes<2>};

} // namespace qolsc::tools
