// SPDX-License-Identifier: Apache-2.0
// DC removal of the RTA family: a direct form of three poles and a lattice of four.
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/rta.h"

namespace qolsc {

namespace {

constexpr Qol32f kBias = 1e-6f; // keeps the recursions out of denormal numbers

struct Direct {
    const Qol32f *num, *den;
};
struct Lattice {
    const Qol32f *k, *v;
};

/// Coefficients of order 4. There is no set for 8000 Hz: it runs on that of 32000 Hz.
Direct directFor(Qol32s rate) {
    switch (rate) {
    case 16000:
        return {tables::rgfltDCRemovalNumCoef_16000, tables::rgfltDCRemovalDenCoef_16000};
    case 22050:
        return {tables::rgfltDCRemovalNumCoef_22050, tables::rgfltDCRemovalDenCoef_22050};
    default:
        return {tables::rgfltDCRemovalNumCoef_32000, tables::rgfltDCRemovalDenCoef_32000};
    }
}

Lattice latticeFor(Qol32s rate) {
    switch (rate) {
    case 8000:
        return {tables::rgfltHPFLatticeCoefK_8000, tables::rgfltHPFLatticeCoefV_8000};
    case 16000:
        return {tables::rgfltHPFLatticeCoefK_16000, tables::rgfltHPFLatticeCoefV_16000};
    case 22050:
        return {tables::rgfltHPFLatticeCoefK_22050, tables::rgfltHPFLatticeCoefV_22050};
    default:
        return {tables::rgfltHPFLatticeCoefK_32000, tables::rgfltHPFLatticeCoefV_32000};
    }
}

/// pMem: x[n-1..n-3], y[n-1..n-3]. The poles lie so near the unit circle that 1 + a1 + a2 + a3 is
/// below one step of a float: the recursion runs in double.
void ownHighPassFilterOrder4_RTA_32f(const Qol32f* pSrc, Qol32f* pDst, Qol32s len, Direct c,
                                     Qol32f* pMem) {
    Qol32f x1 = pMem[0], x2 = pMem[1], x3 = pMem[2];
    Qol64f y1 = pMem[3], y2 = pMem[4], y3 = pMem[5];
    for (Qol32s n = 0; n < len; ++n) {
        const Qol32f x = pSrc[n];
        const Qol64f zeros = Qol64f{c.num[0]} * x + Qol64f{c.num[1]} * x1 + Qol64f{c.num[2]} * x2 +
                             Qol64f{c.num[3]} * x3;
        const Qol64f y = kBias + zeros - c.den[0] * y1 - c.den[1] * y2 - c.den[2] * y3;
        x3 = x2;
        x2 = x1;
        x1 = x;
        y3 = y2;
        y2 = y1;
        y1 = y;
        pDst[n] = static_cast<Qol32f>(y);
    }
    const Qol32f mem[6] = {
        x1, x2, x3, static_cast<Qol32f>(y1), static_cast<Qol32f>(y2), static_cast<Qol32f>(y3)};
    for (int i = 0; i < 6; ++i) {
        pMem[i] = mem[i];
    }
}

void ownHighPassFilterOrder5_RTA_32f(const Qol32f* pSrc, Qol32f* pDst, Qol32s len, Lattice c,
                                     Qol32f* s) {
    for (Qol32s n = 0; n < len; ++n) {
        Qol32f u = kBias + pSrc[n], out = 0;
        for (int k = 3; k >= 0; --k) {
            u -= c.k[k] * s[k];
            s[k + 1] = u * c.k[k] + s[k];
            out += s[k + 1] * c.v[k + 1];
        }
        s[0] = u;
        pDst[n] = out + u * c.v[0];
    }
}

} // namespace

QolStatus qolsHighPassFilter_RTA_32f(const Qol32f* pSrc, Qol32f* pDst, Qol32s len, Qol32s order,
                                     Qol32s sampleFreq, Qol32f* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (sampleFreq != 8000 && sampleFreq != 16000 && sampleFreq != 22050 && sampleFreq != 32000) {
        return qolStsRangeErr;
    }
    if (order == 5) {
        ownHighPassFilterOrder5_RTA_32f(pSrc, pDst, len, latticeFor(sampleFreq), pMem);
        return qolStsNoErr;
    }
    if (order != 4) {
        return qolStsRangeErr;
    }
    if (sampleFreq == 8000 && len % 2 != 0) {
        return qolStsNoOperation;
    }
    ownHighPassFilterOrder4_RTA_32f(pSrc, pDst, len, directFor(sampleFreq), pMem);
    return qolStsNoErr;
}

} // namespace qolsc
