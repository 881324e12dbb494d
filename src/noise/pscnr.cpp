// SPDX-License-Identifier: Apache-2.0
// Noise filter of the echo-canceller path: record, levels, spectral gain, smoothing, start-up,
// burst gate.
#include "noise/pscnr.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/rules.h"
#include "vector/simd.h"
#include "vector/vector.h"

#include <array>
#include <cmath>
#include <cstring>

namespace qolsc {

using namespace noise;
using namespace simd;

namespace {

constexpr int kOrder = 7, kHint = 2;
constexpr int kOverlap = 64;
constexpr Qol64f kMostRatio = 32767.0;

/// First half of the synthesis window times 16384; it is symmetric.
constexpr Qol16s kHannHalf[32] = {0,    20,   81,   181,  321,  498,  711,  958,  1236, 1542, 1873,
                                  2227, 2599, 2986, 3384, 3789, 4198, 4605, 5007, 5400, 5780, 6144,
                                  6487, 6806, 7098, 7361, 7591, 7786, 7944, 8065, 8146, 8186};

constexpr std::array<Qol32f, kOverlap> window(Qol32f scale) {
    std::array<Qol32f, kOverlap> w{};
    for (std::size_t i = 0; i < 32; ++i) {
        w[i] = w[63 - i] = static_cast<Qol32f>(kHannHalf[i]) / 16384.0f * scale;
    }
    return w;
}
constexpr auto ec_isbf_hann64_32f_low = window(1.0f);
constexpr auto ec_isbf_hann64_32f = window(4.0f / 3.0f);

struct LevelRow {
    Qol32f gainScale, floorLow, floorHigh, dipGain, alphaLevel, startGain, fadeGain, rampGain;
    Qol32s fadeDivisor; // fadeCount = sampleFreq / fadeDivisor
    Qol32s autoLevelDone;
};
constexpr LevelRow kLevels[6] = {
    {},
    {0.03125f, 0.25f, 0.4f, 0.08f, 0.998f, 0.02f, 0.04f, 0.06f, 40, 1},
    {0.03125f, 0.003f, 0.275f, 1.0f, 0.991f, 0.5f, 0.2f, 0.3f, 40, 1},
    {0.03125f, 0.003f, 0.275f, 0.5f, 0.981f, 0.5f, 0.2f, 0.3f, 40, 1},
    {0.00390625f, 0.003f, 0.04f, 0.0625f, 0.981f, 0.015f, 0.04f, 0.6f, 100, 1},
    {0.03125f, 0.003f, 0.275f, 1.0f, 0.991f, 0.5f, 0.2f, 0.3f, 40, 0}};

bool isServed(Qol32s sampleFreq) {
    return sampleFreq == 8000 || sampleFreq == 16000 || sampleFreq == 22050 || sampleFreq == 32000;
}

constexpr Qol32s up32(Qol32s bytes) { return (bytes + 31) & ~31; }

struct Layout {
    Qol32s spec, work, history; // bytes of each area behind the fixed fields
};

QolStatus layoutFor(Qol32s sampleFreq, Layout& l) {
    Qol32s spec = 0, init = 0, work = 0;
    const QolStatus status = qolsFFTGetSize_R_32f(kOrder, fftDivInvByN, kHint, &spec, &init, &work);
    l = {up32(spec), up32(init > work ? init : work), up32(sampleFreq * 1024 / 8000 * 4)};
    return status;
}

/// Kernels of 2 k + 1 entries, 0.5 + floor(i / 2) up to the middle, each of unit sum.
void makeKernels(State& s) {
    Qol32f* kernel = s.kernels;
    for (int k = 0; k < 9; ++k) {
        s.ppSmoothKernel[k] = kernel;
        Qol32f sum = 0;
        for (int i = 0; i <= 2 * k; ++i) {
            const int fromEnd = i <= k ? i : 2 * k - i;
            kernel[i] = 0.5f + static_cast<Qol32f>(fromEnd / 2);
            sum += kernel[i];
        }
        for (int i = 0; i <= 2 * k; ++i) {
            kernel[i] /= sum;
        }
        kernel += 2 * k + 1;
    }
}

void setInitialValues(State& s, Qol32s sampleFreq) {
    const bool narrow = sampleFreq == 8000;
    for (Qol64f& v : s.invNoise) {
        v = 1.0;
    }
    s.smoothIndex = 1.0;
    s.levelRatio = 3.0f;
    s.fadeLength = 80.0f;
    s.targetCount = 3;
    s.bandEdge1 = 14;
    s.bandEdge2 = 48;
    s.historyCap = s.history2Cap = s.longWindow = sampleFreq * 1024 / 8000;
    s.shortWindow = sampleFreq * 128 / 8000;
    s.maxRatio = sampleFreq * 3 / 8000;
    s.zcrLimit = narrow ? 56 : 28;
    s.sampleFreq = sampleFreq;
    s.startCount = 400;
    s.slideLen = narrow ? 4 : 6;
    s.zcrLimitLow = narrow ? 6 : 2;
    s.reservedCount = narrow ? 12 : 6;
    s.rollLen = 7;
    constexpr Qol32s kBandLen[3] = {14, 34, 17};
    for (int b = 0; b < 3; ++b) {
        s.bandLen[b] = kBandLen[b];
        s.bandInv[b] = 1.0f / static_cast<Qol32f>(kBandLen[b]);
    }
    for (Qol32f& g : s.minGain) {
        g = 1.0f;
    }
    s.overRatio = narrow ? 1.08f : 1.3f;
    s.smoothMode = 1;
    s.secondFactor = 11;
    s.noiseFactor = 12;
}

/// Ratio of the frame to the noise in each bin, 1 to 32767.
Qol64f clampRatio(Qol64f x) { return x < 1.0 ? 1.0 : x > kMostRatio ? kMostRatio : x; }

/// The same of four bins.
d256 clampRatio(d256 x) { return mind(splatd(kMostRatio), maxd(splatd(1.0), x)); }
d256 ratios(const State& s, int k) {
    return clampRatio(muld(loadd(s.framePower + k), loadd(s.invNoise + k)));
}

/// Bins 0 to 63 in fours, then the last one.
void gainsOfLowLevels(State& s, Qol32f* g) {
    constexpr int kLast = kBins - 1;
    const d256 scale = splatd(static_cast<Qol64f>(s.gainScale));
    __m128 floor = _mm_setr_ps(s.floorLow, s.floorLow, s.floorLow, s.floorHigh);
    for (int k = 0; k < kLast; k += 4) {
        const d256 mean = muld(addd(loadd(s.snrState + k), ratios(s, k)), splatd(0.5));
        const d256 state = _mm256_cvtps_pd(_mm256_cvtpd_ps(mean));
        stored(s.snrState + k, state);
        const __m128 raised = _mm_max_ps(floor, _mm256_cvtpd_ps(muld(state, scale)));
        _mm_storeu_ps(g + k, _mm_min_ps(_mm_set1_ps(1.0f), raised));
        floor = _mm_set1_ps(s.floorHigh);
    }
    const Qol64f snr = clampRatio(s.framePower[kLast] * s.invNoise[kLast]);
    s.snrState[kLast] = static_cast<Qol32f>((s.snrState[kLast] + snr) * 0.5);
    const auto gain = static_cast<Qol32f>(s.snrState[kLast] * static_cast<Qol64f>(s.gainScale));
    const Qol32f raised = gain < s.floorHigh ? s.floorHigh : gain;
    g[kLast] = raised > 1.0f ? 1.0f : raised;
}

/// Smoothed ratio of each bin and, from the first one's sum, the mean over all.
void followRatios(State& s) {
    constexpr int kLast = kBins - 1;
    constexpr Qol64f kMostShare = 2048.0;
    d256 sum = splatd(0);
    for (int k = 0; k < kLast; k += 4) {
        const d256 state =
            addd(muld(splatd(0.12), loadd(s.snrState + k)), muld(ratios(s, k), splatd(0.88)));
        stored(s.snrState + k, state);
        sum = addd(sum, mind(splatd(kMostShare), state));
    }
    Qol64f& last = s.snrState[kLast];
    last = 0.12 * last + clampRatio(s.framePower[kLast] * s.invNoise[kLast]) * 0.88;
    const Qol64f m = sumd(sum) + (last < kMostShare ? last : kMostShare);
    s.meanSnr = 0.98 * m / kBins + 0.02 * s.meanSnr;
}

void gainsOfHighLevel(State& s, Qol32f* g) {
    constexpr int kLast = kBins - 1;
    Qol64f rolled[kBins];
    rollingSum(s.framePower, rolled, s.rollLen);
    followRatios(s);
    const d256 mean = splatd(s.meanSnr), scale = splatd(static_cast<Qol64f>(s.gainScale));
    for (int k = 0; k < kLast; k += 4) {
        const d256 b = clampRatio(muld(loadd(rolled + k), loadd(s.invNoiseRoll + k)));
        const __m128 state =
            _mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.12f), _mm_loadu_ps(s.gainState + k)),
                       _mm256_cvtpd_ps(muld(b, splatd(0.88))));
        _mm_storeu_ps(s.gainState + k, state);
        const d256 gain = muld(muld(addd(_mm256_cvtps_pd(state), mean), scale), splatd(0.5));
        _mm_storeu_ps(g + k, _mm_min_ps(_mm_set1_ps(1.0f), _mm256_cvtpd_ps(gain)));
    }
    const Qol64f b = clampRatio(rolled[kLast] * s.invNoiseRoll[kLast]) * 0.88;
    Qol32f& state = s.gainState[kLast];
    state = 0.12f * state + static_cast<Qol32f>(b);
    const auto gain = static_cast<Qol32f>((state + s.meanSnr) * s.gainScale * 0.5);
    g[kLast] = gain > 1.0f ? 1.0f : gain;
}

