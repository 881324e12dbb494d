// SPDX-License-Identifier: Apache-2.0
// What the three sub-band controllers share.
#pragma once

#include "echo/echo.h"
#include "entry/checks.h"

namespace qolsc::echo {

inline bool isSampleFreq(Qol32s sampleFreq) { return sampleFreq == 8000 || sampleFreq == 16000; }

/// Checks of sizes and Inits: counts, rate, then the pointer.
inline QolStatus checkController(Qol32s numSubbands, Qol32s frameSize, Qol32s numSegments,
                                 Qol32s sampleFreq, const void* p) {
    return numSubbands < 1 || frameSize < 1 || numSegments < 1 ? qolStsBadArgErr
           : !isSampleFreq(sampleFreq)                         ? qolStsRangeErr
           : anyNull(p)                                        ? qolStsNullPtrErr
                                                               : qolStsNoErr;
}

/// Copies the taps of one band.
template <typename T>
inline void copyBand(T* const* ppFrom, T* const* ppTo, Qol32s numSegments, Qol32s band) {
    for (Qol32s j = 0; j < numSegments; ++j) {
        ppTo[j][band] = ppFrom[j][band];
    }
}

template <typename T>
inline void clear(T* p, Qol32s n) {
    std::memset(p, 0, static_cast<std::size_t>(n) * sizeof(T));
}

/// Reset of the controllers that follow every band: the smoothed powers, not the far end's.
template <typename State>
QolStatus resetBandPowers(State* pState) {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State& s = *alignUp<16>(pState);
    clear(s.pAdaptiveErrPower, s.numSubbands);
    clear(s.pFixedErrPower, s.numSubbands);
    clear(s.pCoefPower, s.numSubbands);
    return qolStsNoErr;
}

/// Error powers of the bands that a call saved to the fixed filter, that it restored, and of all.
template <typename T>
struct TransferSums {
    T saved, restored, total;
};

/// Floor of the far end's power in units of 2^10; the product keeps its low 32 bits.
constexpr Qol32s powerFloor(Qol32s numSubbands, Qol32s numSegments) {
    return wrapMul32(wrapMul32(numSubbands, 100000), numSegments) / 1024;
}

constexpr Qol32s kFallbackExponent = -31;

} // namespace qolsc::echo
