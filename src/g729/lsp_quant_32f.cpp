// SPDX-License-Identifier: Apache-2.0
// The 18-bit LSF quantiser of G.729 and its decoder in floating point (3.2.4, 4.1.1, 4.4.1, Annexes
// C, C+).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/lsp_quant.h"
#include "vector/simd.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qolsc {

using namespace tables::g729;

namespace {

constexpr int kModes = 2;
constexpr int kRows1 = 128, kRows2 = 32;
constexpr int kHalf = kLpOrder / 2;
constexpr Qol32f kGap1 = 0.0012F, kGap2 = 0.0006F;
constexpr Qol32f kLowBound = 0.005F, kSpacing = 0.0392F, kHighBound = 3.135F;

/// The first stage by coefficient, so that a vector holds one coefficient of eight rows.
struct alignas(32) Planes {
    Qol32f plane[kLpOrder][kRows1];
};
constexpr Planes kPlanes = [] {
    Planes p{};
    for (int i = 0; i < kRows1; ++i) {
        for (int j = 0; j < kLpOrder; ++j) {
            p.plane[j][i] = lspcb1[i][j];
        }
    }
    return p;
}();

/// Row with the least sum of squares, coefficient by coefficient in rising order; the first of
/// equals.
int _qolsLSPSelect1stStage_G729_32f(const Qol32f* e) {
    alignas(32) Qol32f sums[kRows1];
    for (int i = 0; i < kRows1; i += 8) {
        simd::f256 sum = simd::zerof();
        for (int j = 0; j < kLpOrder; ++j) {
            const simd::f256 d = simd::subf(simd::splatf(e[j]), simd::loadf(kPlanes.plane[j] + i));
            sum = simd::addf(sum, simd::mulf(d, d));
        }
        simd::storef(sums + i, sum);
    }
    return static_cast<int>(std::min_element(sums, sums + kRows1) - sums);
}

int _qolsLSPSelect2ndStage_G729_32f(const Qol32f* r, const Qol32f* w, int from) {
    int best = 0;
    Qol32f least = std::numeric_limits<Qol32f>::max();
    for (int i = 0; i < kRows2; ++i) {
        Qol32f sum = 0;
        for (int j = from; j < from + kHalf; ++j) {
            const Qol32f d = r[j] - lspcb2[i][j];
            sum += w[j] * d * d;
        }
        if (sum < least) {
            least = sum;
            best = i;
        }
    }
    return best;
}

/// Sum of the code rows, expanded. An L1 outside the codebook, or an L2 or L3 beyond the row behind
/// its last, is refused and b stays; that row is zero.
QolStatus _qolsBuildQuantLSPVector_G729_32f(const Qol32s* idx, Qol32f* b) {
    if (idx[1] < 0 || idx[1] >= kRows1 || idx[2] < 0 || idx[2] > kRows2 || idx[3] < 0 ||
        idx[3] > kRows2) {
        return qolStsRangeErr;
    }
    for (int j = 0; j < kLpOrder; ++j) {
        const int row = j < kHalf ? idx[2] : idx[3];
        b[j] = lspcb1[idx[1]][j] + (row < kRows2 ? lspcb2[row][j] : 0.0F);
    }
    LspExpand(b, kGap1);
    LspExpand(b, kGap2);
    return qolStsNoErr;
}

/// Indices of the better predictor; a tie goes to mode 0.
void quantise(const Qol32f* lsf, const Qol32f* prevFreq, Qol32s* idx) {
    Qol32f w[kLpOrder], distance[kModes];
    Qol32s choice[kModes][4];
    ownGetWgt_32f(lsf, w);
    for (int mode = 0; mode < kModes; ++mode) {
        Qol32f e[kLpOrder], r[kLpOrder], b[kLpOrder];
        ownLspPrevExtract_32f(lsf, fg_32f[mode], fg_sum_inv_32f[mode], prevFreq, e);
        choice[mode][0] = mode;
        choice[mode][1] = _qolsLSPSelect1stStage_G729_32f(e);
        for (int j = 0; j < kLpOrder; ++j) {
            r[j] = e[j] - lspcb1[choice[mode][1]][j];
        }
        choice[mode][2] = _qolsLSPSelect2ndStage_G729_32f(r, w, 0);
        choice[mode][3] = _qolsLSPSelect2ndStage_G729_32f(r, w, kHalf);
        _qolsBuildQuantLSPVector_G729_32f(choice[mode], b);
        distance[mode] = 0;
        for (int j = 0; j < kLpOrder; ++j) {
            const Qol32f d = (b[j] - e[j]) * fg_sum_32f[mode][j];
            distance[mode] += w[j] * d * d;
        }
    }
    const Qol32s* best = choice[distance[0] > distance[1] ? 1 : 0];
    std::copy(best, best + 4, idx);
}

/// Decodes without moving the history; b takes the new history row.
void decode(const Qol32s* idx, const Qol32f* prevFreq, Qol32f* b, Qol32f* lsf) {
    const int mode = idx[0] & 1;
    std::fill(b, b + kLpOrder, 0.0F);
    _qolsBuildQuantLSPVector_G729_32f(idx, b);
    predictLsf_32f(b, fg_32f[mode], fg_sum_32f[mode], prevFreq, lsf);
    stabiliseLsf_32f(lsf);
}

} // namespace

