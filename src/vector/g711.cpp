// SPDX-License-Identifier: Apache-2.0
#include "vector/g711.h"

#include "entry/checks.h"

namespace qolsc {
namespace {

template <Qol8u (*Compand)(Qol16s)>
QolStatus compandAll(const Qol16s* pSrc, Qol8u* pDst, int len) {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    for (int i = 0; i < len; ++i) {
        pDst[i] = Compand(pSrc[i]);
    }
    return qolStsNoErr;
}

} // namespace

QolStatus qolsLinToMuLaw_16s8u(const Qol16s* pSrc, Qol8u* pDst, int len) noexcept {
    return compandAll<muLawByte>(pSrc, pDst, len);
}

QolStatus qolsLinToALaw_16s8u(const Qol16s* pSrc, Qol8u* pDst, int len) noexcept {
    return compandAll<aLawByte>(pSrc, pDst, len);
}

} // namespace qolsc
