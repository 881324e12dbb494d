// SPDX-License-Identifier: Apache-2.0
// Controllers of the full-band canceller: a step size per sample from the far end's energy,
// transfers between the adaptive and the fixed filter, factor for residual suppression.
#include "echo/controller.h"
#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/vector.h"

#include <cmath>

struct QolsFullbandControllerState_EC_32f {
    Qol32f cleared; // never read
    Qol32f adaptiveErrPower, fixedErrPower;
    Qol32f coefPower; // of the adaptive filter
    Qol32f refPower;  // of the near end
    Qol32f alpha50, alpha20, alpha10;
    Qol32s frameSize, numTaps;
    Qol32f gain;
    Qol32f trend; // towards 1 when coefficients had to be restored, towards 0 when saved
    Qol32f powerThreshold;
    Qol32f fallbackStep; // below the threshold
};

struct QolsFullbandControllerState_EC_16s {
    Qol64s coefPower;                                 // within 32 bits
    Qol32s cleared;                                   // never read
    Qol32s adaptiveErrPower, fixedErrPower, refPower; // units of 2^4
    Qol32s alpha50, alpha20, alpha10;                 // Q14
    Qol32s gain;                                      // Q15
    Qol32s trend;                                     // Q14
    Qol32s powerThreshold, fallbackStep;              // units of 2^8; Q30 over these
    Qol32s frameSize, numTaps;
};

