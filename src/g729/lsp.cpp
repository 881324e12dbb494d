// SPDX-License-Identifier: Apache-2.0
// Conversions between LPC, LSP and LSF of G.729 in fixed point, and interpolation (3.2.3 to 3.2.6).
#include "common/lp_kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/helpers.h"
#include "tables/lp.h"

namespace qolsc {

namespace {

constexpr int kHalf = kLpOrder / 2;
constexpr Qol32s kOne_Q24 = 0x1000000;

QolStatus lpcToLsp(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp, Qol16s* pDstLsp, int gridSize,
                   int bisections, LspGrid grid) {
    if (anyNull(pSrcLpc, pSrcPrevLsp, pDstLsp)) {
        return qolStsNullPtrErr;
    }
    Qol16s lsp[kLpOrder];
    const bool found =
        ownLPCToLSP_G729_16s(gridSize, bisections, grid, pSrcLpc, lsp, 12) == kLpOrder;
    for (int i = 0; i < kLpOrder; ++i) {
        pDstLsp[i] = found ? lsp[i] : pSrcPrevLsp[i];
    }
    return qolStsNoErr;
}

/// Doubled double-precision product of f (Q24) and x (Q15); wraps.
Qol32s twiceProduct(Qol32s f, Qol16s x) {
    return wrap32(4 * (Qol64s{f >> 16} * x + (((f >> 1 & 0x7FFF) * x) >> 15)));
}

/// Product of (1 - 2 x z^-1 + z^-2) over every second LSP, Q24, up to the middle term.
void ownGetLSPPol_G729(const Qol16s* lsp, Qol32s* f) {
    f[0] = kOne_Q24;
    f[1] = -Qol32s{lsp[0]} * 1024;
    for (int i = 2; i <= kHalf; ++i) {
        const Qol16s x = lsp[2 * (i - 1)];
        f[i] = f[i - 2];
        for (int k = i; k > 1; --k) {
            f[k] = wrap32(Qol64s{f[k]} - twiceProduct(f[k - 1], x) + f[k - 2]);
        }
        f[1] = wrapSub32(f[1], Qol32s{x} * 1024);
    }
}

void ownCalcLPCFromPol_G729(const Qol32s* f1, const Qol32s* f2, Qol16s* a) {
    a[0] = 4096;
    for (int i = 1; i <= kHalf; ++i) {
        const Qol64s g1 = wrapAdd32(f1[i], f1[i - 1]), g2 = wrapSub32(f2[i], f2[i - 1]);
        a[i] = scaleNear<Qol16s>(g1 + g2, 13);
        a[kLpOrder + 1 - i] = scaleNear<Qol16s>(g1 - g2, 13);
    }
}

/// Calls put(i, index, lsp - cos15[index]) for each LSP from the last to the first; the index only
/// falls, since the input descends.
template <typename Put>
void forEachInterval(const Qol16s* lsp, Put put) {
    int index = 63;
    for (int i = kLpOrder - 1; i >= 0; --i) {
        while (index > 0 && tables::cos15[index] < lsp[i]) {
            --index;
        }
        put(i, index, lsp[i] - tables::cos15[index]);
    }
}

int clipShift(int scaleFactor) { return scaleFactor > 31 ? 31 : scaleFactor; }

/// Each element of the result from one of each source: combine(x1, x2, shift).
template <typename Combine>
QolStatus interpolate(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst, int len,
                      int scaleFactor, Combine combine) {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (scaleFactor < 0) {
        return qolStsScaleRangeErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    const int s = clipShift(scaleFactor);
    for (int i = 0; i < len; ++i) {
        pDst[i] = combine(pSrc1[i], pSrc2[i], s);
    }
    return qolStsNoErr;
}

} // namespace

QolStatus qolsLPCToLSP_G729_16s(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp,
                                Qol16s* pDstLsp) noexcept {
    return lpcToLsp(pSrcLpc, pSrcPrevLsp, pDstLsp, 60, 4, lspGrid60);
}

QolStatus qolsLPCToLSP_G729A_16s(const Qol16s* pSrcLpc, const Qol16s* pSrcPrevLsp,
                                 Qol16s* pDstLsp) noexcept {
    return lpcToLsp(pSrcLpc, pSrcPrevLsp, pDstLsp, 50, 2, lspGrid50);
}

QolStatus qolsLSPToLPC_G729_16s(const Qol16s* pSrcLsp, Qol16s* pDstLpc) noexcept {
    if (anyNull(pSrcLsp, pDstLpc)) {
        return qolStsNullPtrErr;
    }
    Qol32s f1[kHalf + 1], f2[kHalf + 1];
    ownGetLSPPol_G729(pSrcLsp, f1);
    ownGetLSPPol_G729(pSrcLsp + 1, f2);
    ownCalcLPCFromPol_G729(f1, f2, pDstLpc);
    return qolStsNoErr;
}

QolStatus qolsLSFToLSP_G729_16s(const Qol16s* pSrcLsf, Qol16s* pDstLsp) noexcept {
    if (anyNull(pSrcLsf, pDstLsp)) {
        return qolStsNullPtrErr;
    }
    Qol16s freq[kLpOrder];
    for (int i = 0; i < kLpOrder; ++i) {
        freq[i] = static_cast<Qol16s>((pSrcLsf[i] * 20861) >> 15); // 2/pi in Q15, Q13 to Q15
    }
    return ownLSFToLSP_16s(freq, pDstLsp, tables::slope_cos, 12);
}

QolStatus qolsLSPToLSF_G729_16s(const Qol16s* pSrcLsp, Qol16s* pDstLsf) noexcept {
    if (anyNull(pSrcLsp, pDstLsf)) {
        return qolStsNullPtrErr;
    }
    forEachInterval(pSrcLsp, [pDstLsf](int i, int index, int offset) {
        const Qol16s freq = wrap16((index << 9) + ((offset * tables::acos12[index]) >> 11));
        pDstLsf[i] = static_cast<Qol16s>((freq * 3217) >> 12); // pi/4 in Q12
    });
    return qolStsNoErr;
}

QolStatus qolsLSPToLSF_Norm_G729_16s(const Qol16s* pSrcLsp, Qol16s* pDstLsf) noexcept {
    if (anyNull(pSrcLsp, pDstLsf)) {
        return qolStsNullPtrErr;
    }
    forEachInterval(pSrcLsp, [pDstLsf](int i, int index, int offset) {
        pDstLsf[i] = wrap16((index << 8) + ((offset * tables::acos12[index] + 2048) >> 12));
    });
    return qolStsNoErr;
}

QolStatus qolsInterpolate_G729_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol16s* pDst,
                                   int len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    for (int i = 0; i < len; ++i) {
        pDst[i] = static_cast<Qol16s>((pSrc1[i] >> 1) + (pSrc2[i] >> 1));
    }
    return qolStsNoErr;
}

QolStatus qolsInterpolateC_G729_16s_Sfs(const Qol16s* pSrc1, Qol16s val1, const Qol16s* pSrc2,
                                        Qol16s val2, Qol16s* pDst, int len,
                                        int scaleFactor) noexcept {
    return interpolate(pSrc1, pSrc2, pDst, len, scaleFactor, [=](Qol16s x1, Qol16s x2, int s) {
        return saturate16(Qol64s{(x1 * val1) >> s} + ((x2 * val2) >> s));
    });
}

QolStatus qolsInterpolateC_NR_G729_16s_Sfs(const Qol16s* pSrc1, Qol16s val1, const Qol16s* pSrc2,
                                           Qol16s val2, Qol16s* pDst, int len,
                                           int scaleFactor) noexcept {
    return interpolate(pSrc1, pSrc2, pDst, len, scaleFactor, [=](Qol16s x1, Qol16s x2, int s) {
        return scaleNear<Qol16s>(Qol64s{x1} * val1 + Qol64s{x2} * val2, s);
    });
}

} // namespace qolsc
