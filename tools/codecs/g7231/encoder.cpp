// SPDX-License-Identifier: Apache-2.0
// Encoder of G.723.1 at both rates, with the silence compression of Annex A (ITU-T G.723.1 2).
#include "codecs/g7231/encoder.h"

#include "codecs/g7231/analysis.h"
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

struct Detector {
    int adaptation = 0; ///< Aen
    Qol32s level = 0x400, energy = 0x400;
    int speech = 0, hangover = 3;
    int lags[4] = {1, 1, 60, 60};
};

/// Correlations of the last four frames with their shifts, newest first; comfort-noise state.
struct Noise {
    Qol16s sets[4][kOrder + 1] = {};
    Qol16s shifts[4] = {40, 40, 40, 40};
    Vector10 predictor{}; ///< of the detector
    Vector10 filter{};    ///< of the last description
    Qol16s filterCorrelation[kOrder + 1] = {};
    int filterShift = 0;
    Vector10 lsp{};
    Qol16s energies[3] = {};
    int count = 0;
    int sent = 0;
    Qol16s level = 0, gain = 0, seed = kNoiseSeed;
    bool active = true; ///< the frame before was speech
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
    Noise noise;
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

// ---- Annex A ----

/// Activity of the frame's new samples. G.723.1 A.2.
bool detectActivity(Encoder& e) {
    Detector& d = e.detector;
    const int least = *std::min_element(d.lags, d.lags + 4);
    int near = 0;
    for (const int p : d.lags) {
        for (int j = 1; j <= 8; ++j) {
            if (std::abs(j * least - p) <= 3) {
                ++near;
                break;
            }
        }
    }
    d.adaptation = std::clamp(d.adaptation + (near == 4 || e.sine < 0 ? 2 : -1), 0, 6);
    const Qol16s* x = e.buffer + kLpcBuffer - kFrame;
    Qol32s energy = 0;
    for (int n = kSubframe; n < kFrame; ++n) {
        Qol32s sum = L_mult(x[n], 0x2000);
        for (int j = 0; j < kOrder; ++j) {
            sum = L_msu(sum, x[n - 1 - j], e.noise.predictor[static_cast<std::size_t>(j)]);
        }
        const Qol16s r = round_fx(sum);
        energy = L_mac(energy, r, r);
    }
    energy = L_mls(energy, 2913);
    if (d.level > d.energy) {
        d.level = d.energy - (d.energy >> 2) + (d.level >> 2);
    }
    d.level += d.adaptation == 0 ? d.level >> 5 : -(d.level >> 11);
    d.energy = energy;
    d.level = std::clamp(d.level, 0x80, 0x1FFFF);
    constexpr Qol16s kFactors[] = {9170,  9170,  9170,  9170,  10289, 11544,
                                   12953, 14533, 16306, 18296, 20529};
    const int b = norm_l(L_shl(d.level, 13));
    const Qol16s u = extract_h((L_shl(L_shl(d.level, 13), b) & 0x3F000000) << 1);
    const Qol16s g = extract_h(
        L_msu(L_mac(L_deposit_h(kFactors[b]), u, kFactors[std::max(b - 1, 0)]), u, kFactors[b]));
    const Qol32s threshold = L_mult(static_cast<Qol16s>(d.level >> 2), g) >> 11;
    if (threshold > energy) {
        d.speech = std::max(d.speech - 1, 0);
    } else {
        ++d.speech;
        ++d.hangover;
    }
    if (d.speech >= 2) {
        d.hangover = 6;
        d.speech = std::min(d.speech, 3);
    }
    const bool active = d.hangover != 0;
    if (active && d.speech == 0) {
        --d.hangover;
    }
    return active;
}

/// Sum of sets on one scale, brought to 16 bits; returns the shift.
int sumSets(const Qol16s (*sets)[kOrder + 1], const Qol16s* shifts, int count, Qol16s* out) {
    const int least = *std::min_element(shifts, shifts + count) + 14;
    Qol32s sums[kOrder + 1] = {};
    for (int k = 0; k < count; ++k) {
        for (int i = 0; i <= kOrder; ++i) {
            sums[i] = L_add(sums[i], L_shl(sets[k][i], least - shifts[k]));
        }
    }
    const int t = std::max(0, 16 - norm_l(sums[0]));
    for (int i = 0; i <= kOrder; ++i) {
        out[i] = extract_l(sums[i] >> t);
    }
    return least - t;
}

void keepCorrelations(Noise& noise, const Correlation* subframes) {
    Qol16s sets[kSubframes][kOrder + 1], shifts[kSubframes];
    for (int k = 0; k < kSubframes; ++k) {
        std::copy_n(subframes[k].r, kOrder + 1, sets[k]);
        shifts[k] = static_cast<Qol16s>(subframes[k].shift);
    }
    for (int k = 3; k > 0; --k) {
        std::copy_n(noise.sets[k - 1], kOrder + 1, noise.sets[k]);
        noise.shifts[k] = noise.shifts[k - 1];
    }
    noise.shifts[0] = static_cast<Qol16s>(sumSets(sets, shifts, kSubframes, noise.sets[0]));
}

void keepFilter(Noise& noise, const Vector10& a) {
    noise.filter = a;
    const Qol32s energy = L_add(dotDoubled(a.data(), a.data(), kOrder) >> 1, 0x04000000);
    const int shift = norm_l(energy) - 2;
    noise.filterShift = shift;
    noise.filterCorrelation[0] = round_fx(L_shl(energy, shift));
    for (int i = 1; i <= kOrder; ++i) {
        Qol32s sum = L_msu(0, 0x2000, a[static_cast<std::size_t>(i - 1)]);
        sum = dotDoubled(a.data(), a.data() + i, kOrder - i, sum);
        noise.filterCorrelation[i] = round_fx(L_shl(sum, shift));
    }
}

bool filterDiffers(const Noise& noise, Qol16s energy) {
    Qol32s sum = 0;
    for (int i = 0; i <= kOrder; ++i) {
        sum = L_mac(sum, noise.filterCorrelation[i], static_cast<Qol16s>(noise.sets[0][i] >> 2));
    }
    const Qol32s bound = L_add(mult_r(energy, 7000), energy);
    return sum > L_shl(bound, noise.filterShift + 9);
}

/// Decides what an inactive frame sends; G.723.1 A.4.
void describeNoise(Encoder& e, Fields& f) {
    Noise& noise = e.noise;
    const Solution current = solve(noise.sets[0]);
    noise.energies[2] = noise.energies[1];
    noise.energies[1] = noise.energies[0];
    noise.energies[0] = current.error;
    noise.count = noise.active ? 1 : std::min(noise.count + 1, 3);
    const int index = quantiseNoiseGain(meanEnergy(noise.energies, noise.shifts, noise.count));
    const bool send =
        noise.active || filterDiffers(noise, current.error) || std::abs(index - noise.sent) > 3;
    f.kind = send ? Kind::silence : Kind::untransmitted;
    if (!send) {
        return;
    }
    Qol16s sum[kOrder + 1];
    sumSets(noise.sets + 1, noise.shifts + 1, 3, sum);
    const Vector10 mean = solve(sum).predictor;
    if (e.detector.adaptation == 0) {
        noise.predictor = mean;
    }
    keepFilter(noise, mean);
    if (filterDiffers(noise, current.error)) {
        keepFilter(noise, current.predictor);
    }
    f.lsp = quantiseLsp(predictorToLsp(noise.filter, e.previousLsp), e.previousLsp);
    noise.lsp = decodeLsp(f.lsp, e.previousLsp, false);
    f.noiseGain = noise.sent = index;
    noise.level = decodeNoiseGain(index);
}

void encodeNoise(Encoder& e, Fields& f, Qol16s* excitation) {
    describeNoise(e, f);
    Noise& noise = e.noise;
    noise.gain = noise.active ? noise.level
                              : extract_h(L_mac(L_mult(noise.gain, 0x7000), noise.level, 0x1000));
    noiseExcitation(noise.gain, noise.seed, e.past, f, excitation);
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
    const bool active = !e.dtx || detectActivity(e);

    Qol16s weighted[kPast + kFrame], scaled[kPast + kFrame];
    std::copy_n(e.weightedPast, kPast, weighted);
    weigh(e, filters, e.buffer + kSubframe, weighted + kPast);
    std::copy_n(weighted + kFrame, kPast, e.weightedPast);
    normaliseThree(weighted, kPast + kFrame, scaled);
    int lags[2];
    for (int h = 0; h < 2; ++h) {
        lags[h] = openLoopLag(scaled + kPast + 120 * h);
        e.detector.lags[h] = e.detector.lags[h + 2];
    }
    e.detector.lags[2] = lags[0];
    e.detector.lags[3] = lags[1];

    Vector10 lsp;
    Qol16s excitation[kFrame];
    if (active) {
        f.lsp = quantiseLsp(predictorToLsp(solutions[3].predictor, e.previousLsp), e.previousLsp);
        lsp = decodeLsp(f.lsp, e.previousLsp, false);
        e.noise.seed = kNoiseSeed;
    } else {
        encodeNoise(e, f, excitation);
        lsp = e.noise.lsp;
    }
    const auto predictors = interpolateLsp(lsp, e.previousLsp);
    e.previousLsp = lsp;
    e.noise.active = active;
    Qol16s times = 120;
    int lag = 0; // of the half frame, refined in its first subframe
    for (int k = 0; k < kSubframes; ++k) {
        const auto at = static_cast<std::size_t>(k);
        Subframe& s = f.sub[at];
        Qol16s* x = excitation + kSubframe * k;
        if (active) {
            const int first = kPast + kSubframe * k;
            Shaping shaping;
            qolsHarmonicSearch_G723_16s(static_cast<Qol16s>(lags[k / 2]), scaled + first,
                                        &shaping.lag, &shaping.gain);
            Qol16s target[kSubframe], h[kSubframe];
            for (int n = 0; n < kSubframe; ++n) {
                target[n] = round_fx(L_msu(L_deposit_h(weighted[first + n]), shaping.gain,
                                           weighted[first + n - shaping.lag]));
            }
            impulseResponse(predictors[at], filters[at], shaping, h);
            takeRinging(e.memories, predictors[at], filters[at], shaping, target);
            lag = k % 2 == 0 ? lags[k / 2] : lag;
            searchSubframe(e, k, h, target, s, lag, &times, x);
            pushHistory(e.past, x, kSubframe);
        }
        updateErrors(e.errors, s, e.highRate);
        updateMemories(e.memories, predictors[at], filters[at], x);
    }
    packFrame(f, frame);
    frame.kind = active                    ? FrameKind::speech
                 : f.kind == Kind::silence ? FrameKind::sid
                                           : FrameKind::noData;
}

} // namespace qolsc::tools::g7231
