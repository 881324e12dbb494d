// SPDX-License-Identifier: Apache-2.0
// Correlations of the impulse response for the algebraic codebook searches (G.729 3.8.1).
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb.h"
#include "numeric/helpers.h"

#include <algorithm>

namespace qolsc {

void scaleResponse(const Qol16s* pSrc, Qol16s* h) {
    const Qol32s energy = saturate32(energyExact(pSrc, kFcbSubframe));
    const int word = energy >> 15;
    if (word < 1) {
        std::fill_n(h, kFcbSubframe, Qol16s{0});
        return;
    }
    const int left = (norm(energy) - 1) >> 1;
    for (int i = 0; i < kFcbSubframe; ++i) {
        h[i] = word < 32001 ? wrap16(pSrc[i] * (1 << left)) : static_cast<Qol16s>(pSrc[i] >> 1);
    }
}

void responseEnergies(const Qol16s* h, Qol32s* pDst) {
    Qol32s run = 0;
    for (int i = kFcbSubframe - 1; i >= 0; --i) {
        const Qol32s tap = h[kFcbSubframe - 1 - i];
        run = wrapAdd32(run, tap * tap);
        pDst[kPerTrack * (i % kTracks) + i / kTracks] = run;
    }
}

namespace {

void ownToeplizMatrix_G729_16s32s(const Qol16s* h, Qol32s* pDst) {
    responseEnergies(h, pDst);
    correlateResponse(h, [pDst](int first, int k, int second, simd::i128 low, simd::i128 high) {
        if (kBlockOf[first][second] >= 0) {
            Qol32s* row = blockOf(pDst, first, second) + kPerTrack * k;
            simd::store(row, low);
            simd::store(row + 4, high);
        }
    });
}

} // namespace

QolStatus qolsToeplizMatrix_G729_16s32s(const Qol16s* pSrcImpulseResponse,
                                        Qol32s* pDstMatrix) noexcept {
    if (anyNull(pSrcImpulseResponse, pDstMatrix)) {
        return qolStsNullPtrErr;
    }
    Qol16s h[kFcbSubframe];
    scaleResponse(pSrcImpulseResponse, h);
    ownToeplizMatrix_G729_16s32s(h, pDstMatrix);
    return qolStsNoErr;
}

QolStatus qolsToeplizMatrix_G729_16s(const Qol16s* pSrcImpulseResponse,
                                     Qol16s* pDstMatrix) noexcept {
    if (anyNull(pSrcImpulseResponse, pDstMatrix)) {
        return qolStsNullPtrErr;
    }
    alignas(16) Qol32s matrix[kMatrixSize];
    qolsc::qolsToeplizMatrix_G729_16s32s(pSrcImpulseResponse, matrix);
    ownConvert_32s16s_sfs(matrix, pDstMatrix, kMatrixSize, 15);
    return qolStsNoErr;
}

} // namespace qolsc