void ownGetWgt_32f(const Qol32f* lsf, Qol32f* w) {
    for (int i = 0; i < kLpOrder; ++i) {
        const Qol32f d = i == 0              ? lsf[1] - 0.12566370333478902F - 1
                         : i == kLpOrder - 1 ? 1.8902652937335938F - lsf[kLpOrder - 2]
                                             : lsf[i + 1] - lsf[i - 1] - 1;
        w[i] = d > 0 ? 1.0F : 1 + 10 * d * d;
    }
    w[4] *= 1.2F;
    w[5] *= 1.2F;
}

void ownLspPrevExtract_32f(const Qol32f* lsf, const Qol32f (*predictor)[kLpOrder],
                           const Qol32f* fgSumInv, const Qol32f* prevFreq, Qol32f* e) {
    for (int j = 0; j < kLpOrder; ++j) {
        Qol32f t = lsf[j];
        for (int k = 0; k < kHistoryRows; ++k) {
            t -= predictor[k][j] * prevFreq[k * kLpOrder + j];
        }
        e[j] = t * fgSumInv[j];
    }
}

void LspExpand(Qol32f* b, Qol32f gap) {
    for (int j = 1; j < kLpOrder; ++j) {
        const Qol32f m = 0.5F * (gap + b[j - 1] - b[j]);
        if (m > 0) {
            b[j - 1] -= m;
            b[j] += m;
        }
    }
}

void predictLsf_32f(const Qol32f* b, const Qol32f (*predictor)[kLpOrder], const Qol32f* fgSum,
                    const Qol32f* prevFreq, Qol32f* lsf) {
    for (int j = 0; j < kLpOrder; ++j) {
        Qol32f t = fgSum[j] * b[j];
        for (int k = 0; k < kHistoryRows; ++k) {
            t += predictor[k][j] * prevFreq[k * kLpOrder + j];
        }
        lsf[j] = t;
    }
}

void stabiliseLsf_32f(Qol32f* lsf) {
    orderOnce(lsf);
    lsf[0] = std::max(lsf[0], kLowBound);
    for (int j = 1; j < kLpOrder; ++j) {
        lsf[j] = std::max(lsf[j], lsf[j - 1] + kSpacing);
    }
    lsf[kLpOrder - 1] = std::min(lsf[kLpOrder - 1], kHighBound);
}

QolStatus qolsLSPQuant_G729E_32f(const Qol32f* pSrcLsp, const Qol32f* pPrevFreq, Qol32f* pDstFreq,
                                 Qol32f* pDstQLsp, Qol32s* pDstIdx) noexcept {
    if (anyNull(pSrcLsp, pPrevFreq, pDstFreq, pDstQLsp, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    Qol32f lsf[kLpOrder];
    for (int j = 0; j < kLpOrder; ++j) {
        lsf[j] = std::acos(pSrcLsp[j]);
    }
    Qol32s idx[4];
    quantise(lsf, pPrevFreq, idx);
    pDstIdx[0] = idx[0] << 7 | idx[1];
    pDstIdx[1] = idx[2] << 5 | idx[3];
    decode(idx, pPrevFreq, pDstFreq, lsf);
    for (int j = 0; j < kLpOrder; ++j) {
        pDstQLsp[j] = std::cos(lsf[j]);
    }
    return qolStsNoErr;
}

QolStatus qolsLSFDecode_G729_32f(const Qol32s* pIdx, Qol32f* pPrevFreq, Qol32f* pDstQLsf) noexcept {
    if (anyNull(pIdx, pPrevFreq, pDstQLsf)) {
        return qolStsNullPtrErr;
    }
    Qol32f b[kLpOrder];
    decode(pIdx, pPrevFreq, b, pDstQLsf);
    pushHistory(pPrevFreq, b);
    return qolStsNoErr;
}

QolStatus qolsLSFDecodeErased_G729_32f(int maIdx, Qol32f* pPrevFreq,
                                       const Qol32f* pSrcPrevLsf) noexcept {
    if (anyNull(pPrevFreq, pSrcPrevLsf)) {
        return qolStsNullPtrErr;
    }
    if (maIdx < 0 || maIdx >= kModes) {
        return qolStsOutOfRangeErr;
    }
    Qol32f e[kLpOrder];
    ownLspPrevExtract_32f(pSrcPrevLsf, fg_32f[maIdx], fg_sum_inv_32f[maIdx], pPrevFreq, e);
    pushHistory(pPrevFreq, e);
    return qolStsNoErr;
}

} // namespace qolsc
