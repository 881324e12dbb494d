// SPDX-License-Identifier: Apache-2.0
// Coded forms of AMR (RFC 4867 5, 3GPP TS 26.074).
#include "codecs/amr/streams.h"

#include "codecs/amr/dsp.h"
#include "codecs/amr/frame.h"
#include "codecs/streams.h"

namespace qolsc::tools::amr {

namespace {

int placeOf(int index, int i) {
    return index < kModes ? kStorageOrder[index][static_cast<std::size_t>(i)] : i;
}

constexpr StorageFormat kStorage{.magic = "#!AMR\n",
                                 .frameBits = kFrameBits,
                                 .placeOf = placeOf,
                                 .typeOf = typeOf,
                                 .firstSpecial = 15,
                                 .sidModeBits = 3,
                                 .sidModeLowFirst = true,
                                 .sidFirstIsEmpty = false};

// ---- serial: transmitter's frame type, a word a bit, mode ----

constexpr std::ptrdiff_t kMalformed = -1;
constexpr std::size_t kWords = 250, kBitWords = 244;

void writeSerialFrame(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    const FrameType type = typeOf(frame);
    const bool none = sentIndex(type) < 0 || type == FrameType::noData;
    putWord(out, static_cast<std::uint16_t>(sentIndex(none ? FrameType::noData : type)));
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
    const FrameType type = kSentTypes[wordAt(in, 0)];
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

const StreamForm kFile = storageForm<kStorage>();
const StreamForm kSerialWords{"serial", nullptr, writeSerialFrame, nullptr, readSerialFrame};

} // namespace qolsc::tools::amr
