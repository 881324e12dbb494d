// SPDX-License-Identifier: Apache-2.0
// Kaiser's window for the analysis and the canonical dual of the Gabor frame that it makes for the
// synthesis (Wexler and Raz 1990).
#include "aec/bank.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qolsc::tools {

namespace {

double bessel0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; k < 40; ++k) {
        term *= x * x / 4 / k / k;
        sum += term;
    }
    return sum;
}

std::vector<double> kaiser(int length, double beta) {
    std::vector<double> w;
    for (int n = 0; n < length; ++n) {
        const double t = (2.0 * n + 1) / length - 1;
        w.push_back(bessel0(beta * std::sqrt(1 - t * t)) / bessel0(beta));
    }
    return w;
}

/// The shortest solution g of: h(n)·g(n) sums to 1 over the frames that cover a sample, and
/// h(n + r·size)·g(n) to 0 for every other r for which the windows meet. These are as many
/// equations for each place of a sample in its frame.
std::vector<double> dual(const std::vector<double>& h, int size, int frameSize) {
    const int length = static_cast<int>(h.size());
    const int reach = (length + size - 1) / size - 1, count = 2 * reach + 1;
    const auto at = [&](int n) {
        return n >= 0 && n < length ? h[static_cast<std::size_t>(n)] : 0.0;
    };
    const auto shifted = [&](int n, int row) { return at(n + (row - reach) * size); };
    std::vector<double> g(h.size());
    for (int place = 0; place < frameSize; ++place) {
        // Normal equations of the rows; Gauss-Jordan, the matrix being positive definite.
        constexpr int kMost = 7;
        std::array<std::array<double, kMost + 1>, kMost> a{};
        for (int n = place; n < length; n += frameSize) {
            for (int r = 0; r < count; ++r) {
                for (int s = 0; s < count; ++s) {
                    a[r][s] += shifted(n, r) * shifted(n, s);
                }
            }
        }
        a[reach][count] = 1;
        for (int r = 0; r < count; ++r) {
            a[r][r] += 1e-12;
            const double pivot = a[r][r];
            for (double& v : a[r]) {
                v /= pivot;
            }
            for (int s = 0; s < count; ++s) {
                const double f = s == r ? 0 : a[s][r];
                for (int c = 0; c <= count; ++c) {
                    a[s][c] -= f * a[r][c];
                }
            }
        }
        for (int n = place; n < length; n += frameSize) {
            for (int r = 0; r < count; ++r) {
                g[static_cast<std::size_t>(n)] += a[r][count] * shifted(n, r);
            }
        }
    }
    return g;
}

} // namespace

Bank bankOf(const AecSettings& settings) {
    const int twice = settings.rate == 8000 ? 0 : 1;
    // Aliases of a band begin where the window's spectrum has fallen for good.
    Bank bank =
        settings.lowDelay ? Bank{6, 24, 128, 0, 0, 0, {}, {}} : Bank{7, 56, 384, 0, 0, 1, {}, {}};
    const double beta = settings.lowDelay ? 8 : 9.5;
    bank.order += twice;
    bank.frameSize <<= twice;
    bank.windowLen <<= twice;
    bank.analysis = kaiser(bank.windowLen, beta);
    bank.synthesis = dual(bank.analysis, 1 << bank.order, bank.frameSize);
    // The library applies a synthesis window backwards.
    std::reverse(bank.synthesis.begin(), bank.synthesis.end());
    bank.bands = (1 << bank.order) / 2 + 1;
    const int samples = settings.tailMs * settings.rate / 1000;
    bank.segments = std::clamp((samples + bank.frameSize - 1) / bank.frameSize, 1, kMostSegments);
    return bank;
}

} // namespace qolsc::tools
