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
    for (int k = kPerTrack - 1; k >= 0; --k) {
        for (int t = kTracks - 1; t >= 0; --t) {
            const Qol32s tap = h[kFcbSubframe - 1 - (kTracks * k + t)];
            run = wrapAdd32(run, tap * tap);
            pDst[kPerTrack * t + k] = run;
        }
    }
}

namespace {

/// Calls put(row, low, high) with the cross terms of every row of the nine blocks.
template <typename T, typename Put>
void ownToeplizMatrix_G729_16s32s(const Qol16s* h, T* pDst, Put put) {
    correlateResponse(h,
                      [pDst, put](auto first, int k, auto second, simd::i128 low, simd::i128 high) {
                          if constexpr (kBlockOf[first][second] >= 0) {
                              put(blockOf(pDst, first, second) + kPerTrack * k, low, high);
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
    responseEnergies(h, pDstMatrix);
    ownToeplizMatrix_G729_16s32s(h, pDstMatrix, [](Qol32s* row, simd::i128 low, simd::i128 high) {
        simd::store(row, low);
        simd::store(row + 4, high);
    });
    return qolStsNoErr;
}

QolStatus qolsToeplizMatrix_G729_16s(const Qol16s* pSrcImpulseResponse,
                                     Qol16s* pDstMatrix) noexcept {
    if (anyNull(pSrcImpulseResponse, pDstMatrix)) {
        return qolStsNullPtrErr;
    }
    Qol16s h[kFcbSubframe];
    Qol32s energy[kFcbSubframe];
    scaleResponse(pSrcImpulseResponse, h);
    responseEnergies(h, energy);
    ownConvert_32s16s_sfs(energy, pDstMatrix, kFcbSubframe, 15);
    ownToeplizMatrix_G729_16s32s(h, pDstMatrix, [](Qol16s* row, simd::i128 low, simd::i128 high) {
        simd::store(row, simd::packSat16(_mm_srai_epi32(low, 15), _mm_srai_epi32(high, 15)));
    });
    return qolStsNoErr;
}

} // namespace qolsc
