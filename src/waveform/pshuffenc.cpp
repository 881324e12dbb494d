// SPDX-License-Identifier: Apache-2.0
// Scalar quantiser and vector Huffman coder of one G.722.1 region (ITU-T G.722.1 clause 3.5).
#include "waveform/pshuffenc.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/rules.h"
#include "tables/g7221.h"
#include "vector/simd.h"

namespace qolsc {

namespace {

constexpr const Qol16u* kCodes[] = {
    tables::cnstMltSqvhCodeCtg0_G722, tables::cnstMltSqvhCodeCtg1_G722,
    tables::cnstMltSqvhCodeCtg2_G722, tables::cnstMltSqvhCodeCtg3_G722,
    tables::cnstMltSqvhCodeCtg4_G722, tables::cnstMltSqvhCodeCtg5_G722,
    tables::cnstMltSqvhCodeCtg6_G722};
constexpr const Qol16s* kLengths[] = {
    tables::cnstMltSqvhBitcountCtg0_G722, tables::cnstMltSqvhBitcountCtg1_G722,
    tables::cnstMltSqvhBitcountCtg2_G722, tables::cnstMltSqvhBitcountCtg3_G722,
    tables::cnstMltSqvhBitcountCtg4_G722, tables::cnstMltSqvhBitcountCtg5_G722,
    tables::cnstMltSqvhBitcountCtg6_G722};

/// Bits waiting for a full word, in the low end; fewer than 32 between codes.
struct Packer {
    Qol32u* pNext;
    Qol64u bits;
    int waiting;
    int total;
};
void put(Packer& p, Qol32u code, int count) {
    p.bits = p.bits << count | code;
    p.waiting += count;
    p.total += count;
    if (p.waiting >= 32) {
        p.waiting -= 32;
        *p.pNext++ = static_cast<Qol32u>(p.bits >> p.waiting);
    }
}
void finish(Packer& p) {
    if (p.waiting > 0) {
        *p.pNext = static_cast<Qol32u>(p.bits << (32 - p.waiting));
    }
}

/// Codes the region's N vectors of D bins: the vector index is the bins' number in base max + 1,
/// and a sign bit follows for each bin that isn't 0.
template <int D, int N>
int codeVectors(const Qol16s* pSrc, const Qol16s* pBins, int category, Qol32u* pCode) {
    const int base = tables::cnstMaxBin_G722[category] + 1;
    Packer packer{pCode, 0, 0, 0};
    for (int v = 0; v < D * N; v += D) {
        int index = 0, signs = 0;
        Qol32u signBits = 0;
        for (int i = v; i < v + D; ++i) {
            const int used = pBins[i] != 0 ? 1 : 0;
            index = index * base + pBins[i];
            signBits = signBits << used | static_cast<Qol32u>(used & (pSrc[i] > 0 ? 1 : 0));
            signs += used;
        }
        put(packer, static_cast<Qol32u>(kCodes[category][index]) << signs | signBits,
            kLengths[category][index] + signs);
    }
    finish(packer);
    return packer.total;
}

} // namespace

HuffmanStep huffmanStep(int category, int rmsIndex) {
    const Qol32s s =
        tables::cnstStdDeviationInv_G722[rmsIndex] * tables::cnstStepSizeInv_G722[category] + 4096;
    return {static_cast<Qol16s>(s >> 13 & 3), static_cast<Qol16s>(s >> 15),
            tables::cnstIntDeadZone_G722_low_bits[category],
            tables::cnstIntDeadZone_G722[category]};
}

Qol16s ownPreHuffman_16s(Qol16s x, const HuffmanStep& step) {
    const Qol32s a = saturate16(x < 0 ? -x : x);
    return saturate16((((a * step.lo + step.offsetLo) >> 2) + a * step.hi + step.offset) >> 13);
}

void quantiseRegion(const Qol16s* pSrc, const HuffmanStep& step, int maxBin, Qol16s* pBins) {
    using namespace simd;
    // Pairs (a, 1) against (factor, offset): product and offset in one instruction. No overflow:
    // hi is below 2^14.5, a below 2^15.
    const i128 lo = _mm_set1_epi32(step.offsetLo * 65536 | step.lo);
    const i128 hi = _mm_set1_epi32(step.offset * 65536 | step.hi);
    const i128 one = splat16(1), top = splat16(static_cast<Qol16s>(maxBin));
    for (int i = 0; i < kRegion; i += 4) {
        // subSat turns -32768 into 32767 where pabsw would leave it.
        const i128 x = loadLow64(pSrc + i);
        const i128 a = _mm_unpacklo_epi16(_mm_max_epi16(x, subSat16(zero(), x)), one);
        const i128 q =
            _mm_srai_epi32(add32(_mm_srai_epi32(maddPairs(a, lo), 2), maddPairs(a, hi)), 13);
        storeLow64(pBins + i, _mm_min_epi16(packSat16(q, q), top));
    }
}

QolStatus qolsHuffmanEncode_G722_16s32u(Qol32s category, Qol32s rmsIndex, const Qol16s* pSrc,
                                        Qol32u* pCode, Qol32s* pBitCount) noexcept {
    if (anyNull(pSrc) || anyNull(pCode) || anyNull(pBitCount)) {
        return qolStsNullPtrErr;
    }
    if (category < 0 || category > 6 || rmsIndex < 0 || rmsIndex > 63) {
        return qolStsScaleRangeErr;
    }
    Qol16s bins[kRegion];
    quantiseRegion(pSrc, huffmanStep(category, rmsIndex), tables::cnstMaxBin_G722[category], bins);
    switch (tables::cnstVecDimentions_G722[category]) {
    case 2:
        *pBitCount = codeVectors<2, 10>(pSrc, bins, category, pCode);
        break;
    case 4:
        *pBitCount = codeVectors<4, 5>(pSrc, bins, category, pCode);
        break;
    default:
        *pBitCount = codeVectors<5, 4>(pSrc, bins, category, pCode);
    }
    return qolStsNoErr;
}

} // namespace qolsc
