// SPDX-License-Identifier: Apache-2.0
// Residual A(z) (ITU-T G.729 §3.2.3 end, TS 26.090 §5.6), one-tap harmonic filters, pre-emphasis.
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"

#include <algorithm>

namespace qolsc {

namespace {

/// One residual sample, the sum exact.
inline Qol16s residualSample(const Qol16s* a, int order, const Qol16s* x, int s) {
    Qol64s sum = 0;
    for (int k = 0; k <= order; ++k) {
        sum += Qol32s{a[k]} * x[-k];
    }
    return scaleNear<Qol16s>(sum, s);
}

/// Eight residual samples; the sum with its rounding fits 32 bits.
template <int Order>
inline void residual8(const simd::i128 (&taps)[Order / 2 + 1], const Qol16s* x, Qol16s* pDst,
                      simd::i128 half, simd::i128 shift) {
    using namespace simd;
    i128 low = half, high = half;
    for (int k = 0; k <= Order; k += 2) {
        // The last tap of an even order stands alone; its partner is 0, so any value inside the
        // source will do.
        const i128 x0 = load(x - k), x1 = k < Order ? load(x - k - 1) : x0;
        low = add32(low, maddPairs(taps[k / 2], _mm_unpacklo_epi16(x0, x1)));
        high = add32(high, maddPairs(taps[k / 2], _mm_unpackhi_epi16(x0, x1)));
    }
    store(pDst, packSat16(_mm_sra_epi32(low, shift), _mm_sra_epi32(high, shift)));
}

/// Even order, len of 8 or more.
template <int Order>
void residualFast(const Qol16s* a, const Qol16s* x, Qol16s* pDst, int len, int s) {
    using namespace simd;
    i128 taps[Order / 2 + 1];
    for (int k = 0; k < Order; k += 2) {
        taps[k / 2] = splatPair(a + k);
    }
    taps[Order / 2] = splat32(static_cast<Qol16u>(a[Order]));
    const i128 half = splat32(s > 0 ? 1 << (s - 1) : 0), shift = _mm_cvtsi32_si128(s);
    for (int n = 0; n + 8 <= len; n += 8) {
        residual8<Order>(taps, x + n, pDst + n, half, shift);
    }
    if (len & 7) {
        residual8<Order>(taps, x + len - 8, pDst + len - 8, half, shift);
    }
}

/// True when no sum of products with the taps, rounded, can leave 32 bits: 65535 * 32768 + 16384 is
/// below 2^31.
bool staysIn32(const Qol16s* a, int order) {
    int sum = 0;
    for (int k = 0; k <= order; ++k) {
        sum += a[k] < 0 ? -a[k] : a[k];
    }
    return sum <= 65535;
}

} // namespace

QolStatus qolsResidualFilter_Low_16s_Sfs(const Qol16s* pCoeffs, Qol32s order, const Qol16s* pSrc,
                                         Qol16s* pDst, Qol32s len, Qol32s scaleFactor) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (order < 1 || len < 1 || order > len) {
        return qolStsSizeErr;
    }
    if (scaleFactor < 0 || scaleFactor > 15) {
        return qolStsScaleRangeErr;
    }
    if ((order == 8 || order == 10 || order == 16) && staysIn32(pCoeffs, order)) {
        (order == 8    ? residualFast<8>
         : order == 10 ? residualFast<10>
                       : residualFast<16>)(pCoeffs, pSrc, pDst, len, scaleFactor);
        return qolStsNoErr;
    }
    for (int n = 0; n < len; ++n) {
        pDst[n] = residualSample(pCoeffs, order, pSrc + n, scaleFactor);
    }
    return qolStsNoErr;
}

QolStatus qolsHarmonicFilter_NR_16s(Qol16s val, Qol32s lag, const Qol16s* pSrc, Qol16s* pDst,
                                    Qol32s len) noexcept {
    using namespace simd;
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    // (32768 x + g y + 16384) >> 15 is x + ((g y + 16384) >> 15); with g of -32767 or more the
    // latter has 16 bits.
    const Qol16s gain = std::max<Qol16s>(val, -32767);
    const i128 g = splat16(gain);
    const Qol16s* past = pSrc - lag;
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        store(pDst + i, addSat16(load(pSrc + i), mulRound15(load(past + i), g)));
    }
    for (; i < len; ++i) {
        pDst[i] = basop::add(pSrc[i], basop::mult_r(past[i], gain));
    }
    return qolStsNoErr;
}

QolStatus qolsHarmonicFilter_16s_I(Qol16s val, Qol32s lag, Qol16s* pSrcDst, Qol32s len) noexcept {
    using namespace simd;
    if (anyNull(pSrcDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    const Qol16s* past = pSrcDst - lag;
    int i = 0;
    // From a lag of 8 on eight elements don't feed on each other.
    if (lag >= 8) {
        const i128 g = splat16(val);
        for (; i + 8 <= len; i += 8) {
            const i128 y = load(past + i);
            // Bits 15 to 30 of the product.
            const i128 gained = _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(y, g), 1),
                                             _mm_srli_epi16(_mm_mullo_epi16(y, g), 15));
            store(pSrcDst + i, _mm_add_epi16(load(pSrcDst + i), gained));
        }
    }
    for (; i < len; ++i) {
        pSrcDst[i] = wrap16(pSrcDst[i] + ((Qol32s{val} * past[i]) >> 15));
    }
    return qolStsNoErr;
}

QolStatus qolsHarmonicFilter_32f_I(Qol32s lag, Qol32f* pSrcDst, Qol32s len, Qol32f val) noexcept {
    using namespace simd;
    if (anyNull(pSrcDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    const Qol32f* past = pSrcDst - lag;
    int i = 0;
    if (lag >= 8) {
        const f256 g = splatf(val);
        for (; i + 8 <= len; i += 8) {
            storef(pSrcDst + i, addf(loadf(pSrcDst + i), mulf(g, loadf(past + i))));
        }
    }
    for (; i < len; ++i) {
        pSrcDst[i] += val * past[i];
    }
    return qolStsNoErr;
}

QolStatus qolsPreemphasize_32f_I(Qol32f val, Qol32f* pSrcDst, Qol32s len, Qol32f* pMem) noexcept {
    using namespace simd;
    if (anyNull(pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    // From the end to the beginning, so that every element still finds the input before it.
    const Qol32f last = pSrcDst[len - 1];
    const f256 v = splatf(val);
    int i = len;
    for (; i > 8; i -= 8) {
        storef(pSrcDst + i - 8, subf(loadf(pSrcDst + i - 8), mulf(v, loadf(pSrcDst + i - 9))));
    }
    for (--i; i > 0; --i) {
        pSrcDst[i] -= val * pSrcDst[i - 1];
    }
    pSrcDst[0] -= val * *pMem;
    *pMem = last;
    return qolStsNoErr;
}

} // namespace qolsc
