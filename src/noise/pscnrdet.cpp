// SPDX-License-Identifier: Apache-2.0
// Noise detectors of the echo-canceller path: frames that look like noise, in a stable run, become
// the reference.
#include "entry/checks.h"
#include "entry/entries.h"
#include "noise/pscnr.h"
#include "numeric/rules.h"
#include "vector/simd.h"

#include <bit>
#include <cstring>

namespace qolsc {

using namespace noise;
using namespace simd;

namespace {

constexpr Qol32s kFirstTarget = 3;

bool isInner(Qol32f dc) { return dc > -50.0f && dc < 50.0f; }

/// Limits of the stable run and of the zero crossings, by the mean of the input.
void setLimits(State& s, bool inner) {
    const bool narrow = s.sampleFreq == 8000;
    s.levelRatio = inner ? 1.065f : 1.025f;
    s.zcrLimit = narrow ? (inner ? 42 : 21) : (inner ? 21 : 7);
}

/// len is a multiple of 4.
Qol32f followMean(Qol32f dc, const Qol32f* x, Qol32s len) {
    d256 sum = splatd(0);
    for (Qol32s i = 0; i < len; i += 4) {
        sum = addd(sum, widened(x + i));
    }
    return static_cast<Qol32f>(0.045 * (sumd(sum) / len) + 0.955 * static_cast<Qol64f>(dc));
}

/// Bit n is set where x[n] and x[n - 1], less dc, differ in sign; x has 8 elements from x[0] on.
unsigned signChangeMask(const Qol32f* x, f256 dc) {
    const f256 product = mulf(subf(loadf(x), dc), subf(loadf(x - 1), dc));
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(product, zerof(), _CMP_LT_OQ)));
}

int signChanges(const Qol32f* x, Qol32s len, Qol32f dc) {
    const f256 d = splatf(dc);
    int n = 0;
    Qol32s i = 1;
    for (; i + 8 <= len; i += 8) {
        n += std::popcount(signChangeMask(x + i, d));
    }
    // The last eight, without those that were counted.
    return n + std::popcount(signChangeMask(x + len - 8, d) >> (8 - (len - i)));
}

/// Changes of direction along the spectrum; a fall of less than a hundredth counts as none.
int slopeChanges(const Qol64f* power) {
    Qol64u rising = 0; // bit k - 1: from bin k - 1 to k
    for (int k = 1; k < kBins; k += 4) {
        const d256 now = muld(splatd(0.99), loadd(power + k));
        const int mask = _mm256_movemask_pd(_mm256_cmp_pd(now, loadd(power + k - 1), _CMP_GE_OQ));
        rising |= static_cast<Qol64u>(mask) << (k - 1);
    }
    return std::popcount(rising ^ (rising << 1 | 1));
}

struct Band {
    Qol64f mean;
    Qol64f peak; // a whole number
};

/// The upper n of four lanes, others 0.
d256 upperLanes(d256 v, Qol32s n) {
    alignas(32) static constexpr Qol64s kMasks[8] = {0, 0, 0, 0, -1, -1, -1, -1};
    return _mm256_and_pd(
        v, _mm256_castsi256_pd(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(kMasks + n))));
}

/// Largest value and sum of len >= 4 elements that at(i) gives in fours from i on.
struct Extent {
    Qol64f most, sum;
};
template <typename At>
Extent extentOf(At at, Qol32s len) {
    d256 most = splatd(0), sum = most;
    Qol32s i = 0;
    for (; i + 4 <= len; i += 4) {
        const d256 v = at(i);
        most = maxd(v, most);
        sum = addd(sum, v);
    }
    const d256 last = at(len - 4);
    most = maxd(last, most);
    sum = addd(sum, upperLanes(last, len - i));
    const __m128d m = _mm_max_pd(_mm256_castpd256_pd128(most), _mm256_extractf128_pd(most, 1));
    return {_mm_cvtsd_f64(_mm_max_sd(m, _mm_unpackhi_pd(m, m))), sumd(sum)};
}

