// SPDX-License-Identifier: Apache-2.0
// The canceller's least squares against normal equations in double precision, solved outright.
#include "aec/equations.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>

namespace {

using namespace qolsc::tools;
using Complex = std::complex<double>;

constexpr std::size_t kTaps = 12, kLanes = 8;
constexpr double kFramesKept = 200;

/// Eight bands of a far end with a narrow spectrum, and what a path makes of it, with noise.
struct Bands {
    qolsc::test::Random random;
    Complex last[kLanes], far[kTaps][kLanes], path[kTaps][kLanes];
};

Complex noise(Bands& b) {
    const double re = qolsc::test::uniformReal(b.random, -1, 1);
    return {re, qolsc::test::uniformReal(b.random, -1, 1)};
}

void next(Bands& b, double level) {
    for (std::size_t i = kTaps - 1; i > 0; --i) {
        std::copy_n(b.far[i - 1], kLanes, b.far[i]);
    }
    for (std::size_t k = 0; k < kLanes; ++k) {
        b.last[k] = 0.9 * b.last[k] + noise(b);
        b.far[0][k] = level * b.last[k];
    }
}

ComplexEight eightOf(const Complex* z) {
    ComplexEight e{};
    for (std::size_t k = 0; k < kLanes; ++k) {
        e.re[k] = static_cast<float>(z[k].real());
        e.im[k] = static_cast<float>(z[k].imag());
    }
    return e;
}

/// Coefficients of a lane that minimise the sum, by Gauss' elimination.
std::vector<Complex> solve(std::vector<std::vector<Complex>> r, std::vector<Complex> p) {
    for (std::size_t i = 0; i < kTaps; ++i) {
        for (std::size_t j = i + 1; j < kTaps; ++j) {
            const Complex f = r[j][i] / r[i][i];
            for (std::size_t k = i; k < kTaps; ++k) {
                r[j][k] -= f * r[i][k];
            }
            p[j] -= f * p[i];
        }
    }
    for (std::size_t i = kTaps; i-- > 0;) {
        for (std::size_t k = i + 1; k < kTaps; ++k) {
            p[i] -= r[i][k] * p[k];
        }
        p[i] /= r[i][i];
    }
    return p;
}

struct Learner {
    Equations equations = makeEquations(kLanes, kTaps, kFramesKept);
    Complex coefs[kTaps][kLanes]{};
};

/// Filters a frame and learns from it; a step every few frames. The near end of each lane.
void frame(Learner& l, const Bands& b, const Complex* near, bool step) {
    Complex error[kLanes];
    for (std::size_t k = 0; k < kLanes; ++k) {
        error[k] = near[k];
        for (std::size_t i = 0; i < kTaps; ++i) {
            error[k] -= l.coefs[i][k] * b.far[i][k];
        }
    }
    hear(l.equations, 1e6);
    take(l.equations, 0, eightOf(b.far[0]), eightOf(error));
    if (step) {
        const Eight length = descend(l.equations, 0, Eight{});
        const auto& direction = l.equations.bands[0].direction;
        for (std::size_t i = 0; i < kTaps; ++i) {
            for (std::size_t k = 0; k < kLanes; ++k) {
                l.coefs[i][k] +=
                    double{length[k]} * Complex(direction[i].re[k], direction[i].im[k]);
            }
        }
    }
}

TEST(Equations, ReachTheSolutionOfLeastSquares) {
    Bands b{};
    Learner l;
    for (auto& tap : b.path) {
        for (Complex& c : tap) {
            c = noise(b);
        }
    }
    using Matrix = std::vector<std::vector<Complex>>;
    std::vector<Matrix> r(kLanes, Matrix(kTaps, std::vector<Complex>(kTaps)));
    Matrix p(kLanes, std::vector<Complex>(kTaps));
    for (int n = 0; n < 1500; ++n) {
        next(b, 1000);
        Complex near[kLanes];
        for (std::size_t k = 0; k < kLanes; ++k) {
            near[k] = 30.0 * noise(b);
            for (std::size_t i = 0; i < kTaps; ++i) {
                near[k] += b.path[i][k] * b.far[i][k];
            }
            for (std::size_t i = 0; i < kTaps; ++i) {
                p[k][i] = (1 - 1 / kFramesKept) * p[k][i] + std::conj(b.far[i][k]) * near[k];
                for (std::size_t j = 0; j < kTaps; ++j) {
                    r[k][i][j] =
                        (1 - 1 / kFramesKept) * r[k][i][j] + std::conj(b.far[i][k]) * b.far[j][k];
                }
            }
        }
        frame(l, b, near, n % 4 == 3);
    }
    // The solution follows the noise of the last frames, by far more than the learner is off it.
    for (std::size_t k = 0; k < kLanes; ++k) {
        const std::vector<Complex> best = solve(r[k], p[k]);
        double off = 0, fromPath = 0;
        for (std::size_t i = 0; i < kTaps; ++i) {
            off += std::norm(l.coefs[i][k] - best[i]);
            fromPath += std::norm(b.path[i][k] - best[i]);
        }
        EXPECT_LT(off, 0.1 * fromPath) << k;
        EXPECT_GT(fromPath, 1e-6) << k;
    }
}

TEST(Equations, SettledBandsStayAndForgettingStartsAgain) {
    Bands b{};
    Learner l;
    const auto run = [&](int frames, double sign) {
        for (int n = 0; n < frames; ++n) {
            next(b, 1000);
            Complex near[kLanes];
            std::transform(b.far[2], b.far[2] + kLanes, near, [&](Complex x) { return sign * x; });
            frame(l, b, near, true);
        }
    };
    run(100, 1);
    for (std::size_t k = 0; k < kLanes; ++k) {
        EXPECT_NEAR(std::abs(l.coefs[2][k] - 1.0), 0, 1e-3) << k;
    }
    // One frame that doesn't fit leaves a gradient, but for the band that is settled.
    const Complex loud[kLanes] = {1e4, 1e4, 1e4, 1e4, 1e4, 1e4, 1e4, 1e4};
    next(b, 1000);
    frame(l, b, loud, false);
    settle(l.equations, 5);
    const Eight length = descend(l.equations, 0, Eight{});
    double moved[kLanes]{};
    for (const ComplexEight& d : l.equations.bands[0].direction) {
        for (std::size_t k = 0; k < kLanes; ++k) {
            moved[k] += double{length[k]} * std::hypot(d.re[k], d.im[k]);
        }
    }
    for (std::size_t k = 0; k < kLanes; ++k) {
        EXPECT_EQ(moved[k] > 0, k != 5) << k;
    }
    // Another path is learnt at once when the old one is forgotten.
    forget(l.equations);
    EXPECT_EQ(roundOf(l.equations), 1u);
    run(150, -1);
    for (std::size_t k = 0; k < kLanes; ++k) {
        EXPECT_NEAR(std::abs(l.coefs[2][k] + 1.0), 0, 0.1) << k; // of 2
    }
}

} // namespace
