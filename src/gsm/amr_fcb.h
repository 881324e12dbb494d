// SPDX-License-Identifier: Apache-2.0
// What the files of the AMR algebraic codebooks share: the problem that a search gets, its fast and
// its plain form, packing of pulses. 3GPP TS 26.090 §5.7.
#pragma once

#include "gsm/amr_rates.h"

namespace qolsc::amr {

inline constexpr int kMaxPulses = 10;

/// What a search works on, positions 0 to 39 in natural order.
struct PulseProblem {
    Qol16s dn[kSubframe];   ///< target filtered backward, with the sign taken out
    Qol16s sign[kSubframe]; ///< 32767 or -32767
    Qol16s h2[kSubframe];   ///< impulse response scaled for the matrix
    /// 8 and 10 pulses: place of the largest magnitude by track, and the order of the tracks.
    Qol16s posMax[5];
    Qol16s ipos[kMaxPulses];
};

/// Positions in the order of the search.
struct PulseSet {
    Qol16s pos[kMaxPulses];
};

/// Kind of search by rate.
enum class Codebook { pulses2of9, pulses2of11, pulses3, pulses4, pulses8, pulses10 };
constexpr Codebook codebookOf(Qol32s rate) {
    return rate <= kRate515   ? Codebook::pulses2of9
           : rate == kRate59  ? Codebook::pulses2of11
           : rate == kRate67  ? Codebook::pulses3
           : rate <= kRate795 ? Codebook::pulses4
           : rate == kRate102 ? Codebook::pulses8
                              : Codebook::pulses10;
}
constexpr int pulseCount(Codebook book) {
    constexpr int counts[] = {2, 2, 3, 4, 8, 10};
    return counts[static_cast<int>(book)];
}
constexpr int trackCount(Codebook book) { return book == Codebook::pulses8 ? 4 : 5; }

/// Q15 weights in the energies that rank a pair of pulses, the search of 8 and 10 pulses placing
/// pairs: own and cross terms of the inner pulse, rounded apart, then of the outer one, the weight
/// of the inner terms, and of the two pulses' correlation. By level.
struct PairWeights {
    Qol16s innerOwn, innerCross, outerOwn, outerCross, inner, both;
};
inline constexpr PairWeights kPairWeights[] = {{4096, 8192, 2048, 4096, 16384, 4096},
                                               {4096, 8192, 1024, 2048, 8192, 2048},
                                               {2048, 4096, 512, 1024, 8192, 1024},
                                               {2048, 4096, 256, 512, 4096, 512}};

/// Correlations of the scaled response in track order: position p lies at [p % Tracks][p / Tracks].
/// Rows of 10 places are filled up to 16 with zeros.
template <int Tracks>
struct TrackMatrix {
    static constexpr int kPlaces = kSubframe / Tracks;
    static constexpr int kStride = kPlaces == 8 ? 8 : 16;
    alignas(16) Qol16s dn[Tracks][kStride];
    alignas(16) Qol16s diag[Tracks][kStride];
    alignas(16) Qol16s rr[Tracks][kPlaces][Tracks][kStride];
};

/// Work memory of one search.
struct FixedSearchWork {
    alignas(16) Qol16s rr[kSubframe][kSubframe]; ///< the plain form's matrix
    TrackMatrix<5> five;
    TrackMatrix<4> four;
};

/// The standard's search on the full matrix, saturating at every step: it defines the result.
void searchPlain(const PulseProblem& problem, Codebook book, int subFrame, FixedSearchWork& work,
                 PulseSet& best);

/// The same with eight candidates a step. False, and no result, where a sum could saturate or an
/// energy term isn't positive: the order of candidates then matters in ways that lanes don't keep.
bool searchLanes(const PulseProblem& problem, Codebook book, int subFrame, FixedSearchWork& work,
                 PulseSet& best);

/// The parts of searchLanes: 2 to 4 pulses, 8 and 10 pulses.
bool searchSparse(Codebook book, int subFrame, const TrackMatrix<5>& m, PulseSet& best);
template <int Tracks>
bool searchDense(const PulseProblem& problem, const TrackMatrix<Tracks>& m, PulseSet& best);

/// Fills dn, diag and the blocks of the matrix: bit t of rows[c] asks for the rows of track t by
/// the columns of track (t + c) % Tracks. Sums must not saturate.
template <int Tracks>
void fillTrackMatrix(const PulseProblem& problem, const Qol8u (&rows)[Tracks],
                     TrackMatrix<Tracks>& m);

/// Everything before the search; h is the response with the pitch sharpening in it.
void preparePulses(const Qol16s* pTarget, const Qol16s* pLtpRes, const Qol16s* h, Codebook book,
                   PulseProblem& problem);

/// Marks with -1, in each of the five tracks, the `count` smallest entries (the first of equals
/// first).
void pruneTracks(const Qol16s* dn, int count, Qol16s* dn2);

/// Code vector, filtered code vector and index words of a set of pulses.
void packPulses(const PulseSet& set, const Qol16s* sign, const Qol16s* h, Codebook book,
                int subFrame, Qol16s* pFixedVec, Qol16s* pFiltFixedVec, Qol16s* pIndices);

/// Code vector of index words, the inverse of packPulses.
void unpackPulses(const Qol16s* pIndices, Codebook book, int subFrame, Qol16s* pFixedVec);

} // namespace qolsc::amr
