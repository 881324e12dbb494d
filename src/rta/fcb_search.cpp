// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook search of the RTA family: 5 to 10 signed unit pulses on five interleaved
// tracks. Tracks are filled one after the other, each given the pulses already placed; the effort
// of a mode tells from how many tracks the search starts and whether the result is refined track by
// track.
#include "entry/checks.h"
#include "entry/entries.h"
#include "rta/fcb_tracks.h"
#include "vector/vector.h"

#include <cstring>

namespace qolsc {

using namespace rta;

namespace {

constexpr int kBufferBytes = 33760;
static_assert(sizeof(Field) + 31 <= kBufferBytes);
constexpr int kMostRefinements = 4;

/// Pulses of each track by numPulses - 5.
constexpr int kCounts[6][kTracks] = {{1, 1, 1, 1, 1}, {2, 1, 1, 1, 1}, {2, 2, 1, 1, 1},
                                     {2, 2, 2, 1, 1}, {2, 2, 2, 2, 1}, {2, 2, 2, 2, 2}};

/// Effort by mode. A mode's candidates are among those of the mode above it, so none is better than
/// the one above.
struct Effort {
    bool refine;
    int starts; // first tracks that are tried
};
constexpr Effort kEffort[4] = {{true, 4}, {true, 3}, {false, 2}, {false, 1}};

/// Backward-filtered target by track, energies and correlations.
void owndspPrePulseSearch(const Steps& steps, const Qol32f* pTarget, const Qol32f* pImp, Field& f) {
    Qol32f backward[kMostLength];
    qolsCrossCorr_32f(pImp, f.len, pTarget, f.len, backward, f.len, 0, nullptr);
    std::memset(f.d, 0, sizeof f.d);
    for (int i = 0; i < f.n * kTracks; ++i) {
        f.d[placeOf(i)] = backward[i];
    }
    steps.correlate(f, pImp);
}

bool isBetter(Sums a, Sums b) { return a.num * a.num * b.den > b.num * b.num * a.den; }

void placeTrack(const Steps& steps, Field& f, Pulses& pulses, int t, int count) {
    const Sums placed = steps.sumsWithout(f, pulses, t);
    pulses[t] = (count == 1 ? steps.one : steps.two)(f, t, placed);
}

/// All tracks once, beginning with `first`, each beside those already filled.
void fillTracks(const Steps& steps, Field& f, Pulses& pulses, const int* counts, int first) {
    for (TrackPulses& p : pulses) {
        p = TrackPulses{0, {-1, -1}, {0, 0}};
    }
    for (int i = 0; i < kTracks; ++i) {
        const int t = (first + i) % kTracks;
        placeTrack(steps, f, pulses, t, counts[t]);
    }
}

bool isSame(const TrackPulses& a, const TrackPulses& b) {
    return a.rank[0] == b.rank[0] && a.rank[1] == b.rank[1] && a.sign[0] == b.sign[0] &&
           a.sign[1] == b.sign[1];
}

/// Each track anew beside all others, until a round brings nothing; `newest` was filled last,
/// `best` are the sums.
Sums refine(const Steps& steps, Field& f, Pulses& pulses, const int* counts, int newest,
            Sums best) {
    bool known[kTracks] = {}; // what the search of the track would give
    known[newest] = steps.skipsKnown;
    for (int round = 0; round < kMostRefinements; ++round) {
        Pulses trial;
        std::memcpy(trial, pulses, sizeof trial);
        for (int t = 0; t < kTracks; ++t) {
            if (known[t]) {
                continue;
            }
            placeTrack(steps, f, trial, t, counts[t]);
            if (!isSame(trial[t], pulses[t])) {
                std::memset(known, 0, sizeof known);
            }
            known[t] = steps.skipsKnown;
        }
        const Sums now = steps.sumsWithout(f, trial, -1);
        if (!isBetter(now, best)) {
            break;
        }
        best = now;
        std::memcpy(pulses, trial, sizeof trial);
    }
    return best;
}

/// Index of a track: rank and sign of one pulse; the order of two ranks tells whether the signs are
/// alike.
Qol32s indexOf(const TrackPulses& p, int n) {
    const auto bit = [](Qol32f sign) { return sign >= 0 ? 1 : 0; };
    if (p.rank[0] < 0) {
        return 0;
    }
    if (p.count == 1) {
        return p.rank[0] + bit(p.sign[0]) * n;
    }
    const int low = p.rank[0] < p.rank[1] ? 0 : 1, high = 1 - low;
    if (p.sign[0] == p.sign[1]) {
        return (p.rank[high] + bit(p.sign[0]) * n) * n + p.rank[low];
    }
    return (p.rank[low] + bit(p.sign[low]) * n) * n + p.rank[high];
}

void writeResult(const Field& f, Pulses& pulses, Sums sums, Qol32f* pExc, Qol32s len,
                 Qol32s* pIndex, Qol32f* pGain) {
    const Qol32f g = sums.den > 0 ? sums.num / sums.den : 0.0f;
    std::memset(pExc, 0, static_cast<std::size_t>(len) * sizeof *pExc);
    for (int t = 0; t < kTracks; ++t) {
        for (int p = 0; p < pulses[t].count; ++p) {
            Qol32f& sign = pulses[t].sign[p];
            sign = g < 0 ? -sign : sign;
            if (pulses[t].rank[p] >= 0) {
                pExc[t + kTracks * pulses[t].rank[p]] += sign;
            }
        }
        pIndex[t] = indexOf(pulses[t], f.n);
    }
    *pGain = g < 0 ? -g : g;
}

} // namespace

Sums rta::searchPulses(const Steps& steps, Field& f, const Qol32f* target, const Qol32f* imp,
                       int numPulses, int mode, Pulses& best) {
    owndspPrePulseSearch(steps, target, imp, f);
    const int* counts = kCounts[numPulses - kTracks];
    const Effort effort = kEffort[mode];
    Sums bestSums{0, 0};
    for (int start = 0; start < effort.starts; ++start) {
        Pulses pulses;
        fillTracks(steps, f, pulses, counts, start);
        Sums sums = steps.sumsWithout(f, pulses, -1);
        if (effort.refine) {
            sums = refine(steps, f, pulses, counts, (start + kTracks - 1) % kTracks, sums);
        }
        if (start == 0 || isBetter(sums, bestSums)) {
            bestSums = sums;
            std::memcpy(best, pulses, sizeof best);
        }
    }
    return bestSums;
}

QolStatus qolsFixedCodebookSearch_RTA_GetBufferSize_32f(Qol32s* pSize) noexcept {
    return giveSize(kBufferBytes, pSize);
}

QolStatus qolsFixedCodebookSearchBuffer_RTA_32f(const Qol32f* pTarget, const Qol32f* pImp,
                                                Qol32f* pExc, Qol32s len, Qol32s* pIndex,
                                                Qol32f* pGain, Qol32s numPulses, Qol32s mode,
                                                Qol8u* pBuffer) noexcept {
    if (anyNull(pTarget, pImp, pExc, pGain) || anyNull(pIndex) || anyNull(pBuffer)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len > kMostLength || numPulses < kTracks || numPulses > kMostPulses ||
        mode < 0 || mode > 3) {
        return qolStsRangeErr;
    }
    auto* f = reinterpret_cast<Field*>(alignUp<32>(pBuffer));
    f->len = len;
    f->n = len / kTracks;
    Pulses best;
    const Sums sums = searchPulses(kFast, *f, pTarget, pImp, numPulses, mode, best);
    writeResult(*f, best, sums, pExc, len, pIndex, pGain);
    return qolStsNoErr;
}

} // namespace qolsc
