// SPDX-License-Identifier: Apache-2.0
// The engines behind the canceller: each takes a frame of both ends and gives a frame of output.
#pragma once

#include "aec/canceller.h"

#include <functional>

namespace qolsc::tools {

struct AecFrame {
    double step = 0; ///< mean step size, linear
    double gain = 1;
    double doubleTalk = 0;
};

struct AecRunner {
    int frameSize;
    int delay; ///< samples from near end to output
    /// far, near, output of frameSize samples.
    std::function<AecFrame(const std::int16_t*, const std::int16_t*, std::int16_t*)> run;
};

AecRunner makeSubbandFloat(const AecSettings& settings);
/// With or without double-talk detection.
AecRunner makeSubbandFixed(const AecSettings& settings, bool detect);
AecRunner makeFullbandFloat(const AecSettings& settings);
AecRunner makeFullbandFixed(const AecSettings& settings);

/// What of the residual is left where the controller's factor is 0.
inline constexpr double kAecFloor = 0.1;

/// Factor on the output.
inline double aecFactor(const AecSettings& settings, double gain) {
    return settings.suppress ? kAecFloor + (1 - kAecFloor) * gain : 1.0;
}

/// Stops the program where a call of the library with arguments of ours fails.
void aecCheck(int status);

/// Caller's memory of a record, aligned for every one.
struct AecMemory {
    explicit AecMemory(int bytes) : words(static_cast<std::size_t>(bytes) / 8 + 1) {}
    template <typename State>
    State* as() {
        return reinterpret_cast<State*>(words.data());
    }
    std::vector<std::int64_t> words;
};

} // namespace qolsc::tools
