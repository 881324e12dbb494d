// SPDX-License-Identifier: Apache-2.0
// The vector vocabulary: the only file that names the intrinsic headers. 128-bit integers and
// 256-bit floats (AVX). Caller memory is always loaded and stored unaligned; there is no fused
// multiply-add anywhere.
#pragma once

#include "qolsc/types.h"

#include <immintrin.h>

#include <bit>

namespace qolsc::simd {

// ---- integers: 8 x 16s, 4 x 32s, 2 x 64s ----

using i128 = __m128i;

inline i128 load(const void* p) { return _mm_loadu_si128(static_cast<const i128*>(p)); }
inline i128 loadLow64(const void* p) { return _mm_loadl_epi64(static_cast<const i128*>(p)); }
inline void store(void* p, i128 v) { _mm_storeu_si128(static_cast<i128*>(p), v); }
inline void storeLow64(void* p, i128 v) { _mm_storel_epi64(static_cast<i128*>(p), v); }
inline i128 zero() { return _mm_setzero_si128(); }
inline i128 splat16(Qol16s v) { return _mm_set1_epi16(v); }
inline i128 splat32(Qol32s v) { return _mm_set1_epi32(v); }
/// A value in memory in all lanes: a load does it, where splat32 takes a shuffle.
inline i128 splatAt32(const Qol32s* p) {
    return _mm_castps_si128(_mm_set1_ps(std::bit_cast<Qol32f>(*p)));
}
inline i128 splat64(Qol64s v) { return _mm_set1_epi64x(v); }

/// Products of eight 16-bit pairs, neighbours added: four wrapping 32-bit sums (only two pairs of
/// -32768 squared wrap).
inline i128 maddPairs(i128 a, i128 b) { return _mm_madd_epi16(a, b); }
/// Products of 16 bits times 2^-15, rounded, halves upward; the one of two least values, 2^15,
/// wraps.
inline i128 mulRound15(i128 a, i128 b) { return _mm_mulhrs_epi16(a, b); }
inline i128 add16(i128 a, i128 b) { return _mm_add_epi16(a, b); }
inline i128 add32(i128 a, i128 b) { return _mm_add_epi32(a, b); }
inline i128 sub16(i128 a, i128 b) { return _mm_sub_epi16(a, b); }
inline i128 sub32(i128 a, i128 b) { return _mm_sub_epi32(a, b); }
inline i128 add64(i128 a, i128 b) { return _mm_add_epi64(a, b); }
inline i128 sub64(i128 a, i128 b) { return _mm_sub_epi64(a, b); }
/// 64-bit products of the lower 32-bit lane of each pair; upperLanes brings the upper ones there.
inline i128 mulLower32(i128 a, i128 b) { return _mm_mul_epi32(a, b); }
inline i128 upperLanes(i128 v) { return _mm_shuffle_epi32(v, 0xF5); }
inline i128 addSat16(i128 a, i128 b) { return _mm_adds_epi16(a, b); }
inline i128 subSat16(i128 a, i128 b) { return _mm_subs_epi16(a, b); }
/// Four and four 32-bit values narrowed to eight 16-bit ones by Rule S.
inline i128 packSat16(i128 lo, i128 hi) { return _mm_packs_epi32(lo, hi); }
/// Low and high four 16-bit values widened with sign.
inline i128 widenLow(i128 v) { return _mm_cvtepi16_epi32(v); }
inline i128 widenHigh(i128 v) { return _mm_cvtepi16_epi32(_mm_unpackhi_epi64(v, v)); }
/// Low and high two 32-bit values widened with sign to 64 bits.
inline i128 widenLow64(i128 v) { return _mm_cvtepi32_epi64(v); }
inline i128 widenHigh64(i128 v) { return _mm_cvtepi32_epi64(_mm_unpackhi_epi64(v, v)); }
/// Lower and upper 32 bits of two and two 64-bit lanes.
inline i128 lowerHalves(i128 a, i128 b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}
inline i128 upperHalves(i128 a, i128 b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xDD));
}

/// The eight 16-bit lanes in falling order.
inline i128 reverse16(i128 v) {
    return _mm_shuffle_epi8(v, _mm_set_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
}

/// Wrapping sum of four 32-bit lanes.
inline Qol32s sum32(i128 v) {
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    return _mm_cvtsi128_si32(v);
}
/// Wrapping sum of two 64-bit lanes.
inline Qol64s sum64(i128 v) {
    return _mm_cvtsi128_si64(_mm_add_epi64(v, _mm_unpackhi_epi64(v, v)));
}

// ---- floats: 8 x 32f, 4 x 64f ----

using f256 = __m256;
using d256 = __m256d;

inline f256 loadf(const Qol32f* p) { return _mm256_loadu_ps(p); }
inline void storef(Qol32f* p, f256 v) { _mm256_storeu_ps(p, v); }
inline f256 splatf(Qol32f v) { return _mm256_set1_ps(v); }
inline f256 zerof() { return _mm256_setzero_ps(); }
inline f256 addf(f256 a, f256 b) { return _mm256_add_ps(a, b); }
inline f256 subf(f256 a, f256 b) { return _mm256_sub_ps(a, b); }
inline f256 mulf(f256 a, f256 b) { return _mm256_mul_ps(a, b); }
/// The least or greatest of two; b where either is no number.
inline f256 minf(f256 a, f256 b) { return _mm256_min_ps(a, b); }
inline f256 maxf(f256 a, f256 b) { return _mm256_max_ps(a, b); }

/// b where the mask is set, else a. Not _mm256_blendv_ps: without AVX2, GCC 12 takes that to
/// pieces, lane by lane, when the mask comes from a comparison.
inline f256 selectf(f256 mask, f256 a, f256 b) {
    return _mm256_or_ps(_mm256_andnot_ps(mask, a), _mm256_and_ps(mask, b));
}

inline d256 loadd(const Qol64f* p) { return _mm256_loadu_pd(p); }
inline void stored(Qol64f* p, d256 v) { _mm256_storeu_pd(p, v); }
inline d256 zerod() { return _mm256_setzero_pd(); }
inline d256 splatd(Qol64f v) { return _mm256_set1_pd(v); }
inline d256 addd(d256 a, d256 b) { return _mm256_add_pd(a, b); }
inline d256 muld(d256 a, d256 b) { return _mm256_mul_pd(a, b); }
inline d256 mind(d256 a, d256 b) { return _mm256_min_pd(a, b); }
inline d256 maxd(d256 a, d256 b) { return _mm256_max_pd(a, b); }
inline d256 selectd(d256 mask, d256 a, d256 b) {
    return _mm256_or_pd(_mm256_andnot_pd(mask, a), _mm256_and_pd(mask, b));
}
/// Four floats as doubles.
inline d256 widened(const Qol32f* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }

/// The eight lanes in falling order.
inline f256 reversef(f256 v) {
    const f256 t = _mm256_permute_ps(v, 0x1B);
    return _mm256_permute2f128_ps(t, t, 1);
}

/// Sum of eight lanes: halves, then quarters, then pairs.
inline Qol32f sumf(f256 v) {
    __m128 s = _mm_add_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
    s = _mm_add_ps(s, _mm_movehl_ps(s, s));
    return _mm_cvtss_f32(_mm_add_ss(s, _mm_movehdup_ps(s)));
}
/// Sum of four lanes.
inline Qol64f sumd(d256 v) {
    const __m128d s = _mm_add_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
    return _mm_cvtsd_f64(_mm_add_sd(s, _mm_unpackhi_pd(s, s)));
}

} // namespace qolsc::simd
