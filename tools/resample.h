// SPDX-License-Identifier: Apache-2.0
// Conversion of sample rates.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace qolsc::tools {

/// The signal at another rate: band-limited interpolation by a windowed sinc of 32 zero crossings
/// to either side; what lies above 0.92 of the lower band edge fades out.
std::vector<std::int16_t> resample(std::span<const std::int16_t> samples, int from, int to);

} // namespace qolsc::tools
