// SPDX-License-Identifier: Apache-2.0
// Fixed-point controller of the sub-band canceller with double-talk detection per band; slows the
// adaptation by the exponents of the step sizes and moves the coefficients of all bands at once.
#include "echo/controller.h"
#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/vector.h"

struct QolsSubbandControllerDTState_EC_16s {
    // per band
    Qol64s* pNearPeak; // decaying peaks of power, units of 2^4
    Qol64s* pErrPeak;
    Qol32s* pDetectCount;    // frames with a detection since the band entered double talk
    Qol32s* pHangover;       // frames that the band's double talk still holds
    Qol32s* pBandFlag;       // 1 in double talk
    Qol32s* pPeakThreshold;  // Q14
    Qol32s* pLevelThreshold; // Q14
    Qol32s* pNearPeakAvg;    // learnt while there is no double talk, units of 2^14
    Qol32s* pErrPeakAvg;
    Qol32s* pFarPower; // units of 2^14
    Qol32s* pNearPower;
    Qol32s* pFarPowerAvg;     // over numSegments frames
    Qol32s* pStepDenominator; // powers of one frame, then the denominators of the step sizes
    Qol64s adaptiveErrPower;  // smoothed over the bands in use
    Qol64s savedLevel;        // of the coefficients saved last
    Qol64s levelAvg;          // smoothed reference level
    Qol64s fixedErrPower;
    Qol32s fallbackMantissa, fallbackExponent;
    Qol32s numSubbands, frameSize, numSegments, sampleFreq;
    Qol32s alpha15;       // Q14
    Qol32s lowCount;      // frames below the low mark, up to 100
    Qol32s highCount;     // frames at or above it, up to 10
    Qol32s veryHighCount; // frames above the high mark, up to 100
    Qol32s doubleTalk, prevDoubleTalk;
    Qol32s bandsInDoubleTalk, lowBandsInDoubleTalk;
    Qol32s convergenceClock; // samples without double talk, at most 40000
    Qol32s saveClock;        // samples since the last periodic save
    Qol32s savedOnDrop; // the last save was made because the adaptive filter's power had dropped
};

