// SPDX-License-Identifier: Apache-2.0
// Correlations of the impulse response in floating point (G.729 3.8.1, D.5.8, Annexes C and C+).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb_32f.h"

#include <algorithm>

namespace qolsc {

void correlateResponse_32f(const Qol32f* h, ResponseGram& g) {
    Qol32f reversed[kFcbSubframe];
    std::reverse_copy(h, h + kFcbSubframe, reversed);
    for (int i = 0; i <= kFcbSubframe; ++i) {
        g.r[i][kFcbSubframe] = g.r[kFcbSubframe][i] = 0;
    }
    for (int i = kFcbSubframe - 1; i >= 0; --i) {
        for (int j = 0; j < kFcbSubframe; ++j) {
            g.r[i][j] = g.r[i + 1][j + 1] + reversed[i] * reversed[j];
        }
    }
}

void copyBlock(const ResponseGram& g, int first, int second, Qol32f* pDst) {
    for (int k = 0; k < kPerTrack; ++k) {
        for (int l = 0; l < kPerTrack; ++l) {
            pDst[kPerTrack * k + l] = g.r[kTracks * k + first][kTracks * l + second];
        }
    }
}

void copyEnergies(const ResponseGram& g, Qol32f* pDst) {
    for (int place = 0; place < kFcbSubframe; ++place) {
        pDst[place] = g.r[positionOf(place)][positionOf(place)];
    }
}

SignedCorrelation_32f splitSigns_32f(const Qol32f* corr) {
    SignedCorrelation_32f s;
    for (int place = 0; place < kFcbSubframe; ++place) {
        const Qol32f c = corr[positionOf(place)];
        s.p[place] = c >= 0 ? 1.0F : -1.0F;
        s.d[place] = c * s.p[place];
    }
    return s;
}

QolStatus qolsToeplizMatrix_G729_32f(const Qol32f* pSrcImpulseResponse,
                                     Qol32f* pDstMatrix) noexcept {
    if (anyNull(pSrcImpulseResponse, pDstMatrix)) {
        return qolStsNullPtrErr;
    }
    ResponseGram g;
    correlateResponse_32f(pSrcImpulseResponse, g);
    copyEnergies(g, pDstMatrix);
    for (int first = 0; first < 3; ++first) {
        for (int second = first + 1; second < kTracks; ++second) {
            copyBlock(g, first, second, blockOf(pDstMatrix, first, second));
        }
    }
    return qolStsNoErr;
}

QolStatus qolsToeplizMatrix_G729D_32f(const Qol32f* pSrcImpulseResponse,
                                      Qol32f* pDstMatrix) noexcept {
    if (anyNull(pSrcImpulseResponse, pDstMatrix)) {
        return qolStsNullPtrErr;
    }
    constexpr int kPairs[8][2] = {{1, 0}, {1, 1}, {1, 2}, {1, 4}, {3, 0}, {3, 1}, {3, 2}, {3, 4}};
    ResponseGram g;
    correlateResponse_32f(pSrcImpulseResponse, g);
    copyEnergies(g, pDstMatrix);
    Qol32f* block = pDstMatrix + kFcbSubframe;
    for (const auto& pair : kPairs) {
        copyBlock(g, pair[0], pair[1], block);
        block += kBlock;
    }
    return qolStsNoErr;
}

} // namespace qolsc
