// SPDX-License-Identifier: Apache-2.0
// Frames of speech and comfort noise at the transmitter and at the receiver (3GPP TS 26.093 5,
// TS 26.193 5).
#include "codecs/amr_noise.h"

#include "numeric/basop.h"

namespace qolsc::tools::amr_frames {

namespace {

constexpr int kMostFramesWithoutUpdate = 50;
constexpr int kAnalysisPeriod = 30;
constexpr Qol16s kHangover = 7;

/// Follows the encoder's hangover; true where the encoder made an analysis of its own.
bool followHangover(NoiseClock& n, bool isNoise) {
    if (!isNoise) {
        n.hang = kHangover;
    } else if (n.elapsed > kAnalysisPeriod) {
        n.elapsed = 0;
        n.hang = 0;
        return true;
    } else if (n.hang == 0) {
        n.elapsed = 0;
    } else {
        --n.hang;
    }
    return false;
}

} // namespace

FrameType nextNoiseFrame(NoiseSchedule& s) {
    if (s.spoke) {
        s = {false, 3};
        return FrameType::sidFirst;
    }
    if (--s.untilUpdate == 0) {
        s.untilUpdate = 8;
        return FrameType::sidUpdate;
    }
    return FrameType::noData;
}

NoiseStep stepNoise(NoiseClock& n, FrameType type, int noiseFrames) {
    const bool wasSpeech = n.state == NoiseState::speech;
    const bool missing =
        type == FrameType::lost || type == FrameType::bad || type == FrameType::noData;
    NoiseStep step{NoiseState::speech, false};
    if (isSid(type) || (!wasSpeech && missing)) {
        const bool staysMuted =
            n.state == NoiseState::muted && type != FrameType::sidUpdate && type != FrameType::bad;
        n.since = basop::add(n.since, 1);
        const bool starved = type != FrameType::sidUpdate && n.since > kMostFramesWithoutUpdate;
        step.next = staysMuted || starved ? NoiseState::muted : NoiseState::noise;
    } else {
        n.since = 0;
    }
    if (!n.anyData && type == FrameType::sidUpdate) {
        n.elapsed = 0;
    }
    n.elapsed = basop::add(n.elapsed, 1);
    const bool isNoise =
        isSid(type) || (type == FrameType::noData && (!wasSpeech || noiseFrames >= kHangover));
    step.analysed = followHangover(n, isNoise) &&
                    (step.next == NoiseState::speech || type != FrameType::sidBad);
    return step;
}

} // namespace qolsc::tools::amr_frames
