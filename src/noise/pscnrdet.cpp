// SPDX-License-Identifier: Apache-2.0
// Noise detectors of the echo-canceller path: frames that look like noise, in a stable run, become
// the reference.
#include "entry/checks.h"
#include "entry/entries.h"
#include "noise/pscnr.h"
#include "numeric/rules.h"

namespace qolsc {

using namespace noise;

namespace {

constexpr Qol32s kFirstTarget = 3;

bool isInner(Qol32f dc) { return dc > -50.0f && dc < 50.0f; }

/// Limits of the stable run and of the zero crossings, by the mean of the input.
void setLimits(State& s, bool inner) {
    const bool narrow = s.sampleFreq == 8000;
    s.levelRatio = inner ? 1.065f : 1.025f;
    s.zcrLimit = narrow ? (inner ? 42 : 21) : (inner ? 21 : 7);
}

Qol32f followMean(Qol32f dc, const Qol32f* x, Qol32s len) {
    Qol64f sum = 0;
    for (Qol32s i = 0; i < len; ++i) {
        sum += x[i];
    }
    return static_cast<Qol32f>(0.045 * (sum / len) + 0.955 * static_cast<Qol64f>(dc));
}

int signChanges(const Qol32f* x, Qol32s len, Qol32f dc) {
    int n = 0;
    for (Qol32s i = 1; i < len; ++i) {
        n += (x[i] - dc) * (x[i - 1] - dc) < 0;
    }
    return n;
}

/// Changes of direction along the spectrum; a fall of less than a hundredth counts as none.
int slopeChanges(const Qol64f* power) {
    int n = 0;
    bool rising = true;
    for (int k = 1; k < kBins; ++k) {
        const bool now = 0.99 * power[k] >= power[k - 1];
        n += now != rising;
        rising = now;
    }
    return n;
}

struct Band {
    Qol64f mean;
    Qol64f peak; // a whole number
};

/// Mean of a band, and its largest running sum over the mean one.
Band measureBand(const State& s, int b, const Qol64f* power) {
    const Qol32s length = s.bandLen[b], w = length > s.slideLen ? s.slideLen : length - 1;
    Qol64f slide = 0, total = 0, most = 0, sum = 0;
    for (Qol32s i = 0; i < length; ++i) {
        total += power[i];
        slide += power[i] - (i >= w ? power[i - w] : 0.0);
        if (i >= w - 1) {
            most = slide > most ? slide : most;
            sum += slide;
        }
    }
    const Qol64f ratio = most * (length - s.slideLen) / (sum + 1.0);
    return {(total + 1.0) * s.bandInv[b],
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
    const Qol32f* x = s.pHistory + s.historyCount - s.shortWindow;
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

Powers measure(State& s) {
    const Qol32f* end = s.pHistory + s.historyCount;
    Powers p;
    if (s.historyCount < s.longWindow) {
        p.shortTerm = p.longTerm = atLeastOne(meanSquare(s.pHistory, s.historyCount));
    } else {
        p = {atLeastOne(meanSquare(end - s.shortWindow, s.shortWindow)),
             atLeastOne(meanSquare(end - s.longWindow, s.longWindow))};
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
    takeIn(s.pHistory, s.historyCap, s.historyCount, pSrc);
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
    takeIn(s.pHistory, s.historyCap, s.historyCount, pSrc);
    takeIn(s.pHistory2, s.history2Cap, s.history2Count, pSrc2);
    const Powers p = measure(s);
    const bool moderate = isModerate(s, pSrc, pSrc2);
    const bool detected = detect(s, moderate, p.shortTerm, p.longTerm);
    report(s, detected, pNoisePower, pDC, pDetect);
    return qolStsNoErr;
}

} // namespace qolsc