/// Mean of a band, and its largest running sum of slideLen bins over the mean one.
Band measureBand(const State& s, int b, const Qol64f* power) {
    const Qol32s length = s.bandLen[b], w = s.slideLen;
    const Extent slides = extentOf(
        [power, w](Qol32s i) {
            d256 sum = loadd(power + i);
            for (Qol32s j = 1; j < w; ++j) {
                sum = addd(sum, loadd(power + i + j));
            }
            return sum;
        },
        length - w + 1);
    const Extent bins = extentOf([power](Qol32s i) { return loadd(power + i); }, length);
    const Qol64f ratio = slides.most * (length - w) / (slides.sum + 1.0);
    return {(bins.sum + 1.0) * s.bandInv[b],
            ratio < 1e9 ? static_cast<Qol64f>(static_cast<Qol64s>(ratio)) : 1e9};
}

bool isFlat(const State& s) {
    const Band low = measureBand(s, 0, s.framePower),
               mid = measureBand(s, 1, s.framePower + s.bandEdge1),
               high = measureBand(s, 2, s.framePower + s.bandEdge2);
    return 0.9375 * (low.mean + high.mean) > mid.mean && low.peak < 6 && mid.peak < 3 &&
           high.peak < 3;
}

/// True when shortWindow samples look like noise.
bool looksLikeNoise(State& s, const Qol32f* x, Qol32s limit, bool moderate) {
    constexpr int kManySlopes = 24;
    const Qol32s len = s.shortWindow;
    transformFrame(s, x);
    s.isTransformed = len == kFrame;
    bool flat = isFlat(s);
    const int slopes = slopeChanges(s.framePower), crossings = signChanges(x, len, 0);
    if (slopes > kManySlopes && crossings > limit) {
        flat = false;
    } else if (flat) {
        s.dcShort = followMean(s.dcShort, x, len < 256 ? len : 256);
        if (s.calibrated) {
            setLimits(s, isInner(s.dcShort) || moderate);
        }
    }
    if (isInner(s.dcShort)) {
        if (slopes < 2 || crossings >= s.zcrLimitLow) {
            return slopes >= 2 && flat;
        }
        return slopes <= kManySlopes || signChanges(x, len, s.dcShort) <= s.zcrLimitLow;
    }
    if (slopes > kManySlopes && signChanges(x, len, s.dcShort) > limit) {
        return false;
    }
    return slopes >= 2;
}

Qol64f atLeastOne(Qol64f x) { return x > 1.0 ? x : 1.0; }

/// Ends a run that was interrupted.
void resetRun(State& s) {
    s.stableCount = 0;
    s.targetCount = kFirstTarget;
}

/// A complete run whose power doesn't fit the known noise asks for a longer one.
bool isTrusted(State& s, Qol64f power) {
    if (!s.calibrated || s.targetCount != kFirstTarget ||
        (power <= s.noiseLevel * static_cast<Qol64f>(s.overRatio) && power >= s.noiseLevel)) {
        return true;
    }
    const Qol64f ratio = power * s.invLevel;
    const Qol32s times = ratio < s.maxRatio ? static_cast<Qol32s>(ratio) : s.maxRatio;
    s.targetCount = 3 * (times + 1);
    return false;
}

void accept(State& s, const Qol32f* x, Qol64f power) {
    s.dcLong = followMean(s.dcLong, x, s.shortWindow);
    s.invLevel = 1.0 / power;
    s.calibrated = 1;
    s.startCount = 0;
    resetRun(s);
    s.noiseLevel = power;
    setLimits(s, isInner(s.dcShort));
    setNoiseReference(s);
    chooseLevel(s, power);
}

/// The detectors' common part, once the block is in; true when the frame was taken as noise.
bool detect(State& s, bool moderate, Qol64f shortPower, Qol64f longPower) {
    if (s.historyCount < s.shortWindow) {
        return false;
    }
    Qol32f row[kMostWindow];
    const Qol32f* x = newest(s, s.shortWindow, 0, row);
    if (!looksLikeNoise(s, x, s.zcrLimit, moderate)) {
        resetRun(s);
        return false;
    }
    if (s.stableCount == 0) {
        s.refLevel = shortPower;
    }
    const Qol64f ratio = s.levelRatio;
    if (s.refLevel * ratio < shortPower || ratio * shortPower < s.refLevel) {
        resetRun(s);
        return false;
    }
    if (++s.stableCount != s.targetCount || !isTrusted(s, longPower)) {
        return false;
    }
    accept(s, x, longPower);
    return true;
}

