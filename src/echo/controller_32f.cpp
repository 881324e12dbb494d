// SPDX-License-Identifier: Apache-2.0
// Float controller of the sub-band canceller: step sizes from the far end's power, transfers
// between the adaptive and the fixed filter per band, factor for residual suppression.
#include "echo/controller.h"
#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/simd.h"

#include <cmath>

struct QolsSubbandControllerState_EC_32f {
    Qol32s numSubbands, frameSize, numSegments, sampleFreq;
    Qol32f* pAdaptiveErrPower; // smoothed, per band
    Qol32f* pFixedErrPower;
    Qol32f* pInputPower; // far-end power over the numSegments newest frames
    Qol32f* pCoefPower;  // smoothed energy of the adaptive coefficients
    Qol32f errorPower;   // smoothed, all bands
    Qol32f alpha15, alpha9, alpha20, alpha10;
    Qol32f gain;
    Qol32f secondGain; // set by Init, never read
    Qol32f trend;      // towards 1 when bands had to be restored, towards 0 when saved
    Qol32f powerThreshold;
    Qol32f fallbackStep; // below the threshold
    Qol32s errorValid;   // an update has had an error signal
};

namespace qolsc {

namespace {

using namespace echo;
using State = QolsSubbandControllerState_EC_32f;

static_assert(sizeof(State) == 96); // and up to 16 bytes in front

void clear(Qol32f* p, Qol32s n) { std::memset(p, 0, static_cast<std::size_t>(n) * sizeof(Qol32f)); }

QolStatus updateSteps(const Qol32fc** ppSrc, const Qol32fc* pError, Qol64f* pStepSize, State& s,
                      Qol32f learningRate) {
    const Qol32fc *pNewest = ppSrc[0], *pOldest = ppSrc[s.numSegments - 1];
    Qol32f errorSum = 0;
    for (Qol32s i = 0; i < s.numSubbands; ++i) {
        const Qol32f p = s.pInputPower[i] + power(pNewest[i]);
        pStepSize[i] =
            static_cast<Qol64f>(p > s.powerThreshold ? learningRate / p : s.fallbackStep);
        const Qol32f rest = p - power(pOldest[i]);
        s.pInputPower[i] = rest < 0 ? 0 : rest;
    }
    if (pError) {
        s.errorValid = 1;
        for (Qol32s i = 0; i < s.numSubbands; ++i) {
            errorSum += power(pError[i]);
        }
    }
    s.errorPower = smooth(s.alpha15, s.errorPower, errorSum);
    return qolStsNoErr;
}

/// Energy of the coefficients of up to eight bands from i on.
constexpr Qol32s kTile = 8;
void coefficientEnergy(Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s i, Qol32s n,
                       Qol32f* pEnergy) {
    for (Qol32s k = 0; k < kTile; ++k) {
        pEnergy[k] = 0;
    }
    if (n == kTile) {
        using namespace simd;
        f256 lo = zerof(), hi = zerof(); // squares of re, im, re, im ...
        for (Qol32s j = 0; j < numSegments; ++j) {
            const f256 a = loadf(&ppCoefs[j][i].re), b = loadf(&ppCoefs[j][i + 4].re);
            lo = addf(lo, mulf(a, a));
            hi = addf(hi, mulf(b, b));
        }
        const f256 sums = _mm256_hadd_ps(lo, hi); // bands 0, 1, 4, 5, 2, 3, 6, 7
        const __m128 first = _mm256_castps256_ps128(sums), second = _mm256_extractf128_ps(sums, 1);
        _mm_storeu_ps(pEnergy, _mm_shuffle_ps(first, second, 0x44));
        _mm_storeu_ps(pEnergy + 4, _mm_shuffle_ps(first, second, 0xEE));
        return;
    }
    for (Qol32s j = 0; j < numSegments; ++j) {
        for (Qol32s k = 0; k < n; ++k) {
            pEnergy[k] += power(ppCoefs[j][i + k]);
        }
    }
}

struct Sums {
    Qol32f saved, restored, total;
};

/// Follows the powers of a band and moves its coefficients.
void transferBand(State& s, Qol32s i, Qol32f energy, Qol32fc adaptiveErr, Qol32fc fixedErr,
                  Qol32fc** ppAdaptive, Qol32fc** ppFixed, Sums& sums) {
    const Qol32f before = s.pCoefPower[i];
    s.pCoefPower[i] = smooth(s.alpha9, before, energy);
    Qol32f& fixed = s.pFixedErrPower[i];
    Qol32f& adaptive = s.pAdaptiveErrPower[i];
    fixed = smooth(s.alpha15, fixed, power(fixedErr));
    adaptive = smooth(s.alpha15, adaptive, power(adaptiveErr));
    const bool settled = 0.1f * s.pCoefPower[i] > std::fabs(before - energy);
    if (settled && 0.35f * fixed > adaptive) {
        copyBand(ppAdaptive, ppFixed, s.numSegments, i);
        fixed = adaptive;
        sums.saved += adaptive;
    } else if (adaptive > 1.5f * fixed) {
        copyBand(ppFixed, ppAdaptive, s.numSegments, i);
        adaptive = fixed;
        sums.restored += fixed;
    }
    sums.total += fixed;
}

Qol32f followGain(State& s, Sums sums) {
    const Qol32f limit = 0.1f * sums.total;
    if (sums.saved > limit && (!s.errorValid || 0.2f * s.errorPower > sums.total)) {
        s.trend *= s.alpha20;
    } else if (sums.restored > limit) {
        s.trend = s.alpha20 * s.trend + 1.0f - s.alpha20;
    }
    s.gain = smooth(s.alpha10, s.gain, s.trend > 0.5f ? 1.0f : 0.0f);
    return s.gain;
}

} // namespace

QolStatus qolsSubbandControllerGetSize_EC_32f(Qol32s numSubbands, Qol32s frameSize,
                                              Qol32s numSegments, Qol32s sampleFreq,
                                              Qol32s* pSize) noexcept {
    const QolStatus status =
        checkController(numSubbands, frameSize, numSegments, sampleFreq, pSize);
    if (status == qolStsNoErr) {
        *pSize = saturate32(Qol64s{16} * numSubbands + 112);
    }
    return status;
}

QolStatus qolsSubbandControllerInit_EC_32f(QolsSubbandControllerState_EC_32f* pState,
                                           Qol32s numSubbands, Qol32s frameSize, Qol32s numSegments,
                                           Qol32s sampleFreq) noexcept {
    const QolStatus status =
        checkController(numSubbands, frameSize, numSegments, sampleFreq, pState);
    if (status != qolStsNoErr) {
        return status;
    }
    State& s = *alignUp<16>(pState);
    auto* const p = reinterpret_cast<Qol32f*>(&s + 1);
    const Qol32f threshold =
        static_cast<Qol32f>(Qol64f{100000} * numSubbands * numSegments); // in samples squared
    s = {.numSubbands = numSubbands,
         .frameSize = frameSize,
         .numSegments = numSegments,
         .sampleFreq = sampleFreq,
         .pAdaptiveErrPower = p,
         .pFixedErrPower = p + numSubbands,
         .pInputPower = p + 2 * static_cast<std::ptrdiff_t>(numSubbands),
         .pCoefPower = p + 3 * static_cast<std::ptrdiff_t>(numSubbands),
         .errorPower = 0,
         .alpha15 = smoothing(frameSize, sampleFreq, 0.015),
         .alpha9 = smoothing(frameSize, sampleFreq, 0.009),
         .alpha20 = smoothing(frameSize, sampleFreq, 0.02),
         .alpha10 = smoothing(frameSize, sampleFreq, 0.01),
         .gain = 1.0f,
         .secondGain = 1.0f,
         .trend = 1.0f,
         .powerThreshold = threshold,
         .fallbackStep = 0.05f / threshold,
         .errorValid = 0};
    clear(s.pInputPower, numSubbands);
    return qolsc::qolsSubbandControllerReset_EC_32f(pState);
}

QolStatus qolsSubbandControllerReset_EC_32f(QolsSubbandControllerState_EC_32f* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *alignUp<16>(pState);
    clear(s.pAdaptiveErrPower, s.numSubbands);
    clear(s.pFixedErrPower, s.numSubbands);
    clear(s.pCoefPower, s.numSubbands);
    return qolStsNoErr;
}

QolStatus qolsSubbandAPControllerUpdate_EC_32f(const Qol32fc** ppSrc, const Qol32fc* pError,
                                               Qol64f* pStepSize,
                                               QolsSubbandControllerState_EC_32f* pState,
                                               Qol32f learningRate) noexcept {
    if (anyNull(ppSrc) || anyNull(pStepSize, pState)) {
        return qolStsNullPtrErr;
    }
    if (learningRate < 0 || learningRate > 1.0f) {
        return qolStsRangeErr;
    }
    return updateSteps(ppSrc, pError, pStepSize, *alignUp<16>(pState), learningRate);
}

QolStatus qolsSubbandControllerUpdate_EC_32f(const Qol32fc* pSrcRef1, const Qol32fc* pSrcRef2,
                                             const Qol32fc** ppSrc, const Qol32fc* pError,
                                             Qol64f* pStepSize,
                                             QolsSubbandControllerState_EC_32f* pState) noexcept {
    if (anyNull(pSrcRef1, pSrcRef2)) {
        return qolStsNullPtrErr;
    }
    return qolsc::qolsSubbandAPControllerUpdate_EC_32f(ppSrc, pError, pStepSize, pState, 0.5f);
}

QolStatus qolsSubbandController_EC_32f(const Qol32fc* pSrcAdaptiveErr, const Qol32fc* pSrcFixedErr,
                                       Qol32fc** ppAdaptiveCoefs, Qol32fc** ppFixedCoefs,
                                       Qol32f* pDstGain,
                                       QolsSubbandControllerState_EC_32f* pState) noexcept {
    if (anyNull(pSrcAdaptiveErr, pSrcFixedErr, pDstGain, pState) ||
        anyNull(ppAdaptiveCoefs, ppFixedCoefs)) {
        return qolStsNullPtrErr;
    }
    State& s = *alignUp<16>(pState);
    Sums sums{0, 0, 0};
    for (Qol32s i = 0; i < s.numSubbands; i += kTile) {
        const Qol32s n = s.numSubbands - i < kTile ? s.numSubbands - i : kTile;
        Qol32f energy[kTile];
        coefficientEnergy(ppAdaptiveCoefs, s.numSegments, i, n, energy);
        for (Qol32s k = 0; k < n; ++k) {
            transferBand(s, i + k, energy[k], pSrcAdaptiveErr[i + k], pSrcFixedErr[i + k],
                         ppAdaptiveCoefs, ppFixedCoefs, sums);
        }
    }
    *pDstGain = followGain(s, sums);
    return qolStsNoErr;
}

} // namespace qolsc
