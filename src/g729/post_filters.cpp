// SPDX-License-Identifier: Apache-2.0
// Pole-zero, residual and synthesis filters of ITU-T G.729 (§3.3, §4.1.6, §4.2) and of its Annex E,
// whose backward mode has order 30.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/rules.h"

#include <array>

namespace qolsc {
namespace {

using g729::kCoeffs;
using g729::kOrder;
using g729::kSubframe;

/// Sum of the pole-zero filter, wrapping; x and y point at the current sample.
Qol32s iirSum(const Qol16s* b, const Qol16s* a, const Qol16s* x, const Qol16s* y) {
    Qol32u s = 0;
    for (int i = 0; i <= kOrder; ++i) {
        s += static_cast<Qol32u>(Qol32s{b[i]} * x[-i]);
    }
    for (int i = 1; i <= kOrder; ++i) {
        s -= static_cast<Qol32u>(Qol32s{a[i]} * y[-i]);
    }
    return static_cast<Qol32s>(s);
}

/// WrapRound: the rounding term is part of the wrapping sum.
template <bool WrapRound>
void iir(const Qol16s* coeffs, const Qol16s* src, Qol16s* dst, Qol16s* mem) {
    Qol16s x[kOrder + kSubframe], y[kOrder + kSubframe];
    std::memcpy(x, mem, kOrder * sizeof(*x));
    std::memcpy(y, mem + kOrder, kOrder * sizeof(*y));
    std::memcpy(x + kOrder, src, kSubframe * sizeof(*x));
    for (int n = kOrder; n < kOrder + kSubframe; ++n) {
        const Qol32s s = iirSum(coeffs, coeffs + kCoeffs, x + n, y + n);
        y[n] = WrapRound ? saturate16(wrapAdd32(s, 0x800) >> 12) : saturate16(((s >> 11) + 1) >> 1);
    }
    std::memcpy(dst, y + kOrder, kSubframe * sizeof(*dst));
    std::memcpy(mem, x + kSubframe, kOrder * sizeof(*mem));
    std::memcpy(mem + kOrder, y + kSubframe, kOrder * sizeof(*mem));
}

/// Plain form: the past outputs lie in front of dst's place in y, which has order + len elements.
void synthesize(const Qol16s* a, int order, const Qol16s* src, Qol16s* dst, int len,
                const Qol16s* mem) {
    for (int n = 0; n < len; ++n) {
        Qol64s s = Qol64s{a[0]} * src[n] + 0x800;
        const int fromDst = n < order ? n : order;
        for (int i = 1; i <= fromDst; ++i) {
            s -= Qol32s{a[i]} * dst[n - i];
        }
        for (int i = fromDst + 1; i <= order; ++i) {
            s -= Qol32s{a[i]} * mem[order + n - i];
        }
        dst[n] = saturate16(s >> 12);
    }
}

constexpr int kMaxOrder30 = 30;

/// Up to order 30 and 4 samples at a time. Each block first takes what the outputs of earlier
/// blocks add to its four sums, by pairs of products; the four samples inside then follow one
/// another. Needs the sum of |a| below 65536, so that no 32-bit sum can leave its range.
void synthesizeBlocks_upTo30(const Qol16s* a, int order, const Qol16s* src, Qol16s* dst, int len,
                             const Qol16s* mem) {
    constexpr int kTaps = 32; // coefficients a[1..order] in the order of time, zeros in front
    alignas(16) Qol16s taps[kTaps + 4 + 4] = {};
    for (int i = 1; i <= order; ++i) {
        taps[4 + kTaps - i] = static_cast<Qol16s>(-a[i]);
    }
    // y: history of 32, then up to 4 new samples at its end.
    alignas(16) Qol16s y[kTaps + 4] = {};
    std::memcpy(y + kTaps - order, mem, static_cast<std::size_t>(order) * sizeof(*y));
    int n = 0;
    for (; n + 4 <= len; n += 4) {
        simd::i128 s0 = simd::zero(), s1 = s0, s2 = s0, s3 = s0;
        for (int k = 0; k < kTaps; k += 8) {
            const simd::i128 past = simd::load(y + k);
            // Row j sees the history j samples further back: its taps are shifted by j places.
            s0 = simd::add32(s0, simd::maddPairs(past, simd::load(taps + 4 + k)));
            s1 = simd::add32(s1, simd::maddPairs(past, simd::load(taps + 3 + k)));
            s2 = simd::add32(s2, simd::maddPairs(past, simd::load(taps + 2 + k)));
            s3 = simd::add32(s3, simd::maddPairs(past, simd::load(taps + 1 + k)));
        }
        const Qol32s a1 = taps[3 + kTaps], a2 = taps[2 + kTaps], a3 = taps[1 + kTaps];
        const Qol32s x0 = a[0] * src[n], x1 = a[0] * src[n + 1], x2 = a[0] * src[n + 2],
                     x3 = a[0] * src[n + 3];
        const Qol16s y0 = saturate16((simd::sum32(s0) + x0 + 0x800) >> 12);
        const Qol16s y1 = saturate16((simd::sum32(s1) + x1 + 0x800 + a1 * y0) >> 12);
        const Qol16s y2 = saturate16((simd::sum32(s2) + x2 + 0x800 + a2 * y0 + a1 * y1) >> 12);
        const Qol16s y3 =
            saturate16((simd::sum32(s3) + x3 + 0x800 + a3 * y0 + a2 * y1 + a1 * y2) >> 12);
        dst[n] = y0;
        dst[n + 1] = y1;
        dst[n + 2] = y2;
        dst[n + 3] = y3;
        std::memcpy(y + kTaps, dst + n, 4 * sizeof(*y));
        std::memmove(y, y + 4, kTaps * sizeof(*y));
    }
    if (n < len) {
        synthesize(a, order, src + n, dst + n, len - n, y + kTaps - order);
    }
}

QolStatus synthesizeChecked(const Qol16s* a, int order, const Qol16s* src, Qol16s* dst, int len,
                            const Qol16s* mem) {
    if (order < 1 || len < 1) {
        return qolStsBadArgErr;
    }
    Qol32s magnitude = 0;
    bool fits = order <= kMaxOrder30;
    for (int i = 0; fits && i <= order; ++i) {
        magnitude += a[i] < 0 ? -Qol32s{a[i]} : a[i];
        fits = a[i] != -32768; // its negation is no 16-bit word
    }
    if (fits && magnitude < 65536) {
        synthesizeBlocks_upTo30(a, order, src, dst, len, mem);
    } else {
        synthesize(a, order, src, dst, len, mem);
    }
    return qolStsNoErr;
}

constexpr int kMaxOrderFloat = 30, kMaxLenFloat = 640;

/// y holds order past outputs in front of its place for len outputs.
void synthesizeFloat(const Qol32f* a, int order, const Qol32f* src, Qol32f* y, int len) {
    for (int n = 0; n < len; ++n) {
        Qol32f s = a[0] * src[n];
        for (int i = order; i >= 1; --i) {
            s -= a[i] * y[n - i];
        }
        y[n] = s;
    }
}

} // namespace

QolStatus qolsIIR16s_G729_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst,
                              Qol16s* pMem) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    iir<false>(pCoeffs, pSrc, pDst, pMem);
    return qolStsNoErr;
}