void keepLeastGain(State& s, const Qol32f* g) {
    std::memmove(s.minGain, s.minGain + 1, 3 * sizeof *s.minGain);
    qolsMin_32f(g + 3, kBins - 4, &s.minGain[3]);
}

/// The overlap moves on by a block and takes in a windowed part; small values become 0 but at
/// level 4.
void addOverlap(State& s, const Qol32f* part) {
    const bool low = s.level == 3 || s.level == 4;
    const Qol32f* w = (low ? ec_isbf_hann64_32f_low : ec_isbf_hann64_32f).data();
    const f256 least = splatf(s.level == 4 ? 0.0f : 0.5f), sign = splatf(-0.0f);
    for (int i = 0; i < kOverlap; i += 8) {
        const f256 before = i < kOverlap - kBlock ? loadf(s.overlap + i + kBlock) : zerof();
        const f256 v = addf(before, mulf(loadf(part + i), loadf(w + i)));
        const f256 limited = maxf(splatf(-32768.0f), minf(splatf(32767.0f), v));
        const f256 kept = _mm256_cmp_ps(_mm256_andnot_ps(sign, limited), least, _CMP_NLT_UQ);
        storef(s.overlap + i, _mm256_and_ps(limited, kept));
    }
    if (s.level == 4) {
        qolsThreshold_LTAbs_32f(s.overlap, s.overlap, kOverlap, 0.05f);
    }
}

