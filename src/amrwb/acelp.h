// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook of AMR-WB: allocation of each rate, packing, kernels of the search
// (TS 26.190 5.8). Position p of a subframe lies on track p mod 4 at place p / 4 (12 bits: two
// tracks of 32 places); arrays by position are kept track after track.
#pragma once

#include "numeric/basop.h"

namespace qolsc::acelp {

inline constexpr int kLength = 64;
inline constexpr int kTracks = 4, kPlaces = 16;
inline constexpr int kMostPulses = 24;

/// One row of the search parameters with the packing that goes with it.
struct Rate {
    int bits;
    int iterations;
    Qol16s alp; ///< share of the correlation in the mix, Q12
    int pulses;
    int stages;            ///< pairs searched behind the fixed pulses
    Qol16s candidates[10]; ///< places tried for the first pulse of each pair
};

/// The row of a rate code, null for a code that isn't one. 12 bits have no iterations.
const Rate* rateOf(Qol32s valRate);

/// Place of position p in arrays kept track after track.
constexpr int trackIndex(int p) { return (p % kTracks) * kPlaces + p / kTracks; }

// ---- packing: a pulse code is place + 16 for a negative pulse ----

/// Index words of a pulse set; codes[t] lists the pulses of track t in the order of the search.
void pack(const Rate& rate, const Qol16s codes[kTracks][kMostPulses], Qol16s* pIndices);
/// Codes of all tracks from index words, counts[t] of each; upper bits of the words are ignored.
void unpack(const Rate& rate, const Qol16s* pIndices, Qol16s codes[kTracks][kMostPulses],
            int counts[kTracks]);

// ---- search ----

/// Tables of one search; fits the work buffer of 8192 bytes wherever that begins.
struct Work {
    alignas(32) Qol16s response[2 * kLength]; ///< 64 zeros, then the response
    Qol16s negated[2 * kLength];              ///< the same with the sign turned
    Qol16s vec[2 * kLength];                  ///< sum of the pulses' responses, then 64 zeros
    Qol16s bestVec[kLength];
    Qol16s dn[kLength];   ///< correlation with the target, signs taken out
    Qol16s mark[kLength]; ///< mixed signal, then rank - 8 of the eight greatest of each track
    Qol16s sign[kLength]; ///< 0 for a positive pulse, -1 for a negative one
    Qol16s xx[kLength];   ///< energies of the responses
    Qol16s xy[kTracks * kPlaces * kPlaces]; ///< products of responses of tracks t and t+1, signed
};

/// A pair of pulses under test: running best square and energy, places chosen.
struct Best {
    Qol16s square = -1;
    Qol16s energy = 1;
    int x = -1; ///< place on the first track, -1 while nothing was chosen
    int y = 0;
};

/// Energy of a subframe, not doubled.
Qol64s energyOf(const Qol16s* v);

/// What a stage starts from.
struct Stage {
    int trackX, trackY;
    int count;  ///< candidates on the first track
    Qol16s ps;  ///< sum of the correlations of the pulses so far
    Qol16s alp; ///< their energy
};

/// Product with a sign of +1 held as 32767: positive values lose one.
constexpr Qol16s signedProduct(Qol16s v, bool negative) {
    return basop::mult(v, negative ? basop::MIN_16 : basop::MAX_16);
}

// Each kernel stands twice: as the definition, and as a vector form for data that can't saturate
// (the form's name tells the condition).

/// y[i] = 1 + twice the sum over j >= i of target[j] * h[j - i].
void correlateTarget(const Qol16s* target, const Qol16s* h, Qol32s* y);
/// Greatest |target| times the sum of |h| below 2^30.
void correlateTarget_noOverflow(const Qol16s* target, const Qol16s* h, Qol32s* y);

/// Energies and products of the responses, four tracks of 16 places or two of 32; w.sign is in.
template <int Tracks>
void correlationTables(Work& w);
/// Energy of the response (not doubled) below kTableEnergy.
inline constexpr Qol64s kTableEnergy = 0x3FFF8000;
template <int Tracks>
void correlationTables_noOverflow(Work& w);

/// Ranks in w.mark the eight greatest places of each track; posMax[t] is the position of the first.
void selectPlaces(Work& w, Qol16s* posMax);
void selectPlaces_vector(Work& w, Qol16s* posMax);

/// Products of the responses of one track with w.vec, signed, energies added.
void stageCorrelation(const Work& w, int track, Qol16s* cor);
/// Energy of the response times energy of w.vec below kStageEnergies: no partial sum reaches 2^29.
inline constexpr Qol64s kStageEnergies = Qol64s{1} << 58;
void stageCorrelation_noOverflow(const Work& w, int track, Qol16s* cor);

/// Best pair of a stage.
void searchPair(const Work& w, const Stage& stage, const Qol16s* corX, const Qol16s* corY,
                Best& best);
/// |stage.alp| below 24575, so that only the last sum can saturate.
void searchPair_alpBelow24575(const Work& w, const Stage& stage, const Qol16s* corX,
                              const Qol16s* corY, Best& best);

/// All 32 x 32 pairs of the 12-bit codebook.
void searchTwoTracks(const Work& w, Best& best);
void searchTwoTracks_vector(const Work& w, Best& best);

/// Whole search after the choice of the rate. Plain takes the definitions throughout.
template <bool Plain>
void search(const Rate& rate, const Qol16s* pTarget, const Qol16s* pLtpRes, const Qol16s* pImpulse,
            Qol16s* pFixedVec, Qol16s* pFiltFixedVec, Qol16s* pIndices, Work& w);

} // namespace qolsc::acelp
