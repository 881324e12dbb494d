// SPDX-License-Identifier: Apache-2.0
// Windowed-sinc interpolation, one table row for each of the phases that two whole rates have.
#include "resample.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace qolsc::tools {

namespace {

constexpr int kCrossings = 32;
constexpr double kEdge = 0.96; // middle of the transition, of the lower band edge

/// Low-pass at `cutoff` (1: half the input rate), Hann window over `reach` samples to either side.
double impulse(double at, double cutoff, double reach) {
    if (std::abs(at) >= reach) {
        return 0;
    }
    const double window = 0.5 + 0.5 * std::cos(std::numbers::pi * at / reach);
    const double x = std::numbers::pi * cutoff * at;
    return window * cutoff * (std::abs(x) < 1e-9 ? 1 : std::sin(x) / x);
}

} // namespace

std::vector<std::int16_t> resample(std::span<const std::int16_t> samples, int from, int to) {
    const int divisor = std::gcd(from, to);
    const std::int64_t up = to / divisor;
    const std::int64_t down = from / divisor;
    const double cutoff = kEdge * std::min(1.0, static_cast<double>(to) / from);
    const auto reach = static_cast<std::int64_t>(std::ceil(kCrossings / cutoff));
    std::vector<std::vector<double>> phases(static_cast<std::size_t>(up));
    const auto length = static_cast<std::int64_t>(samples.size());
    std::vector<std::int16_t> out(static_cast<std::size_t>((length * up + down - 1) / down));
    for (std::size_t i = 0; i < out.size(); ++i) {
        const std::int64_t place = static_cast<std::int64_t>(i) * down; // in parts of 1 / up
        const std::int64_t whole = place / up;
        std::vector<double>& taps = phases[static_cast<std::size_t>(place % up)];
        if (taps.empty()) {
            const double part = static_cast<double>(place % up) / static_cast<double>(up);
            for (std::int64_t k = -reach + 1; k <= reach; ++k) {
                taps.push_back(
                    impulse(static_cast<double>(k) - part, cutoff, static_cast<double>(reach)));
            }
        }
        double sum = 0;
        for (std::int64_t k = -reach + 1; k <= reach; ++k) {
            if (whole + k >= 0 && whole + k < length) {
                sum += taps[static_cast<std::size_t>(k + reach - 1)] *
                       samples[static_cast<std::size_t>(whole + k)];
            }
        }
        out[i] = static_cast<std::int16_t>(std::lround(std::clamp(sum, -32768.0, 32767.0)));
    }
    return out;
}

} // namespace qolsc::tools
