// SPDX-License-Identifier: Apache-2.0
// Bit packing of frames: values go out with their most significant bit first.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools {

/// Appends the low `count` bits (0 to 32) of the value to the frame.
inline void putBits(Frame& frame, std::uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) {
        if (frame.bits % 8 == 0) {
            frame.payload.push_back(0);
        }
        const unsigned bit = (value >> i) & 1u;
        frame.payload.back() |= static_cast<std::uint8_t>(bit << (7 - frame.bits % 8));
        ++frame.bits;
    }
}

/// Takes `count` bits (0 to 32) from bit `position` on and moves the position; bits behind the
/// frame's end are 0.
inline std::uint32_t takeBits(const Frame& frame, int& position, int count) {
    std::uint32_t value = 0;
    while (count > 0) {
        const auto octet = static_cast<std::size_t>(position / 8);
        const int inOctet = 8 - position % 8, now = count < inOctet ? count : inOctet;
        unsigned bits = 0;
        if (position < frame.bits && octet < frame.payload.size()) {
            const int behind = position - position % 8 + 8 - frame.bits; // bits past the end
            bits = frame.payload[octet] & (behind > 0 ? 0xFFu << behind : 0xFFu);
        }
        value = value << now | (bits >> (inOctet - now) & ((1u << now) - 1));
        position += now;
        count -= now;
    }
    return value;
}

/// The bit at that position.
inline int bitAt(const Frame& frame, int position) {
    return static_cast<int>(takeBits(frame, position, 1));
}

/// Empties a frame for the next encode call.
inline void clearFrame(Frame& frame) {
    frame.payload.clear();
    frame.bits = 0;
    frame.mode = 0;
    frame.kind = FrameKind::speech;
}

/// Turns a frame into one that never arrived: no bit of it is left, its size is.
inline void eraseFrame(Frame& frame) {
    frame.payload.assign(frame.payload.size(), 0);
    frame.kind = FrameKind::lost;
}

} // namespace qolsc::tools
