// SPDX-License-Identifier: Apache-2.0
// What the 18-bit LSP quantiser and that of noise frames share (G.729 3.2.4, B.4.2.1).
#pragma once

#include "common/lp_kernels.h"
#include "qolsc/status.h"
#include "tables/g729_lsp.h"

namespace qolsc {

inline constexpr int kHistoryRows = 4;

/// Weights of the LSF error, Q11 times the power of two that brings the largest to 16384 or more.
void ownGetWgt(const Qol16s* lsf, Qol16s* w);

/// Residual that the predictor leaves of an LSF vector, Q13.
void ownLspPrevExtract(const Qol16s* lsf, const Qol16s (*predictor)[kLpOrder],
                       const Qol16s* fgSumInv, const Qol16s* prevFreq, Qol16s* e);

/// Moves neighbours that are closer than gap apart, in one pass upward.
void ownLspExpand(Qol16s* b, int gap);

/// LSF of a residual and the predictor history, Q13.
void predictLsf(const Qol16s* b, const Qol16s (*predictor)[kLpOrder], const Qol16s* fgSum,
                const Qol16s* prevFreq, Qol16s* lsf);

/// Shifts the history by one row and puts the new one in front.
template <typename T>
void pushHistory(T* prevFreq, const T* row) {
    for (int i = kHistoryRows * kLpOrder - 1; i >= kLpOrder; --i) {
        prevFreq[i] = prevFreq[i - kLpOrder];
    }
    for (int j = 0; j < kLpOrder; ++j) {
        prevFreq[j] = row[j];
    }
}

/// One bubbling pass: each pair in falling order is exchanged.
template <typename T>
void orderOnce(T* lsf) {
    for (int j = 0; j < kLpOrder - 1; ++j) {
        if (lsf[j + 1] < lsf[j]) {
            const T t = lsf[j];
            lsf[j] = lsf[j + 1];
            lsf[j + 1] = t;
        }
    }
}

/// Orders, spaces and bounds a decoded LSF vector; the status tells which bounds were applied.
QolStatus stabiliseLsf(Qol16s* lsf);

// ---- float forms, in radians ----

void ownGetWgt_32f(const Qol32f* lsf, Qol32f* w);
void ownLspPrevExtract_32f(const Qol32f* lsf, const Qol32f (*predictor)[kLpOrder],
                           const Qol32f* fgSumInv, const Qol32f* prevFreq, Qol32f* e);
void LspExpand(Qol32f* b, Qol32f gap);
void predictLsf_32f(const Qol32f* b, const Qol32f (*predictor)[kLpOrder], const Qol32f* fgSum,
                    const Qol32f* prevFreq, Qol32f* lsf);
void stabiliseLsf_32f(Qol32f* lsf);

} // namespace qolsc
