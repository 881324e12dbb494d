// SPDX-License-Identifier: Apache-2.0
// Frames of AMR: a lost frame counts as a bad one.
#pragma once

#include "codecs/amr_frames.h"

namespace qolsc::tools::amr {

using namespace amr_frames;

inline int modeOf(const Frame& frame) { return amr_frames::modeOf(frame) & 7; }
inline FrameType typeOf(const Frame& frame) { return amr_frames::typeOf(frame, FrameType::bad); }

} // namespace qolsc::tools::amr
