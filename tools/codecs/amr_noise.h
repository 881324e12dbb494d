// SPDX-License-Identifier: Apache-2.0
// Discontinuous transmission, alike in AMR and AMR-WB (3GPP TS 26.093 5, TS 26.193 5): what the
// transmitter sends in a pause, which frames are comfort noise at the receiver, and when that falls
// silent.
#pragma once

#include "codecs/amr_frames.h"
#include "qolsc/types.h"

namespace qolsc::tools::amr_frames {

/// The transmitter's frames in a pause: the first, the third after it, then every eighth tell of
/// the noise.
struct NoiseSchedule {
    bool spoke = true; ///< the last frame was speech
    int untilUpdate = 0;
};
FrameType nextNoiseFrame(NoiseSchedule& s);

enum class NoiseState : std::uint8_t { speech, noise, muted };

struct NoiseClock {
    NoiseState state;
    bool anyData;   ///< an update has come
    Qol16s since;   ///< frames since the last update
    Qol16s elapsed; ///< frames since the last analysis of the encoder
    Qol16s hang;    ///< frames of the encoder's hangover that are left
};

struct NoiseStep {
    NoiseState next;
    bool analysed; ///< the encoder made an analysis that the decoder has to follow
};

/// Steps the clock by a frame; its state is for the caller to move on. noiseFrames: frames of
/// speech without activity in front of this one, where the coder tells.
NoiseStep stepNoise(NoiseClock& n, FrameType type, int noiseFrames);

} // namespace qolsc::tools::amr_frames
