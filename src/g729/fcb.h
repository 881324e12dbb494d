// SPDX-License-Identifier: Apache-2.0
// What the algebraic codebook searches share: tracks, signs, correlations by track (G.729 3.8).
#pragma once

#include "numeric/basop.h"
#include "qolsc/types.h"
#include "vector/q15.h"
#include "vector/simd.h"

#include <bit>
#include <utility>

namespace qolsc {

inline constexpr int kFcbSubframe = 40;
inline constexpr int kTracks = 5, kPerTrack = 8;
inline constexpr int kBlock = kPerTrack * kPerTrack;
inline constexpr int kMatrixBlocks = 9;
inline constexpr int kMatrixSize = kFcbSubframe + kMatrixBlocks * kBlock;

/// Position in natural order of a place in track order, 8 t + k.
constexpr int positionOf(int place) { return kTracks * (place % kPerTrack) + place / kPerTrack; }

/// Number of the block of cross terms of two tracks in the 616-element matrix, or -1. The first
/// track is the outer index of the block.
inline constexpr int kBlockOf[kTracks][kTracks] = {{-1, 0, 1, 2, 3},
                                                   {-1, -1, 4, 5, 6},
                                                   {-1, -1, -1, 7, 8},
                                                   {-1, -1, -1, -1, -1},
                                                   {-1, -1, -1, -1, -1}};

/// Start of the block of two tracks that have one.
template <typename T>
constexpr T* blockOf(T* matrix, int first, int second) {
    return matrix + kFcbSubframe + kBlock * kBlockOf[first][second];
}

/// Sign words of the standard: 32767 for a correlation of 0 or more, -32768 below.
inline constexpr Qol16s kPlus = 32767, kMinus = -32768;

/// Correlation by track: magnitude, saturated, and sign word of position 5 k + t at [8 t + k].
struct alignas(16) SignedCorrelation {
    Qol16s d[kFcbSubframe];
    Qol16s p[kFcbSubframe];
};
SignedCorrelation splitSigns(const Qol16s* corr);

/// Vector, sign word and position word of four pulses given by track order, 8 t + k.
void codePulses(const SignedCorrelation& s, const int* at, Qol16s* pVector, Qol16s* pIndex);

/// Shifts a 32-bit matrix right by 15 in place and copies it to 16 bits, by Rule S.
void narrowMatrix(Qol32s* wide, Qol16s* narrow);
void widenMatrix(const Qol16s* narrow, Qol32s* wide);

/// Best candidate by c^2/alpha so far; c^2 and alpha as 16-bit words.
struct Best {
    Qol16s square;
    Qol16s alpha;
};

/// True when a candidate's ratio is strictly larger; exact. square is never -32768.
constexpr bool isBetter(Best best, Qol16s square, Qol16s alpha) {
    return Qol64s{square} * best.alpha - Qol64s{best.square} * alpha > 0;
}

/// Offers eight candidates in order: calls take(lane) for each that is better than all before it,
/// and moves best. Squares lie in 0..32767. Most groups hold none, the others one or two: the lanes
/// behind a better one are compared again.
template <typename Take>
void offer8(simd::i128 square, simd::i128 alpha, Best& best, Take take) {
    using namespace simd;
    const i128 low = _mm_unpacklo_epi16(square, alpha), high = _mm_unpackhi_epi16(square, alpha);
    for (unsigned open = 0xFFFF;;) {
        const i128 weights = splat32(
            static_cast<Qol32s>(static_cast<Qol16u>(best.alpha) |
                                static_cast<Qol32u>(static_cast<Qol16u>(-best.square)) << 16));
        const i128 better = _mm_packs_epi32(_mm_cmpgt_epi32(maddPairs(low, weights), zero()),
                                            _mm_cmpgt_epi32(maddPairs(high, weights), zero()));
        const unsigned found = static_cast<unsigned>(_mm_movemask_epi8(better)) & open;
        if (found == 0) {
            return;
        }
        const int lane = std::countr_zero(found) / 2;
        alignas(16) Qol16s squares[8], alphas[8];
        store(squares, square);
        store(alphas, alpha);
        best = {squares[lane], alphas[lane]};
        take(lane);
        open = 0xFFFCU << (2 * lane) & 0xFFFF;
    }
}

/// Impulse response scaled for its correlations to use 16 bits; zeros for an energy below 32768.
void scaleResponse(const Qol16s* pSrc, Qol16s* h);

/// Energies of the response delayed to each position, by track: pDst[8 t + k].
void responseEnergies(const Qol16s* h, Qol32s* pDst);

/// Calls f for 0 to 4 as constant expressions.
template <typename F>
inline void forTracks(F f) {
    [&f]<int... T>(std::integer_sequence<int, T...>) { (f(std::integral_constant<int, T>{}), ...); }
    (std::make_integer_sequence<int, kTracks>{});
}

/// Correlations of the response delayed to positions i and j, R(i,j) = sum of h[n-i] h[n-j] over n:
/// calls emit(first, k, second, low, high) with the eight values of track `second` for every
/// position 5 k + first and every track; both tracks are constant expressions. R(i,j) = R(i+1,j+1)
/// + h[39-i] h[39-j], rows from the end, a row held by track, so that a step of one is a rotation
/// of the tracks. The sums wrap, for responses near full scale only.
template <typename Emit>
void correlateResponse(const Qol16s* h, Emit emit) {
    using namespace simd;
    const i128 lowWord = splat32(0xFFFF);
    i128 taps[kTracks][2], row[kTracks][2];
    for (int t = 0; t < kTracks; ++t) {
        alignas(16) Qol32s reversed[kPerTrack];
        for (int k = 0; k < kPerTrack; ++k) {
            reversed[k] = h[kFcbSubframe - 1 - (kTracks * k + t)];
        }
        for (int half = 0; half < 2; ++half) {
            taps[t][half] = _mm_and_si128(load(reversed + 4 * half), lowWord);
            row[t][half] = zero();
        }
    }
    for (int k = kPerTrack - 1; k >= 0; --k) {
        forTracks([&](auto fromEnd) {
            constexpr int first = kTracks - 1 - fromEnd;
            const i128 tap = splat16(h[kFcbSubframe - 1 - (kTracks * k + first)]);
            const i128 wrapLow = _mm_alignr_epi8(row[0][1], row[0][0], 4),
                       wrapHigh = _mm_srli_si128(row[0][1], 4);
            forTracks([&](auto second) {
                constexpr int t = second;
                const i128 low = t + 1 < kTracks ? row[(t + 1) % kTracks][0] : wrapLow;
                const i128 high = t + 1 < kTracks ? row[(t + 1) % kTracks][1] : wrapHigh;
                row[t][0] = add32(low, maddPairs(taps[t][0], tap));
                row[t][1] = add32(high, maddPairs(taps[t][1], tap));
                emit(std::integral_constant<int, first>{}, k, second, row[t][0], row[t][1]);
            });
        });
    }
}

/// Column k of an 8 x 8 block.
inline simd::i128 column8(const Qol16s* block, int k) {
    const Qol16s* p = block + k;
    return _mm_setr_epi16(p[0], p[8], p[16], p[24], p[32], p[40], p[48], p[56]);
}

} // namespace qolsc
