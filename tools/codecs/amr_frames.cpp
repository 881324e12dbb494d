// SPDX-License-Identifier: Apache-2.0
// Frame types and storage files of AMR and AMR-WB (RFC 4867 5).
#include "codecs/amr_frames.h"

#include <algorithm>

namespace qolsc::tools::amr_frames {

namespace {

constexpr std::ptrdiff_t kMalformed = -1;
constexpr int kLostIndex = 14, kNoDataIndex = 15;
constexpr int kGoodBit = 4;

int modesOf(const StorageFormat& format) { return static_cast<int>(format.frameBits.size()); }
/// Index of comfort noise, the one behind those of the modes.
int sidIndexOf(const StorageFormat& format) { return modesOf(format); }

int bitsOf(const StorageFormat& format, int index) {
    return index < modesOf(format)       ? format.frameBits[static_cast<std::size_t>(index)]
           : index == sidIndexOf(format) ? kSidBits
                                         : 0;
}
/// Octets behind the header octet.
std::size_t octetsOf(const StorageFormat& format, int index) {
    const int behind = index == sidIndexOf(format) ? 1 + format.sidModeBits : 0;
    return static_cast<std::size_t>(bitsOf(format, index) + behind + 7) / 8;
}
/// Weight in the mode, as a shift, of bit i of those behind a comfort noise's type.
int modeShift(const StorageFormat& format, int i) {
    return format.sidModeLowFirst ? i : format.sidModeBits - 1 - i;
}

int bitOf(std::span<const std::uint8_t> octets, int position) {
    return octets[static_cast<std::size_t>(position) / 8] >> (7 - position % 8) & 1;
}
void orBit(std::span<std::uint8_t> octets, int position, int bit) {
    octets[static_cast<std::size_t>(position) / 8] |=
        static_cast<std::uint8_t>(bit << (7 - position % 8));
}

FrameType sidTypeOf(bool good, bool update) {
    return !good ? FrameType::sidBad : update ? FrameType::sidUpdate : FrameType::sidFirst;
}

} // namespace

FrameType typeOf(const Frame& frame, FrameType erased) {
    const auto type = static_cast<FrameType>(frame.mode >> 4 & 7);
    switch (frame.kind) {
    case FrameKind::lost:
        return isSid(type) ? FrameType::sidBad : type == FrameType::good ? erased : type;
    case FrameKind::noData:
        return FrameType::noData;
    default:
        return type;
    }
}

void setFrame(Frame& frame, int mode, FrameType type) {
    frame.mode = mode | static_cast<int>(type) << 4;
    frame.kind = type == FrameType::good                                       ? FrameKind::speech
                 : type == FrameType::sidFirst || type == FrameType::sidUpdate ? FrameKind::sid
                 : type == FrameType::noData                                   ? FrameKind::noData
                                                                               : FrameKind::lost;
}

int sentIndex(FrameType type) {
    const auto* found = std::find(std::begin(kSentTypes), std::end(kSentTypes), type);
    return found == std::end(kSentTypes) ? -1 : static_cast<int>(found - kSentTypes);
}

int modeOfBits(std::span<const int> frameBits, int bits) {
    return static_cast<int>(std::find(frameBits.begin(), frameBits.end(), bits) -
                            frameBits.begin());
}

void writeMagic(const StorageFormat& format, std::vector<std::uint8_t>& out) {
    out.insert(out.end(), format.magic.begin(), format.magic.end());
}

std::ptrdiff_t readMagic(const StorageFormat& format, std::span<const std::uint8_t> in) {
    const auto& magic = format.magic;
    const bool there = in.size() >= magic.size() &&
                       std::equal(magic.begin(), magic.end(), in.begin(),
                                  [](char a, std::uint8_t b) { return a == static_cast<char>(b); });
    return there ? static_cast<std::ptrdiff_t>(magic.size()) : kMalformed;
}

void writeStored(const StorageFormat& format, const Frame& frame, std::vector<std::uint8_t>& out) {
    const FrameType type = format.typeOf(frame);
    const int index = isSid(type)                 ? sidIndexOf(format)
                      : type == FrameType::noData ? kNoDataIndex
                      : type == FrameType::lost   ? kLostIndex
                                                  : modeOf(frame);
    const bool good =
        type != FrameType::bad && type != FrameType::degraded && type != FrameType::sidBad;
    out.push_back(static_cast<std::uint8_t>(index << 3 | (good ? kGoodBit : 0)));
    const std::size_t start = out.size();
    out.resize(start + octetsOf(format, index), 0);
    const auto octets = std::span(out).subspan(start);
    if (type != FrameType::sidFirst || !format.sidFirstIsEmpty) {
        for (int i = 0; i < bitsOf(format, index); ++i) {
            orBit(octets, i, bitAt(frame, format.placeOf(index, i)));
        }
    }
    if (isSid(type)) {
        orBit(octets, kSidBits, type == FrameType::sidUpdate ? 1 : 0);
        for (int i = 0; i < format.sidModeBits; ++i) {
            orBit(octets, kSidBits + 1 + i, modeOf(frame) >> modeShift(format, i) & 1);
        }
    }
}

std::ptrdiff_t readStored(const StorageFormat& format, std::span<const std::uint8_t> in,
                          Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    clearFrame(frame);
    const int index = in[0] >> 3 & 15;
    const bool good = (in[0] & kGoodBit) != 0;
    if ((index > sidIndexOf(format) && index < format.firstSpecial) ||
        in.size() < 1 + octetsOf(format, index)) {
        return kMalformed;
    }
    const auto octets = in.subspan(1);
    frame.bits = bitsOf(format, index);
    frame.payload.assign(static_cast<std::size_t>(frame.bits + 7) / 8, 0);
    for (int i = 0; i < frame.bits; ++i) {
        orBit(frame.payload, format.placeOf(index, i), bitOf(octets, i));
    }
    if (index < modesOf(format)) {
        setFrame(frame, index, good ? FrameType::good : FrameType::bad);
    } else if (index == sidIndexOf(format)) {
        int mode = 0;
        for (int i = 0; i < format.sidModeBits; ++i) {
            mode |= bitOf(octets, kSidBits + 1 + i) << modeShift(format, i);
        }
        setFrame(frame, std::min(mode, modesOf(format) - 1),
                 sidTypeOf(good, bitOf(octets, kSidBits) != 0));
    } else {
        setFrame(frame, 0, index == kLostIndex ? FrameType::lost : FrameType::noData);
    }
    return static_cast<std::ptrdiff_t>(1 + octetsOf(format, index));
}

} // namespace qolsc::tools::amr_frames
