// SPDX-License-Identifier: Apache-2.0
// Searches of the 17-bit codebook in floating point: nested (G.729 3.8.1) and depth first
// (A.3.8.1).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb_32f.h"

#include <algorithm>

namespace qolsc {

namespace {

constexpr int kBudget = 75, kFirstExtra = 30;

void modulate(const SignedCorrelation_32f& s, Qol32f* matrix) {
    for (int first = 0; first < 3; ++first) {
        for (int second = first + 1; second < kTracks; ++second) {
            Qol32f* block = blockOf(matrix, first, second);
            for (int k = 0; k < kPerTrack; ++k) {
                for (int l = 0; l < kPerTrack; ++l) {
                    block[kPerTrack * k + l] *=
                        s.p[kPerTrack * first + k] * s.p[kPerTrack * second + l];
                }
            }
        }
    }
}

/// Cross term of two pulses given in track order, on different tracks.
Qol32f cross(const Qol32f* matrix, int i, int j) {
    if (i > j) {
        std::swap(i, j);
    }
    return blockOf(matrix, i / kPerTrack,
                   j / kPerTrack)[kPerTrack * (i % kPerTrack) + j % kPerTrack];
}

void codePulses_32f(const SignedCorrelation_32f& s, const int* at, Qol32f* pVector,
                    Qol32s* pIndex) {
    std::fill_n(pVector, kFcbSubframe, 0.0F);
    pIndex[0] = pIndex[1] = 0;
    for (int i = 0; i < 4; ++i) {
        const int track = at[i] / kPerTrack, k = at[i] % kPerTrack;
        pVector[positionOf(at[i])] = s.p[at[i]];
        pIndex[0] |= (s.p[at[i]] > 0 ? 1 : 0) << i;
        pIndex[1] |= (i < 3 ? k : 2 * k + track - 3) << (3 * i);
    }
}

/// 0.4 of the way from the mean of the first three tracks to the sum of their maxima.
Qol32f threshold(const Qol32f* d) {
    Qol32f mean = 0, most = 0;
    for (int t = 0; t < 3; ++t) {
        const Qol32f* track = d + kPerTrack * t;
        for (int k = 0; k < kPerTrack; ++k) {
            mean += track[k];
        }
        most += *std::max_element(track, track + kPerTrack);
    }
    mean *= 0.125F;
    return mean + 0.4F * (most - mean);
}

/// All 16 positions of the last pulse behind three fixed ones of sum ps and energy alpha; true when
/// one is better.
bool searchLast(const Qol32f* matrix, const Qol32f* d, const int* fixed, Qol32f ps, Qol32f alpha,
                Best_32f& best, int* at) {
    bool found = false;
    for (int last = 24; last < kFcbSubframe; ++last) {
        const Qol32f c = ps + d[last];
        const Qol32f e = alpha + matrix[last] +
                         2 * (cross(matrix, fixed[0], last) + cross(matrix, fixed[1], last) +
                              cross(matrix, fixed[2], last));
        if (isBetter(best, c * c, e)) {
            best = {c * c, e};
            *at = last;
            found = true;
        }
    }
    return found;
}

int searchNested(const Qol32f* matrix, const Qol32f* d, int budget, int* at) {
    const Qol32f thr = threshold(d);
    Best_32f best{0, 1000000};
    for (int i0 = 0; i0 < 8; ++i0) {
        for (int i1 = 8; i1 < 16; ++i1) {
            const Qol32f ps1 = d[i0] + d[i1];
            const Qol32f alpha1 = matrix[i0] + matrix[i1] + 2 * cross(matrix, i0, i1);
            for (int i2 = 16; i2 < 24; ++i2) {
                const Qol32f ps2 = ps1 + d[i2];
                if (!(ps2 > thr)) {
                    continue;
                }
                const Qol32f alpha2 =
                    alpha1 + matrix[i2] + 2 * (cross(matrix, i0, i2) + cross(matrix, i1, i2));
                const int fixed[3] = {i0, i1, i2};
                int i3 = 0;
                if (searchLast(matrix, d, fixed, ps2, alpha2, best, &i3)) {
                    std::copy_n(fixed, 3, at);
                    at[3] = i3;
                }
                if (--budget <= 0) {
                    return budget;
                }
            }
        }
    }
    return budget;
}

// ---- Annex A ----

/// Places of the largest magnitude of a track and of the largest of the others.
void ownFindTwoMaxIdx_G729A_32f(const Qol32f* d, int track, int* at) {
    const Qol32f* first = d + kPerTrack * track;
    at[0] = static_cast<int>(std::max_element(first, first + kPerTrack) - d);
    at[1] = -1;
    for (int i = kPerTrack * track; i < kPerTrack * (track + 1); ++i) {
        if (i != at[0] && (at[1] < 0 || d[i] > d[at[1]])) {
            at[1] = i;
        }
    }
}

/// Pulses by role: a and b of phase A, c and d of phase B.
struct Trial {
    int a, b, c, d;
};

/// a on one of the two largest of its track, b anywhere on its. Returns the energy of the best
/// pair.
Qol32f ownFixedCodebookASearchPhaseA_32f(const Qol32f* matrix, const Qol32f* d, int trackA,
                                         int trackB, Trial& t) {
    Best_32f best{-1, 1};
    int largest[2];
    ownFindTwoMaxIdx_G729A_32f(d, trackA, largest);
    for (const int a : largest) {
        for (int b = kPerTrack * trackB; b < kPerTrack * (trackB + 1); ++b) {
            const Qol32f c = d[a] + d[b];
            const Qol32f e = matrix[a] + matrix[b] + 2 * cross(matrix, a, b);
            if (isBetter(best, c * c, e)) {
                best = {c * c, e};
                t.a = a;
                t.b = b;
            }
        }
    }
    return best.alpha;
}

/// c and d anywhere on their tracks behind the pair of phase A.
Best_32f ownFixedCodebookASearchPhaseB_32f(const Qol32f* matrix, const Qol32f* d, int trackC,
                                           int trackD, Qol32f energy, Trial& t) {
    Best_32f best{-1, 1};
    for (int c = kPerTrack * trackC; c < kPerTrack * (trackC + 1); ++c) {
        const Qol32f ps = d[t.a] + d[t.b] + d[c];
        const Qol32f e1 = energy + matrix[c] + 2 * (cross(matrix, t.a, c) + cross(matrix, t.b, c));
        for (int i = kPerTrack * trackD; i < kPerTrack * (trackD + 1); ++i) {
            const Qol32f s = ps + d[i];
            const Qol32f e =
                e1 + matrix[i] +
                2 * (cross(matrix, t.a, i) + cross(matrix, t.b, i) + cross(matrix, c, i));
            if (isBetter(best, s * s, e)) {
                best = {s * s, e};
                t.c = c;
                t.d = i;
            }
        }
    }
    return best;
}

void searchDepthFirst(const Qol32f* matrix, const Qol32f* d, int* at) {
    Best_32f keeper{-1, 1};
    for (const int last : {3, 4}) {
        const int passes[2][4] = {{2, last, 0, 1}, {last, 0, 1, 2}};
        for (const auto& tracks : passes) {
            Trial t{8 * tracks[0], 8 * tracks[1], 8 * tracks[2], 8 * tracks[3]};
            const Qol32f energy =
                ownFixedCodebookASearchPhaseA_32f(matrix, d, tracks[0], tracks[1], t);
            const Best_32f best =
                ownFixedCodebookASearchPhaseB_32f(matrix, d, tracks[2], tracks[3], energy, t);
            if (isBetter(keeper, best.square, best.alpha)) {
                keeper = best;
                for (const int place : {t.a, t.b, t.c, t.d}) {
                    at[std::min(place / kPerTrack, 3)] = place;
                }
            }
        }
    }
}

} // namespace

QolStatus qolsFixedCodebookSearch_G729_32f(const Qol32f* pSrcFixedCorr, Qol32f* pSrcDstMatrix,
                                           Qol32f* pDstFixedVector, Qol32s* pDstFixedIndex,
                                           Qol32s* pSearchTimes, int subFrame) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex, pSearchTimes)) {
        return qolStsNullPtrErr;
    }
    const SignedCorrelation_32f s = splitSigns_32f(pSrcFixedCorr);
    modulate(s, pSrcDstMatrix);
    // More than 512 calls can't be used up, so that a carry of any size stays within an int.
    const int carry = subFrame == 0 ? kFirstExtra : std::clamp(*pSearchTimes, -1000000, 1000000);
    int at[4] = {0, 8, 16, 24};
    *pSearchTimes = searchNested(pSrcDstMatrix, s.d, kBudget + carry, at);
    codePulses_32f(s, at, pDstFixedVector, pDstFixedIndex);
    return qolStsNoErr;
}

QolStatus qolsFixedCodebookSearch_G729A_32f(const Qol32f* pSrcFixedCorr, Qol32f* pSrcDstMatrix,
                                            Qol32f* pDstFixedVector,
                                            Qol32s* pDstFixedIndex) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcDstMatrix, pDstFixedVector, pDstFixedIndex)) {
        return qolStsNullPtrErr;
    }
    const SignedCorrelation_32f s = splitSigns_32f(pSrcFixedCorr);
    modulate(s, pSrcDstMatrix);
    int at[4] = {0, 8, 16, 24};
    searchDepthFirst(pSrcDstMatrix, s.d, at);
    codePulses_32f(s, at, pDstFixedVector, pDstFixedIndex);
    return qolStsNoErr;
}

} // namespace qolsc
