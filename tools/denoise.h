// SPDX-License-Identifier: Apache-2.0
// The noise filter over a whole signal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qolsc::tools {

struct Denoised {
    std::vector<std::int16_t> output; ///< aligned with the input, of its length
    std::vector<double> noisePower;   ///< dB, one a block; NaN while no noise is known
    std::vector<double> taken;        ///< 1 where a block's frame became the noise reference
    std::size_t lastNoise = 0;        ///< end of the frame last taken as noise; 0: there was none
    std::size_t off = 0;              ///< from this sample on the filter passes its input
};

/// Samples of a block of the noise filter.
inline constexpr std::size_t kDenoiseBlock = 16;

/// Detector and filter at a level of 0 to 5; false where the filter doesn't take the rate.
bool denoise(std::vector<std::int16_t> input, int rate, int level, Denoised& d);

} // namespace qolsc::tools
