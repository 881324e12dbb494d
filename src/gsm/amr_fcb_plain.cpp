// SPDX-License-Identifier: Apache-2.0
// The plain algebraic searches of AMR: full matrix, one candidate at a time, every sum saturating.
// 3GPP TS 26.090 §5.7.
#include "gsm/amr_fcb.h"

#include "numeric/basop.h"
#include "tables/gsm_fcb.h"

namespace qolsc::amr {

using namespace basop;

void pruneTracks(const Qol16s* dn, int count, Qol16s* dn2) {
    for (int i = 0; i < kSubframe; ++i) {
        dn2[i] = dn[i];
    }
    for (int t = 0; t < 5; ++t) {
        for (int n = 0; n < count; ++n) {
            int smallest = -1;
            for (int i = t; i < kSubframe; i += 5) {
                if (dn2[i] >= 0 && (smallest < 0 || dn2[i] < dn2[smallest])) {
                    smallest = i;
                }
            }
            dn2[smallest] = -1;
        }
    }
}

namespace {

using Matrix = Qol16s[kSubframe][kSubframe];

// The products of two signs are 32766 and -32767 in the standard's arithmetic, and stay so.
void fillMatrix(const PulseProblem& p, Matrix& rr) {
    Qol32s s = 0;
    for (int k = 0; k < kSubframe; ++k) {
        s = L_mac(s, p.h2[k], p.h2[k]);
        rr[39 - k][39 - k] = round_fx(s);
    }
    for (int d = 1; d < kSubframe; ++d) {
        s = 0;
        for (int k = 0; k < kSubframe - d; ++k) {
            s = L_mac(s, p.h2[k], p.h2[k + d]);
            const int j = 39 - k, i = j - d;
            rr[i][j] = rr[j][i] = mult(round_fx(s), mult(p.sign[i], p.sign[j]));
        }
    }
}

/// Square and energy of the best candidate so far.
struct Score {
    Qol16s sq = -1;
    Qol16s alp = 1;
};

bool better(const Score& candidate, const Score& best) {
    return Qol32s{best.alp} * candidate.sq > Qol32s{best.sq} * candidate.alp;
}

Qol16s squared(Qol16s ps) { return mult(ps, ps); }

void searchPairs(const PulseProblem& p, const Matrix& rr, int pairs, const int (*tracks)[2],
                 PulseSet& set) {
    Score best;
    for (int n = 0; n < pairs; ++n) {
        for (int i0 = tracks[n][0]; i0 < kSubframe; i0 += 5) {
            Score row;
            int i1Best = tracks[n][1];
            for (int i1 = tracks[n][1]; i1 < kSubframe; i1 += 5) {
                Qol32s e = L_mult(rr[i0][i0], 8192);
                e = L_mac(e, rr[i1][i1], 8192);
                e = L_mac(e, rr[i0][i1], 16384);
                const Score s = {squared(add(p.dn[i0], p.dn[i1])), round_fx(e)};
                if (better(s, row)) {
                    row = s;
                    i1Best = i1;
                }
            }
            if (better(row, best)) {
                best = row;
                set.pos[0] = static_cast<Qol16s>(i0);
                set.pos[1] = static_cast<Qol16s>(i1Best);
            }
        }
    }
}

// Depth first: the first pulse runs over the places that the pruning left, each later one over its
// whole track with the earlier ones held.
void searchDepth(const PulseProblem& p, const Matrix& rr, const Qol16s* dn2, const int* track,
                 int pulses, Score& best, PulseSet& set) {
    // First factor of the energy so far, then own and cross terms of the pulse, by level.
    static constexpr Qol16s kOwn[] = {0, 8192, 2048, 2048}, kCross[] = {0, 16384, 4096, 4096};
    for (int i0 = track[0]; i0 < kSubframe; i0 += 5) {
        if (dn2[i0] < 0) {
            continue;
        }
        int pos[4] = {i0, 0, 0, 0};
        Qol16s ps = p.dn[i0];
        Qol16s alp = rr[i0][i0];
        Score level;
        for (int n = 1; n < pulses; ++n) {
            const Qol32s base = n == 3 ? L_deposit_h(alp) : L_mult(alp, 8192);
            level = Score{};
            Qol16s psBest = ps;
            pos[n] = track[n];
            for (int i = track[n]; i < kSubframe; i += 5) {
                Qol32s e = L_mac(base, rr[i][i], kOwn[n]);
                for (int j = n - 1; j >= 0; --j) {
                    e = L_mac(e, rr[pos[j]][i], kCross[n]);
                }
                const Qol16s sum = add(ps, p.dn[i]);
                const Score s = {squared(sum), round_fx(e)};
                if (better(s, level)) {
                    level = s;
                    psBest = sum;
                    pos[n] = i;
                }
            }
            ps = psBest;
            alp = level.alp;
        }
        if (better(level, best)) {
            best = level;
            for (int n = 0; n < pulses; ++n) {
                set.pos[n] = static_cast<Qol16s>(pos[n]);
            }
        }
    }
}

// Places the pulses n and n + 1 of pos with all earlier ones held.
Score placePair(const PulseProblem& p, const Matrix& rr, int tracks, const PairWeights& w,
                const Qol16s* ipos, int n, Qol32s base, Qol16s& ps, Qol16s* pos) {
    Qol16s inner[kSubframe];
    for (int b = ipos[n + 1]; b < kSubframe; b += tracks) {
        Qol32s e = L_mult(rr[b][b], w.innerOwn);
        for (int j = 0; j < n; ++j) {
            e = L_mac(e, rr[pos[j]][b], w.innerCross);
        }
        inner[b] = round_fx(e);
    }
    Score best;
    Qol16s psBest = ps;
    pos[n] = ipos[n];
    pos[n + 1] = ipos[n + 1];
    int aBest = ipos[n], bBest = ipos[n + 1];
    for (int a = ipos[n]; a < kSubframe; a += tracks) {
        const Qol16s psA = add(ps, p.dn[a]);
        Qol32s e = L_mac(base, rr[a][a], w.outerOwn);
        for (int j = 0; j < n; ++j) {
            e = L_mac(e, rr[pos[j]][a], w.outerCross);
        }
        for (int b = ipos[n + 1]; b < kSubframe; b += tracks) {
            const Qol16s sum = add(psA, p.dn[b]);
            const Score s = {squared(sum),
                             round_fx(L_mac(L_mac(e, inner[b], w.inner), rr[a][b], w.both))};
            if (better(s, best)) {
                best = s;
                psBest = sum;
                aBest = a;
                bBest = b;
            }
        }
    }
    ps = psBest;
    pos[n] = static_cast<Qol16s>(aBest);
    pos[n + 1] = static_cast<Qol16s>(bBest);
    return best;
}

void searchRotations(const PulseProblem& p, const Matrix& rr, int tracks, PulseSet& set) {
    const int pulses = 2 * tracks;
    Qol16s ipos[kMaxPulses], pos[kMaxPulses];
    for (int i = 0; i < pulses; ++i) {
        ipos[i] = p.ipos[i];
    }
    Score best;
    for (int turn = 1; turn < tracks; ++turn) {
        const int i0 = p.posMax[ipos[0]], i1 = p.posMax[ipos[1]];
        pos[0] = static_cast<Qol16s>(i0);
        pos[1] = static_cast<Qol16s>(i1);
        Qol16s ps = add(p.dn[i0], p.dn[i1]);
        Qol32s base = L_mac(L_mac(L_mult(rr[i0][i0], 2048), rr[i1][i1], 2048), rr[i0][i1], 4096);
        Score level;
        for (int n = 2; n < pulses; n += 2) {
            level = placePair(p, rr, tracks, kPairWeights[n / 2 - 1], ipos, n, base, ps, pos);
            base = L_mult(level.alp, 16384);
        }
        if (better(level, best)) {
            best = level;
            for (int n = 0; n < pulses; ++n) {
                set.pos[n] = pos[n];
            }
        }
        const Qol16s first = ipos[1];
        for (int i = 1; i < pulses - 1; ++i) {
            ipos[i] = ipos[i + 1];
        }
        ipos[pulses - 1] = first;
    }
}

} // namespace

void searchPlain(const PulseProblem& problem, Codebook book, int subFrame, FixedSearchWork& work,
                 PulseSet& best) {
    using namespace tables;
    for (int n = 0; n < kMaxPulses; ++n) {
        best.pos[n] = static_cast<Qol16s>(n);
    }
    fillMatrix(problem, work.rr);
    Qol16s dn2[kSubframe];
    Score score;
    switch (book) {
    case Codebook::pulses2of9: {
        const Qol16s *a = startPos + 2 * subFrame, *b = a + 8;
        const int pairs[2][2] = {{a[0], a[1]}, {b[0], b[1]}};
        searchPairs(problem, work.rr, 2, pairs, best);
        break;
    }
    case Codebook::pulses2of11: {
        int pairs[8][2];
        for (int n = 0; n < 8; ++n) {
            pairs[n][0] = startPos1_r59[n];
            pairs[n][1] = startPos2_r59[n];
        }
        searchPairs(problem, work.rr, 8, pairs, best);
        break;
    }
    case Codebook::pulses3:
        pruneTracks(problem.dn, 2, dn2);
        for (int n = 0; n < 12; ++n) {
            const int track[] = {startPos0_R67[n], startPos1_R67[n], startPos2_R67[n]};
            searchDepth(problem, work.rr, dn2, track, 3, score, best);
        }
        break;
    case Codebook::pulses4:
        pruneTracks(problem.dn, 4, dn2);
        for (int n = 0; n < 8; ++n) {
            const int track[] = {startPos0_R74[n], startPos1_R74[n], startPos2_R74[n],
                                 startPos3_R74[n]};
            searchDepth(problem, work.rr, dn2, track, 4, score, best);
        }
        break;
    case Codebook::pulses8:
    case Codebook::pulses10:
        searchRotations(problem, work.rr, trackCount(book), best);
        break;
    }
}

} // namespace qolsc::amr
