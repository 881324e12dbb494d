// SPDX-License-Identifier: Apache-2.0
// A complete echo canceller put together from the library's functions: analysis, adaptive and fixed
// filter, controllers, residual suppression, synthesis, disabling by tones.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qolsc::tools {

enum class AecEngine { subband, subbandFixed, subbandDt, fullband, fullbandFixed };

struct AecSettings {
    AecEngine engine = AecEngine::subband;
    int rate = 8000;       ///< 8000 or 16000
    int tailMs = 128;      ///< length of the echo path that the filters cover
    bool suppress = true;  ///< residual suppression by the controller's factor
    bool lowDelay = false; ///< sub-bands: 13 ms in place of 48 ms, in twice the time
};

/// What the canceller did, frame by frame.
struct AecTrace {
    int frameSize = 0;
    std::vector<double> step; ///< the controller's over its greatest, less under talk; mean, dB
    std::vector<double> gain; ///< the controller's factor, 1 where it has none
    std::vector<double> doubleTalk; ///< decisions, 0 where the engine makes none
    std::vector<double> disabled;   ///< 1 while a tone has switched the canceller off
};

struct AecResult {
    std::vector<std::int16_t> output; ///< as long as the near end and aligned with it
    AecTrace trace;
};

/// The engine of a name; fails with the list of names.
AecEngine aecEngineNamed(const std::string& name);
std::string aecEngineNames();

/// Both signals mono and of the settings' rate; a shorter far end is followed by silence.
AecResult cancelEcho(const AecSettings& settings, std::span<const std::int16_t> far,
                     std::span<const std::int16_t> near);

/// Echo return loss enhancement in dB, power of near over power of output, in blocks of so many
/// samples; NaN where the near end is silent.
std::vector<double> erle(std::span<const std::int16_t> near, std::span<const std::int16_t> output,
                         int block);

} // namespace qolsc::tools
