// SPDX-License-Identifier: Apache-2.0
// Quantisers of the immittance spectral frequencies and their decoders (TS 26.190 5.2.5, 6.1;
// TS 26.191; TS 26.192 5.2).
#include "amrwb/amrwb.h"
#include "tables/amrwb_isf.h"
#include "vector/simd.h"

#include <algorithm>

namespace qolsc {
namespace {

using namespace basop;

constexpr int kIsfs = 16;
constexpr int kSurvivors = 4;
constexpr Qol16s kPredictor = 10923; // one third, Q15

/// One codebook: rows (a power of two) of dim elements at the given stride, for the elements of the
/// set from first on.
struct Codebook {
    const Qol16s* rows;
    int count;
    int dim;
    int stride;
    int first;
};

template <int Rows, int Stride>
constexpr Codebook codebook(const Qol16s (&rows)[Rows][Stride], int first, int dim) {
    return {rows[0], Rows, dim, Stride, first};
}

constexpr Codebook kStage1[2] = {codebook(tables::QCdbk1ISFTbl, 0, 9),
                                 codebook(tables::QCdbk2ISFTbl, 9, 7)};
/// Second stages of the two parts: the first `parts[0]` codebooks refine the first part.
struct SecondStage {
    int counts[2];
    Codebook books[5];
};
constexpr SecondStage kStage2Of46 = {
    {3, 2},
    {codebook(tables::QCdbk21ISFTbl, 0, 3), codebook(tables::QCdbk22ISFTbl, 3, 3),
     codebook(tables::QCdbk23ISFTbl, 6, 3), codebook(tables::QCdbk24ISFTbl, 9, 3),
     codebook(tables::QCdbk25ISFTbl, 12, 4)}};
constexpr SecondStage kStage2Of36 = {{2, 1},
                                     {codebook(tables::QCdbk21ISF36bTbl, 0, 5),
                                      codebook(tables::QCdbk22ISF36bTbl, 5, 4),
                                      codebook(tables::QCdbk23ISF36bTbl, 9, 7)}};
constexpr Codebook kNoise[5] = {
    codebook(tables::QCdbk1ISFnoiseTbl, 0, 2), codebook(tables::QCdbk2ISFnoiseTbl, 2, 3),
    codebook(tables::QCdbk3ISFnoiseTbl, 5, 3), codebook(tables::QCdbk4ISFnoiseTbl, 8, 4),
    codebook(tables::QCdbk5ISFnoiseTbl, 12, 4)};

const SecondStage& secondStage(Qol32s valRate) {
    return valRate == 5 || valRate == 25 ? kStage2Of36 : kStage2Of46;
}

/// Row that an index names; its upper bits are ignored, so that no stream leads outside the table.
const Qol16s* row(const Codebook& book, Qol16s index) {
    return book.rows + (index & (book.count - 1)) * book.stride;
}

/// Twice the squared distance, limited. All terms are positive, so one limit at the end does what
/// the standard's step-wise saturation does.
Qol32s distance(const Qol16s* x, const Qol16s* c, int dim) {
    Qol64s sum = 0;
    for (int i = 0; i < dim; ++i) {
        const Qol32s t = sub(x[i], c[i]);
        sum += Qol64s{t} * t;
    }
    return saturate32(2 * sum);
}

/// Sums of nine squared differences stay below 2^30 up to this magnitude, since the rows of the
/// first stage lie within +-2273: 9 * (8600 + 2273)^2 < 2^30.
constexpr int kSafeMagnitude = 8600;

bool allSmall(const Qol16s* x) {
    for (int i = 0; i < kIsfs; ++i) {
        if (x[i] > kSafeMagnitude || x[i] < -kSafeMagnitude) {
            return false;
        }
    }
    return true;
}

/// Distances to all rows of a first stage, plainly.
void distances(const Qol16s* x, const Codebook& book, Qol32s* dist) {
    for (int k = 0; k < book.count; ++k) {
        dist[k] = distance(x, book.rows + k * book.stride, book.dim);
    }
}

/// The same for values up to kSafeMagnitude; the padding of the rows is 0.
void distances_small(const Qol16s* x, const Codebook& book, Qol32s* dist) {
    using namespace simd;
    alignas(16) Qol16s padded[kIsfs] = {};
    std::copy_n(x, book.dim, padded);
    const i128 x0 = load(padded), x1 = load(padded + 8);
    for (int k = 0; k < book.count; ++k) {
        const Qol16s* c = book.rows + k * book.stride;
        const i128 d = _mm_sub_epi16(x0, load(c));
        i128 sum = maddPairs(d, d);
        if (book.stride > 8) {
            const i128 e = _mm_sub_epi16(x1, loadLow64(c + 8));
            sum = add32(sum, maddPairs(e, e));
        }
        dist[k] = 2 * sum32(sum);
    }
}

/// The nearest rows, best first; of equals the earlier stays ahead.
void nearestRows(const Qol16s* x, const Codebook& book, bool small, int* survivors) {
    Qol32s dist[256], best[kSurvivors];
    small ? distances_small(x, book, dist) : distances(x, book, dist);
    for (int s = 0; s < kSurvivors; ++s) {
        best[s] = MAX_32;
        survivors[s] = s;
    }
    for (int k = 0; k < book.count; ++k) {
        if (dist[k] >= best[kSurvivors - 1]) {
            continue;
        }
        int s = kSurvivors - 1;
        for (; s > 0 && dist[k] < best[s - 1]; --s) {
            best[s] = best[s - 1];
            survivors[s] = survivors[s - 1];
        }
        best[s] = dist[k];
        survivors[s] = k;
    }
}

/// Nearest row for the book's elements of x, first of equals; x takes the row.
int quantise(Qol16s* x, const Codebook& book, Qol32s* pDistance) {
    Qol16s* part = x + book.first;
    Qol32s best = MAX_32;
    int index = 0;
    for (int k = 0; k < book.count; ++k) {
        const Qol32s d = distance(part, book.rows + k * book.stride, book.dim);
        if (d < best) {
            best = d;
            index = k;
        }
    }
    std::copy_n(book.rows + index * book.stride, book.dim, part);
    *pDistance = best;
    return index;
}

/// Both stages of one part of the residual: stage-1 index to pIndices[0], stage-2 indices to
/// pFine[0 .. count-1].
void quantisePart(const Qol16s* residual, bool small, const Codebook& coarse, const Codebook* fine,
                  int count, Qol16s* pIndex, Qol16s* pFine) {
    int survivors[kSurvivors];
    nearestRows(residual + coarse.first, coarse, small, survivors);
    Qol32s best = MAX_32;
    *pIndex = static_cast<Qol16s>(survivors[0]);
    std::fill_n(pFine, count, Qol16s{0});
    for (int s = 0; s < kSurvivors; ++s) {
        Qol16s rest[kIsfs];
        const Qol16s* c = coarse.rows + survivors[s] * coarse.stride;
        for (int i = 0; i < coarse.dim; ++i) {
            rest[coarse.first + i] = sub(residual[coarse.first + i], c[i]);
        }
        Qol32s total = 0;
        int indices[3];
        for (int b = 0; b < count; ++b) {
            Qol32s d;
            indices[b] = quantise(rest, fine[b], &d);
            total = L_add(total, d);
        }
        if (total < best) {
            best = total;
            *pIndex = static_cast<Qol16s>(survivors[s]);
            std::copy_n(indices, count, pFine);
        }
    }
}

/// Sum of the rows that the indices name: the quantised residual.
void sumOfRows(const Qol16s* pIndices, const SecondStage& stage2, Qol16s* residual) {
    for (int part = 0; part < 2; ++part) {
        const Codebook& book = kStage1[part];
        std::copy_n(row(book, pIndices[part]), book.dim, residual + book.first);
    }
    for (int b = 0; b < stage2.counts[0] + stage2.counts[1]; ++b) {
        const Codebook& book = stage2.books[b];
        const Qol16s* c = row(book, pIndices[2 + b]);
        for (int i = 0; i < book.dim; ++i) {
            residual[book.first + i] = add(residual[book.first + i], c[i]);
        }
    }
}

Qol16s prediction(Qol16s past) { return static_cast<Qol16s>((past * kPredictor) >> 15); }

/// Difference to mean and prediction.
void ownRemoveISPDC_AMRWB(const Qol16s* pSrcISF, const Qol16s* pPastResidual, Qol16s* residual) {
    for (int i = 0; i < kIsfs; ++i) {
        residual[i] = wrap16(pSrcISF[i] - tables::meanISFTbl[i] - prediction(pPastResidual[i]));
    }
}

/// Mean and prediction added; the quantised residual becomes the memory.
void ownAddISPDC_AMRWB(const Qol16s* residual, Qol16s* pPastResidual, Qol16s* pDstQISF) {
    for (int i = 0; i < kIsfs; ++i) {
        pDstQISF[i] = wrap16(residual[i] + tables::meanISFTbl[i] + prediction(pPastResidual[i]));
        pPastResidual[i] = residual[i];
    }
}

/// Keeps the first 15 frequencies in order, 128 (50 Hz) apart.
void reorder(Qol16s* pIsf) {
    Qol16s least = 128;
    for (int i = 0; i < kIsfs - 1; ++i) {
        pIsf[i] = std::max(pIsf[i], least);
        least = add(pIsf[i], 128);
    }
}

/// A bad frame: the last frequencies drift to the mean of the recent ones.
void conceal(Qol16s* pDstQISF, Qol16s* pPastResidual, const Qol16s* pPrevQISF,
             const Qol16s* pISFHistory) {
    for (int i = 0; i < kIsfs; ++i) {
        const auto average =
            static_cast<Qol16s>((tables::meanISFTbl[i] + pISFHistory[i] + pISFHistory[kIsfs + i] +
                                 pISFHistory[2 * kIsfs + i] + 2) >>
                                2);
        // 0.9 and 0.1, each product cut by itself.
        pDstQISF[i] = saturate16(((pPrevQISF[i] * 29491) >> 15) + ((average * 3277) >> 15));
        pPastResidual[i] = static_cast<Qol16s>(
            wrap16(pDstQISF[i] - (prediction(pPastResidual[i]) + average)) >> 1);
    }
}

} // namespace

QolStatus qolsISFQuant_AMRWB_16s(const Qol16s* pSrcISF, Qol16s* pPastResidual, Qol16s* pDstQISF,
                                 Qol16s* pIndices, Qol32s valRate) noexcept {
    if (anyNull(pSrcISF, pPastResidual, pDstQISF, pIndices)) {
        return qolStsNullPtrErr;
    }
    if (!isIsfRate(valRate)) {
        return qolStsRangeErr;
    }
    const SecondStage& stage2 = secondStage(valRate);
    Qol16s residual[kIsfs];
    ownRemoveISPDC_AMRWB(pSrcISF, pPastResidual, residual);
    const bool small = allSmall(residual);
    const Codebook* fine = stage2.books;
    Qol16s* pFine = pIndices + 2;
    for (int part = 0; part < 2; ++part) {
        quantisePart(residual, small, kStage1[part], fine, stage2.counts[part], pIndices + part,
                     pFine);
        fine += stage2.counts[part];
        pFine += stage2.counts[part];
    }
    sumOfRows(pIndices, stage2, residual);
    ownAddISPDC_AMRWB(residual, pPastResidual, pDstQISF);
    reorder(pDstQISF);
    return qolStsNoErr;
}

QolStatus qolsISFQuantDecode_AMRWB_16s(const Qol16s* pIndices, Qol16s* pDstQISF,
                                       Qol16s* pPastResidual, const Qol16s* pPrevQISF,
                                       Qol16s* pISFHistory, Qol32s valBfi,
                                       Qol32s valRate) noexcept {
    if (anyNull(pIndices, pDstQISF, pPastResidual, pPrevQISF, pISFHistory)) {
        return qolStsNullPtrErr;
    }
    if (!isIsfRate(valRate)) {
        return qolStsRangeErr;
    }
    if (valBfi != 0) {
        conceal(pDstQISF, pPastResidual, pPrevQISF, pISFHistory);
    } else {
        Qol16s residual[kIsfs];
        sumOfRows(pIndices, secondStage(valRate), residual);
        ownAddISPDC_AMRWB(residual, pPastResidual, pDstQISF);
        std::copy_backward(pISFHistory, pISFHistory + 2 * kIsfs, pISFHistory + 3 * kIsfs);
        std::copy_n(pDstQISF, kIsfs, pISFHistory);
    }
    reorder(pDstQISF);
    return qolStsNoErr;
}

QolStatus qolsISFQuantDTX_AMRWB_16s(const Qol16s* pSrcISF, Qol16s* pDstQISF,
                                    Qol16s* pIndices) noexcept {
    if (anyNull(pSrcISF, pDstQISF, pIndices)) {
        return qolStsNullPtrErr;
    }
    Qol16s residual[kIsfs];
    for (int i = 0; i < kIsfs; ++i) {
        residual[i] = sub(pSrcISF[i], tables::meanISFnoiseTbl[i]);
    }
    for (int b = 0; b < 5; ++b) {
        Qol32s unused;
        pIndices[b] = static_cast<Qol16s>(quantise(residual, kNoise[b], &unused));
    }
    return qolsc::qolsISFQuantDecodeDTX_AMRWB_16s(pIndices, pDstQISF);
}

QolStatus qolsISFQuantDecodeDTX_AMRWB_16s(const Qol16s* pIndices, Qol16s* pDstQISF) noexcept {
    if (anyNull(pIndices, pDstQISF)) {
        return qolStsNullPtrErr;
    }
    for (int b = 0; b < 5; ++b) {
        const Codebook& book = kNoise[b];
        const Qol16s* c = row(book, pIndices[b]);
        for (int i = 0; i < book.dim; ++i) {
            pDstQISF[book.first + i] = add(c[i], tables::meanISFnoiseTbl[book.first + i]);
        }
    }
    reorder(pDstQISF);
    return qolStsNoErr;
}

} // namespace qolsc
