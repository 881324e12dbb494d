// SPDX-License-Identifier: Apache-2.0
// The voice activity detectors of AMR and AMR-WB on whole signals.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qolsc::tools {

inline constexpr double kVadFrame = 0.02; ///< s

struct Vad {
    const char* name;
    const char* title;
    int rate; ///< Hz
    /// A flag for each frame; a last frame that isn't full is filled up with silence.
    std::vector<bool> (*run)(std::span<const std::int16_t> samples);
};

std::span<const Vad> allVads();
/// The detector, null where there is none of that name.
const Vad* findVad(const std::string& name);

/// Frames from..to - 1 with the same flag.
struct VadRun {
    std::size_t from, to;
};
std::vector<VadRun> speechRuns(const std::vector<bool>& flags);

} // namespace qolsc::tools
