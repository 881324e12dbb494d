// SPDX-License-Identifier: Apache-2.0
// Searches of the codebooks of G.729 Annexes D (D.5.8) and E (E.3.8) in floating point.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb_32f.h"
#include "g729/fcb_code_e.h"
#include "g729/fcb_search_d.h"

#include <algorithm>
#include <cmath>

namespace qolsc {

namespace {

using tables::g729::ipos;

// ---- Annex E ----

/// In natural order of the positions.
struct Target {
    Qol32f d[kFcbSubframe]; // correlation with the sign taken off
    Qol32f p[kFcbSubframe]; // sign, 1 or -1
    int peakAt[kTracks];
    Qol32f peak[kTracks];
};

Qol32f energyOf(const Qol32f* x) {
    Qol32f e = 0;
    for (int i = 0; i < kFcbSubframe; ++i) {
        e += x[i] * x[i];
    }
    return e;
}

void correlate(const Qol32f* x, const Qol32f* h, Qol32f* d) {
    for (int i = 0; i < kFcbSubframe; ++i) {
        d[i] = 0;
        for (int j = i; j < kFcbSubframe; ++j) {
            d[i] += x[j] * h[j - i];
        }
    }
}

void setSigns(const Qol32f* residual, Target& t) {
    const Qol32f kr = 1 / std::sqrt(0.01F + energyOf(residual)),
                 kd = 1 / std::sqrt(0.01F + energyOf(t.d));
    for (int track = 0; track < kTracks; ++track) {
        t.peak[track] = -1;
        t.peakAt[track] = track;
        for (int i = track; i < kFcbSubframe; i += kTracks) {
            const Qol32f v = kr * residual[i] + kd * t.d[i];
            t.p[i] = v >= 0 ? 1.0F : -1.0F;
            t.d[i] *= t.p[i];
            if (std::fabs(v) > t.peak[track]) {
                t.peak[track] = std::fabs(v);
                t.peakAt[track] = i;
            }
        }
    }
}

/// Signed cross term.
Qol32f cross(const Target& t, const ResponseGram& g, int i, int j) {
    return t.p[i] * t.p[j] * g.r[i][j];
}

/// Half the energy that a pulse adds: its own half and its terms with the pulses so far.
Qol32f pulseTerm(const Target& t, const ResponseGram& g, const Qol32f* h, const Qol32f* vec,
                 int i) {
    Qol32f sum = 0;
    for (int n = i; n < kFcbSubframe; ++n) {
        sum += h[n - i] * vec[n];
    }
    return t.p[i] * sum + 0.5F * g.r[i][i];
}

/// Sum of correlations and half the energy of the pulses chosen so far.
struct Running {
    Qol32f ps, alpha;
};

/// Best pair on two neighbouring tracks behind the pulses chosen so far.
void searchPair(const Target& t, const ResponseGram& g, const Qol32f* h, const Qol32f* vec,
                int trackX, int trackY, Running& running, int* px, int* py) {
    Qol32f termY[kPerTrack];
    for (int l = 0; l < kPerTrack; ++l) {
        termY[l] = pulseTerm(t, g, h, vec, kTracks * l + trackY);
    }
    Best_32f best{-1, 1};
    *px = trackX;
    *py = trackY;
    for (int x = trackX; x < kFcbSubframe; x += kTracks) {
        const Qol32f alpha1 = running.alpha + pulseTerm(t, g, h, vec, x);
        for (int l = 0; l < kPerTrack; ++l) {
            const int y = kTracks * l + trackY;
            const Qol32f ps = running.ps + t.d[x] + t.d[y];
            const Qol32f alpha = alpha1 + termY[l] + cross(t, g, x, y);
            if (isBetter(best, ps * ps, alpha)) {
                best = {ps * ps, alpha};
                *px = x;
                *py = y;
            }
        }
    }
    running = {running.ps + t.d[*px] + t.d[*py], best.alpha};
}

Best_32f runTrial(const Target& t, const ResponseGram& g, const Qol32f* h, int pulses,
                  PulseSet& set) {
    int x = t.peakAt[ipos[set.start]], y = t.peakAt[ipos[set.start + 1]];
    set.position[0] = x;
    set.position[1] = y;
    Running running{t.d[x] + t.d[y], 0.5F * (g.r[x][x] + g.r[y][y]) + cross(t, g, x, y)};
    Qol32f vec[kFcbSubframe] = {};
    for (int j = 2; j < pulses; j += 2) {
        addDelayed_32f(h, x, t.p[x], vec);
        addDelayed_32f(h, y, t.p[y], vec);
        searchPair(t, g, h, vec, ipos[set.start + j], ipos[set.start + j + 1], running, &x, &y);
        set.position[j] = x;
        set.position[j + 1] = y;
    }
    return {running.ps * running.ps, running.alpha};
}

Qol32f sum(Qol32f a, Qol32f b) { return a + b; }

} // namespace

QolStatus qolsFixedCodebookSearch_G729D_32f(const Qol32f* pSrcFixedCorr,
                                            const Qol32f* pSrcImpulseResponse,
                                            Qol32f* pDstFixedVector, Qol32f* pDstFltFixedVector,
                                            Qol32s* pDstSign, Qol32s* pDstPosition) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcImpulseResponse, pDstFixedVector, pDstFltFixedVector, pDstSign,
                pDstPosition)) {
        return qolStsNullPtrErr;
    }
    ResponseGram g;
    correlateResponse_32f(pSrcImpulseResponse, g);
    const SignedCorrelation_32f s = splitSigns_32f(pSrcFixedCorr);
    Best_32f best{0, 1000000};
    int place[2] = {kPerTrack, 0}; // positions 1 and 0
    for (const PassTracks& pass : kPassTracksG729D) {
        for (int i = kPerTrack * pass.outer; i < kPerTrack * (pass.outer + 1); ++i) {
            for (int j = kPerTrack * pass.inner; j < kPerTrack * (pass.inner + 1); ++j) {
                const int pi = positionOf(i), pj = positionOf(j);
                const Qol32f ps = s.d[i] + s.d[j];
                const Qol32f alpha = g.r[pi][pi] + g.r[pj][pj] + 2 * s.p[i] * s.p[j] * g.r[pi][pj];
                if (isBetter(best, ps * ps, alpha)) {
                    best = {ps * ps, alpha};
                    place[0] = pass.outerIsFirst ? i : j;
                    place[1] = pass.outerIsFirst ? j : i;
                }
            }
        }
    }
    Qol32f vector[kFcbSubframe] = {}, filtered[kFcbSubframe] = {};
    *pDstSign = 0;
    for (int i = 0; i < 2; ++i) {
        const Qol32f p = s.p[place[i]];
        vector[positionOf(place[i])] += p;
        addDelayed_32f(pSrcImpulseResponse, positionOf(place[i]), p, filtered);
        *pDstSign |= (p > 0 ? 1 : 0) << i;
    }
    *pDstPosition = positionWord_G729D(positionOf(place[0]), positionOf(place[1]));
    std::copy_n(vector, kFcbSubframe, pDstFixedVector);
    std::copy_n(filtered, kFcbSubframe, pDstFltFixedVector);
    return qolStsNoErr;
}

