// SPDX-License-Identifier: Apache-2.0
// Float controller of the sub-band canceller: step sizes from the far end's power, transfers
// between the adaptive and the fixed filter per band, factor for residual suppression.
#include "echo/controller.h"
#include "echo/echo.h"
#include "echo/subband_filter.h"
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

constexpr Qol32s kTile = 8;

/// |z|^2 of eight bands.
inline simd::f256 powers8(simd::f256 low, simd::f256 high) {
    const simd::f256 first = _mm256_permute2f128_ps(low, high, 0x20); // bands 0, 1, 4, 5
    const simd::f256 second = _mm256_permute2f128_ps(low, high, 0x31);
    return _mm256_hadd_ps(first, second);
}
inline simd::f256 powers8(const Qol32fc* z) {
    using namespace simd;
    const f256 a = loadf(&z[0].re), b = loadf(&z[4].re);
    return powers8(mulf(a, a), mulf(b, b));
}
inline simd::f256 smooth8(Qol32f alpha, simd::f256 old, simd::f256 next) {
    using namespace simd;
    return addf(mulf(splatf(alpha), old), mulf(splatf(1.0f - alpha), next));
}

/// Step sizes of eight bands from i on.
void stepTile(const Qol32fc* pNewest, const Qol32fc* pOldest, Qol64f* pStepSize, State& s, Qol32s i,
              Qol32f learningRate) {
    using namespace simd;
    const f256 p = addf(loadf(s.pInputPower + i), powers8(pNewest + i));
    const f256 loud = _mm256_cmp_ps(p, splatf(s.powerThreshold), _CMP_GT_OQ);
    const f256 step = selectf(loud, splatf(s.fallbackStep), _mm256_div_ps(splatf(learningRate), p));
    stored(pStepSize + i, _mm256_cvtps_pd(_mm256_castps256_ps128(step)));
    stored(pStepSize + i + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(step, 1)));
    storef(s.pInputPower + i, _mm256_max_ps(zerof(), subf(p, powers8(pOldest + i))));
}

Qol32f sumPowers(const Qol32fc* p, Qol32s numSubbands) {
    using namespace simd;
    f256 sums = zerof();
    Qol32s i = 0;
    for (; i + kTile <= numSubbands; i += kTile) {
        sums = addf(sums, powers8(p + i));
    }
    Qol32f sum = sumf(sums);
    for (; i < numSubbands; ++i) {
        sum += power(p[i]);
    }
    return sum;
}

QolStatus updateSteps(const Qol32fc** ppSrc, const Qol32fc* pError, Qol64f* pStepSize, State& s,
                      Qol32f learningRate) {
    const Qol32fc *pNewest = ppSrc[0], *pOldest = ppSrc[s.numSegments - 1];
    Qol32s i = 0;
    for (; i + kTile <= s.numSubbands; i += kTile) {
        stepTile(pNewest, pOldest, pStepSize, s, i, learningRate);
    }
    for (; i < s.numSubbands; ++i) {
        const Qol32f p = s.pInputPower[i] + power(pNewest[i]);
        pStepSize[i] =
            static_cast<Qol64f>(p > s.powerThreshold ? learningRate / p : s.fallbackStep);
        const Qol32f rest = p - power(pOldest[i]);
        s.pInputPower[i] = rest < 0 ? 0 : rest;
    }
    if (pError) {
        s.errorValid = 1;
    }
    const Qol32f errorSum = pError ? sumPowers(pError, s.numSubbands) : 0;
    s.errorPower = smooth(s.alpha15, s.errorPower, errorSum);
    return qolStsNoErr;
}

/// Energies of the coefficients of eight bands from i on. Even and odd taps apart: one chain of
/// additions would wait for itself.
simd::f256 tileEnergy(Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s i) {
    using namespace simd;
    f256 low[2] = {zerof(), zerof()}, high[2] = {zerof(), zerof()}; // squares of re, im, re, im ...
    const auto add = [&](Qol32s j, int k) {
        const f256 a = loadf(&ppCoefs[j][i].re), b = loadf(&ppCoefs[j][i + 4].re);
        low[k] = addf(low[k], mulf(a, a));
        high[k] = addf(high[k], mulf(b, b));
    };
    Qol32s j = 0;
    for (; j + 2 <= numSegments; j += 2) {
        add(j, 0);
        add(j + 1, 1);
    }
    if (j < numSegments) {
        add(j, 0);
    }
    return powers8(addf(low[0], low[1]), addf(high[0], high[1]));
}
/// The same of one band, two taps a vector.
Qol32f bandEnergy(Qol32fc* const* ppCoefs, Qol32s numSegments, Qol32s i) {
    __m128 squares = _mm_setzero_ps();
    Qol32s j = 0;
    for (; j + 2 <= numSegments; j += 2) {
        const __m128 c = simd::loadTaps(ppCoefs[j] + i, ppCoefs[j + 1] + i);
        squares = _mm_add_ps(squares, _mm_mul_ps(c, c));
    }
    squares = _mm_add_ps(squares, _mm_movehl_ps(squares, squares));
    const Qol32f sum = _mm_cvtss_f32(_mm_add_ss(squares, _mm_movehdup_ps(squares)));
    return j < numSegments ? sum + power(ppCoefs[j][i]) : sum;
}

