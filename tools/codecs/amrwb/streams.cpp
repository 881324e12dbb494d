// SPDX-License-Identifier: Apache-2.0
// Coded forms of AMR-WB: the storage file (RFC 4867 5) and the words of the standard's test
// sequences (3GPP TS 26.174).
#include "codecs/amrwb/streams.h"

#include "codecs/amrwb/dsp.h"
#include "codecs/amrwb/frame.h"
#include "codecs/amrwb/tables.h"
#include "codecs/streams.h"

#include <algorithm>
#include <string_view>

namespace qolsc::tools::amrwb {

namespace {

constexpr std::ptrdiff_t kMalformed = -1;
constexpr std::string_view kMagic = "#!AMR-WB\n";
constexpr int kSidIndex = 9, kLostIndex = 14, kNoDataIndex = 15;
constexpr int kGoodBit = 4;

const Qol16s* sortOf(int index) {
    constexpr const Qol16s* tables[] = {sort660,  sort885,  sort1265, sort1425, sort1585,
                                        sort1825, sort1985, sort2305, sort2385, sortSID};
    return tables[index];
}

int bitsOf(int index) {
    return index < kModes ? kFrameBits[index] : index == kSidIndex ? kSidBits : 0;
}

/// Octets behind the header octet; comfort noise carries its type and the mode in five bits more.
std::size_t octetsOf(int index) {
    return static_cast<std::size_t>(bitsOf(index) + (index == kSidIndex ? 5 : 0) + 7) / 8;
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
    const int index = sid                         ? kSidIndex
                      : type == FrameType::noData ? kNoDataIndex
                      : type == FrameType::lost   ? kLostIndex
                                                  : modeOf(frame);
    const bool good =
        type != FrameType::bad && type != FrameType::degraded && type != FrameType::sidBad;
    out.push_back(static_cast<std::uint8_t>(index << 3 | (good ? kGoodBit : 0)));
    const std::size_t start = out.size();
    out.resize(start + octetsOf(index), 0);
    const auto put = [&out, start](int position, int bit) {
        out[start + static_cast<std::size_t>(position) / 8] |=
            static_cast<std::uint8_t>(bit << (7 - position % 8));
    };
    for (int i = 0; i < bitsOf(index); ++i) {
        // The parameters of a SID_FIRST don't count and are sent as zeros.
        put(i, type == FrameType::sidFirst ? 0 : bitAt(frame, sortOf(index)[i]));
    }
    if (sid) {
        put(kSidBits, type == FrameType::sidUpdate ? 1 : 0);
        for (int i = 0; i < 4; ++i) {
            put(kSidBits + 1 + i, modeOf(frame) >> (3 - i) & 1);
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
    if ((index > kSidIndex && index < kLostIndex) || in.size() < 1 + octetsOf(index)) {
        return kMalformed;
    }
    const auto get = [&in](int position) {
        return in[1 + static_cast<std::size_t>(position) / 8] >> (7 - position % 8) & 1;
    };
    const int bits = bitsOf(index);
    frame.payload.assign(static_cast<std::size_t>(bits + 7) / 8, 0);
    frame.bits = bits;
    for (int i = 0; i < bits; ++i) {
        const int position = sortOf(index)[i];
        frame.payload[static_cast<std::size_t>(position) / 8] |=
            static_cast<std::uint8_t>(get(i) << (7 - position % 8));
    }
    if (index < kModes) {
        setFrame(frame, index, good ? FrameType::good : FrameType::bad);
    } else if (index == kSidIndex) {
        int mode = 0;
        for (int i = 0; i < 4; ++i) {
            mode = 2 * mode + get(kSidBits + 1 + i);
        }
        setFrame(frame, std::min(mode, kModes - 1),
                 !good                ? FrameType::sidBad
                 : get(kSidBits) != 0 ? FrameType::sidUpdate
                                      : FrameType::sidFirst);
    } else {
        setFrame(frame, 0, index == kLostIndex ? FrameType::lost : FrameType::noData);
    }
    return static_cast<std::ptrdiff_t>(1 + octetsOf(index));
}

// ---- serial: sync word, frame type, mode, a word a bit ----

constexpr std::uint16_t kSyncEncoder = 0x6B21, kSyncReceiver = 0x6B20;
constexpr std::uint16_t kZero = 0xFF81, kOne = 0x007F; // -127, 127
constexpr FrameType kEncoderTypes[4] = {FrameType::good, FrameType::sidFirst, FrameType::sidUpdate,
                                        FrameType::noData};

bool carriesSpeech(FrameType type) { return static_cast<int>(type) < 4; }

void writeSerialFrame(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    const FrameType type = typeOf(frame);
    const auto* known = std::find(kEncoderTypes, kEncoderTypes + 4, type);
    const bool byEncoder = known != kEncoderTypes + 4;
    putWord(out, byEncoder ? kSyncEncoder : kSyncReceiver);
    putWord(out,
            static_cast<std::uint16_t>(byEncoder ? known - kEncoderTypes : static_cast<int>(type)));
    putWord(out, static_cast<std::uint16_t>(modeOf(frame)));
    const int bits = carriesSpeech(type) ? kFrameBits[modeOf(frame)] : kSidBits;
    for (int i = 0; i < bits; ++i) {
        putWord(out, bitAt(frame, i) != 0 ? kOne : kZero);
    }
}

std::ptrdiff_t readSerialFrame(const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
    if (in.empty()) {
        return 0;
    }
    if (in.size() < 6) {
        return kMalformed;
    }
    clearFrame(frame);
    const std::uint16_t sync = wordAt(in, 0), type = wordAt(in, 1), mode = wordAt(in, 2);
    if ((sync != kSyncEncoder && sync != kSyncReceiver) || type >= (sync == kSyncEncoder ? 4 : 8) ||
        mode >= kModes) {
        return kMalformed;
    }
    const FrameType receiverType =
        sync == kSyncEncoder ? kEncoderTypes[type] : static_cast<FrameType>(type);
    const int bits = carriesSpeech(receiverType) ? kFrameBits[mode] : kSidBits;
    if (in.size() < 6 + 2 * static_cast<std::size_t>(bits)) {
        return kMalformed;
    }
    for (int i = 0; i < bits; ++i) {
        putBits(frame, wordAt(in, 3 + static_cast<std::size_t>(i)) == kOne ? 1 : 0, 1);
    }
    setFrame(frame, mode, receiverType);
    return 6 + 2 * bits;
}

} // namespace

const StreamForm kFile{"file", writeFileHeader, writeFile, readFileHeader, readFile};
const StreamForm kSerialWideband{"serial", nullptr, writeSerialFrame, nullptr, readSerialFrame};

} // namespace qolsc::tools::amrwb
