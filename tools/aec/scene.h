// SPDX-License-Identifier: Apache-2.0
// Reproducible scenes for echo cancellers: the far end through a room, a talker, noise.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace qolsc::tools {

struct SceneSettings {
    int rate = 8000;
    double roomMs = 60;    ///< length of the room's response
    double delayMs = 0;    ///< in front of it
    double echoDb = -6;    ///< energy of the response, so about the echo's level under the far end
    double noiseDb = -300; ///< level of the noise over full scale; none below -200
    double talkFrom = 0;   ///< seconds, when the talker begins
    double talkDb = 0;     ///< gain on the talker
    /// Seconds; from then on the loudspeaker stands elsewhere.
    double changeAt = std::numeric_limits<double>::infinity();
    std::uint32_t seed = 1; ///< of the noise
};

/// Response of a room of 5 m x 4 m x 3 m from a loudspeaker to a microphone by image sources (Allen
/// and Berkley 1979), with the settings' energy; `moved` puts the loudspeaker elsewhere.
std::vector<double> roomResponse(const SceneSettings& settings, bool moved);

struct Scene {
    std::vector<std::int16_t> near; ///< echo, talker and noise
    std::vector<std::int16_t> echo; ///< echo alone
};

/// As long as the far end; talk may be empty.
Scene makeScene(const SceneSettings& settings, std::span<const std::int16_t> far,
                std::span<const std::int16_t> talk);

} // namespace qolsc::tools
