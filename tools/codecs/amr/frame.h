// SPDX-License-Identifier: Apache-2.0
// Frames of AMR between encoder, stream and decoder. Frame::mode holds the codec mode in bits 0..3
// and the receiver's frame type in bits 4..7; the payload holds the parameters in order.
#pragma once

#include "codecs/bits.h"
#include "codecs/codec.h"

namespace qolsc::tools::amr {

/// Receiver frame types (3GPP TS 26.101, TS 26.093).
enum class FrameType : std::uint8_t { good, bad, sidFirst, sidUpdate, sidBad, noData };

inline constexpr int kSidBits = 35;

inline int modeOf(const Frame& frame) { return frame.mode & 7; }

/// The type told by the stream, unless the frame was erased or emptied behind it.
inline FrameType typeOf(const Frame& frame) {
    const auto type = static_cast<FrameType>(frame.mode >> 4 & 7);
    const bool isSid = type == FrameType::sidFirst || type == FrameType::sidUpdate;
    switch (frame.kind) {
    case FrameKind::lost:
        return isSid ? FrameType::sidBad : type == FrameType::good ? FrameType::bad : type;
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

} // namespace qolsc::tools::amr