using Sums = TransferSums<Qol32f>;

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

/// Copies the bands of a tile whose lanes are set.
void copyMarked(Qol32fc* const* ppFrom, Qol32fc* const* ppTo, Qol32s numSegments, Qol32s i,
                simd::f256 marks) {
    using namespace simd;
    const f256 a = _mm256_unpacklo_ps(marks, marks), b = _mm256_unpackhi_ps(marks, marks);
    const f256 low = _mm256_permute2f128_ps(a, b, 0x20), high = _mm256_permute2f128_ps(a, b, 0x31);
    for (Qol32s j = 0; j < numSegments; ++j) {
        const Qol32f* const from = &ppFrom[j][i].re;
        Qol32f* const to = &ppTo[j][i].re;
        storef(to, selectf(low, loadf(to), loadf(from)));
        storef(to + 8, selectf(high, loadf(to + 8), loadf(from + 8)));
    }
}

/// transferBand for eight bands from i on.
void transferTile(State& s, Qol32s i, const Qol32fc* pAdaptiveErr, const Qol32fc* pFixedErr,
                  Qol32fc** ppAdaptive, Qol32fc** ppFixed, Sums& sums) {
    using namespace simd;
    const f256 energy = tileEnergy(ppAdaptive, s.numSegments, i), before = loadf(s.pCoefPower + i);
    const f256 smoothed = smooth8(s.alpha9, before, energy);
    f256 fixed = smooth8(s.alpha15, loadf(s.pFixedErrPower + i), powers8(pFixedErr + i));
    f256 adaptive = smooth8(s.alpha15, loadf(s.pAdaptiveErrPower + i), powers8(pAdaptiveErr + i));
    const auto exceeds = [](f256 a, f256 b) { return _mm256_cmp_ps(a, b, _CMP_GT_OQ); };
    const f256 change = _mm256_andnot_ps(splatf(-0.0f), subf(before, energy));
    const f256 settled = exceeds(mulf(splatf(0.1f), smoothed), change);
    const f256 save = _mm256_and_ps(settled, exceeds(mulf(splatf(0.35f), fixed), adaptive));
    const f256 restore = _mm256_andnot_ps(save, exceeds(adaptive, mulf(splatf(1.5f), fixed)));
    if (_mm256_movemask_ps(save)) {
        copyMarked(ppAdaptive, ppFixed, s.numSegments, i, save);
    }
    if (_mm256_movemask_ps(restore)) {
        copyMarked(ppFixed, ppAdaptive, s.numSegments, i, restore);
    }
    fixed = selectf(save, fixed, adaptive);
    adaptive = selectf(restore, adaptive, fixed);
    storef(s.pCoefPower + i, smoothed);
    storef(s.pFixedErrPower + i, fixed);
    storef(s.pAdaptiveErrPower + i, adaptive);
    sums.saved += sumf(_mm256_and_ps(fixed, save));
    sums.restored += sumf(_mm256_and_ps(fixed, restore));
    sums.total += sumf(fixed);
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
    return giveSize(checkController(numSubbands, frameSize, numSegments, sampleFreq, pSize),
                    Qol64s{16} * numSubbands + 112, pSize);
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
    return resetBandPowers(pState);
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
    Qol32s i = 0;
    for (; i + kTile <= s.numSubbands; i += kTile) {
        transferTile(s, i, pSrcAdaptiveErr, pSrcFixedErr, ppAdaptiveCoefs, ppFixedCoefs, sums);
    }
    for (; i < s.numSubbands; ++i) {
        transferBand(s, i, bandEnergy(ppAdaptiveCoefs, s.numSegments, i), pSrcAdaptiveErr[i],
                     pSrcFixedErr[i], ppAdaptiveCoefs, ppFixedCoefs, sums);
    }
    *pDstGain = followGain(s, sums);
    return qolStsNoErr;
}

} // namespace qolsc
