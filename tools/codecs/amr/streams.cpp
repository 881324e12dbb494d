// SPDX-License-Identifier: Apache-2.0
// Coded forms of AMR (RFC 4867 5, 3GPP TS 26.074).
#include "codecs/amr/streams.h"

#include "codecs/amr/dsp.h"
#include "codecs/amr/frame.h"
#include "codecs/streams.h"

#include <algorithm>
#include <string_view>

namespace qolsc::tools::amr {

namespace {

constexpr std::ptrdiff_t kMalformed = -1;
constexpr std::string_view kMagic = "#!AMR\n";
constexpr int kSidIndex = 8, kNoDataIndex = 15, kGoodBit = 4;

int bitsOf(int index) {
    return index < kModes ? kFrameBits[index] : index == kSidIndex ? kSidBits : 0;
}
/// Octets behind the header octet; comfort noise carries its type and the mode in four bits more.
std::size_t octetsOf(int index) {
    return static_cast<std::size_t>(bitsOf(index) + (index == kSidIndex ? 4 : 0) + 7) / 8;
}
int placeOf(int index, int i) {
    return index < kModes ? kStorageOrder[index][static_cast<std::size_t>(i)] : i;
}

int bitAt(const Frame& frame, int position) {
    return static_cast<int>(takeBits(frame, position, 1));
}

void writeFileHeader(const Codec&, std::vector<std::uint8_t>& out) {
    out.insert(out.end(), kMagic.begin(), kMagic.end());
}

std::ptrdiff_t readFileHeader(const Codec&, std::span<const std::uint8_t> in) {
    const bool there = in.size() >= kMagic.size() &&
                       std::equal(kMagic.begin(), kMagic.end(), in.begin(),
                                  [](char a, std::uint8_t b) { return a == static_cast<char>(b); });
    return there ? static_cast<std::ptrdiff_t>(kMagic.size()) : kMalformed;
}

void writeFile(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    const FrameType type = typeOf(frame);
    const bool sid =
        type == FrameType::sidFirst || type == FrameType::sidUpdate || type == FrameType::sidBad;
    const int index = sid ? kSidIndex : type == FrameType::noData ? kNoDataIndex : modeOf(frame);
    const bool good = type != FrameType::bad && type != FrameType::sidBad;
    out.push_back(static_cast<std::uint8_t>(index << 3 | (good ? kGoodBit : 0)));
    const std::size_t start = out.size();
    out.resize(start + octetsOf(index), 0);
    const auto put = [&out, start](int position, int bit) {
        out[start + static_cast<std::size_t>(position) / 8] |=
            static_cast<std::uint8_t>(bit << (7 - position % 8));
    };
    for (int i = 0; i < bitsOf(index); ++i) {
        put(i, bitAt(frame, placeOf(index, i)));
    }
    if (sid) {
        put(kSidBits, type == FrameType::sidUpdate ? 1 : 0);
        for (int i = 0; i < 3; ++i) {
            put(kSidBits + 1 + i, modeOf(frame) >> i & 1);
        }
    }
}

std::ptrdiff_t readFile(const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    const int index = in[0] >> 3 & 15;
    const bool good = (in[0] & kGoodBit) != 0;
    if ((index > kSidIndex && index < kNoDataIndex) || in.size() < 1 + octetsOf(index)) {
        return kMalformed;
    }
    const auto get = [&in](int position) {
        return in[1 + static_cast<std::size_t>(position) / 8] >> (7 - position % 8) & 1;
    };
    frame.bits = bitsOf(index);
    frame.payload.assign(static_cast<std::size_t>(frame.bits + 7) / 8, 0);
    for (int i = 0; i < frame.bits; ++i) {
        const int position = placeOf(index, i);
        frame.payload[static_cast<std::size_t>(position) / 8] |=
            static_cast<std::uint8_t>(get(i) << (7 - position % 8));
    }
    if (index < kModes) {
        setFrame(frame, index, good ? FrameType::good : FrameType::bad);
    } else if (index == kSidIndex) {
        const int mode = get(kSidBits + 1) | get(kSidBits + 2) << 1 | get(kSidBits + 3) << 2;
        setFrame(frame, mode,
                 !good                ? FrameType::sidBad
                 : get(kSidBits) != 0 ? FrameType::sidUpdate
                                      : FrameType::sidFirst);
    } else {
        setFrame(frame, 0, FrameType::noData);
    }
    return static_cast<std::ptrdiff_t>(1 + octetsOf(index));
}

constexpr std::size_t kWords = 250, kBitWords = 244;
constexpr FrameType kSent[4] = {FrameType::good, FrameType::sidFirst, FrameType::sidUpdate,
                                FrameType::noData};

void writeSerialFrame(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    const FrameType type = typeOf(frame);
    const auto* known = std::find(kSent, kSent + 4, type);
    const bool none = known == kSent + 4 || type == FrameType::noData;
    putWord(out, static_cast<std::uint16_t>(none ? 3 : known - kSent));
    for (int i = 0; i < static_cast<int>(kBitWords); ++i) {
        putWord(out, i >= frame.bits ? 0 : static_cast<std::uint16_t>(bitAt(frame, i)));
    }
    putWord(out, none ? 0xFFFF : static_cast<std::uint16_t>(modeOf(frame)));
    for (std::size_t i = kBitWords + 2; i < kWords; ++i) {
        putWord(out, 0);
    }
}

std::ptrdiff_t readSerialFrame(const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    if (in.size() < 2 * kWords || wordAt(in, 0) > 3) {
        return kMalformed;
    }
    clearFrame(frame);
    const FrameType type = kSent[wordAt(in, 0)];
    const std::uint16_t mode = wordAt(in, kBitWords + 1);
    if (type != FrameType::noData && mode >= kModes) {
        return kMalformed;
    }
    const int bits = type == FrameType::good     ? kFrameBits[mode]
                     : type == FrameType::noData ? 0
                                                 : kSidBits;
    for (int i = 0; i < bits; ++i) {
        putBits(frame, wordAt(in, 1 + static_cast<std::size_t>(i)) & 1u, 1);
    }
    setFrame(frame, type == FrameType::noData ? 0 : mode, type);
    return 2 * static_cast<std::ptrdiff_t>(kWords);
}

} // namespace

const StreamForm kFile{"file", writeFileHeader, writeFile, readFileHeader, readFile};
const StreamForm kSerialWords{"serial", nullptr, writeSerialFrame, nullptr, readSerialFrame};

} // namespace qolsc::tools::amr
