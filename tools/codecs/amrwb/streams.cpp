// SPDX-License-Identifier: Apache-2.0
// Coded forms of AMR-WB: the storage file (RFC 4867 5) and the words of the standard's test
// sequences (3GPP TS 26.174).
#include "codecs/amrwb/streams.h"

#include "codecs/amrwb/dsp.h"
#include "codecs/amrwb/frame.h"
#include "codecs/amrwb/tables.h"
#include "codecs/streams.h"

namespace qolsc::tools::amrwb {

namespace {

int placeOf(int index, int i) {
    constexpr const Qol16s* tables[] = {sort660,  sort885,  sort1265, sort1425, sort1585,
                                        sort1825, sort1985, sort2305, sort2385, sortSID};
    return tables[index][i];
}

constexpr StorageFormat kStorage{.magic = "#!AMR-WB\n",
                                 .frameBits = kFrameBits,
                                 .placeOf = placeOf,
                                 .typeOf = typeOf,
                                 .firstSpecial = 14,
                                 .sidModeBits = 4,
                                 .sidModeLowFirst = false,
                                 .sidFirstIsEmpty = true};

// ---- serial: sync word, frame type, mode, a word a bit ----

constexpr std::ptrdiff_t kMalformed = -1;
constexpr std::uint16_t kSyncEncoder = 0x6B21, kSyncReceiver = 0x6B20;
constexpr std::uint16_t kZero = 0xFF81, kOne = 0x007F; // -127, 127

bool carriesSpeech(FrameType type) { return static_cast<int>(type) < 4; }

void writeSerialFrame(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    const FrameType type = typeOf(frame);
    const int sent = sentIndex(type);
    putWord(out, sent >= 0 ? kSyncEncoder : kSyncReceiver);
    putWord(out, static_cast<std::uint16_t>(sent >= 0 ? sent : static_cast<int>(type)));
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
        sync == kSyncEncoder ? kSentTypes[type] : static_cast<FrameType>(type);
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

const StreamForm kFile = storageForm<kStorage>();
const StreamForm kSerialWideband{"serial", nullptr, writeSerialFrame, nullptr, readSerialFrame};

} // namespace qolsc::tools::amrwb