/// The block's share of the output goes into `overlap`; block is the output array as the caller
/// left it.
void spectralStage(State& s, const Qol32f* block) {
    if (s.historyCount < kFrame) {
        std::memmove(s.frame, s.frame + kBlock, (kFrame - kBlock) * sizeof *s.frame);
        std::memcpy(s.frame + kFrame - kBlock, block, kBlock * sizeof *s.frame);
        addOverlap(s, s.frame);
        return;
    }
    Qol32f g[kBins];
    (s.level == 4 ? gainsOfHighLevel : gainsOfLowLevels)(s, g);
    qolsMul_32f32fc(g, s.spectrum, s.spectrum, kBins);
    s.isTransformed = 0;
    keepLeastGain(s, g);
    qolsFFTInv_CCSToR_32f(&s.spectrum[0].re, s.frame, s.pFFTSpec, s.pFFTWork);
    addOverlap(s, s.frame + kOverlap);
}

/// Smoothing over time, stronger the deeper the filter cuts; eight samples of delay.
void smoothStage(State& s, Qol32f* pDst) {
    std::memmove(s.smoothDelay, s.smoothDelay + kBlock, kBlock * sizeof *s.smoothDelay);
    std::memcpy(s.smoothDelay + kBlock, s.overlap, kBlock * sizeof *s.smoothDelay);
    Qol64f v = (1.0 - static_cast<Qol64f>(s.minGain[0])) * 8.0;
    v = v > 7.5 ? 8.0 : v;
    s.smoothIndex = 0.999 * s.smoothIndex + 0.001 * (v > 1.0 ? v : 1.0);
    int t = 0; // a kernel of one entry is a plain copy
    if (!(s.noiseLevel < 2.0 && s.calibrated)) {
        t = s.smoothMode == 0 ? 8 : s.smoothMode == 1 ? 0 : static_cast<int>(s.smoothIndex + 0.5);
    }
    if (t == 0) {
        std::memcpy(pDst, s.smoothDelay + 8, kBlock * sizeof *pDst);
        return;
    }
    f256 low = zerof(), high = low;
    for (int j = 0; j <= 2 * t; ++j) {
        const f256 c = splatf(s.ppSmoothKernel[t][j]);
        const Qol32f* x = s.smoothDelay + 8 - t + j;
        low = addf(low, mulf(c, loadf(x)));
        high = addf(high, mulf(c, loadf(x + 8)));
    }
    storef(pDst, low);
    storef(pDst + 8, high);
}

