// SPDX-License-Identifier: Apache-2.0
// Encoder of G.723.1 at both rates, with the silence compression of Annex A (ITU-T G.723.1 2).
#include "codecs/g7231/encoder.h"

#include "codecs/g7231/silence.h"
#include "codecs/g7231/tables.h"
#include "qolsc/common.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace qolsc::tools::g7231 {

using namespace basop;

namespace {

struct Filters {
    Vector10 zero, pole; ///< weighting
};

/// Memories of the combined filter: synthesis outputs, weighted outputs, both newest first, and
/// the weighted samples that the harmonic filter looks back at.
struct Memories {
    Vector10 synthesis, weighted;
    Qol16s past[kPast];
};

struct Encoder {
    bool highRate, highPass, dtx;
    Qol16s lastInput;
    Qol32s highPassMemory;
    Qol16s buffer[kLpcBuffer]; ///< 120 old samples, 240 new ones
    Vector10 previousLsp;
    Vector10 weightIn, weightOut;
    Qol16s weightedPast[kPast];
    Qol16s past[kPast];
    Memories memories;
    Qol32s errors[5];
    Qol16s sine;
    Detector detector;
    NoiseHistory noise;
};

void push(Vector10& memory, Qol16s value) {
    std::copy_backward(memory.begin(), memory.end() - 1, memory.end());
    memory[0] = value;
}

Qol32s minus(const Vector10& a, const Vector10& x, Qol32s sum) {
    for (std::size_t j = 0; j < kOrder; ++j) {
        sum = L_msu(sum, a[j], x[j]);
    }
    return sum;
}
Qol32s plus(const Vector10& a, const Vector10& x, Qol32s sum) {
    return dotDoubled(a.data(), x.data(), kOrder, sum);
}

void takeInput(Encoder& e, const std::int16_t* pcm) {
    std::copy(e.buffer + kFrame, e.buffer + kLpcBuffer, e.buffer);
    for (int n = 0; n < kFrame; ++n) {
        Qol16s& out = e.buffer[kLpcBuffer - kFrame + n];
        if (e.highPass) {
            const Qol32s y = L_add(L_msu(L_mult(pcm[n], 0x4000), e.lastInput, 0x4000),
                                   L_mls(e.highPassMemory, 0x7F00));
            e.lastInput = pcm[n];
            e.highPassMemory = y;
            out = round_fx(y);
        } else {
            out = static_cast<Qol16s>(pcm[n] >> 1);
        }
    }
}

Filters weightingOf(const Vector10& a) {
    Filters f;
    for (std::size_t i = 0; i < kOrder; ++i) {
        f.zero[i] = mult_r(a[i], tables::kWeightZero[i]);
        f.pole[i] = mult_r(a[i], tables::kWeightPole[i]);
    }
    return f;
}

void weigh(Encoder& e, const std::array<Filters, kSubframes>& filters, const Qol16s* x, Qol16s* y) {
    for (int n = 0; n < kFrame; ++n) {
        const Filters& f = filters[static_cast<std::size_t>(n / kSubframe)];
        Qol32s sum = minus(f.zero, e.weightIn, L_mult(x[n], 0x2000));
        sum = plus(f.pole, e.weightOut, sum);
        y[n] = round_fx(L_shl(sum, 2));
        push(e.weightIn, x[n]);
        push(e.weightOut, y[n]);
    }
}

// ---- taming ----

void updateErrors(Qol32s* errors, const Subframe& s, bool highRate) {
    const int lag = s.lag - 1 + s.offset;
    const Qol16s gain = highRate && s.lag < kShortLag ? tables::kWorstGain85[s.gain]
                                                      : tables::kWorstGain170[s.gain];
    const auto worst = [&](int x) { return L_add(4, L_shl(L_mls(errors[x], gain), 2)); };
    Qol32s a, b;
    if (lag <= 30) {
        a = b = worst(0);
    } else {
        const int cell = (lag * 1092) >> 15;
        if (30 * (cell + 1) == lag) {
            a = worst(cell - 1);
            b = worst(cell);
        } else if (cell == 1) {
            a = b = std::max(worst(0), worst(1));
        } else {
            a = std::max(worst(cell - 2), worst(cell - 1));
            b = std::max(worst(cell - 1), worst(cell));
        }
    }
    errors[4] = errors[2];
    errors[3] = errors[1];
    errors[2] = errors[0];
    errors[0] = a;
    errors[1] = b;
}

// ---- subframe ----

struct Shaping {
    Qol16s lag, gain;
};

/// Samples at a distance behind the current one: the memory continued by what is being made.
Qol16s behind(const Qol16s* past, const Qol16s* own, int n) {
    return n < 0 ? past[kPast + n] : own[n];
}

void impulseResponse(const Vector10& q, const Filters& f, Shaping s, Qol16s* h) {
    Vector10 synthesis{}, weighted{};
    Qol16s v[kSubframe];
    for (int n = 0; n < kSubframe; ++n) {
        const Qol32s sum = plus(q, synthesis, n == 0 ? 0x04000000 : 0);
        const Qol32s u = L_shl(minus(f.zero, synthesis, sum), 1);
        push(synthesis, round_fx(L_shl(sum, 2)));
        v[n] = round_fx(L_shl(plus(f.pole, weighted, u), 2));
        push(weighted, v[n]);
        const Qol16s old = n < s.lag ? Qol16s{0} : v[n - s.lag];
        h[n] = round_fx(L_msu(L_deposit_h(v[n]), s.gain, old));
    }
}

void takeRinging(Memories m, const Vector10& q, const Filters& f, Shaping s, Qol16s* target) {
    Qol16s v[kSubframe];
    for (int n = 0; n < kSubframe; ++n) {
        const Qol32s sum = plus(q, m.synthesis, 0);
        Qol32s u = minus(f.zero, m.synthesis, sum);
        push(m.synthesis, round_fx(L_shl(sum, 2)));
        u = L_shl(plus(f.pole, m.weighted, u), 2);
        v[n] = round_fx(u);
        push(m.weighted, v[n]);
        target[n] = round_fx(
            L_mac(L_deposit_h(sub(target[n], v[n])), s.gain, behind(m.past, v, n - s.lag)));
    }
}

void updateMemories(Memories& m, const Vector10& q, const Filters& f, const Qol16s* x) {
    Qol16s v[kSubframe];
    for (int n = 0; n < kSubframe; ++n) {
        const Qol32s sum = plus(q, m.synthesis, L_shl(x[n], 13));
        const Qol32s u = minus(f.zero, m.synthesis, sum);
        push(m.synthesis, round_fx(L_shl(sum, 2)));
        v[n] = round_fx(L_shl(plus(f.pole, m.weighted, u), 2));
        push(m.weighted, v[n]);
    }
    pushHistory(m.past, v, kSubframe);
}

void searchAcelp(const Qol16s* target, const Qol16s* response, Subframe& s, Qol16s* times,
                 Qol16s* vector) {
    Qol16s h[kSubframe], correlation[kSubframe], signs[4], positions[4], grid, pulses[kSubframe];
    Qol16s matrix[416];
    for (int n = 0; n < kSubframe; ++n) {
        h[n] = static_cast<Qol16s>(response[n] >> 1);
    }
    sharpen(sharpeningOf(s), h);
    qolsCrossCorr_NormM_16s(h, target, kSubframe, correlation);
    qolsToeplizMatrix_G723_16s(h, matrix);
    qolsACELPFixedCodebookSearch_G723_16s(correlation, matrix, signs, positions, &grid, pulses,
                                          times);
    s.grid = grid;
    s.position = s.signs = 0;
    Qol16s y[kSubframe] = {};
    for (int t = 0; t < 4; ++t) {
        s.position |= (positions[t] >> 3) << (3 * t);
        s.signs |= (signs[t] > 0) << t;
        for (int n = positions[t]; n < kSubframe; ++n) {
            const Qol16s v = h[n - positions[t]];
            y[n] = signs[t] > 0 ? add(y[n], v) : sub(y[n], v);
        }
    }
    for (Qol16s& v : y) {
        v = static_cast<Qol16s>(v >> 3);
    }
    const Qol32s xy = dotDoubled(target, y, kSubframe), yy = dotDoubled(y, y, kSubframe);
    const int ex = norm_l(xy), ey = norm_l(yy);
    const Qol16s top = extract_h(L_shl(xy, ex)), bottom = extract_h(L_shl(yy, ey));
    s.level = 0;
    if (top > 0) {
        const Qol16s gain = shr(div_s(static_cast<Qol16s>(top >> 1), bottom), ex + 5 - ey);
        for (int i = 1; i < 24; ++i) {
            if (std::abs(gain - tables::GainDBLvls[i]) <
                std::abs(gain - tables::GainDBLvls[s.level])) {
                s.level = i;
            }
        }
    }
    acelpVector(s, vector);
}

void searchSubframe(Encoder& e, int k, const Qol16s* h, Qol16s* target, Subframe& s, int& lag,
                    Qol16s* times, Qol16s* excitation) {
    if (k % 2 == 0) {
        lag = lag == 18 ? 19 : std::min(lag, 140);
    }
    const Qol32s rate = e.highRate ? 4 : 2;
    Qol16s offset, gain;
    qolsAdaptiveCodebookSearch_G723(static_cast<Qol16s>(lag), target, h, e.past, e.errors, &offset,
                                    &gain, static_cast<Qol16s>(k), e.sine, rate);
    if (k % 2 == 0) {
        lag += offset - 1;
        offset = 1;
    }
    s.lag = lag;
    s.offset = offset;
    s.gain = gain;
    s.train = 0;
    Qol16s adaptive[kSubframe], fixed[kSubframe];
    qolsDecodeAdaptiveVector_G723_16s(static_cast<Qol16s>(lag), offset, gain, e.past, adaptive,
                                      rate);
    for (int n = 0; n < kSubframe; ++n) {
        Qol32s sum = L_shl(target[n], 15);
        for (int j = 0; j <= n; ++j) {
            sum = L_msu(sum, adaptive[j], h[n - j]);
        }
        target[n] = round_fx(L_shl(sum, 1));
    }
    if (e.highRate) {
        Qol16s grid, train, level, mask;
        qolsMPMLQFixedCodebookSearch_G723(static_cast<Qol16s>(lag), h, target, fixed, &grid, &train,
                                          &level, &mask, &s.position, static_cast<Qol16s>(k));
        s.grid = grid;
        s.train = train;
        s.level = level;
        s.signs = mask;
    } else {
        searchAcelp(target, h, s, times, fixed);
    }
    addExcitation(fixed, adaptive, excitation);
}

void trackSine(Encoder& e, const Solution* solutions) {
    for (int k = 0; k < kSubframes; ++k) {
        e.sine =
            static_cast<Qol16s>(static_cast<Qol16u>(e.sine << 1) | (solutions[k].second > 0x799A));
    }
    e.sine &= 0x7FFF;
    if (std::popcount(static_cast<unsigned>(e.sine)) >= 14) {
        e.sine = static_cast<Qol16s>(e.sine | -0x8000);
    }
}

/// The weighted speech of a frame behind the past that the lags reach into, the same scaled to
/// three bits of headroom, and the open-loop lags of its halves.
struct Weighted {
    Qol16s plain[kPast + kFrame], scaled[kPast + kFrame];
    int lags[2];
};

void weighAndFindLags(Encoder& e, const std::array<Filters, kSubframes>& filters, Weighted& w) {
    std::copy_n(e.weightedPast, kPast, w.plain);
    weigh(e, filters, e.buffer + kSubframe, w.plain + kPast);
    std::copy_n(w.plain + kFrame, kPast, e.weightedPast);
    normaliseThree(w.plain, kPast + kFrame, w.scaled);
    for (int h = 0; h < 2; ++h) {
        w.lags[h] = openLoopLag(w.scaled + kPast + 120 * h);
        e.detector.lags[h] = e.detector.lags[h + 2];
    }
    e.detector.lags[2] = w.lags[0];
    e.detector.lags[3] = w.lags[1];
}

/// Harmonic shaping, target and searches of an active subframe; G.723.1 2.11 to 2.16.
void encodeSubframe(Encoder& e, int k, const Weighted& w, const Vector10& predictor,
                    const Filters& filters, Subframe& s, int& lag, Qol16s* times,
                    Qol16s* excitation) {
    const Qol16s* speech = w.plain + kPast + kSubframe * k;
    Shaping shaping;
    qolsHarmonicSearch_G723_16s(static_cast<Qol16s>(w.lags[k / 2]),
                                w.scaled + kPast + kSubframe * k, &shaping.lag, &shaping.gain);
    Qol16s target[kSubframe], h[kSubframe];
    for (int n = 0; n < kSubframe; ++n) {
        target[n] = round_fx(L_msu(L_deposit_h(speech[n]), shaping.gain, speech[n - shaping.lag]));
    }
    impulseResponse(predictor, filters, shaping, h);
    takeRinging(e.memories, predictor, filters, shaping, target);
    searchSubframe(e, k, h, target, s, lag, times, excitation);
    pushHistory(e.past, excitation, kSubframe);
}

} // namespace