QolStatus qolsIIR16sLow_G729_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst,
                                 Qol16s* pMem) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    iir<true>(pCoeffs, pSrc, pDst, pMem);
    return qolStsNoErr;
}

QolStatus qolsResidualFilter_G729_16s(const Qol16s* pSrc, const Qol16s* pCoeffs,
                                      Qol16s* pDst) noexcept {
    return qolsc::qolsResidualFilter_Low_16s_Sfs(pCoeffs, kOrder, pSrc, pDst, kSubframe, 12);
}

QolStatus qolsResidualFilter_G729E_16s(const Qol16s* pCoeffs, int order, const Qol16s* pSrc,
                                       Qol16s* pDst, int len) noexcept {
    const QolStatus status =
        qolsc::qolsResidualFilter_Low_16s_Sfs(pCoeffs, order, pSrc, pDst, len, 12);
    return status == qolStsSizeErr ? qolStsBadArgErr : status;
}

QolStatus qolsSynthesisFilter_G729E_16s(const Qol16s* pCoeffs, int order, const Qol16s* pSrc,
                                        Qol16s* pDst, int len, const Qol16s* pMem) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    return synthesizeChecked(pCoeffs, order, pSrc, pDst, len, pMem);
}

QolStatus qolsSynthesisFilter_G729E_16s_I(const Qol16s* pCoeffs, int order, Qol16s* pSrcDst,
                                          int len, const Qol16s* pMem) noexcept {
    if (anyNull(pCoeffs, pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    return synthesizeChecked(pCoeffs, order, pSrcDst, pSrcDst, len, pMem);
}

QolStatus qolsSynthesisFilter_G729_32f(const Qol32f* pCoeffs, int order, const Qol32f* pSrc,
                                       Qol32f* pDst, int len, Qol32f* pMem) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len > kMaxLenFloat || order < 1 || order > kMaxOrderFloat) {
        return qolStsBadArgErr;
    }
    Qol32f y[kMaxOrderFloat + kMaxLenFloat];
    const auto bytes = [](int count) { return static_cast<std::size_t>(count) * sizeof(Qol32f); };
    std::memcpy(y, pMem, bytes(order));
    synthesizeFloat(pCoeffs, order, pSrc, y + order, len);
    std::memcpy(pDst, y + order, bytes(len));
    std::memcpy(pMem, y + len, bytes(order));
    return qolStsNoErr;
}

} // namespace qolsc