struct Powers {
    Qol64f shortTerm, longTerm;
};

/// While less than the long window is held both are the power of all that is.
Powers measure(State& s) {
    Powers p;
    p.longTerm = p.shortTerm = atLeastOne(s.longEnergy / s.historyCount);
    if (s.historyCount == s.longWindow) {
        p.shortTerm = atLeastOne(s.shortEnergy / s.shortWindow);
    }
    s.frameLevel = static_cast<Qol32f>(0.8 * p.shortTerm + 0.2 * static_cast<Qol64f>(s.frameLevel));
    return p;
}

/// Sum of 8 squares of samples truncated to 16 bits, >> 3.
Qol64s halfPower(const Qol32f* x) {
    Qol64s sum = 0;
    for (int i = 0; i < 8; ++i) {
        const Qol64s v = x[i] >= 32767.0f   ? 32767
                         : x[i] > -32768.0f ? static_cast<Qol64s>(x[i])
                                            : -32768;
        sum += v * v;
    }
    return sum >> 3;
}

/// The second signal's history, whose newest sample is the last one held.
void takeInSecond(State& s, const Qol32f* x) {
    if (const Qol32s beyond = s.history2Count + kBlock - s.history2Cap; beyond > 0) {
        s.history2Count -= beyond;
        std::memmove(s.pHistory2, s.pHistory2 + beyond,
                     static_cast<std::size_t>(s.history2Count) * sizeof *x);
    }
    std::memcpy(s.pHistory2 + s.history2Count, x, kBlock * sizeof *x);
    s.history2Count += kBlock;
}

/// Both signals' short powers; true when the second one is strong beside the first, and the first
/// beside the noise.
bool isModerate(State& s, const Qol32f* pSrc, const Qol32f* pSrc2) {
    for (int half = 0; half < 2; ++half) {
        s.firstPower =
            saturate32((halfPower(pSrc + 8 * half) * 312 + Qol64s{s.firstPower} * 16072) >> 14);
        s.secondPower =
            saturate32((halfPower(pSrc2 + 8 * half) * 312 + Qol64s{s.secondPower} * 16072) >> 14);
    }
    return 10 * Qol64s{s.secondPower} > Qol64s{s.secondFactor} * s.firstPower &&
           10.0 * s.firstPower > s.noiseFactor * s.noiseLevel;
}

void report(const State& s, bool detected, Qol64f* pNoisePower, Qol32f* pDC, Qol32s* pDetect) {
    *pDetect = detected ? 1 : 0;
    *pNoisePower = s.noiseLevel;
    *pDC = s.dcLong;
}

} // namespace

QolStatus qolsFilterNoiseDetect_EC_32f64f(const Qol32f* pSrc, Qol64f* pNoisePower, Qol32f* pDC,
                                          Qol32s* pDetect,
                                          QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pSrc) || anyNull(pNoisePower) || anyNull(pDC) || anyNull(pDetect) ||
        anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *pState;
    takeIn(s, pSrc);
    const Powers p = measure(s);
    const bool detected = detect(s, false, p.shortTerm, p.longTerm);
    report(s, detected, pNoisePower, pDC, pDetect);
    return qolStsNoErr;
}

QolStatus qolsFilterNoiseDetectModerate_EC_32f64f(const Qol32f* pSrc, const Qol32f* pSrc2,
                                                  Qol64f* pNoisePower, Qol32f* pDC, Qol32s* pDetect,
                                                  QolsFilterNoiseState_EC_32f* pState) noexcept {
    if (anyNull(pSrc, pSrc2) || anyNull(pNoisePower) || anyNull(pDC) || anyNull(pDetect) ||
        anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *pState;
    takeIn(s, pSrc);
    takeInSecond(s, pSrc2);
    const Powers p = measure(s);
    const bool moderate = isModerate(s, pSrc, pSrc2);
    const bool detected = detect(s, moderate, p.shortTerm, p.longTerm);
    report(s, detected, pNoisePower, pDC, pDetect);
    return qolStsNoErr;
}

} // namespace qolsc
