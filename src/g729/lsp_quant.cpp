// SPDX-License-Identifier: Apache-2.0
// The 18-bit LSF quantiser of G.729 and its decoder in fixed point (3.2.4, 4.1.1, 4.4.1, Annex E).
#include "g729/lsp_quant.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/helpers.h"
#include "vector/q15.h"
#include "vector/simd.h"

#include <algorithm>

namespace qolsc {

using namespace tables::g729;

namespace {

constexpr int kModes = 2;
constexpr int kRows1 = 128, kRows2 = 32;
constexpr int kHalf = kLpOrder / 2;
constexpr int kGap1 = 10, kGap2 = 5;          // 0.0012 and 0.0006, Q13
constexpr int kLowBound = 40, kSpacing = 321; // 0.005 and 0.0392, Q13
constexpr int kHighBound = 25681;             // 3.135, Q13

/// Indices of one predictor and its residual vector.
struct Choice {
    int l1, l2, l3;
};

/// A codebook by groups of four rows, two neighbouring elements of each in a vector; an odd last
/// element stands beside a zero.
template <int Rows, int Pairs>
struct alignas(16) PairedRows {
    Qol16s v[Rows / 4][Pairs][8];
};
template <int Pairs, int Rows>
constexpr auto pairRows(const Qol16s (&table)[Rows][kLpOrder], int from, int count) {
    PairedRows<Rows, Pairs> p{};
    for (int i = 0; i < Rows; ++i) {
        for (int j = 0; j < count; ++j) {
            p.v[i / 4][j / 2][2 * (i % 4) + j % 2] = table[i][from + j];
        }
    }
    return p;
}
constexpr int kPairs1 = 5, kPairs2 = 3;
constexpr auto kCode1 = pairRows<kPairs1>(LSPCode1, 0, kLpOrder);
constexpr auto kCode2Low = pairRows<kPairs2>(LSPCode2, 0, kHalf);
constexpr auto kCode2High = pairRows<kPairs2>(LSPCode2, kHalf, kHalf);

/// Elements from v[0] on as pairs in all four lanes.
template <int Pairs>
void splatPairs(const Qol16s* v, int count, simd::i128* pairs) {
    for (int k = 0; k < Pairs; ++k) {
        const Qol32u second = 2 * k + 1 < count ? static_cast<Qol16u>(v[2 * k + 1]) : Qol32u{0};
        pairs[k] = simd::splat32(static_cast<Qol32s>(static_cast<Qol16u>(v[2 * k]) | second << 16));
    }
}

/// Running minimum of four lanes with the number of the group that it came from.
struct LaneMinimum {
    simd::i128 least = simd::splat32(basop::MAX_32), group = simd::zero();
};
inline void offer(LaneMinimum& m, simd::i128 value, int group) {
    const simd::i128 less = _mm_cmpgt_epi32(m.least, value);
    m.least = _mm_blendv_epi8(m.least, value, less);
    m.group = _mm_blendv_epi8(m.group, simd::splat32(group), less);
}
/// Row with the least value, the first of equals.
int firstRow(const LaneMinimum& m) {
    alignas(16) Qol32s least[4], group[4];
    simd::store(least, m.least);
    simd::store(group, m.group);
    int best = 0;
    for (int lane = 1; lane < 4; ++lane) {
        const bool earlier = least[lane] == least[best] && group[lane] < group[best];
        best = least[lane] < least[best] || earlier ? lane : best;
    }
    return 4 * group[best] + best;
}

/// Row of the first stage with the least sum of squared differences, which are saturated; the first
/// one of equals.
int ownLspPreSelect(const Qol16s* e) {
    simd::i128 pairs[kPairs1];
    splatPairs<kPairs1>(e, kLpOrder, pairs);
    LaneMinimum m;
    for (int g = 0; g < kRows1 / 4; ++g) {
        simd::i128 sum = simd::zero();
        for (int k = 0; k < kPairs1; ++k) {
            const simd::i128 d = simd::subSat16(pairs[k], simd::load(kCode1.v[g][k]));
            sum = simd::add32(sum, simd::maddPairs(d, d));
        }
        offer(m, sum, g);
    }
    return firstRow(m);
}

/// Row of the second stage with the least weighted error over elements from..from + 4 of r.
int selectHalf(const Qol16s* r, const Qol16s* w, int from) {
    int best = 0;
    Qol32s least = basop::MAX_32;
    for (int i = 0; i < kRows2; ++i) {
        Qol32s sum = 0;
        for (int j = from; j < from + kHalf; ++j) {
            const Qol16s d = basop::sub(r[j], LSPCode2[i][j]);
            sum = basop::L_mac(sum, basop::mult(w[j], d), d);
        }
        if (sum < least) {
            least = sum;
            best = i;
        }
    }
    return best;
}

/// Residuals up to this magnitude, 1.2 radians, keep the sums of selectHalf within half of 32 bits:
/// five squares of 10000 and the largest element of the codebook.
constexpr int kSmallResidual = 10000;
constexpr int kLargestCode2 = [] {
    int most = 0;
    for (const auto& row : LSPCode2) {
        for (const Qol16s x : row) {
            most = std::max(most, x < 0 ? -x : +x);
        }
    }
    return most;
}();
static_assert(Qol64s{kHalf} * (kSmallResidual + kLargestCode2) * (kSmallResidual + kLargestCode2) <
              0x3FFFFFFF);

/// The same for small residuals, four rows at once; the sums are not doubled.
int selectHalfSmall(const Qol16s* r, const Qol16s* w, const PairedRows<kRows2, kPairs2>& code) {
    simd::i128 rPairs[kPairs2], wPairs[kPairs2];
    splatPairs<kPairs2>(r, kHalf, rPairs);
    splatPairs<kPairs2>(w, kHalf, wPairs);
    LaneMinimum m;
    for (int g = 0; g < kRows2 / 4; ++g) {
        simd::i128 sum = simd::zero();
        for (int k = 0; k < kPairs2; ++k) {
            const simd::i128 d = simd::subSat16(rPairs[k], simd::load(code.v[g][k]));
            sum = simd::add32(sum, simd::maddPairs(simd::mulQ15(wPairs[k], d), d));
        }
        offer(m, sum, g);
    }
    return firstRow(m);
}

void ownLspSelect2(const Qol16s* e, const Qol16s* w, Choice& c) {
    Qol16s r[kLpOrder];
    bool small = true;
    for (int j = 0; j < kLpOrder; ++j) {
        r[j] = basop::sub(e[j], LSPCode1[c.l1][j]);
        small = small && r[j] >= -kSmallResidual && r[j] <= kSmallResidual;
    }
    c.l2 = small ? selectHalfSmall(r, w, kCode2Low) : selectHalf(r, w, 0);
    c.l3 = small ? selectHalfSmall(r + kHalf, w + kHalf, kCode2High) : selectHalf(r, w, kHalf);
}

/// Sum of the code rows, expanded.
void buildResidual(const Choice& c, Qol16s* b) {
    for (int j = 0; j < kLpOrder; ++j) {
        b[j] = basop::add(LSPCode1[c.l1][j], LSPCode2[j < kHalf ? c.l2 : c.l3][j]);
    }
    ownLspExpand(b, kGap1);
    ownLspExpand(b, kGap2);
}

/// Weighted distance of the quantised residual b to e through the predictor's gain.
Qol32s ownLspGetTdist(const Qol16s* w, const Qol16s* b, const Qol16s* e, const Qol16s* fgSum) {
    Qol32s distance = 0;
    for (int j = 0; j < kLpOrder; ++j) {
        const Qol32s t = basop::mult(basop::sub(b[j], e[j]), fgSum[j]);
        Qol32s p = w[j] * t;
        p = p < -0x4000000 ? -0x4000000 : p > 0x3FFFFFF ? 0x3FFFFFF : p; // L_shl(.., 4) saturates
        distance = wrapAdd32(distance, wrapMul32(saturate16(p >> 11), t));
    }
    return distance;
}

/// Both predictors are tried; a tie goes to mode 0.
void quantise(const Qol16s* lsf, const Qol16s* prevFreq, Qol16s* idx) {
    Qol16s w[kLpOrder];
    ownGetWgt(lsf, w);
    Choice choice[kModes];
    Qol32s distance[kModes];
    for (int mode = 0; mode < kModes; ++mode) {
        Qol16s e[kLpOrder], b[kLpOrder];
        ownLspPrevExtract(lsf, fg[mode], fg_sum_inv[mode], prevFreq, e);
        choice[mode].l1 = ownLspPreSelect(e);
        ownLspSelect2(e, w, choice[mode]);
        buildResidual(choice[mode], b);
        distance[mode] = ownLspGetTdist(w, b, e, fg_sum[mode]);
    }
    const int mode = distance[1] >= distance[0] ? 0 : 1;
    idx[0] = static_cast<Qol16s>(mode);
    idx[1] = static_cast<Qol16s>(choice[mode].l1);
    idx[2] = static_cast<Qol16s>(choice[mode].l2);
    idx[3] = static_cast<Qol16s>(choice[mode].l3);
}

void packIndices(const Qol16s* idx, Qol16s* packed) {
    packed[0] = static_cast<Qol16s>(idx[0] << 7 | idx[1]);
    packed[1] = static_cast<Qol16s>(idx[2] << 5 | idx[3]);
}

/// Decodes without moving the history; b takes the new history row.
QolStatus _qolsLSFDecode_G729E_16s(const Qol16s* idx, const Qol16s* prevFreq, Qol16s* b,
                                   Qol16s* lsf) {
    buildResidual({idx[1] & (kRows1 - 1), idx[2] & (kRows2 - 1), idx[3] & (kRows2 - 1)}, b);
    predictLsf(b, fg[idx[0]], fg_sum[idx[0]], prevFreq, lsf);
    return stabiliseLsf(lsf);
}

} // namespace

void ownGetWgt(const Qol16s* lsf, Qol16s* w) {
    Qol16s largest = 0;
    for (int i = 0; i < kLpOrder; ++i) {
        const int d = i == 0              ? lsf[1] - 9221             // pi 0.04 + 1, Q13
                      : i == kLpOrder - 1 ? 15485 - lsf[kLpOrder - 2] // pi 0.92 - 1
                                          : lsf[i + 1] - lsf[i - 1] - 8192;
        const Qol16s s = saturate16(d);
        w[i] = 2048;
        if (s <= 0) {
            const Qol16s square = saturate16((s * s) >> 13);
            w[i] = basop::add(saturate16((square * 20480) >> 13), 2048); // 10 d^2 + 1, Q11
        }
        if (i == 4 || i == 5) {
            w[i] = saturate16((w[i] * 19661) >> 14); // 1.2
        }
        largest = w[i] > largest ? w[i] : largest;
    }
    const int n = basop::norm_s(largest);
    for (int i = 0; i < kLpOrder; ++i) {
        w[i] = basop::shl(w[i], n);
    }
}

void ownLspPrevExtract(const Qol16s* lsf, const Qol16s (*predictor)[kLpOrder],
                       const Qol16s* fgSumInv, const Qol16s* prevFreq, Qol16s* e) {
    for (int j = 0; j < kLpOrder; ++j) {
        Qol32s t = lsf[j] * 32768;
        for (int k = 0; k < kHistoryRows; ++k) {
            t = wrapSub32(t, predictor[k][j] * prevFreq[k * kLpOrder + j]);
        }
        e[j] = saturate16((Qol64s{t >> 15} * fgSumInv[j]) >> 12);
    }
}

void ownLspExpand(Qol16s* b, int gap) {
    for (int j = 1; j < kLpOrder; ++j) {
        const Qol16s m = wrap16((b[j - 1] - b[j] + gap) >> 1);
        if (m > 0) {
            b[j - 1] = wrap16(b[j - 1] - m);
            b[j] = wrap16(b[j] + m);
        }
    }
}

void predictLsf(const Qol16s* b, const Qol16s (*predictor)[kLpOrder], const Qol16s* fgSum,
                const Qol16s* prevFreq, Qol16s* lsf) {
    for (int j = 0; j < kLpOrder; ++j) {
        Qol32s t = fgSum[j] * b[j];
        for (int k = 0; k < kHistoryRows; ++k) {
            t = wrapAdd32(t, predictor[k][j] * prevFreq[k * kLpOrder + j]);
        }
        lsf[j] = wrap16(t >> 15);
    }
}

QolStatus stabiliseLsf(Qol16s* lsf) {
    orderOnce(lsf);
    bool low = false, high = false;
    if (lsf[0] < kLowBound) {
        lsf[0] = kLowBound;
        low = true;
    }
    for (int j = 1; j < kLpOrder; ++j) {
        if (lsf[j] - lsf[j - 1] < kSpacing) {
            lsf[j] = basop::add(lsf[j - 1], kSpacing);
        }
    }
    if (lsf[kLpOrder - 1] > kHighBound) {
        lsf[kLpOrder - 1] = kHighBound;
        high = true;
    }
    return low && high ? qolStsLsfBothBounds
           : low       ? qolStsLsfLowBound
           : high      ? qolStsLsfHighBound
                       : qolStsNoErr;
}

QolStatus qolsLSFQuant_G729_16s(const Qol16s* pSrcLsf, Qol16s* pPrevFreq, Qol16s* pDstQLsf,
                                Qol16s* pDstIdx) noexcept {
    if (anyNull(pSrcLsf, pPrevFreq, pDstQLsf, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    quantise(pSrcLsf, pPrevFreq, pDstIdx);
    return qolsc::qolsLSFDecode_G729_16s(pDstIdx, pPrevFreq, pDstQLsf);
}

QolStatus qolsLSPQuant_G729_16s(const Qol16s* pSrcLsp, Qol16s* pPrevFreq, Qol16s* pDstQLsp,
                                Qol16s* pDstIdx) noexcept {
    if (anyNull(pSrcLsp, pPrevFreq, pDstQLsp, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    Qol16s lsf[kLpOrder], idx[4];
    qolsc::qolsLSPToLSF_G729_16s(pSrcLsp, lsf);
    qolsc::qolsLSFQuant_G729_16s(lsf, pPrevFreq, lsf, idx);
    packIndices(idx, pDstIdx);
    return qolsc::qolsLSFToLSP_G729_16s(lsf, pDstQLsp);
}

QolStatus qolsLSPQuant_G729E_16s(const Qol16s* pSrcLsp, const Qol16s* pPrevFreq, Qol16s* pDstFreq,
                                 Qol16s* pDstQLsp, Qol16s* pDstIdx) noexcept {
    if (anyNull(pSrcLsp, pPrevFreq, pDstFreq, pDstQLsp, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    Qol16s lsf[kLpOrder], idx[4];
    qolsc::qolsLSPToLSF_G729_16s(pSrcLsp, lsf);
    quantise(lsf, pPrevFreq, idx);
    packIndices(idx, pDstIdx);
    _qolsLSFDecode_G729E_16s(idx, pPrevFreq, pDstFreq, lsf);
    return qolsc::qolsLSFToLSP_G729_16s(lsf, pDstQLsp);
}

QolStatus qolsLSFDecode_G729_16s(const Qol16s* pIdx, Qol16s* pPrevFreq, Qol16s* pDstQLsf) noexcept {
    if (anyNull(pIdx, pPrevFreq, pDstQLsf)) {
        return qolStsNullPtrErr;
    }
    if (pIdx[0] < 0 || pIdx[0] >= kModes) {
        return qolStsOutOfRangeErr;
    }
    Qol16s b[kLpOrder];
    const QolStatus status = _qolsLSFDecode_G729E_16s(pIdx, pPrevFreq, b, pDstQLsf);
    pushHistory(pPrevFreq, b);
    return status;
}

QolStatus qolsLSFDecodeErased_G729_16s(int maIdx, Qol16s* pPrevFreq,
                                       const Qol16s* pSrcPrevLsf) noexcept {
    if (anyNull(pPrevFreq, pSrcPrevLsf)) {
        return qolStsNullPtrErr;
    }
    if (maIdx < 0 || maIdx >= kModes) {
        return qolStsOutOfRangeErr;
    }
    Qol16s e[kLpOrder];
    ownLspPrevExtract(pSrcPrevLsf, fg[maIdx], fg_sum_inv[maIdx], pPrevFreq, e);
    pushHistory(pPrevFreq, e);
    return qolStsNoErr;
}

} // namespace qolsc
