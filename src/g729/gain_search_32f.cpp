// SPDX-License-Identifier: Apache-2.0
// Search of the gain codebooks of G.729 in floating point (3.9.3, D.5.9, Annexes C, C+).
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/g729_gain.h"

#include <limits>

namespace qolsc {

using namespace tables::g729;

namespace {

constexpr Qol32f kTamedGain = 0.9999F;

/// Least quadratic error over a window of rows of both stages; the first pair of equals.
void searchWindow(const Qol32f* k, const Qol32f (*stage1)[2], int rows1, const Qol32f (*stage2)[2],
                  int rows2, const Qol32s* first, bool tame, Qol32f gainCode0, Qol32s* idx) {
    Qol32s best[2] = {first[0], first[1]};
    Qol32f least = std::numeric_limits<Qol32f>::max();
    for (int i = first[0]; i < first[0] + rows1; ++i) {
        for (int j = first[1]; j < first[1] + rows2; ++j) {
            const Qol32f gp = stage1[i][0] + stage2[j][0];
            if (tame && !(kTamedGain > gp)) {
                continue;
            }
            const Qol32f gc = gainCode0 * (stage1[i][1] + stage2[j][1]);
            const Qol32f cost = (k[0] * gp + k[1] + k[4] * gc) * gp + (k[2] * gc + k[3]) * gc;
            if (cost < least) {
                least = cost;
                best[0] = i;
                best[1] = j;
            }
        }
    }
    idx[0] = best[0];
    idx[1] = best[1];
}

constexpr bool outside(Qol32s value, Qol32s most) { return value < 0 || value > most; }

} // namespace

QolStatus qolsGainCodebookSearch_G729_32f(const Qol32f* pSrcGainCoeff, Qol32s* pSrcCand,
                                          Qol32s* pDstIdx, int tameProcess,
                                          Qol32f valGainCode0) noexcept {
    if (anyNull(pSrcGainCoeff, pSrcCand, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    if (outside(tameProcess, 1) || outside(pSrcCand[0], 4) || outside(pSrcCand[1], 8)) {
        return qolStsSizeErr;
    }
    searchWindow(pSrcGainCoeff, gbk1_32f, 4, gbk2_32f, 8, pSrcCand, tameProcess == 1, valGainCode0,
                 pDstIdx);
    return qolStsNoErr;
}

QolStatus qolsGainCodebookSearch_G729D_32f(const Qol32f* pSrcGainCoeff, Qol32s* pSrcCand,
                                           Qol32s* pDstIdx, int tameProcess,
                                           Qol32f valGainCode0) noexcept {
    if (anyNull(pSrcGainCoeff, pSrcCand, pDstIdx)) {
        return qolStsNullPtrErr;
    }
    if (outside(tameProcess, 1) || outside(pSrcCand[0], 2) || outside(pSrcCand[1], 2)) {
        return qolStsSizeErr;
    }
    searchWindow(pSrcGainCoeff, gbk1_6k_32f, 6, gbk2_6k_32f, 6, pSrcCand, tameProcess == 1,
                 valGainCode0, pDstIdx);
    return qolStsNoErr;
}

} // namespace qolsc