namespace qolsc {

namespace {

using namespace echo;
using State = QolsSubbandControllerDTState_EC_16s;

static_assert(sizeof(State) == 208);

constexpr int kWideArrays = 2, kArrays = 11;
constexpr int kPowerShift = 14, kPeakShift = 4;
constexpr Qol32s kStepExponent = 75; // of a quotient with shift 0
constexpr Qol32s kOne_Q14 = 16384;
constexpr Qol32s kPeakDecay_Q14 = 16351;
constexpr Qol32s kSlow_Q14 = 16384 - 312;               // smoothing of powers and learnt peaks
constexpr Qol32s kClockEnd = 40000, kClockLate = 32000; // samples
constexpr Qol32s kSavePeriod = 4001;                    // samples
constexpr Qol32s kLowBands = 10;

Qol64s wideBytes(Qol32s n) { return roundUp16(Qol64s{8} * n); }
Qol64s arrayBytes(Qol32s n) { return roundUp16(Qol64s{4} * n); }

Qol64s stateBytes(Qol32s n) {
    return kWideArrays * wideBytes(n) + kArrays * arrayBytes(n) + Qol64s{sizeof(State)};
}

/// Lays out the arrays behind the fields and sets everything to its initial value.
void build(State& s, Qol32s numSubbands, Qol32s frameSize, Qol32s numSegments, Qol32s sampleFreq) {
    std::memset(&s, 0, static_cast<std::size_t>(stateBytes(numSubbands)));
    auto* p = reinterpret_cast<Qol8u*>(&s + 1);
    Qol64s** const wide[kWideArrays] = {&s.pNearPeak, &s.pErrPeak};
    Qol32s** const arrays[kArrays] = {&s.pDetectCount,   &s.pHangover,       &s.pBandFlag,
                                      &s.pPeakThreshold, &s.pLevelThreshold, &s.pNearPeakAvg,
                                      &s.pErrPeakAvg,    &s.pFarPower,       &s.pNearPower,
                                      &s.pFarPowerAvg,   &s.pStepDenominator};
    for (Qol64s** pp : wide) {
        *pp = reinterpret_cast<Qol64s*>(p);
        p += wideBytes(numSubbands);
    }
    for (Qol32s** pp : arrays) {
        *pp = reinterpret_cast<Qol32s*>(p);
        p += arrayBytes(numSubbands);
    }
    for (Qol32s i = 0; i < numSubbands; ++i) {
        s.pPeakThreshold[i] = s.pLevelThreshold[i] = kOne_Q14;
    }
    s.fallbackMantissa = quotientOrZero(0x40000000, powerFloor(numSubbands, numSegments));
    s.fallbackExponent = kFallbackExponent;
    s.numSubbands = numSubbands;
    s.frameSize = frameSize;
    s.numSegments = numSegments;
    s.sampleFreq = sampleFreq;
    s.alpha15 = smoothing_Q14(frameSize, sampleFreq, kRate15_Q14);
}

// ---- step sizes and detection ----

void runClock(State& s, bool doubleTalk) {
    const Qol64s t =
        s.convergenceClock + (doubleTalk ? -10 * Qol64s{s.frameSize} : Qol64s{s.frameSize});
    s.convergenceClock = static_cast<Qol32s>(t < 0 ? 0 : t > kClockEnd ? kClockEnd : t);
}

QolStepSize_EC stepSize(State& s, Qol32s i) {
    const Qol32s numerator = 0x73333333 / s.numSegments; // 0.9 over the taps, Q31
    const Qol32s alpha_Q14 = kOne_Q14 - kOne_Q14 / s.numSegments;
    const Qol32s floor = 80530 / s.numSegments;
    s.pFarPowerAvg[i] = saturate32(smooth_Q14(alpha_Q14, s.pFarPowerAvg[i], s.pStepDenominator[i]));
    s.pStepDenominator[i] = basop::L_add(s.pFarPowerAvg[i], floor);
    if (s.pStepDenominator[i] <= 0) {
        return {s.fallbackMantissa, kStepExponent - s.fallbackExponent};
    }
    const Quotient q = divideNormalised(numerator, s.pStepDenominator[i]);
    return {q.mantissa_Q30, kStepExponent - q.shift};
}

/// Follows the peaks and, while the echo is well down and there is no double talk, learns them.
void followPeaks(State& s, Qol32s i, Qol64s nearPower, Qol64s errPower) {
    const auto hold = [](Qol64s& peak, Qol64s next) {
        const Qol64s decayed = wrapMul64(peak, kPeakDecay_Q14) >> 14;
        peak = decayed > next ? decayed : next;
    };
    hold(s.pErrPeak[i], errPower);
    hold(s.pNearPeak[i], nearPower);
    if (s.pBandFlag[i] == 0 && s.pNearPeak[i] >> 5 > s.pErrPeak[i]) {
        s.pErrPeakAvg[i] = wrap32(smooth_Q14(kSlow_Q14, s.pErrPeakAvg[i], s.pErrPeak[i] >> 10));
        s.pNearPeakAvg[i] = wrap32(smooth_Q14(kSlow_Q14, s.pNearPeakAvg[i], s.pNearPeak[i] >> 10));
    }
}

bool isQuiet(const State& s, Qol32s i) {
    const Qol64s scaled = wrapAdd64(wrapMul64(s.pPeakThreshold[i], s.pNearPeak[i]), 8192) >> 14;
    return wrapMul64(scaled, s.pErrPeakAvg[i]) >= wrapMul64(s.pErrPeak[i], s.pNearPeakAvg[i]) >>
               4 &&
           s.pNearPower[i] >> 1 <= s.pFarPower[i];
}

bool isDetected(const State& s, Qol32s i) {
    return !isQuiet(s, i) && s.pErrPeakAvg[i] < s.pErrPeak[i] >> 10 &&
           (Qol64s{s.pNearPeakAvg[i]} * (s.pLevelThreshold[i] >> 2) + 8192) >> 14 <
               s.pNearPeak[i] >> 10;
}

/// Moves the band's double-talk state; 1 when it enters, -1 when it leaves, else 0.
Qol32s decideBand(State& s, Qol32s i) {
    if (isDetected(s, i)) {
        const Qol32s entered = s.pBandFlag[i] == 0;
        if (entered) {
            s.pBandFlag[i] = 1;
            s.pHangover[i] = 32;
        }
        if (s.pDetectCount[i] <= 16) {
            ++s.pDetectCount[i];
        } else { // it has lasted: hold longer, leave later
            s.pPeakThreshold[i] = 13107;
            s.pLevelThreshold[i] = 8192;
            s.pHangover[i] = 150;
        }
        return entered;
    }
    if (s.pHangover[i] > 0) {
        --s.pHangover[i];
        return 0;
    }
    if (s.pBandFlag[i] == 0) {
        return 0;
    }
    s.pDetectCount[i] = s.pBandFlag[i] = 0;
    s.pPeakThreshold[i] = s.pLevelThreshold[i] = kOne_Q14;
    return -1;
}

/// Halvings of the step size.
Qol32s slowDown(const State& s, Qol32s i, bool doubleTalkBefore) {
    const Qol32s converged = s.convergenceClock >= kClockEnd    ? 3
                             : s.convergenceClock >= kClockLate ? 2
                                                                : 0;
    return converged + (s.pBandFlag[i] && !doubleTalkBefore ? 3 : 0);
}

// ---- transfers ----

/// What one call of the controller moves.
struct Transfer {
    State& s;
    Qol32sc** ppAdaptive;
    Qol32sc** ppFixed;
    Qol64s* pLevel;
    Qol32s result;
    bool saved;
};

void save(Transfer& t) {
    State& s = t.s;
    s.saveClock = 0;
    t.result = -1;
    t.saved = true;
    s.fixedErrPower = s.adaptiveErrPower;
    s.savedLevel = *t.pLevel;
    copyRows(t.ppAdaptive, t.ppFixed, s.numSegments, s.numSubbands);
}

void restore(Transfer& t) {
    State& s = t.s;
    t.result = 1;
    s.adaptiveErrPower = s.fixedErrPower;
    *t.pLevel = s.savedLevel;
    copyRows(t.ppFixed, t.ppAdaptive, s.numSegments, s.numSubbands);
}

/// Power of the bands from `first` on, in units of 2^14.
Qol64s sumPowers(const Qol32sc* p, Qol32s first, Qol32s numSubbands) {
    Qol64s sum = 0;
    for (Qol32s i = first; i < numSubbands; ++i) {
        sum = wrapAdd64(sum, scaledPower(p[i], kPowerShift));
    }
    return sum;
}

Qol64s smoothPower(const State& s, Qol64s old, Qol64s sum) {
    return saturate32(smooth_Q14(s.alpha15, old, sum >> 5));
}

void savePeriodically(Transfer& t, Qol64s valLevel) {
    State& s = t.s;
    if (s.doubleTalk) {
        s.saveClock = 0;
        return;
    }
    const Qol32s clock = wrapAdd32(s.saveClock, s.frameSize);
    if (clock >= kSavePeriod && valLevel < s.levelAvg >> 10) {
        save(t);
    } else {
        s.saveClock = clock;
    }
}

void countLevels(Transfer& t, Qol64s valLevel) {
    State& s = t.s;
    if (valLevel >= s.levelAvg >> 13) {
        s.lowCount = 0;
        s.highCount = s.highCount < 10 ? s.highCount + 1 : 10;
        const Qol32s veryHigh = s.veryHighCount < 100 ? s.veryHighCount + 1 : 100;
        s.veryHighCount = valLevel > s.levelAvg >> 7 ? veryHigh : 0;
        return;
    }
    s.highCount = s.veryHighCount = 0;
    const Qol32s count = s.lowCount + 1;
    s.lowCount = count < 100 ? count : 100;
    if ((count > 100 || valLevel < s.levelAvg >> 20) && !t.saved) {
        save(t);
    }
}

void actOnPowers(Transfer& t) {
    State& s = t.s;
    if (s.highCount >= 10 && (s.veryHighCount >= 11 || s.adaptiveErrPower > s.fixedErrPower)) {
        restore(t);
        s.savedOnDrop = 0;
    }
    if (s.adaptiveErrPower < s.fixedErrPower >> 3 && !t.saved) {
        save(t);
        s.savedOnDrop = 1;
    }
}

} // namespace

QolStatus qolsSubbandControllerDTGetSize_EC_16s(Qol32s numSubbands, Qol32s frameSize,
                                                Qol32s numSegments, Qol32s sampleFreq,
                                                Qol32s* pSize) noexcept {
    return giveSize(checkController(numSubbands, frameSize, numSegments, sampleFreq, pSize),
                    stateBytes(numSubbands), pSize);
}

QolStatus qolsSubbandControllerDTInit_EC_16s(QolsSubbandControllerDTState_EC_16s* pState,
                                             Qol32s numSubbands, Qol32s frameSize,
                                             Qol32s numSegments, Qol32s sampleFreq) noexcept {
    const QolStatus status =
        checkController(numSubbands, frameSize, numSegments, sampleFreq, pState);
    if (status == qolStsNoErr) {
        build(*pState, numSubbands, frameSize, numSegments, sampleFreq);
    }
    return status;
}

QolStatus
qolsSubbandControllerDTReset_EC_16s(QolsSubbandControllerDTState_EC_16s* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    build(*pState, pState->numSubbands, pState->frameSize, pState->numSegments, pState->sampleFreq);
    return qolStsNoErr;
}

QolStatus
qolsSubbandControllerDTUpdate_EC_16s(const Qol32sc** ppSrc, const Qol32sc* pSrcNear,
                                     const Qol32sc* pError, QolStepSize_EC* pStepSize,
                                     Qol32s* pDoubleTalk, Qol32s* pLowBandFlag, Qol32s startSubband,
                                     QolsSubbandControllerDTState_EC_16s* pState) noexcept {
    if (anyNull(ppSrc, pSrcNear, pError, pStepSize) || anyNull(pDoubleTalk, pLowBandFlag, pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *pState;
    if (startSubband < 0 || startSubband > s.numSubbands) {
        return qolStsRangeErr;
    }
    const Qol32sc* const pFar = ppSrc[0];
    const bool before = *pDoubleTalk != 0;
    qolsMagSquared_32sc32s_Sfs(pFar, s.pStepDenominator, s.numSubbands, kPowerShift);
    runClock(s, before);
    for (Qol32s i = startSubband; i < s.numSubbands; ++i) {
        pStepSize[i] = stepSize(s, i);
        const Qol64u nearPower = power(pSrcNear[i]), errPower = power(pError[i]);
        const auto follow = [](Qol32s& old, Qol64u next) {
            old = saturate32(smooth_Q14(kSlow_Q14, old, static_cast<Qol64s>(next >> kPowerShift)));
        };
        follow(s.pNearPower[i], nearPower);
        follow(s.pFarPower[i], power(pFar[i]));
        followPeaks(s, i, static_cast<Qol64s>(nearPower >> kPeakShift),
                    static_cast<Qol64s>(errPower >> kPeakShift));
        const Qol32s change = decideBand(s, i);
        s.bandsInDoubleTalk += change;
        if (i < kLowBands) {
            s.lowBandsInDoubleTalk += change;
        }
        pStepSize[i].exponent += slowDown(s, i, before);
    }
    s.doubleTalk = *pDoubleTalk = s.bandsInDoubleTalk >= s.numSubbands / 4;
    *pLowBandFlag = s.lowBandsInDoubleTalk >= 5;
    return qolStsNoErr;
}

QolStatus qolsSubbandControllerDT_EC_16s(const Qol32sc* pSrcAdaptiveErr,
                                         const Qol32sc* pSrcFixedErr, Qol32sc** ppAdaptiveCoefs,
                                         Qol32sc** ppFixedCoefs, Qol64s* pLevel, Qol32s* pResult,
                                         Qol64s valLevel, Qol32s updatePower, Qol32s keepCoefs,
                                         Qol32s startSubband,
                                         QolsSubbandControllerDTState_EC_16s* pState) noexcept {
    if (anyNull(pSrcAdaptiveErr, pSrcFixedErr, ppAdaptiveCoefs, ppFixedCoefs) ||
        anyNull(pLevel, pResult, pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *pState;
    if (startSubband < 0 || startSubband > s.numSubbands) {
        return qolStsRangeErr;
    }
    if (s.doubleTalk && !s.prevDoubleTalk) {
        s.adaptiveErrPower = s.fixedErrPower = 0;
    }
    s.prevDoubleTalk = s.doubleTalk;
    *pResult = 0;
    if (keepCoefs == 0 && valLevel < 1) {
        return qolStsNoErr;
    }
    if (updatePower) {
        s.fixedErrPower =
            smoothPower(s, s.fixedErrPower, sumPowers(pSrcFixedErr, startSubband, s.numSubbands));
        s.adaptiveErrPower = smoothPower(s, s.adaptiveErrPower,
                                         sumPowers(pSrcAdaptiveErr, startSubband, s.numSubbands));
    }
    s.levelAvg = smooth_Q14(s.alpha15, s.levelAvg, *pLevel);
    Transfer t{s, ppAdaptiveCoefs, ppFixedCoefs, pLevel, 0, false};
    savePeriodically(t, valLevel);
    countLevels(t, valLevel);
    if (updatePower) {
        actOnPowers(t);
    }
    if (keepCoefs == 0 && s.doubleTalk && !s.savedOnDrop) {
        restore(t);
    }
    *pResult = t.result;
    return qolStsNoErr;
}

} // namespace qolsc