void* openEncoder(bool highRate, bool highPass, bool dtx) {
    auto* e = new Encoder{};
    e->highRate = highRate;
    e->highPass = highPass;
    e->dtx = dtx;
    std::copy_n(tables::kLspMean, kOrder, e->previousLsp.begin());
    e->noise.lsp = e->previousLsp;
    std::fill_n(e->errors, 5, 4);
    return e;
}

void closeEncoder(void* encoder) { delete static_cast<Encoder*>(encoder); }

void encodeFrame(void* encoder, const std::int16_t* pcm, Frame& frame) {
    auto& e = *static_cast<Encoder*>(encoder);
    Fields f{};
    f.kind = e.highRate ? Kind::high : Kind::low;
    takeInput(e, pcm);
    Correlation correlations[kSubframes];
    Solution solutions[kSubframes];
    std::array<Filters, kSubframes> filters;
    for (int k = 0; k < kSubframes; ++k) {
        correlations[k] = correlate(e.buffer + kSubframe * k);
        solutions[k] = solve(correlations[k].r);
        filters[static_cast<std::size_t>(k)] = weightingOf(solutions[k].predictor);
    }
    trackSine(e, solutions);
    if (e.dtx) {
        keepCorrelations(e.noise, correlations);
    }
    const bool active = !e.dtx || detectActivity(e.detector, e.noise.predictor, e.sine < 0,
                                                 e.buffer + kLpcBuffer - kFrame);

    Weighted w;
    weighAndFindLags(e, filters, w);

    Vector10 lsp;
    Qol16s excitation[kFrame];
    if (active) {
        f.lsp = quantiseLsp(predictorToLsp(solutions[3].predictor, e.previousLsp), e.previousLsp);
        lsp = decodeLsp(f.lsp, e.previousLsp, false);
        e.noise.seed = kNoiseSeed;
    } else {
        encodeNoise(e.noise, e.detector.adaptation == 0, e.previousLsp, e.past, f, excitation);
        lsp = e.noise.lsp;
    }
    const auto predictors = interpolateLsp(lsp, e.previousLsp);
    e.previousLsp = lsp;
    e.noise.active = active;
    Qol16s times = 120;
    int lag = 0; // of the half frame, refined in its first subframe
    for (int k = 0; k < kSubframes; ++k) {
        const auto at = static_cast<std::size_t>(k);
        Qol16s* x = excitation + kSubframe * k;
        if (active) {
            lag = k % 2 == 0 ? w.lags[k / 2] : lag;
            encodeSubframe(e, k, w, predictors[at], filters[at], f.sub[at], lag, &times, x);
        }
        updateErrors(e.errors, f.sub[at], e.highRate);
        updateMemories(e.memories, predictors[at], filters[at], x);
    }
    packFrame(f, frame);
    frame.kind = active                    ? FrameKind::speech
                 : f.kind == Kind::silence ? FrameKind::sid
                                           : FrameKind::noData;
}

} // namespace qolsc::tools::g7231
