// SPDX-License-Identifier: Apache-2.0
// Adaptation of the perceptual weighting filter of the G.729 main body (3.3).
#include "codecs/g729/weighting.h"

#include "numeric/basop.h"
#include "qolsc.h"

#include <algorithm>

namespace qolsc::tools::g729 {

using namespace basop;

namespace {

/// Log area ratio of a reflection coefficient by four straight lines, Q11.
Qol16s logAreaRatio(Qol16s rc) {
    const Qol16s c = static_cast<Qol16s>(abs_s(rc) >> 4);
    const auto line = [c](Qol16s slope, Qol32s offset) {
        return wrap16(L_sub(L_mult(static_cast<Qol16s>(c >> 1), slope), offset) >> 11);
    };
    const Qol16s lar = c <= 1299   ? c
                       : c <= 1815 ? line(4567, 3271557)
                       : c <= 1944 ? line(11776, 16357786)
                                   : line(27443, 46808433);
    return rc < 0 ? negate(lar) : lar;
}

/// Least distance of neighbouring frequencies of an LSP vector, Q16 of the sampling rate.
Qol16s leastDistance(const Lsp& lsp) {
    Lsp lsf;
    qolsLSPToLSF_Norm_G729_16s(lsp.data(), lsf.data());
    for (Qol16s& f : lsf) {
        f = shl(f, 1);
    }
    Qol16s least = MAX_16;
    for (int i = 1; i < kOrder; ++i) {
        least = std::min(least, sub(lsf[i], lsf[i - 1]));
    }
    return least;
}

/// Gammas of a subframe from its log area ratios and LSP.
Gammas adaptSubframe(Adaptation& a, Qol16s lar0, Qol16s lar1, const Lsp& lsp) {
    if (a.smooth && lar0 < -3562 && lar1 > 1336) {
        a.smooth = false;
    } else if (!a.smooth && (lar0 > -3116 || lar1 < 890)) {
        a.smooth = true;
    }
    if (a.smooth) {
        return {30802, 19661}; // 0.94, 0.6
    }
    const Qol16s g2 = shl(sub(1024, mult(19302, leastDistance(lsp))), 5);
    return {32113, std::clamp(g2, Qol16s{13107}, Qol16s{22938})}; // 0.98, 0.4 to 0.7
}

} // namespace

void adapt(Adaptation& a, const LpFrame& lp, Gammas* gammas) {
    const std::array<Qol16s, 2> lar = {logAreaRatio(lp.rc[0]), logAreaRatio(lp.rc[1])};
    const auto middle = [&a, &lar](std::size_t i) {
        return static_cast<Qol16s>((a.oldLar[i] + lar[i]) >> 1);
    };
    gammas[0] = adaptSubframe(a, middle(0), middle(1), lp.middle);
    gammas[1] = adaptSubframe(a, lar[0], lar[1], lp.lsp);
    a.oldLar = lar;
}

} // namespace qolsc::tools::g729
