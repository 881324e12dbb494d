// SPDX-License-Identifier: Apache-2.0
// Fixed-point controller of the sub-band canceller. Powers of bands are in units of 2^10 of the
// squared samples.
#include "echo/controller.h"
#include "echo/echo.h"
#include "echo/subband_filter.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/vector.h"

struct QolsSubbandControllerState_EC_16s {
    Qol32s numSubbands, frameSize, numSegments, sampleFreq;
    Qol32s* pAdaptiveErrPower; // smoothed, per band
    Qol32s* pFixedErrPower;
    Qol32s* pInputPower;                      // far-end power over the numSegments newest frames
    Qol32s* pScratchPower;                    // powers of one frame
    Qol32s* pCoefPower;                       // smoothed energy of the adaptive coefficients
    Qol32s stepNumerator;                     // 0.5, Q31
    Qol32s errorPower;                        // smoothed, all bands
    Qol32s alpha15, alpha9, alpha20, alpha10; // Q14
    Qol32s gain;                              // Q15
    Qol32s trend; // Q14: towards 1 when bands had to be restored, towards 0 when saved
    Qol32s powerThreshold;
    Qol32s fallbackMantissa, fallbackExponent; // step size below the threshold
    Qol32s errorValid;                         // an update has had an error signal
};

namespace qolsc {

namespace {

using namespace echo;
using State = QolsSubbandControllerState_EC_16s;

constexpr Qol32s kFields = 112; // the arrays begin here; up to 16 bytes lie in front of the record
static_assert(sizeof(State) <= kFields);

constexpr int kPowerShift = 10;
constexpr Qol32s kStepExponent = 71; // of a quotient with shift 0

Qol64s arrayBytes(Qol32s numSubbands) { return roundUp16(Qol64s{4} * numSubbands); }

Qol32s smooth32(Qol32s alpha_Q14, Qol32s old, Qol64s next) {
    return saturate32(smooth_Q14(alpha_Q14, old, next));
}

/// Powers of two complex numbers added to two sums.
inline simd::i128 addPowers(simd::i128 sums, simd::i128 z) {
    using namespace simd;
    const i128 im = upperLanes(z), half = splat64(Qol64s{1} << (kPowerShift - 1));
    const i128 power = add64(mulLower32(z, z), add64(mulLower32(im, im), half));
    return add64(sums, _mm_srli_epi64(power, kPowerShift));
}

/// Energies of the coefficients of all bands of a tile from i on.
constexpr Qol32s kTile = 8;
void coefficientEnergy(const Qol32sc* const* ppCoefs, Qol32s numSegments, Qol32s i, Qol32s n,
                       Qol64s* pEnergy) {
    Qol32s k = 0;
    for (; k + 2 <= n; k += 2) {
        simd::i128 sums = simd::zero();
        for (Qol32s j = 0; j < numSegments; ++j) {
            sums = addPowers(sums, simd::load(ppCoefs[j] + i + k));
        }
        simd::store(pEnergy + k, sums);
    }
    if (k < n) { // two taps a vector
        simd::i128 sums = simd::zero();
        Qol32s j = 0;
        for (; j + 2 <= numSegments; j += 2) {
            sums = addPowers(sums, simd::loadTaps(ppCoefs[j] + i + k, ppCoefs[j + 1] + i + k));
        }
        if (j < numSegments) {
            sums = addPowers(sums, simd::loadLow64(ppCoefs[j] + i + k));
        }
        pEnergy[k] = simd::sum64(sums);
    }
}

/// smoothed > 10 |before - energy|, exact.
bool isSettled(Qol32s smoothed, Qol32s before, Qol64s energy) {
    const Qol64s d = wrapSub64(before, energy), change = d < 0 ? wrapSub64(0, d) : d;
    return change >= 0 && change < basop::MAX_32 && smoothed > 10 * change;
}

using Sums = TransferSums<Qol32s>;

void transferBand(State& s, Qol32s i, Qol64s energy, Qol32sc adaptiveErr, Qol32sc fixedErr,
                  Qol32sc** ppAdaptive, Qol32sc** ppFixed, Sums& sums) {
    const Qol32s before = s.pCoefPower[i];
    s.pCoefPower[i] = smooth32(s.alpha9, before, energy);
    Qol32s& fixed = s.pFixedErrPower[i];
    Qol32s& adaptive = s.pAdaptiveErrPower[i];
    fixed = smooth32(s.alpha15, fixed, scaledPower(fixedErr, kPowerShift));
    adaptive = smooth32(s.alpha15, adaptive, scaledPower(adaptiveErr, kPowerShift));
    if (isSettled(s.pCoefPower[i], before, energy) &&
        adaptive < ((Qol64s{fixed} * 5734 + 8192) >> 14)) {
        copyBand(ppAdaptive, ppFixed, s.numSegments, i);
        fixed = adaptive;
        sums.saved = basop::L_add(sums.saved, adaptive);
    } else if (fixed < ((Qol64s{adaptive} * 10922 + 8192) >> 14)) {
        copyBand(ppFixed, ppAdaptive, s.numSegments, i);
        adaptive = fixed;
        sums.restored = basop::L_add(sums.restored, fixed);
    }
    sums.total = basop::L_add(sums.total, fixed);
}

void followGain(State& s, Sums sums) {
    const bool saved = sums.total < Qol64s{10} * sums.saved;
    if (saved && (!s.errorValid || s.errorPower > Qol64s{5} * sums.total)) {
        s.trend = trendDown_Q14(s.trend, s.alpha20);
    } else if (sums.total <= Qol64s{10} * sums.restored) {
        s.trend = trendUp_Q14(s.trend, s.alpha20);
    }
    const bool idle = sums.restored < 100 && sums.saved < 100;
    s.gain = gainStep_Q15(s.gain, s.trend >= 8192 || idle ? 32767 : 0, s.alpha10);
}

} // namespace

QolStatus qolsSubbandControllerGetSize_EC_16s(Qol32s numSubbands, Qol32s frameSize,
                                              Qol32s numSegments, Qol32s sampleFreq,
                                              Qol32s* pSize) noexcept {
    return giveSize(checkController(numSubbands, frameSize, numSegments, sampleFreq, pSize),
                    5 * arrayBytes(numSubbands) + kFields + 16, pSize);
}

QolStatus qolsSubbandControllerInit_EC_16s(QolsSubbandControllerState_EC_16s* pState,
                                           Qol32s numSubbands, Qol32s frameSize, Qol32s numSegments,
                                           Qol32s sampleFreq) noexcept {
    const QolStatus status =
        checkController(numSubbands, frameSize, numSegments, sampleFreq, pState);
    if (status != qolStsNoErr) {
        return status;
    }
    State& s = *alignUp<16>(pState);
    auto* const p = reinterpret_cast<Qol8u*>(&s) + kFields;
    const auto array = [&](int k) {
        return reinterpret_cast<Qol32s*>(p + k * arrayBytes(numSubbands));
    };
    const Qol32s threshold = powerFloor(numSubbands, numSegments);
    s = {.numSubbands = numSubbands,
         .frameSize = frameSize,
         .numSegments = numSegments,
         .sampleFreq = sampleFreq,
         .pAdaptiveErrPower = array(0),
         .pFixedErrPower = array(1),
         .pInputPower = array(2),
         .pScratchPower = array(3),
         .pCoefPower = array(4),
         .stepNumerator = 0x40000000,
         .errorPower = 0,
         .alpha15 = smoothing_Q14(frameSize, sampleFreq, kRate15_Q14),
         .alpha9 = smoothing_Q14(frameSize, sampleFreq, kRate9_Q14),
         .alpha20 = smoothing_Q14(frameSize, sampleFreq, kRate20_Q14),
         .alpha10 = smoothing_Q14(frameSize, sampleFreq, kRate10_Q14),
         .gain = 32767,
         .trend = 16384,
         .powerThreshold = threshold,
         .fallbackMantissa = quotientOrZero(0x40000000, threshold),
         .fallbackExponent = kFallbackExponent,
         .errorValid = 0};
    clear(s.pInputPower, numSubbands);
    clear(s.pScratchPower, numSubbands);
    return qolsc::qolsSubbandControllerReset_EC_16s(pState);
}

QolStatus qolsSubbandControllerReset_EC_16s(QolsSubbandControllerState_EC_16s* pState) noexcept {
    return resetBandPowers(pState);
}

QolStatus qolsSubbandControllerUpdate_EC_16s(const Qol32sc* pSrcRef1, const Qol32sc* pSrcRef2,
                                             const Qol32sc** ppSrc, const Qol32sc* pError,
                                             QolStepSize_EC* pStepSize,
                                             QolsSubbandControllerState_EC_16s* pState) noexcept {
    if (anyNull(pSrcRef1, pSrcRef2) || anyNull(ppSrc) || anyNull(pStepSize, pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *alignUp<16>(pState);
    qolsMagSquared_32sc32s_Sfs(ppSrc[0], s.pScratchPower, s.numSubbands, kPowerShift);
    qolsAdd_32s_Sfs(s.pScratchPower, s.pInputPower, s.pInputPower, s.numSubbands, 0);
    for (Qol32s i = 0; i < s.numSubbands; ++i) {
        if (s.pInputPower[i] > s.powerThreshold) {
            const Quotient q = divideNormalised(s.stepNumerator, s.pInputPower[i]);
            pStepSize[i] = {q.mantissa_Q30, kStepExponent - q.shift};
        } else {
            pStepSize[i] = {s.fallbackMantissa, kStepExponent - s.fallbackExponent};
        }
    }
    // The oldest frame leaves the sum now, so that the next one covers numSegments frames again.
    qolsMagSquared_32sc32s_Sfs(ppSrc[s.numSegments - 1], s.pScratchPower, s.numSubbands,
                               kPowerShift);
    for (Qol32s i = 0; i < s.numSubbands; ++i) {
        const Qol32s rest = basop::L_sub(s.pInputPower[i], s.pScratchPower[i]);
        s.pInputPower[i] = rest < 0 ? 0 : rest;
    }
    if (!pError) {
        return qolStsNoErr; // the error's power keeps its value, other than in the float form
    }
    s.errorValid = 1;
    Qol64s sum = 0;
    for (Qol32s i = 0; i < s.numSubbands; ++i) {
        sum = wrapAdd64(sum, scaledPower(pError[i], kPowerShift));
    }
    s.errorPower = smooth32(s.alpha15, s.errorPower, sum);
    return qolStsNoErr;
}

QolStatus qolsSubbandController_EC_16s(const Qol32sc* pSrcAdaptiveErr, const Qol32sc* pSrcFixedErr,
                                       Qol32sc** ppAdaptiveCoefs, Qol32sc** ppFixedCoefs,
                                       Qol16s* pDstGain,
                                       QolsSubbandControllerState_EC_16s* pState) noexcept {
    if (anyNull(pSrcAdaptiveErr, pSrcFixedErr) || anyNull(ppAdaptiveCoefs, ppFixedCoefs) ||
        anyNull(pDstGain) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *alignUp<16>(pState);
    Sums sums{0, 0, 0};
    for (Qol32s i = 0; i < s.numSubbands; i += kTile) {
        const Qol32s n = s.numSubbands - i < kTile ? s.numSubbands - i : kTile;
        Qol64s energy[kTile];
        coefficientEnergy(ppAdaptiveCoefs, s.numSegments, i, n, energy);
        for (Qol32s k = 0; k < n; ++k) {
            transferBand(s, i + k, energy[k], pSrcAdaptiveErr[i + k], pSrcFixedErr[i + k],
                         ppAdaptiveCoefs, ppFixedCoefs, sums);
        }
    }
    followGain(s, sums);
    *pDstGain = saturate16(s.gain);
    return qolStsNoErr;
}

} // namespace qolsc
