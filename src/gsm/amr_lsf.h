// SPDX-License-Identifier: Apache-2.0
// LSF quantisers of AMR: codebooks by rate, ordering, the searches and their plain forms.
// 3GPP TS 26.090 §5.2.5.
#pragma once

#include "gsm/amr_rates.h"

namespace qolsc::amr {

inline constexpr Qol16s kPrediction122 = 21299; // 0.65 in Q15

/// Codebook of rows of four; rows of three are filled up with 0.
struct LsfBook {
    const Qol16s (*rows)[4];
    int count; ///< of the codes, a power of two
    int step;  ///< rows from one code to the next
};

/// The three codebooks of a rate other than 12.2.
struct SplitBooks {
    LsfBook first, second, third;
};
SplitBooks splitBooksOf(Qol32s rate);
/// The five codebooks at 12.2; the third holds rows that count with both signs.
const LsfBook (&matrixBooks())[5];

/// Raises each value to at least the one before and a gap; sums wrap.
void ReorderLsf(Qol16s* lsf, Qol16s gap, int count);

/// Weights of the LSF by the distance of their neighbours.
void LsfWeight(const Qol16s* lsf, Qol16s* weight);

/// Quantises the LSF of a comfort-noise frame: row of past_rq_init that they are predicted from,
/// then three codebook indices. pPrevResidual takes the quantised residual.
void ownLSPQuantDTX(const Qol16s* pSrcLsp, Qol16s* pPrevResidual, Qol16s* pIndices);

/// Row of the smallest weighted squared distance, the first of equals. Plain form, then with four
/// rows a step.
int nearestRowPlain(const LsfBook& book, const Qol16s* r, const Qol16s* w);
int nearestRow(const LsfBook& book, const Qol16s* r, const Qol16s* w);

/// The same over rows and negated rows: 2 * row, plus 1 for the negated one.
int nearestSignedRowPlain(const LsfBook& book, const Qol16s* r, const Qol16s* w);
int nearestSignedRow(const LsfBook& book, const Qol16s* r, const Qol16s* w);

} // namespace qolsc::amr
