// SPDX-License-Identifier: Apache-2.0
// Signal-to-noise ratios and the log-spectral distance.
#include "metrics.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

namespace qolsc::tools {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kSilence = 32768.0 * 32768.0 * 1e-6; // mean square at -60 dB of full scale
constexpr float kSpectralRange = 50; // dB below a window's loudest bin that still count
constexpr double kSnrLeast = -10;
constexpr double kSnrMost = 35;

/// Radix-2 transform in place; the length is a power of two.
void transform(std::vector<std::complex<double>>& x) {
    const std::size_t n = x.size();
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1) {
            j ^= bit;
        }
        j ^= bit;
        if (i < j) {
            std::swap(x[i], x[j]);
        }
    }
    for (std::size_t half = 1; half < n; half *= 2) {
        for (std::size_t k = 0; k < half; ++k) {
            const auto turn = std::polar(1.0, -std::numbers::pi * static_cast<double>(k) /
                                                  static_cast<double>(half));
            for (std::size_t i = k; i < n; i += 2 * half) {
                const auto odd = turn * x[i + half];
                x[i + half] = x[i] - odd;
                x[i] += odd;
            }
        }
    }
}

struct Energies {
    double signal = 0;
    double error = 0;
};

Energies energies(std::span<const std::int16_t> original, std::span<const std::int16_t> decoded) {
    Energies e;
    for (std::size_t i = 0; i < original.size(); ++i) {
        const double difference = double{1} * original[i] - decoded[i];
        e.signal += double{1} * original[i] * original[i];
        e.error += difference * difference;
    }
    return e;
}

double ratioDb(const Energies& e) {
    return e.error == 0 ? std::numeric_limits<double>::infinity()
                        : 10 * std::log10(e.signal / e.error);
}

/// Mean of the values that are numbers.
double meanOf(const std::vector<double>& values) {
    double sum = 0;
    int count = 0;
    for (const double value : values) {
        if (!std::isnan(value)) {
            sum += value;
            ++count;
        }
    }
    return count == 0 ? kNone : sum / count;
}

double spectralDistance(std::span<const std::int16_t> original,
                        std::span<const std::int16_t> decoded, int rate) {
    const int size = windowSize(rate);
    const int hop = size / 2;
    const Spectra a = powerSpectra(original, size, hop);
    const Spectra b = powerSpectra(decoded, size, hop);
    const auto bins = static_cast<std::size_t>(a.bins);
    std::vector<double> distances;
    for (std::size_t w = 0; w * bins < a.db.size(); ++w) {
        const auto window = original.subspan(w * static_cast<std::size_t>(hop));
        const auto used = window.first(std::min(window.size(), static_cast<std::size_t>(size)));
        if (energies(used, used).signal < kSilence * static_cast<double>(used.size())) {
            continue;
        }
        const auto* first = a.db.data() + w * bins;
        const float floor = *std::max_element(first, first + bins) - kSpectralRange;
        double sum = 0;
        for (std::size_t k = w * bins; k < (w + 1) * bins; ++k) {
            const double d = double{std::max(a.db[k], floor)} - std::max(b.db[k], floor);
            sum += d * d;
        }
        distances.push_back(std::sqrt(sum / static_cast<double>(bins)));
    }
    return meanOf(distances);
}

} // namespace

int windowSize(int rate) {
    int size = 64;
    while (size * 1000 < rate * 32) {
        size *= 2;
    }
    return size;
}

Spectra powerSpectra(std::span<const std::int16_t> samples, int size, int hop) {
    Spectra spectra{size, size / 2 + 1, hop, {}};
    const auto n = static_cast<std::size_t>(size);
    std::vector<double> window(n);
    double power = 0;
    for (std::size_t i = 0; i < n; ++i) {
        window[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / size);
        power += window[i] * window[i];
    }
    std::vector<std::complex<double>> x(n);
    for (std::size_t at = 0; at < samples.size(); at += static_cast<std::size_t>(hop)) {
        for (std::size_t i = 0; i < n; ++i) {
            x[i] = at + i < samples.size() ? window[i] * samples[at + i] : 0;
        }
        transform(x);
        for (std::size_t k = 0; k < static_cast<std::size_t>(spectra.bins); ++k) {
            // The unit added is the power of a signal of one least step: the floor of 16 bits.
            spectra.db.push_back(static_cast<float>(10 * std::log10(std::norm(x[k]) / power + 1)));
        }
    }
    return spectra;
}

std::vector<double> segmentSnr(std::span<const std::int16_t> original,
                               std::span<const std::int16_t> decoded, int rate) {
    const std::size_t block = static_cast<std::size_t>(rate) / 50;
    std::vector<double> snr;
    for (std::size_t at = 0; at < original.size(); at += block) {
        const std::size_t count = std::min(block, original.size() - at);
        const Energies e = energies(original.subspan(at, count), decoded.subspan(at, count));
        const bool silent = e.signal < kSilence * static_cast<double>(count);
        snr.push_back(silent ? kNone : std::clamp(ratioDb(e), kSnrLeast, kSnrMost));
    }
    return snr;
}

Quality compare(std::span<const std::int16_t> original, std::span<const std::int16_t> decoded,
                int rate) {
    return Quality{meanOf(segmentSnr(original, decoded, rate)),
                   ratioDb(energies(original, decoded)), spectralDistance(original, decoded, rate)};
}

} // namespace qolsc::tools
