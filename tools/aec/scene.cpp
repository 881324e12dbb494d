// SPDX-License-Identifier: Apache-2.0
// Image sources, convolution and a fixed generator of noise: the same scene on every machine.
#include "aec/scene.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qolsc::tools {

namespace {

constexpr double kSpeedOfSound = 343; // m/s
constexpr double kReflection = 0.7;   // of pressure, all walls
constexpr double kRoom[3] = {5, 4, 3};
constexpr double kMicrophone[3] = {2.1, 1.7, 1.2};
constexpr double kSpeaker[3] = {2.9, 2.2, 1.1}, kMovedSpeaker[3] = {1.2, 2.9, 1.6};

/// Adds an impulse between samples: a sinc under a Hann window of 16 samples.
void addImpulse(std::vector<double>& h, double at, double height) {
    const int first = static_cast<int>(std::floor(at)) - 7;
    for (int n = std::max(0, first); n < first + 16; ++n) {
        if (n < static_cast<int>(h.size())) {
            const double t = n - at;
            const double sinc =
                std::abs(t) < 1e-9 ? 1 : std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
            h[static_cast<std::size_t>(n)] +=
                height * sinc * 0.5 * (1 + std::cos(std::numbers::pi * t / 8));
        }
    }
}

/// Approximately normal, from a 32-bit linear congruential generator.
struct Noise {
    std::uint32_t state;
    double operator()() {
        double sum = -6;
        for (int k = 0; k < 12; ++k) {
            state = state * 1664525u + 1013904223u;
            sum += state * 0x1p-32;
        }
        return sum;
    }
};

std::int16_t toSample(double v) {
    return static_cast<std::int16_t>(std::lrint(std::clamp(v, -32768.0, 32767.0)));
}

} // namespace

std::vector<double> roomResponse(const SceneSettings& settings, bool moved) {
    const auto length = static_cast<std::size_t>(settings.rate * settings.roomMs / 1000) + 1;
    std::vector<double> h(length);
    const double* const speaker = moved ? kMovedSpeaker : kSpeaker;
    const double reach = length * kSpeedOfSound / settings.rate;
    int most[3];
    for (int a = 0; a < 3; ++a) {
        most[a] = static_cast<int>(reach / (2 * kRoom[a])) + 1;
    }
    for (int x = -most[0]; x <= most[0]; ++x) {
        for (int y = -most[1]; y <= most[1]; ++y) {
            for (int z = -most[2]; z <= most[2]; ++z) {
                for (int mirror = 0; mirror < 8; ++mirror) {
                    const int cell[3] = {x, y, z};
                    double squares = 0;
                    int walls = 0;
                    for (int a = 0; a < 3; ++a) {
                        const int flipped = mirror >> a & 1;
                        const double at = 2 * cell[a] * kRoom[a] +
                                          (flipped ? -speaker[a] : speaker[a]) - kMicrophone[a];
                        squares += at * at;
                        walls += std::abs(cell[a] - flipped) + std::abs(cell[a]);
                    }
                    const double distance = std::sqrt(squares);
                    addImpulse(h, distance / kSpeedOfSound * settings.rate,
                               std::pow(kReflection, walls) / distance);
                }
            }
        }
    }
    double energy = 0;
    for (const double v : h) {
        energy += v * v;
    }
    const double factor = std::sqrt(std::pow(10, settings.echoDb / 10) / energy);
    for (double& v : h) {
        v *= factor;
    }
    h.insert(h.begin(), static_cast<std::size_t>(settings.rate * settings.delayMs / 1000), 0.0);
    return h;
}

Scene makeScene(const SceneSettings& settings, std::span<const std::int16_t> far,
                std::span<const std::int16_t> talk) {
    const std::vector<double> paths[2] = {roomResponse(settings, false),
                                          roomResponse(settings, true)};
    const double change = settings.changeAt * settings.rate;
    const auto from = static_cast<std::size_t>(std::max(0.0, settings.talkFrom) * settings.rate);
    const double talkGain = std::pow(10, settings.talkDb / 20);
    const double noiseGain =
        settings.noiseDb < -200 ? 0 : 32768 * std::pow(10, settings.noiseDb / 20);
    Noise noise{settings.seed};
    Scene scene;
    for (std::size_t n = 0; n < far.size(); ++n) {
        const std::vector<double>& h = paths[static_cast<double>(n) >= change];
        double echo = 0;
        for (std::size_t k = 0; k < h.size() && k <= n; ++k) {
            echo += h[k] * far[n - k];
        }
        const double speech = n >= from && n - from < talk.size() ? talkGain * talk[n - from] : 0;
        scene.echo.push_back(toSample(echo));
        scene.near.push_back(toSample(echo + speech + noiseGain * noise()));
    }
    return scene;
}

} // namespace qolsc::tools
