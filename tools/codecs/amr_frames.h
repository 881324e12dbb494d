// SPDX-License-Identifier: Apache-2.0
// What the frames of AMR and AMR-WB have in common: their types between encoder, stream and decoder
// (3GPP TS 26.093, TS 26.193) and the storage file (RFC 4867 5). Frame::mode holds the codec mode
// in bits 0..3 and the receiver's frame type in bits 4..7; the payload holds the parameters in
// order.
#pragma once

#include "codecs/bits.h"
#include "codecs/codec.h"

#include <string_view>

namespace qolsc::tools::amr_frames {

/// Receiver frame types (3GPP TS 26.101, TS 26.201) in the order of AMR-WB, which alone has
/// degraded and lost ones.
enum class FrameType : std::uint8_t {
    good,
    degraded,
    lost,
    bad,
    sidFirst,
    sidUpdate,
    sidBad,
    noData
};
/// The transmitter's frame types, by the number that a test sequence gives them.
inline constexpr FrameType kSentTypes[4] = {FrameType::good, FrameType::sidFirst,
                                            FrameType::sidUpdate, FrameType::noData};

inline constexpr int kSidBits = 35;

inline bool isSid(FrameType type) {
    return type == FrameType::sidFirst || type == FrameType::sidUpdate || type == FrameType::sidBad;
}

inline int modeOf(const Frame& frame) { return frame.mode & 15; }

/// The type told by the stream, unless the frame was erased (speech is of type `erased` then) or
/// emptied behind it.
FrameType typeOf(const Frame& frame, FrameType erased);
void setFrame(Frame& frame, int mode, FrameType type);

/// Number of the transmitter's frame type, -1 for the types that it has not.
int sentIndex(FrameType type);
/// The mode whose speech frames have that many bits.
int modeOfBits(std::span<const int> frameBits, int bits);

/// What differs between the storage files. A frame is a header octet with an index (a mode, comfort
/// noise, lost, no data) and the bits in an order of their own; comfort noise carries its type and
/// the mode behind them.
struct StorageFormat {
    std::string_view magic;
    std::span<const int> frameBits;   ///< by mode
    int (*placeOf)(int index, int i); ///< place in the payload of the frame's bit i
    FrameType (*typeOf)(const Frame& frame);
    int firstSpecial; ///< least index above the reserved ones: 14 lost, 15 no data
    int sidModeBits;
    bool sidModeLowFirst;
    bool sidFirstIsEmpty; ///< the parameters of a SID_FIRST are sent as zeros
};

void writeMagic(const StorageFormat& format, std::vector<std::uint8_t>& out);
std::ptrdiff_t readMagic(const StorageFormat& format, std::span<const std::uint8_t> in);
void writeStored(const StorageFormat& format, const Frame& frame, std::vector<std::uint8_t>& out);
std::ptrdiff_t readStored(const StorageFormat& format, std::span<const std::uint8_t> in,
                          Frame& frame);

/// "file": the storage file as a coded form.
template <const StorageFormat& Format>
constexpr StreamForm storageForm() {
    return StreamForm{
        "file", [](const Codec&, std::vector<std::uint8_t>& out) { writeMagic(Format, out); },
        [](const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
            writeStored(Format, frame, out);
        },
        [](const Codec&, std::span<const std::uint8_t> in) { return readMagic(Format, in); },
        [](const Codec&, std::span<const std::uint8_t> in, Frame& frame) {
            return readStored(Format, in, frame);
        }};
}

} // namespace qolsc::tools::amr_frames
