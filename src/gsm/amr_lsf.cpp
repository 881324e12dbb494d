// SPDX-License-Identifier: Apache-2.0
// LSF quantisation of AMR and its decoding: split-matrix at 12.2 kbit/s, split-vector below.
// 3GPP TS 26.090 §5.2.5, §6.1; bad frames TS 26.091 §6.
#include "gsm/amr_lsf.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/basop.h"
#include "tables/gsm_dtx.h"
#include "tables/gsm_lsf.h"

namespace qolsc {

namespace amr {

using namespace basop;

SplitBooks splitBooksOf(Qol32s rate) {
    using namespace tables;
    switch (rate) {
    case kRate475:
    case kRate515:
        return {{kAmrLsfSplit1, 256, 1}, {kAmrLsfSplit2, 256, 2}, {kAmrLsfSplit3_515, 128, 1}};
    case kRate795:
        return {{kAmrLsfSplit1_795, 512, 1}, {kAmrLsfSplit2, 512, 1}, {kAmrLsfSplit3, 512, 1}};
    default:
        return {{kAmrLsfSplit1, 256, 1}, {kAmrLsfSplit2, 512, 1}, {kAmrLsfSplit3, 512, 1}};
    }
}

const LsfBook (&matrixBooks())[5] {
    static constexpr LsfBook books[5] = {{tables::kAmrLsfMatrix1, 128, 1},
                                         {tables::kAmrLsfMatrix2, 256, 1},
                                         {tables::kAmrLsfMatrix3, 256, 1},
                                         {tables::kAmrLsfMatrix4, 256, 1},
                                         {tables::kAmrLsfMatrix5, 64, 1}};
    return books;
}

void ReorderLsf(Qol16s* lsf, Qol16s gap, int count) {
    Qol16s bound = gap;
    for (int i = 0; i < count; ++i) {
        lsf[i] = lsf[i] < bound ? bound : lsf[i];
        bound = wrap16(lsf[i] + gap);
    }
}

void LsfWeight(const Qol16s* lsf, Qol16s* weight) {
    for (int i = 0; i < kOrder; ++i) {
        const Qol16s next = i == kOrder - 1 ? Qol16s{16384} : lsf[i + 1];
        const Qol16s d = i == 0 ? next : sub(next, lsf[i - 1]);
        // Two straight lines that meet at 450 Hz (TS 26.090 §5.2.5), Q10 then Q13.
        const Qol32s w = d < 1843 ? 3427 - ((d * 28160) >> 15) : 1843 - (((d - 1843) * 6242) >> 15);
        weight[i] = shl(saturate16(w), 3);
    }
}

namespace {

constexpr Qol16s kGap = 205; // 50 Hz
constexpr int kMatrixSigned = 2;

// Mean plus predicted deviation.
Qol16s predicted(const Qol16s* pPrevResidual, Qol32s rate, int i) {
    return rate == kRate122
               ? add(tables::TableMeanLsf1[i], mult(pPrevResidual[i], kPrediction122))
               : add(tables::TableMeanLsf2[i], mult(pPrevResidual[i], tables::TablePredFac[i]));
}

// The quantised residual with its prediction, ordered, as LSP.
void toLsp(const Qol16s* residual, const Qol16s* prediction, Qol16s* pLsf, Qol16s* pLsp) {
    for (int i = 0; i < kOrder; ++i) {
        pLsf[i] = add(residual[i], prediction[i]);
    }
    ReorderLsf(pLsf, kGap, kOrder);
    qolsc::qolsLSFToLSP_GSMAMR_16s(pLsf, pLsp);
}

// LSF of one vector less the prediction, and its weights.
void deviation(const Qol16s* pLsp, const Qol16s* prediction, Qol16s* residual, Qol16s* weight) {
    Qol16s lsf[kOrder];
    qolsc::qolsLSPToLSF_Norm_G729_16s(pLsp, lsf);
    LsfWeight(lsf, weight);
    for (int i = 0; i < kOrder; ++i) {
        residual[i] = sub(lsf[i], prediction[i]);
    }
}

void quantizeMatrix(const Qol16s* pSrcLsp, Qol16s* pPrevResidual, Qol16s* pDstQLsp,
                    Qol16s* pIndices) {
    Qol16s prediction[kOrder], residual[2][kOrder], weight[2][kOrder], lsf[kOrder];
    for (int i = 0; i < kOrder; ++i) {
        prediction[i] = predicted(pPrevResidual, kRate122, i);
    }
    for (int v = 0; v < 2; ++v) {
        deviation(pSrcLsp + v * kOrder, prediction, residual[v], weight[v]);
    }
    for (int n = 0; n < 5; ++n) {
        const int a = 2 * n, b = a + 1;
        const Qol16s r[4] = {residual[0][a], residual[0][b], residual[1][a], residual[1][b]};
        const Qol16s w[4] = {weight[0][a], weight[0][b], weight[1][a], weight[1][b]};
        const LsfBook& book = matrixBooks()[n];
        const bool isSigned = n == kMatrixSigned;
        const int index = isSigned ? nearestSignedRow(book, r, w) : nearestRow(book, r, w);
        const Qol16s* row = book.rows[isSigned ? index >> 1 : index];
        const bool negated = isSigned && (index & 1);
        for (int v = 0; v < 2; ++v) {
            residual[v][a] = negated ? negate(row[2 * v]) : row[2 * v];
            residual[v][b] = negated ? negate(row[2 * v + 1]) : row[2 * v + 1];
        }
        pIndices[n] = static_cast<Qol16s>(index);
    }
    for (int v = 0; v < 2; ++v) {
        toLsp(residual[v], prediction, lsf, pDstQLsp + v * kOrder);
    }
    for (int i = 0; i < kOrder; ++i) {
        pPrevResidual[i] = residual[1][i];
    }
}

// Replaces the residual by the rows of the three codebooks.
void quantizeResidual(const SplitBooks& books, const Qol16s* weight, Qol16s* residual,
                      Qol16s* pIndices) {
    const auto quantize = [&](const LsfBook& book, int first, int size) {
        Qol16s r[4] = {}, w[4] = {};
        for (int i = 0; i < size; ++i) {
            r[i] = residual[first + i];
            w[i] = weight[first + i];
        }
        const int index = nearestRow(book, r, w);
        for (int i = 0; i < size; ++i) {
            residual[first + i] = book.rows[index * book.step][i];
        }
        return static_cast<Qol16s>(index);
    };
    pIndices[0] = quantize(books.first, 0, 3);
    pIndices[1] = quantize(books.second, 3, 3);
    pIndices[2] = quantize(books.third, 6, 4);
}

void quantizeSplit(const Qol16s* pSrcLsp, Qol16s* pPrevResidual, Qol16s* pDstQLsp, Qol16s* pIndices,
                   Qol32s rate) {
    Qol16s prediction[kOrder], residual[kOrder], weight[kOrder], lsf[kOrder];
    for (int i = 0; i < kOrder; ++i) {
        prediction[i] = predicted(pPrevResidual, rate, i);
    }
    deviation(pSrcLsp, prediction, residual, weight);
    quantizeResidual(splitBooksOf(rate), weight, residual, pIndices);
    toLsp(residual, prediction, lsf, pDstQLsp);
    for (int i = 0; i < kOrder; ++i) {
        pPrevResidual[i] = residual[i];
    }
}

// ---- decoding ----

const Qol16s* rowOf(const LsfBook& book, int index) {
    return book.rows[(index & (book.count - 1)) * book.step];
}

void residualOfMatrix(const Qol16s* pIndices, Qol16s (*residual)[kOrder]) {
    for (int n = 0; n < 5; ++n) {
        const bool isSigned = n == kMatrixSigned;
        const Qol16s* row = rowOf(matrixBooks()[n], isSigned ? pIndices[n] >> 1 : pIndices[n]);
        const bool negated = isSigned && (pIndices[n] & 1);
        for (int k = 0; k < 4; ++k) {
            residual[k >> 1][2 * n + (k & 1)] = negated ? negate(row[k]) : row[k];
        }
    }
}

void residualOfSplit(const Qol16s* pIndices, Qol32s rate, Qol16s* residual) {
    const SplitBooks books = splitBooksOf(rate);
    const Qol16s* rows[3] = {rowOf(books.first, pIndices[0]), rowOf(books.second, pIndices[1]),
                             rowOf(books.third, pIndices[2])};
    for (int i = 0; i < kOrder; ++i) {
        residual[i] = i < 6 ? rows[i / 3][i % 3] : rows[2][i - 6];
    }
}

// LSF of a lost frame: the last ones drawn towards the mean; the residual is what would have given
// them.
void conceal(Qol16s* pPrevResidual, const Qol16s* pPrevLsf, Qol32s rate, Qol16s* pLsf) {
    const bool matrix = rate == kRate122;
    const Qol16s* mean = matrix ? tables::TableMeanLsf1 : tables::TableMeanLsf2;
    const Qol16s keep = matrix ? 31128 : 29491, draw = matrix ? 1639 : 3277;
    for (int i = 0; i < kOrder; ++i) {
        pLsf[i] = add(mult(pPrevLsf[i], keep), mult(mean[i], draw));
        pPrevResidual[i] = sub(pLsf[i], predicted(pPrevResidual, rate, i));
    }
}

void copy(const Qol16s* pSrc, Qol16s* pDst) {
    for (int i = 0; i < kOrder; ++i) {
        pDst[i] = pSrc[i];
    }
}

// One or two vectors of LSF as decoded or concealed; the residual memory moves on.
void decodeLsf(const Qol16s* pIndices, Qol16s* pPrevResidual, const Qol16s* pPrevLsf, bool bad,
               Qol32s rate, Qol16s (*lsf)[kOrder]) {
    if (bad) {
        conceal(pPrevResidual, pPrevLsf, rate, lsf[0]);
        copy(lsf[0], lsf[1]);
        return;
    }
    Qol16s residual[2][kOrder];
    if (rate == kRate122) {
        residualOfMatrix(pIndices, residual);
    } else {
        residualOfSplit(pIndices, rate, residual[1]);
        copy(residual[1], residual[0]);
    }
    for (int i = 0; i < kOrder; ++i) {
        // Comfort noise is predicted from the mean and a fixed vector, without a factor.
        const Qol16s p = rate == kRateDtx ? add(tables::TableMeanLsf2[i], pPrevResidual[i])
                                          : predicted(pPrevResidual, rate, i);
        lsf[0][i] = add(residual[0][i], p);
        lsf[1][i] = add(residual[1][i], p);
        pPrevResidual[i] = residual[1][i];
    }
}

} // namespace

void ownLSPQuantDTX(const Qol16s* pSrcLsp, Qol16s* pPrevResidual, Qol16s* pIndices) {
    Qol16s lsf[kOrder], weight[kOrder];
    qolsc::qolsLSPToLSF_Norm_G729_16s(pSrcLsp, lsf);
    LsfWeight(lsf, weight);
    Qol32s least = MAX_32;
    pIndices[0] = 0;
    for (int row = 0; row < 8; ++row) {
        Qol16s residual[kOrder];
        Qol32s d = 0;
        for (int i = 0; i < kOrder; ++i) {
            residual[i] = sub(lsf[i], add(tables::TableMeanLsf2[i], tables::past_rq_init[row][i]));
            d = L_mac(d, residual[i], residual[i]);
        }
        if (d < least) {
            least = d;
            pIndices[0] = static_cast<Qol16s>(row);
            copy(residual, pPrevResidual);
        }
    }
    quantizeResidual(splitBooksOf(kRateDtx), weight, pPrevResidual, pIndices + 1);
}

} // namespace amr

QolStatus qolsLSPQuant_GSMAMR_16s(const Qol16s* pSrcLsp, Qol16s* pPrevResidual, Qol16s* pDstQLsp,
                                  Qol16s* pIndices, Qol32s valRate) noexcept {
    if (anyNull(pSrcLsp, pPrevResidual, pDstQLsp, pIndices)) {
        return qolStsNullPtrErr;
    }
    if (!amr::isRate(valRate)) {
        return qolStsRangeErr;
    }
    if (valRate == amr::kRate122) {
        amr::quantizeMatrix(pSrcLsp, pPrevResidual, pDstQLsp, pIndices);
    } else {
        amr::quantizeSplit(pSrcLsp, pPrevResidual, pDstQLsp, pIndices, valRate);
    }
    return qolStsNoErr;
}

QolStatus qolsQuantLSPDecode_GSMAMR_16s(const Qol16s* pIndices, Qol16s* pPrevResidual,
                                        Qol16s* pPrevLsf, Qol16s* pPrevLsp, Qol16s* pDstLsps,
                                        Qol16s valBfi, Qol32s valRate) noexcept {
    using amr::kOrder;
    if (anyNull(pIndices, pPrevResidual, pPrevLsf, pPrevLsp, pDstLsps)) {
        return qolStsNullPtrErr;
    }
    if (!amr::isRate(valRate)) {
        return qolStsRangeErr;
    }
    Qol16s lsf[2][kOrder];
    amr::decodeLsf(pIndices, pPrevResidual, pPrevLsf, valBfi != 0, valRate, lsf);
    Qol16s* subframe[4];
    for (int n = 0; n < 4; ++n) {
        subframe[n] = pDstLsps + n * kOrder;
    }
    for (int v = 0; v < 2; ++v) {
        amr::ReorderLsf(lsf[v], amr::kGap, kOrder);
    }
    Qol16s* last = subframe[3];
    qolsc::qolsLSFToLSP_GSMAMR_16s(lsf[1], last);
    if (valRate == amr::kRate122) {
        Qol16s* middle = subframe[1];
        qolsc::qolsLSFToLSP_GSMAMR_16s(lsf[0], middle);
        qolsc::qolsInterpolate_G729_16s(middle, pPrevLsp, subframe[0], kOrder);
        qolsc::qolsInterpolate_G729_16s(middle, last, subframe[2], kOrder);
    } else {
        qolsc::qolsInterpolate_GSMAMR_16s(last, pPrevLsp, subframe[0], kOrder);
        qolsc::qolsInterpolate_G729_16s(last, pPrevLsp, subframe[1], kOrder);
        qolsc::qolsInterpolate_GSMAMR_16s(pPrevLsp, last, subframe[2], kOrder);
    }
    amr::copy(lsf[1], pPrevLsf);
    amr::copy(last, pPrevLsp);
    return qolStsNoErr;
}

} // namespace qolsc
