// SPDX-License-Identifier: Apache-2.0
// Recursive least squares without the inverse of R: single steps of conjugate gradients on
// equations that go on changing (Chang and Willson 2000). A model of the far end's spectrum in the
// band, by linear prediction, takes the place of R's inverse in the choice of the direction.
#include "aec/equations.h"

#include <algorithm>

namespace qolsc::tools {

namespace {

/// Bands' powers are up to 2^44, and three of them meet in a product on the way to a step.
constexpr float kScale = 0x1p-40f;
constexpr std::size_t kOrder = 2; // of the prediction
/// White part of the model, so that the weak ends of a band's spectrum aren't learnt before the
/// rest.
constexpr float kWhite = 0.1f;
/// Sums begin with a silent past, so that for the first frames the error is more than they explain,
/// after a change by far. Once coefficients come closer, after so many frames, sums begin again.
constexpr int kRelearning = 48;
/// A far end so many times as loud as before makes what was heard until then worth little.
constexpr float kLouder = 4;

ComplexEight* rowOf(BandEquations& b, std::size_t segments, std::size_t i) {
    const std::size_t at = b.newest + i;
    return &b.rows[(at < segments ? at : at - segments) * segments];
}

void sumUp(const Equations& e, BandEquations& b) {
    const Eight keep = eights(e.keep);
    for (std::size_t w = 0; w < b.waits; ++w) {
        const auto& [far, error] = b.waiting[w];
        b.newest = (b.newest == 0 ? e.segments : b.newest) - 1;
        b.far[b.newest] = b.far[b.newest + e.segments] = far;
        const ComplexEight* const x = &b.far[b.newest];
        const ComplexEight* const before = rowOf(b, e.segments, 1);
        ComplexEight* const row = rowOf(b, e.segments, 0);
        ComplexEight* const g = b.gradient.data();
        const Eight fRe = kScale * far.re, fIm = kScale * far.im;
        const Eight eRe = kScale * error.re, eIm = kScale * error.im;
        for (std::size_t i = 0; i < e.segments; ++i) {
            const Eight re = x[i].re, im = x[i].im;
            row[i].re = keep * before[i].re + (re * fRe + im * fIm);
            row[i].im = keep * before[i].im + (im * fRe - re * fIm);
            g[i].re = keep * g[i].re + (eRe * re + eIm * im);
            g[i].im = keep * g[i].im + (eIm * re - eRe * im);
        }
    }
    b.waits = 0;
}

/// b.image = R·b.direction; each element of the half that is kept serves twice.
void multiply(BandEquations& b, std::size_t segments) {
    std::fill(b.image.begin(), b.image.end(), ComplexEight{});
    for (std::size_t i = 0; i < segments; ++i) {
        const ComplexEight* const r = rowOf(b, segments, i);
        const ComplexEight* const d = &b.direction[i];
        ComplexEight* const q = &b.image[i];
        const Eight dRe = d[0].re, dIm = d[0].im;
        Eight re = r[0].re * dRe, im = r[0].re * dIm, re2{}, im2{};
        for (std::size_t l = 1; l < segments - i; ++l) {
            const Eight vRe = r[l].re, vIm = r[l].im, lRe = d[l].re, lIm = d[l].im;
            re += vRe * lRe;
            re2 += vIm * lIm;
            im += vRe * lIm;
            im2 += vIm * lRe;
            q[l].re += dRe * vRe + dIm * vIm;
            q[l].im += dIm * vRe - dRe * vIm;
        }
        q[0].re += re - re2;
        q[0].im += im + im2;
    }
}

/// Coefficients of the prediction error filter, the first of them 1.
using Predictor = std::array<ComplexEight, kOrder + 1>;

/// By Levinson's recursion from so many elements of the correlation.
Predictor predictorOf(const ComplexEight* correlation, std::size_t known) {
    Predictor a{};
    a[0].re = eights(1);
    Eight energy = correlation[0].re * (1 + kWhite) + 1e-25f;
    for (std::size_t k = 1; k <= kOrder && k < known; ++k) {
        ComplexEight sum{};
        for (std::size_t i = 0; i < k; ++i) {
            sum = sum + a[i] * correlation[k - i];
        }
        const ComplexEight reflection = (-1 / energy) * sum;
        const Predictor before = a;
        for (std::size_t i = 1; i <= k; ++i) {
            a[i] = before[i] + timesConjugate(reflection, before[k - i]);
        }
        energy *= 1 - norm(reflection);
    }
    return a;
}

/// Element n of the filter's output, the gradient going in.
ComplexEight whitened(const std::vector<ComplexEight>& gradient, const Predictor& a,
                      std::size_t n) {
    ComplexEight sum{};
    for (std::size_t k = 0; k <= kOrder && k <= n; ++k) {
        if (n - k < gradient.size()) {
            sum = sum + timesConjugate(gradient[n - k], a[k]);
        }
    }
    return sum;
}

/// Gives A^H·A·gradient, element by element, for the matrix A of the filter: for a far end as
/// predicted that is a multiple of the inverse of R times the gradient.
void precondition(const std::vector<ComplexEight>& gradient, const Predictor& a, auto&& give) {
    Predictor next;
    for (std::size_t k = 0; k <= kOrder; ++k) {
        next[k] = whitened(gradient, a, k);
    }
    for (std::size_t i = 0; i < gradient.size(); ++i) {
        ComplexEight sum = next[0];
        for (std::size_t k = 1; k <= kOrder; ++k) {
            sum = sum + a[k] * next[k];
        }
        give(i, sum);
        std::copy(next.begin() + 1, next.end(), next.begin());
        next[kOrder] = whitened(gradient, a, i + kOrder + 1);
    }
}

void clear(Equations& e) {
    for (BandEquations& b : e.bands) {
        for (auto* part : {&b.rows, &b.gradient, &b.far, &b.direction, &b.image}) {
            std::fill(part->begin(), part->end(), ComplexEight{});
        }
        b.curvature = Eight{};
        b.waits = 0;
    }
    e.loudest = e.heard = 0;
}

} // namespace

Equations makeEquations(int bands, int segments, double framesKept) {
    const auto n = static_cast<std::size_t>(segments);
    const std::vector<ComplexEight> none(n), twice(2 * n), square(n * n);
    const BandEquations empty{{}, 0, 0, twice, square, none, none, none, Eight{}};
    Equations e{};
    e.segments = n;
    e.keep = static_cast<float>(1 - 1 / framesKept);
    e.bands.assign(static_cast<std::size_t>((bands + 7) / 8), empty);
    e.downhill = none;
    return e;
}

void hear(Equations& e, float power) {
    if (power > kLouder * e.loudest) {
        e.heard = 0;
    }
    e.loudest = std::max(e.loudest, power);
    e.heard += power / e.loudest;
    if (e.relearning > 0 && --e.relearning == 0) {
        clear(e);
    }
}

void take(Equations& e, std::size_t group, ComplexEight far, ComplexEight error) {
    BandEquations& b = e.bands[group];
    b.waiting[b.waits++] = {far, error};
    if (b.waits == b.waiting.size()) {
        sumUp(e, b);
    }
}

std::size_t roundOf(const Equations& e) {
    // A step takes time with the square of the segments; so does a frame if rounds don't get
    // longer.
    const std::size_t unit = std::max<std::size_t>(1, e.segments / 20);
    constexpr struct {
        float until;
        std::size_t frames;
    } rounds[] = {{16, 1}, {64, 2}, {160, 4}, {480, 8}};
    for (const auto& [until, frames] : rounds) {
        if (e.heard < until) {
            return unit * frames;
        }
    }
    return unit * 12;
}

/// So that the rows are there when they are multiplied, while others are summed up.
void fetchRows(BandEquations& b, std::size_t segments) {
    for (std::size_t i = 0; i < segments; ++i) {
        const ComplexEight* const row = rowOf(b, segments, i);
        for (std::size_t l = 0; l < segments - i; ++l) {
            __builtin_prefetch(row + l);
        }
    }
}

Eight descend(Equations& e, std::size_t group, Eight ridge) {
    BandEquations& b = e.bands[group];
    fetchRows(b, e.segments);
    sumUp(e, b);
    const Eight none{};
    ComplexEight* const d = b.direction.data();
    ComplexEight* const q = b.image.data();
    ComplexEight* const g = b.gradient.data();
    ComplexEight* const z = e.downhill.data();
    Eight along{};
    precondition(b.gradient, predictorOf(rowOf(b, e.segments, 0), e.segments),
                 [&](std::size_t i, const ComplexEight& v) {
                     z[i] = v;
                     along += q[i].re * v.re + q[i].im * v.im;
                 });
    // Conjugate to the last direction, if that still points downhill.
    const Eight turn = b.curvature > 0 ? largerOf(-along / b.curvature, none) : none;
    for (std::size_t i = 0; i < e.segments; ++i) {
        d[i].re = z[i].re + turn * d[i].re;
        d[i].im = z[i].im + turn * d[i].im;
    }
    multiply(b, e.segments);
    const Eight doubt = kScale * ridge;
    Eight curvature{}, slope{}, square{};
    for (std::size_t i = 0; i < e.segments; ++i) {
        q[i].re += doubt * d[i].re;
        q[i].im += doubt * d[i].im;
        curvature += d[i].re * q[i].re + d[i].im * q[i].im;
        slope += d[i].re * g[i].re + d[i].im * g[i].im;
        square += d[i].re * d[i].re + d[i].im * d[i].im;
    }
    // Where nothing has been heard there is no curvature but that of rounding errors.
    const Eight least = 1e-6f * rowOf(b, e.segments, 0)[0].re * square + 1e-30f;
    b.curvature = curvature > least ? curvature : none;
    const Eight length = curvature > least ? largerOf(slope, none) / curvature : none;
    for (std::size_t i = 0; i < e.segments; ++i) {
        g[i].re -= length * q[i].re;
        g[i].im -= length * q[i].im;
    }
    return length;
}

void forget(Equations& e) {
    clear(e);
    e.relearning = kRelearning;
}

void settle(Equations& e, std::size_t band) {
    BandEquations& b = e.bands[band / 8];
    sumUp(e, b);
    for (std::size_t i = 0; i < e.segments; ++i) {
        b.gradient[i].re[band % 8] = b.gradient[i].im[band % 8] = 0;
        b.direction[i].re[band % 8] = b.direction[i].im[band % 8] = 0;
    }
    b.curvature[band % 8] = 0;
}

} // namespace qolsc::tools
