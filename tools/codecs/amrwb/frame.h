// SPDX-License-Identifier: Apache-2.0
// Frames of AMR-WB: a lost frame has a type of its own.
#pragma once

#include "codecs/amr_frames.h"

namespace qolsc::tools::amrwb {

using namespace amr_frames;

inline FrameType typeOf(const Frame& frame) { return amr_frames::typeOf(frame, FrameType::lost); }

/// Reads values from a frame in serial order.
struct BitReader {
    const Frame& frame;
    int position = 0;
};
inline int take(BitReader& r, int count) {
    return static_cast<int>(takeBits(r.frame, r.position, count));
}

} // namespace qolsc::tools::amrwb