void scaleBlock(Qol32f* x, int len, Qol32f gain) {
    for (int i = 0; i < len; ++i) {
        x[i] *= gain;
    }
}

/// Start-up: attenuation until the first noise is known, then a fade.
void startStage(State& s, Qol32f* pDst) {
    if (s.startCount >= 1) {
        scaleBlock(pDst, kBlock, s.startGain);
        s.startCount -= kBlock;
        return;
    }
    if (s.fadeCount <= 0) {
        return;
    }
    s.fadeCount -= kBlock;
    if (1.07f * s.frameLevel > s.delayedLevel) {
        scaleBlock(pDst, kBlock, s.fadeGain);
    } else if (s.calibrated && static_cast<Qol32f>(1.07 * s.noiseLevel) > s.delayedLevel) {
        // The ramp gives whole 16-bit numbers; its factor starts below 0 where the fade is long.
        const Qol32f left = static_cast<Qol32f>(s.fadeCount);
        const Qol32f gain = s.rampGain + s.rampGain * (s.fadeLength - left) / s.fadeLength;
        for (int i = 0; i < kBlock; ++i) {
            const Qol32f v = pDst[i] * gain;
            pDst[i] = static_cast<Qol32f>(v >= 32767.0f   ? 32767
                                          : v > -32768.0f ? static_cast<Qol32s>(v)
                                                          : -32768);
        }
    }
}

/// Level 3: halves of a block that are far above what the filter let through are cut once more.
void burstGate(State& s, Qol32f* pDst) {
    if (s.level != 3 || s.historyCount < 48) {
        return;
    }
    for (int half = 0; half < 2; ++half) {
        Qol32f* y = pDst + 8 * half;
        Qol32f row[8];
        const Qol32f* x = newest(s, 8, 40 - 8 * half, row);
        const auto before = static_cast<Qol32f>(energyOf(x, 8) / 8);
        const auto after = static_cast<Qol32f>(energyOf(y, 8) / 8);
        s.delayedLevel = s.alphaLevel * s.delayedLevel + s.betaLevel * before;
        s.outLevel = s.alphaLevel * s.outLevel + s.betaLevel * after;
        if (s.startCount < 1 && s.fadeCount < 1 && s.delayedLevel > 2.3f * s.outLevel) {
            scaleBlock(y, 8, s.dipGain);
        }
    }
}

/// The newest frame's spectrum; with an update it becomes the noise reference.
void updateNoise(State& s, bool update) {
    if (s.historyCount < kFrame) {
        return;
    }
    Qol32f row[kMostWindow];
    if (!s.isTransformed) {
        transformFrame(s, newest(s, kFrame, 0, row));
    }
    if (!update) {
        return;
    }
    setNoiseReference(s);
    s.calibrated = 1;
    s.startCount = 0;
    const Qol32s n = s.historyCount < s.shortWindow ? kFrame : s.shortWindow;
    const Qol64f power = energyOf(newest(s, n, 0, row), n) / n;
    s.noiseLevel = power > 1.0 ? power : 1.0;
    chooseLevel(s, s.noiseLevel);
}

void filterBlock(State& s, const Qol32f* pSrc, Qol32f* pDst, Qol32s updateMode) {
    if (updateMode != -1) {
        takeIn(s, pSrc);
    }
    updateNoise(s, updateMode == 1);
    if (s.gainScale > 0) {
        spectralStage(s, pDst);
        smoothStage(s, pDst);
    }
    startStage(s, pDst);
    burstGate(s, pDst);
}

} // namespace