namespace qolsc {

namespace {

using namespace echo;
using State32f = QolsFullbandControllerState_EC_32f;
using State16s = QolsFullbandControllerState_EC_16s;

constexpr Qol32s kSize32f = 72, kSize16s = 96; // 16 bytes are for the alignment
static_assert(sizeof(State32f) + 16 == kSize32f && sizeof(State16s) + 16 <= kSize16s);

constexpr Qol64s kFloorPerTap = 1500000; // mean square of the far end below which the step is fixed

QolStatus checkFullband(const void* p, Qol32s frameSize, Qol32s numTaps, Qol32s sampleFreq) {
    return anyNull(p)                     ? qolStsNullPtrErr
           : frameSize < 1 || numTaps < 1 ? qolStsBadArgErr
           : !isSampleFreq(sampleFreq)    ? qolStsRangeErr
                                          : qolStsNoErr;
}

Qol32f energy(const Qol32f* p, Qol32s len) {
    Qol32f sum = 0;
    qolsDotProd_32f(p, p, len, &sum);
    return sum;
}

/// Square in units of 2^Shift, rounded.
template <int Shift>
Qol32s square(Qol16s v) {
    return (Qol32s{v} * v + (1 << (Shift - 1))) >> Shift;
}
/// Saturating sum of such squares. They aren't negative, so one saturation at the end is the same.
template <int Shift>
Qol32s energy(const Qol16s* p, Qol32s len) {
    Qol64s sum = 0;
    for (Qol32s n = 0; n < len; ++n) {
        sum += square<Shift>(p[n]);
    }
    return saturate32(sum);
}

Qol32s smooth32(Qol32s alpha_Q14, Qol64s old, Qol64s next) {
    return saturate32(smooth_Q14(alpha_Q14, old, next));
}

template <typename T>
void copyTaps(const T* pFrom, T* pTo, Qol32s numTaps) {
    std::memmove(pTo, pFrom, static_cast<std::size_t>(numTaps) * sizeof(T));
}

} // namespace

QolStatus qolsFullbandControllerGetSize_EC_32f(Qol32s frameSize, Qol32s numTaps, Qol32s sampleFreq,
                                               Qol32s* pSize) noexcept {
    return giveSize(checkFullband(pSize, frameSize, numTaps, sampleFreq), kSize32f, pSize);
}

QolStatus qolsFullbandControllerGetSize_EC_16s(Qol32s frameSize, Qol32s numTaps, Qol32s sampleFreq,
                                               Qol32s* pSize) noexcept {
    return giveSize(checkFullband(pSize, frameSize, numTaps, sampleFreq), kSize16s, pSize);
}

QolStatus qolsFullbandControllerInit_EC_32f(QolsFullbandControllerState_EC_32f* pState,
                                            Qol32s frameSize, Qol32s numTaps,
                                            Qol32s sampleFreq) noexcept {
    const QolStatus status = checkFullband(pState, frameSize, numTaps, sampleFreq);
    if (status != qolStsNoErr) {
        return status;
    }
    State32f& s = *alignUp<16>(pState);
    s = {};
    s.alpha50 = smoothing(frameSize, sampleFreq, 0.05);
    s.alpha20 = smoothing(frameSize, sampleFreq, 0.02);
    s.alpha10 = smoothing(frameSize, sampleFreq, 0.01);
    s.frameSize = frameSize;
    s.numTaps = numTaps;
    s.gain = s.trend = 1.0f;
    s.powerThreshold = static_cast<Qol32f>(kFloorPerTap * numTaps);
    s.fallbackStep = 1.0f / s.powerThreshold;
    return qolStsNoErr;
}

QolStatus qolsFullbandControllerInit_EC_16s(QolsFullbandControllerState_EC_16s* pState,
                                            Qol32s frameSize, Qol32s numTaps,
                                            Qol32s sampleFreq) noexcept {
    const QolStatus status = checkFullband(pState, frameSize, numTaps, sampleFreq);
    if (status != qolStsNoErr) {
        return status;
    }
    State16s& s = *alignUp<16>(pState);
    s = {};
    s.alpha50 = smoothing_Q14(frameSize, sampleFreq, kRate50_Q14);
    s.alpha20 = smoothing_Q14(frameSize, sampleFreq, kRate20_Q14);
    s.alpha10 = smoothing_Q14(frameSize, sampleFreq, kRate10_Q14);
    s.gain = 32767;
    s.trend = 16384;
    s.powerThreshold = wrap32((numTaps * kFloorPerTap + 128) >> 8);
    s.fallbackStep = quotientOrZero(0x40000000, s.powerThreshold);
    s.frameSize = frameSize;
    s.numTaps = numTaps;
    return qolStsNoErr;
}

QolStatus qolsFullbandControllerReset_EC_32f(QolsFullbandControllerState_EC_32f* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State32f& s = *alignUp<16>(pState);
    s.cleared = s.adaptiveErrPower = s.fixedErrPower = s.coefPower = 0;
    return qolStsNoErr;
}

QolStatus qolsFullbandControllerReset_EC_16s(QolsFullbandControllerState_EC_16s* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State16s& s = *alignUp<16>(pState);
    s.coefPower = s.cleared = s.adaptiveErrPower = s.fixedErrPower = 0;
    return qolStsNoErr;
}

// In both updates the sample that leaves the running sum is one younger than a true window's: the
// oldest one of the first window stays for the whole frame.

QolStatus qolsFullbandControllerUpdate_EC_32f(const Qol32f* pSrc, const Qol32f* pSrcRef,
                                              Qol32f* pStepSize,
                                              QolsFullbandControllerState_EC_32f* pState) noexcept {
    if (anyNull(pSrc, pSrcRef, pStepSize) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State32f& s = *alignUp<16>(pState);
    Qol32f sum = energy(pSrc - s.numTaps, s.numTaps);
    const auto step = [&] { return sum > s.powerThreshold ? 0.5f / sum : s.fallbackStep; };
    pStepSize[0] = step();
    for (Qol32s n = 1; n < s.frameSize; ++n) {
        sum += pSrc[n - 1] * pSrc[n - 1] - pSrc[n - s.numTaps] * pSrc[n - s.numTaps];
        pStepSize[n] = step();
    }
    s.refPower = smooth(s.alpha50, s.refPower, energy(pSrcRef, s.frameSize));
    return qolStsNoErr;
}

QolStatus qolsFullbandControllerUpdate_EC_16s(const Qol16s* pSrc, const Qol16s* pSrcRef,
                                              Qol32s* pStepSize,
                                              QolsFullbandControllerState_EC_16s* pState) noexcept {
    if (anyNull(pSrc, pSrcRef) || anyNull(pStepSize) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State16s& s = *alignUp<16>(pState);
    Qol32s sum = energy<8>(pSrc - s.numTaps, s.numTaps);
    const auto step = [&] {
        return sum > s.powerThreshold ? quotientOrZero(0x40000000, sum) : s.fallbackStep;
    };
    pStepSize[0] = step();
    for (Qol32s n = 1; n < s.frameSize; ++n) {
        sum = basop::L_add(sum, square<8>(pSrc[n - 1]) - square<8>(pSrc[n - s.numTaps]));
        pStepSize[n] = step();
    }
    s.refPower = smooth32(s.alpha50, s.refPower, energy<4>(pSrcRef, s.frameSize));
    return qolStsNoErr;
}

QolStatus qolsFullbandController_EC_32f(const Qol32f* pSrcAdaptiveErr, const Qol32f* pSrcFixedErr,
                                        Qol32f* pAdaptiveCoefs, Qol32f* pFixedCoefs,
                                        Qol32f* pDstGain,
                                        QolsFullbandControllerState_EC_32f* pState) noexcept {
    if (anyNull(pSrcAdaptiveErr, pSrcFixedErr, pAdaptiveCoefs, pFixedCoefs) || anyNull(pDstGain) ||
        anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State32f& s = *alignUp<16>(pState);
    s.adaptiveErrPower =
        smooth(s.alpha50, s.adaptiveErrPower, energy(pSrcAdaptiveErr, s.frameSize));
    s.fixedErrPower = smooth(s.alpha50, s.fixedErrPower, energy(pSrcFixedErr, s.frameSize));
    const Qol32f now = energy(pAdaptiveCoefs, s.numTaps), before = s.coefPower;
    s.coefPower = smooth(s.alpha50, before, now);
    if (0.1f * s.fixedErrPower > s.adaptiveErrPower && 0.2f * now > std::fabs(before - now)) {
        copyTaps(pAdaptiveCoefs, pFixedCoefs, s.numTaps);
        s.fixedErrPower = s.adaptiveErrPower;
        s.trend *= s.alpha20;
    } else if (s.adaptiveErrPower > 1.3f * s.fixedErrPower) {
        copyTaps(pFixedCoefs, pAdaptiveCoefs, s.numTaps);
        s.adaptiveErrPower = s.fixedErrPower;
        s.trend = s.alpha20 * s.trend + 1.0f - s.alpha20;
    }
    const bool open = s.trend >= 0.5f || !(0.2f * s.refPower > s.fixedErrPower);
    *pDstGain = s.gain = smooth(s.alpha10, s.gain, open ? 1.0f : 0.0f);
    return qolStsNoErr;
}

QolStatus qolsFullbandController_EC_16s(const Qol16s* pSrcAdaptiveErr, const Qol16s* pSrcFixedErr,
                                        Qol16s* pAdaptiveCoefs, Qol16s* pFixedCoefs,
                                        Qol16s* pDstGain,
                                        QolsFullbandControllerState_EC_16s* pState) noexcept {
    if (anyNull(pSrcAdaptiveErr, pSrcFixedErr, pAdaptiveCoefs, pFixedCoefs) || anyNull(pDstGain) ||
        anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State16s& s = *alignUp<16>(pState);
    s.adaptiveErrPower =
        smooth32(s.alpha50, s.adaptiveErrPower, energy<4>(pSrcAdaptiveErr, s.frameSize));
    s.fixedErrPower = smooth32(s.alpha50, s.fixedErrPower, energy<4>(pSrcFixedErr, s.frameSize));
    Qol64s now = 0;
    qolsNorm_L2Sqr_16s64s_Sfs(pAdaptiveCoefs, s.numTaps, &now, 0);
    const Qol64s before = s.coefPower, change = before > now ? before - now : now - before;
    s.coefPower = smooth32(s.alpha50, before, now);
    if (s.fixedErrPower > Qol64s{10} * s.adaptiveErrPower && now > 5 * change) {
        copyTaps(pAdaptiveCoefs, pFixedCoefs, s.numTaps);
        s.fixedErrPower = s.adaptiveErrPower;
        s.trend = trendDown_Q14(s.trend, s.alpha20);
    } else if (s.fixedErrPower < (Qol64s{s.adaptiveErrPower} * 12603 + 8192) >> 14) {
        copyTaps(pFixedCoefs, pAdaptiveCoefs, s.numTaps);
        s.adaptiveErrPower = s.fixedErrPower;
        s.trend = trendUp_Q14(s.trend, s.alpha20);
    }
    const bool open =
        s.trend >= 8192 || s.fixedErrPower >= (Qol64s{s.refPower} * 3276 + 8192) >> 14;
    s.gain = gainStep_Q15(s.gain, open ? 32767 : 0, s.alpha10);
    *pDstGain = saturate16(s.gain);
    return qolStsNoErr;
}

} // namespace qolsc
