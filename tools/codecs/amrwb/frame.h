// SPDX-License-Identifier: Apache-2.0
// Frames of AMR-WB between encoder, stream and decoder. Frame::mode holds the codec mode in bits
// 0..3 and the receiver's frame type in bits 4..7.
#pragma once

#include "codecs/bits.h"
#include "codecs/codec.h"

namespace qolsc::tools::amrwb {

/// Receiver frame types (3GPP TS 26.201, TS 26.191).
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

inline int modeOf(const Frame& frame) { return frame.mode & 15; }

/// The type told by the stream, unless the frame was erased or emptied behind it.
inline FrameType typeOf(const Frame& frame) {
    const auto type = static_cast<FrameType>(frame.mode >> 4 & 7);
    const bool isSid = type == FrameType::sidFirst || type == FrameType::sidUpdate;
    switch (frame.kind) {
    case FrameKind::lost:
        return isSid ? FrameType::sidBad : type == FrameType::good ? FrameType::lost : type;
    case FrameKind::noData:
        return FrameType::noData;
    default:
        return type;
    }
}

inline void setFrame(Frame& frame, int mode, FrameType type) {
    frame.mode = mode | static_cast<int>(type) << 4;
    frame.kind = type == FrameType::good                                       ? FrameKind::speech
                 : type == FrameType::sidFirst || type == FrameType::sidUpdate ? FrameKind::sid
                 : type == FrameType::noData                                   ? FrameKind::noData
                                                                               : FrameKind::lost;
}

/// Reads values from a frame in serial order.
struct BitReader {
    const Frame& frame;
    int position = 0;
};
inline int take(BitReader& r, int count) {
    return static_cast<int>(takeBits(r.frame, r.position, count));
}

} // namespace qolsc::tools::amrwb
