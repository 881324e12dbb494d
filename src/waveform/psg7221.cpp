// SPDX-License-Identifier: Apache-2.0
// G.722.1 modulated lapped transform: windowing and folding, and the entries of the DCT (ITU-T
// G.722.1 clauses 3.1 and 4.6, Annex C).
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/g7221.h"
#include "vector/simd.h"
#include "waveform/g7221dct.h"

#include <cstring>

namespace qolsc {

namespace {

using simd::i128;

constexpr bool validLength(Qol32s len) { return len == kDctShort || len == kDctLong; }

i128 reverse8(i128 v) {
    return _mm_shuffle_epi8(v, _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
}

/// pDst[i] = (w[2i] * the element i + 1 in front of pFallingEnd + w[2i+1] * pRising[i]), rounded,
/// shifted right by Shift, saturated. The weights stay below 2^14.2, so 32 bits hold the sums.
template <int Shift>
void weighHalf(const Qol16s* pFallingEnd, const Qol16s* pRising, const Qol16s* pWeights,
               Qol16s* pDst, int count) {
    const i128 half = simd::splat32(1 << (Shift - 1));
    for (int i = 0; i < count; i += 8) {
        const i128 falling = reverse8(simd::load(pFallingEnd - i - 8));
        const i128 rising = simd::load(pRising + i);
        const i128 a =
            simd::maddPairs(_mm_unpacklo_epi16(falling, rising), simd::load(pWeights + 2 * i));
        const i128 b =
            simd::maddPairs(_mm_unpackhi_epi16(falling, rising), simd::load(pWeights + 2 * i + 8));
        simd::store(pDst + i, simd::packSat16(_mm_srai_epi32(simd::add32(a, half), Shift),
                                              _mm_srai_epi32(simd::add32(b, half), Shift)));
    }
}

/// First half from the previous frame, second from the new one, both folded about their middle.
void fold(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst, int len) {
    const Qol16s* w =
        len == kDctShort ? tables::cnstSamples2MLT_G722_7kHz : tables::cnstSamples2MLT_G722_14kHz;
    const int h = len / 2;
    weighHalf<15>(pMem + h, pMem + h, w, pDst, h);
    weighHalf<15>(pSrc + len, pSrc, w + len, pDst + h, h);
    std::memcpy(pMem, pSrc, static_cast<std::size_t>(len) * sizeof(Qol16s));
}

/// Overlap-add. The DCT's gain leaves the window's products two bits lower than in the analysis.
void unfold(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst, int len) {
    const Qol16s* w =
        len == kDctShort ? tables::cnstMLT2Samples_G722_7kHz : tables::cnstMLT2Samples_G722_14kHz;
    const int h = len / 2;
    weighHalf<13>(pSrc + h, pMem, w, pDst, h);
    weighHalf<13>(pMem + h, pSrc, w + len, pDst + h, h);
    std::memcpy(pMem, pSrc + h, static_cast<std::size_t>(h) * sizeof(Qol16s));
}

} // namespace

QolStatus qolsDecomposeMLTToDCT_G7221_16s(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst,
                                          Qol32s len) noexcept {
    if (anyNull(pSrc, pMem, pDst)) {
        return qolStsNullPtrErr;
    }
    if (!validLength(len)) {
        return qolStsSizeErr;
    }
    fold(pSrc, pMem, pDst, len);
    return qolStsNoErr;
}

QolStatus qolsDecomposeMLTToDCT_G722_16s(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst) noexcept {
    return qolsc::qolsDecomposeMLTToDCT_G7221_16s(pSrc, pMem, pDst, kDctShort);
}

QolStatus qolsDCTFwd_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (!validLength(len)) {
        return qolStsSizeErr;
    }
    ownDCTFwd_G7221_16s(pSrc, pDst, len);
    return qolStsNoErr;
}

QolStatus qolsDCTFwd_G722_16s(const Qol16s* pSrc, Qol16s* pDst) noexcept {
    return qolsc::qolsDCTFwd_G7221_16s(pSrc, pDst, kDctShort);
}

QolStatus qolsDCTInv_G7221_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (!validLength(len)) {
        return qolStsSizeErr;
    }
    ownDCTInv_G7221_16s(pSrc, pDst, len);
    return qolStsNoErr;
}

QolStatus qolsDCTInv_G722_16s(const Qol16s* pSrc, Qol16s* pDst) noexcept {
    return qolsc::qolsDCTInv_G7221_16s(pSrc, pDst, kDctShort);
}

QolStatus qolsDecomposeDCTToMLT_G7221_16s(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst,
                                          Qol32s len) noexcept {
    if (anyNull(pSrc, pMem, pDst)) {
        return qolStsNullPtrErr;
    }
    if (!validLength(len)) {
        return qolStsSizeErr;
    }
    unfold(pSrc, pMem, pDst, len);
    return qolStsNoErr;
}

QolStatus qolsDecomposeDCTToMLT_G722_16s(const Qol16s* pSrc, Qol16s* pMem, Qol16s* pDst) noexcept {
    return qolsc::qolsDecomposeDCTToMLT_G7221_16s(pSrc, pMem, pDst, kDctShort);
}

} // namespace qolsc