namespace noise {

void transformFrame(State& s, const Qol32f* x) {
    qolsFFTFwd_RToCCS_32f(x, &s.spectrum[0].re, s.pFFTSpec, s.pFFTWork);
    const Qol32f* bins = &s.spectrum[0].re;
    for (int k = 0; k < kBins - 1; k += 4) {
        const d256 a = widened(bins + 2 * k), b = widened(bins + 2 * k + 4);
        const d256 low = _mm256_permute2f128_pd(muld(a, a), muld(b, b), 0x20),
                   high = _mm256_permute2f128_pd(muld(a, a), muld(b, b), 0x31);
        stored(s.framePower + k,
               addd(_mm256_unpacklo_pd(low, high), _mm256_unpackhi_pd(low, high)));
    }
    const Qol64f re = s.spectrum[kBins - 1].re, im = s.spectrum[kBins - 1].im;
    s.framePower[kBins - 1] = re * re + im * im;
}

void setNoiseReference(State& s) {
    std::memcpy(s.noisePower, s.framePower, sizeof s.noisePower);
    qolsThreshold_LTInv_64f(s.framePower, s.invNoise, kBins, 1.0);
    rollingSum(s.noisePower, s.invNoiseRoll, s.rollLen);
    qolsThreshold_LTInv_64f(s.invNoiseRoll, s.invNoiseRoll, kBins, 1.0);
}

void chooseLevel(State& s, Qol64f power) {
    if (!s.autoLevelDone) {
        applyLevel(s, std::sqrt(power + 1.0) < 4.0 ? 0 : 2);
        s.autoLevelDone = 1;
    }
}

bool applyLevel(State& s, Qol32s level) {
    s.level = level;
    if (level < 0 || level > 5) {
        return false;
    }
    const LevelRow& row = kLevels[level];
    s.gainScale = row.gainScale;
    if (level == 0) {
        return true;
    }
    s.floorLow = row.floorLow;
    s.floorHigh = row.floorHigh;
    s.dipGain = row.dipGain;
    s.alphaLevel = row.alphaLevel;
    s.betaLevel = 1.0f - row.alphaLevel;
    s.startGain = row.startGain;
    s.fadeGain = row.fadeGain;
    s.rampGain = row.rampGain;
    s.autoLevelDone = row.autoLevelDone;
    if (!s.started) {
        s.fadeCount = s.sampleFreq / row.fadeDivisor;
    }
    return true;
}

void rollingSum(const Qol64f* src, Qol64f* dst, Qol32s n) {
    const int whole = kBins + 1 - n;
    for (int i = 0; i < whole; i += 4) {
        const int k = i + 4 <= whole ? i : whole - 4;
        d256 sum = loadd(src + k);
        for (int j = 1; j < n; ++j) {
            sum = addd(sum, loadd(src + k + j));
        }
        stored(dst + k, sum);
    }
    for (int i = kBins - 1; i >= whole; --i) {
        dst[i] = dst[i + 1 - n];
    }
}

} // namespace noise

QolStatus qolsFilterNoiseGetStateSize_EC_32f(Qol32s sampleFreq, Qol32s* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    if (!isServed(sampleFreq)) {
        return qolStsRangeErr;
    }
    Layout l;
    const QolStatus status = layoutFor(sampleFreq, l);
    if (status == qolStsNoErr) {
        *pSize = l.spec + l.work + 2 * l.history + kFixedBytes;
    }
    return status;
}

QolStatus qolsFilterNoiseInit_EC_32f(Qol32s sampleFreq,
                                     QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (!isServed(sampleFreq)) {
        return qolStsRangeErr;
    }
    Layout l;
    if (const QolStatus status = layoutFor(sampleFreq, l); status != qolStsNoErr) {
        return status;
    }
    State& s = *pState;
    Qol8u* areas = reinterpret_cast<Qol8u*>(pState) + kFixedBytes;
    std::memset(static_cast<void*>(pState), 0, sizeof s);
    s.pFFTWork = areas + l.spec;
    const QolStatus status =
        qolsFFTInit_R_32f(&s.pFFTSpec, kOrder, fftDivInvByN, kHint, areas, s.pFFTWork);
    if (status != qolStsNoErr) {
        return status;
    }
    s.pHistory = reinterpret_cast<Qol32f*>(areas + l.spec + l.work);
    s.pHistory2 = s.pHistory + l.history / 4;
    std::memset(s.pHistory, 0, static_cast<std::size_t>(2 * l.history));
    setInitialValues(s, sampleFreq);
    makeKernels(s);
    applyLevel(s, 5);
    return qolStsNoErr;
}

QolStatus qolsFilterNoiseLevel_EC_32f(Qol32s level, QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    return applyLevel(*pState, level) ? qolStsNoErr : qolStsRangeErr;
}

QolStatus qolsFilterNoiseSetMode_EC_32f(Qol32s mode, QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (mode < -1 || mode > 1) {
        return qolStsBadArgErr;
    }
    pState->smoothMode = mode;
    return qolStsNoErr;
}

QolStatus qolsFilterNoise_EC_32f(const Qol32f* pSrc, Qol32f* pDst, Qol32s updateMode,
                                 QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pSrc, pDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    pState->started = 1;
    filterBlock(*pState, pSrc, pDst, updateMode);
    return qolStsNoErr;
}

QolStatus qolsFilterNoise_EC_32f_I(Qol32f* pSrcDst, Qol32s updateMode,
                                   QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pSrcDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    filterBlock(*pState, pSrcDst, pSrcDst, updateMode);
    return qolStsNoErr;
}

} // namespace qolsc
