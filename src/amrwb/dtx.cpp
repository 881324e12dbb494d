// SPDX-License-Identifier: Apache-2.0
// Histories of ISFs and log energies for comfort noise (TS 26.192 5).
#include "amrwb/amrwb.h"
#include "numeric/helpers.h"

#include <algorithm>

namespace qolsc {
namespace {

constexpr int kRows = 8, kIsfs = 16, kFrame = 256;

/// log2 of the frame's energy, Q7, less 8 for the frame's length.
Qol16s logEnergy(const Qol16s* pSrc) {
    Qol64s energy = 0;
    for (int i = 0; i < kFrame; ++i) {
        energy += pSrc[i] * pSrc[i];
    }
    Qol16s exponent, fraction;
    ownLog2(saturate32(energy), &exponent, &fraction);
    return static_cast<Qol16s>(exponent * 128 + (fraction >> 8) - 1024);
}

void enter(const Qol16s* pSrc, const Qol16s* pISF, Qol16s* pUpdateIdx, Qol16s* pISFBuffer,
           Qol16s* pLogEnergyBuffer, int rateTerm) {
    const int row = (*pUpdateIdx + 1) & (kRows - 1);
    *pUpdateIdx = static_cast<Qol16s>(row);
    std::copy_n(pISF, kIsfs, pISFBuffer + row * kIsfs);
    pLogEnergyBuffer[row] = static_cast<Qol16s>(logEnergy(pSrc) - rateTerm);
}

/// What the excitation of each mode has more energy than comfort noise should have, Q7.
constexpr int rateTerm(Qol32s valRate) {
    switch (valRate) {
    case 5:
        return 230;
    case 9:
        return 179;
    case 13:
        return 141;
    case 15:
        return 128;
    case 16:
        return 122;
    default:
        return 115;
    }
}

} // namespace

QolStatus qolsEncDTXBuffer_AMRWB_16s(const Qol16s* pSrc, const Qol16s* pISF, Qol16s* pUpdateIdx,
                                     Qol16s* pISFBuffer, Qol16s* pLogEnergyBuffer,
                                     Qol32s valRate) noexcept {
    if (anyNull(pSrc, pISF, pUpdateIdx, pISFBuffer, pLogEnergyBuffer)) {
        return qolStsNullPtrErr;
    }
    if (!isIsfRate(valRate)) {
        return qolStsRangeErr;
    }
    enter(pSrc, pISF, pUpdateIdx, pISFBuffer, pLogEnergyBuffer, rateTerm(valRate));
    return qolStsNoErr;
}

QolStatus qolsDecDTXBuffer_AMRWB_16s(const Qol16s* pSrc, const Qol16s* pISF, Qol16s* pUpdateIdx,
                                     Qol16s* pISFBuffer, Qol16s* pLogEnergyBuffer) noexcept {
    if (anyNull(pSrc, pISF, pUpdateIdx, pISFBuffer, pLogEnergyBuffer)) {
        return qolStsNullPtrErr;
    }
    enter(pSrc, pISF, pUpdateIdx, pISFBuffer, pLogEnergyBuffer, 0);
    return qolStsNoErr;
}

} // namespace qolsc