QolStatus qolsFixedCodebookSearch_G729E_32f(Qol16s valMode, const Qol32f* pSrcFixedTarget,
                                            const Qol32f* pSrcLtpResidual,
                                            const Qol32f* pSrcImpulseResponse,
                                            Qol32f* pDstFixedVector, Qol32f* pDstFltFixedVector,
                                            Qol32s* pDstFixedIndex) noexcept {
    if (anyNull(pSrcFixedTarget, pSrcLtpResidual, pSrcImpulseResponse, pDstFixedVector,
                pDstFltFixedVector, pDstFixedIndex)) {
        return qolStsNullPtrErr;
    }
    const int pulses = valMode == 0 ? 10 : 12;
    Target t;
    ResponseGram g;
    correlate(pSrcFixedTarget, pSrcImpulseResponse, t.d);
    setSigns(pSrcLtpResidual, t);
    correlateResponse_32f(pSrcImpulseResponse, g);

    const PulseSet best = bestOfTrials(t.peak, sum, Best_32f{-1, 1}, [&](PulseSet& set) {
        return runTrial(t, g, pSrcImpulseResponse, pulses, set);
    });
    Qol32f code[kFcbSubframe] = {}, filtered[kFcbSubframe] = {};
    bool negative[kFcbSubframe];
    for (int i = 0; i < kFcbSubframe; ++i) {
        negative[i] = t.p[i] < 0;
    }
    for (int i = 0; i < pulses; ++i) {
        const int position = best.position[i];
        code[position] += t.p[position];
        addDelayed_32f(pSrcImpulseResponse, position, t.p[position], filtered);
    }
    int words[kTracks];
    codeWords_G729E(best, pulses, negative, words);
    std::copy_n(code, kFcbSubframe, pDstFixedVector);
    std::copy_n(filtered, kFcbSubframe, pDstFltFixedVector);
    std::copy_n(words, kTracks, pDstFixedIndex);
    return qolStsNoErr;
}

} // namespace qolsc
