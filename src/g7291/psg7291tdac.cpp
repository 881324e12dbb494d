// SPDX-License-Identifier: Apache-2.0
// MDCT pair and spectrum post-processing of the G.729.1 transform layer (ITU-T G.729.1, TDAC).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g7291/g7291.h"
#include "numeric/basop.h"
#include "tables/g7291.h"
#include "vector/vector.h"

#include <cstring>

namespace qolsc {

namespace {

using namespace g7291;

/// 80 complex points.
struct Points {
    Qol16s re[kPoints], im[kPoints];
};

/// Left shifts that normalise the greatest magnitude of two arrays; -1 when all is zero.
int headroom(const Qol16s* pA, const Qol16s* pB, int len) {
    Qol16s a = 0, b = 0;
    qolsMaxAbs_16s(pA, len, &a);
    qolsMaxAbs_16s(pB, len, &b);
    const Qol16s peak = a > b ? a : b;
    return peak == 0 ? -1 : basop::norm_s(peak);
}

Qol16s rounded(Qol32s x, int shift) {
    return static_cast<Qol16s>((x + (1 << (shift - 1))) >> shift);
}

/// Windows and folds 320 samples, shifted left by `up`, into 80 points: a quarter of the true
/// values, which keeps full scale (h x + h x up to 2^30) inside 16 bits.
Points fold(const Qol16s* pOld, const Qol16s* pNew, int up) {
    const Qol16s* h = tables::G7291_TDAC_hTbl;
    const auto at = [up](const Qol16s* p, int n) { return p[n] * (1 << up); };
    Points z;
    for (int n = 0; n < kPoints; ++n) {
        const int i = 2 * n, j = kBlock - 1 - 2 * n;
        z.re[n] = rounded(h[i] * at(pOld, i) - h[j] * at(pOld, j), 16);
        z.im[n] = rounded(h[i] * at(pNew, j) + h[j] * at(pNew, i), 16);
    }
    return z;
}

} // namespace

QolStatus qolsMDCTFwd_G7291_16s(const Qol16s* pSrc, const Qol16s* pSrcPrev, Qol32s* pDst,
                                Qol16s* pMem, int val) noexcept {
    if (anyNull(pSrc, pSrcPrev, pMem) || anyNull(pDst)) {
        return qolStsNullPtrErr;
    }
    const int up = headroom(pSrc, pSrcPrev, kBlock);
    Points z = fold(pSrcPrev, pSrc, up < 0 ? 0 : up);
    std::memcpy(pMem, pSrc, kBlock * sizeof(Qol16s));

    const Qol16s *c = tables::wCosTbl, *s = tables::wSinTbl;
    for (int n = 0; n < kPoints; ++n) {
        const Qol32s re = z.re[n], im = z.im[n];
        z.re[n] = rounded(re * c[n] - im * s[n], 15);
        z.im[n] = rounded(re * s[n] + im * c[n], 15);
    }

    // Two bits of headroom: the columns of five grow by up to 2.5 after their halving.
    const int room = headroom(z.re, z.im, kPoints);
    if (room < 0) {
        std::memset(pDst, 0, kBlock * sizeof(Qol32s));
        return qolStsNoErr;
    }
    const int shift = room - 2;
    for (int n = 0; n < kPoints; ++n) {
        z.re[n] = basop::shr_r(z.re[n], -shift);
        z.im[n] = basop::shr_r(z.im[n], -shift);
    }
    ownTDAC_tfr<Direction::inverse>(z.re, z.im);

    // The accumulators hold Y times 2^(22 - 2 - 5 + shift + up).
    const int down = 15 + shift + up - val;
    const auto scaled = [down](Qol32s x) {
        return down < 0 ? shiftLeftSaturate<Qol32s>(x, -down) : scaleNear<Qol32s>(x, down);
    };
    for (int k = 0; k < kPoints; ++k) {
        const Qol32s a = tables::wetrTbl[k], b = tables::wetiTbl[k];
        pDst[2 * k] = scaled(z.re[k] * b + z.im[k] * a);
        pDst[kBlock - 1 - 2 * k] = scaled(z.im[k] * b - z.re[k] * a);
    }
    return qolStsNoErr;
}

QolStatus qolsMDCTInv_G7291_16s(const Qol16s* pSrc, Qol16s* pSrcDstMem, Qol16s* pDst,
                                int scaleFactor) noexcept {
    if (anyNull(pSrc, pSrcDstMem, pDst)) {
        return qolStsNullPtrErr;
    }
    if (scaleFactor < 0) {
        return qolStsSizeErr;
    }
    const int room = headroom(pSrc, pSrc + kPoints, kPoints), up = room < 0 ? 0 : room;
    Points z;
    for (int k = 0; k < kPoints; ++k) {
        const Qol32s a = tables::wetrm1Tbl[k], b = tables::wetim1Tbl[k];
        const Qol32s even = pSrc[2 * k] * (1 << up), odd = pSrc[kBlock - 1 - 2 * k] * (1 << up);
        // By the table's length of 2 in Q14 and the room that two coefficients need.
        z.re[k] = rounded(-odd * a - even * b, 17);
        z.im[k] = rounded(even * a - odd * b, 17);
    }
    ownTDAC_tfr<Direction::forward>(z.re, z.im);

    // The accumulators hold the block times 2^(15 - 3 - 5 + up), and the coefficients' fraction.
    const int down = 7 + up + (scaleFactor > 63 ? 63 : scaleFactor);
    Qol16s current[kBlock], next[kBlock];
    for (int k = 0; k < kPoints; ++k) {
        const Qol32s c = tables::wCosTbl[k], s = tables::wSinTbl[k];
        const Qol32s r = z.re[k] * c + z.im[k] * s, i = z.im[k] * c - z.re[k] * s;
        current[2 * k] = scaleNear<Qol16s>(r, down);
        current[kBlock - 1 - 2 * k] = scaleNear<Qol16s>(-r, down);
        next[2 * k] = next[kBlock - 1 - 2 * k] = scaleNear<Qol16s>(i, down);
    }
    for (int n = 0; n < kBlock; ++n) {
        const Qol32s v = current[n] * tables::G7291_TDAC_hTbl[n] +
                         pSrcDstMem[n] * tables::G7291_TDAC_hTbl[kBlock - 1 - n];
        const Qol32s limit = 0x20000000;
        pDst[n] = scaleNear<Qol16s>(v > limit ? limit : v < -limit ? -limit : v, 14);
    }
    std::memcpy(pSrcDstMem, next, sizeof(next));
    return qolStsNoErr;
}

QolStatus qolsMDCTPostProcess_G7291_16s(Qol16s* pSrcDst, const Qol16s* pSrcNorms,
                                        Qol32s numBands) noexcept {
    if (anyNull(pSrcDst) || anyNull(pSrcNorms)) {
        return qolStsNullPtrErr;
    }
    if (numBands < 1 || numBands > kBands) {
        return qolStsSizeErr;
    }
    Qol16s greatest = 0;
    qolsMax_16s(pSrcNorms, numBands, &greatest);
    if (greatest < 1) {
        return qolStsNoErr;
    }
    for (int j = 0; j < numBands; ++j) {
        const int norm = pSrcNorms[j] < 0 ? 0 : pSrcNorms[j];
        const Qol16s gain = saturate16(16384 + norm * 16384 / greatest); // Q15, 0.5 to 1
        for (int k = tables::G7291_TDAC_sb_boundTbl[j]; k < tables::G7291_TDAC_sb_boundTbl[j + 1];
             ++k) {
            pSrcDst[k] = basop::mult_r(pSrcDst[k], gain);
        }
    }
    return qolStsNoErr;
}

} // namespace qolsc
