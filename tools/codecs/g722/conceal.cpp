// SPDX-License-Identifier: Apache-2.0
// Concealment of lost G.722 frames (after ITU-T G.722 Appendix IV).
#include "codecs/g722/conceal.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

namespace qolsc::tools {

namespace {

constexpr int kOrder = G722Concealer::kOrder, kMaxLag = G722Concealer::kMaxLag;
constexpr int kLow = G722Concealer::kLow, kHigh = G722Concealer::kHigh;
constexpr int kOverlap = G722Concealer::kOverlap;
constexpr int kPitchSpan = 288; // samples that the pitch search looks at
constexpr int kShortSpan = 80;  // samples of the short-term analysis and the crossing count
constexpr int kDecimation = 4;
constexpr int kMinLag = 16;
constexpr int kManyCrossings = 20; // of kShortSpan: unvoiced
constexpr double kVoiced = 0.7;    // correlation over one period
constexpr int kResetAfter = 160;   // faded samples that make the decoder's adaptation start again

enum Class { voiced, unvoiced, transient, weaklyVoiced, transition };

Qol16s clamp15(double x) {
    return static_cast<Qol16s>(std::clamp(std::lround(x), -16384L, 16383L));
}

/// Normalised correlation of x[0..count-1] with the samples lag earlier.
double correlation(const Qol16s* x, int count, int lag) {
    double xy = 0, xx = 1, yy = 1;
    for (int i = 0; i < count; ++i) {
        xy += double{1} * x[i] * x[i - lag];
        xx += double{1} * x[i] * x[i];
        yy += double{1} * x[i - lag] * x[i - lag];
    }
    return xy / std::sqrt(xx * yy);
}

/// Lag in [from, to] whose correlation is greatest.
int bestLag(const Qol16s* x, int count, int from, int to) {
    int best = from;
    double greatest = -2;
    for (int lag = from; lag <= to; ++lag) {
        const double c = correlation(x, count, lag);
        if (c > greatest) {
            greatest = c;
            best = lag;
        }
    }
    return best;
}

/// Open loop on the signal decimated by four, then refined by two samples to either side.
int pitchLag(const G722Concealer& c, double& strength) {
    Qol16s slow[kPitchSpan / kDecimation];
    qolsDownsampleFilter_G722_16s(c.low + kLow - kPitchSpan, kPitchSpan, slow);
    constexpr int kSlow = static_cast<int>(std::size(slow)), kSlowMax = kMaxLag / kDecimation;
    const int coarse =
        kDecimation * bestLag(slow + kSlowMax, kSlow - kSlowMax, kMinLag / kDecimation, kSlowMax);
    const Qol16s* recent = c.low + kLow - kMaxLag;
    const int lag =
        bestLag(recent, kMaxLag, std::max(kMinLag, coarse - 2), std::min(kMaxLag, coarse + 2));
    strength = correlation(c.low + kLow - lag, lag, lag);
    return lag;
}

/// Predictor of order 8 on the last samples (asymmetric window, a little white noise).
void shortTermPredictor(const G722Concealer& c, double* lpc) {
    constexpr int kSpan = 2 * kShortSpan;
    double x[kSpan], r[kOrder + 1];
    for (int i = 0; i < kSpan; ++i) {
        x[i] = c.low[kLow - kSpan + i] * std::sin(M_PI / 2 * (i + 0.5) / kSpan);
    }
    for (int k = 0; k <= kOrder; ++k) {
        r[k] = 0;
        for (int i = k; i < kSpan; ++i) {
            r[k] += x[i] * x[i - k];
        }
    }
    double error = r[0] = r[0] * 1.0001 + 1;
    std::fill(lpc, lpc + kOrder + 1, 0.0);
    lpc[0] = 1;
    for (int k = 1; k <= kOrder; ++k) {
        double sum = 0;
        for (int i = 0; i < k; ++i) {
            sum += lpc[i] * r[k - i];
        }
        const double reflection = -sum / error;
        double before[kOrder + 1];
        std::copy(lpc, lpc + kOrder + 1, before);
        for (int i = 1; i <= k; ++i) {
            lpc[i] += reflection * before[k - i];
        }
        error *= 1 - reflection * reflection;
    }
    for (int k = 1; k <= kOrder; ++k) {
        lpc[k] *= std::pow(0.99, k); // keeps the repetition from ringing
    }
}

int crossings(const G722Concealer& c) {
    int count = 0;
    for (int i = kLow - kShortSpan; i < kLow; ++i) {
        count += (c.low[i] < 0) != (c.low[i - 1] < 0) ? 1 : 0;
    }
    return count;
}

/// What the first lost frame has to find out.
void analyse(G722Concealer& c, const QolsSBADPCMState_G722* pState) {
    double strength = 0;
    c.lag = pitchLag(c, strength);
    shortTermPredictor(c, c.lpc);

    // Residual of the last two periods and the two samples in front that the classifier looks at.
    Qol16s residual[2 + 2 * kMaxLag];
    const int count = 2 + 2 * c.lag;
    for (int i = 0; i < count; ++i) {
        const Qol16s* x = c.low + kLow - count + i;
        double e = 0;
        for (int k = 0; k <= kOrder && x - k >= c.low; ++k) {
            e += c.lpc[k] * x[-k];
        }
        residual[i] = static_cast<Qol16s>(std::clamp(std::lround(e), -32768L, 32767L));
    }
    Qol32s signalClass = crossings(c) >= kManyCrossings ? unvoiced
                         : strength > kVoiced           ? voiced
                                                        : weaklyVoiced;
    qolsClassifyFrame_G722_16s_I(residual + 2, c.lag, &signalClass, pState);
    c.signalClass = signalClass;
    // What isn't periodic would only add to the error at its full level.
    c.level = std::clamp(0.4 + 0.6 * strength, 0.4, 1.0);

    std::copy(residual + 2 + c.lag, residual + count, c.excitation);
    for (int k = 0; k < kOrder; ++k) {
        c.past[k] = c.low[kLow - 1 - k];
    }
    c.highLag = signalClass == voiced ? c.lag : kShortSpan;
    c.highMemory = {};
    c.phase = 0;
}

/// Gain after n samples of loss: a plateau, then a straight line to silence.
double fade(const G722Concealer& c, int n) {
    struct Shape {
        int plateau, end;
    };
    constexpr Shape kShapes[] = {{80, 480}, {80, 480}, {0, 80}, {80, 320}, {40, 240}};
    const Shape s = kShapes[c.signalClass];
    const double shape = n <= s.plateau ? 1.0
                         : n >= s.end   ? 0.0
                                        : double(s.end - n) / (s.end - s.plateau);
    return c.level * shape;
}

double synthesise(G722Concealer& c, int n) {
    double y = c.excitation[n % c.lag];
    for (int k = 0; k < kOrder; ++k) {
        y -= c.lpc[k + 1] * c.past[k];
    }
    std::copy_backward(c.past, c.past + kOrder - 1, c.past + kOrder);
    c.past[0] = y;
    return y;
}

void push(Qol16s* history, int size, Qol16s x) {
    std::copy(history + 1, history + size, history);
    history[size - 1] = x;
}

} // namespace

void concealGood(G722Concealer& c, Qol16s* pPairs, int pairs) {
    for (int i = 0; i < pairs; ++i) {
        if (c.active && i < kOverlap) {
            const double w = (i + 0.5) / kOverlap;
            pPairs[2 * i] = clamp15(w * pPairs[2 * i] + (1 - w) * c.next[i]);
        }
        push(c.low, kLow, pPairs[2 * i]);
        push(c.high, kHigh, pPairs[2 * i + 1]);
    }
    c.active = false;
}

void concealLost(G722Concealer& c, const QolsSBADPCMState_G722* pState, Qol16s* pPairs, int pairs) {
    if (!c.active) {
        analyse(c, pState);
        c.active = true;
    }
    for (int i = 0; i < pairs; ++i, ++c.phase) {
        const double gain = fade(c, c.phase);
        pPairs[2 * i] = clamp15(gain * synthesise(c, c.phase));
        push(c.low, kLow, pPairs[2 * i]);
        const Qol16s repeated = c.high[kHigh - c.highLag];
        push(c.high, kHigh, repeated);
        pPairs[2 * i + 1] = clamp15(gain * repeated);
    }
    qolsFilterHighband_G722_16s_I(pPairs, 2 * pairs, &c.highMemory);

    // The continuation is made from a copy: another lost frame has to go on where this one ended.
    G722Concealer ahead = c;
    for (int i = 0; i < kOverlap; ++i, ++ahead.phase) {
        c.next[i] = clamp15(fade(ahead, ahead.phase) * synthesise(ahead, ahead.phase));
    }
}

void concealResume(const G722Concealer& c, QolsSBADPCMState_G722* pState) {
    if (c.active) {
        qolsSBADPCMDecodeStateUpdate_G722_16s(c.low + kLow - 2, c.next[0],
                                              c.phase > kResetAfter ? 1 : 0, pState);
    }
}

} // namespace qolsc::tools
