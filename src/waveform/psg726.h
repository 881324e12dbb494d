// SPDX-License-Identifier: Apache-2.0
// ITU-T G.726: what encoder and decoder share. Records, tables by rate, prediction, quantisation,
// adaptation.
//
// The chain from one sample to the next bounds the speed, so it is kept short: the eight products
// of the predictor are formed side by side, logarithms are read off the exponent of a float (exact:
// the operands have at most 15 bits), and quantiser and sign rules have no branches. All values are
// integers; floats only carry them.
#pragma once

#include "numeric/rules.h"
#include "qolsc/g726.h"
#include "tables/g726.h"
#include "vector/simd.h"

#include <bit>
#include <cstring>
#include <type_traits>

struct QolsEncodeState_G726 {
    Qol8u reserved[16];
    Qol16s pk0, pk1, pk2; // sign bits of dq + sez: this sample, one and two back
    Qol16s rateIndex;
    Qol16s yu, ap;     // fast scale factor (Q9), speed control (Q8)
    Qol32u yl;         // slow scale factor (Q15)
    Qol16s dms, dml;   // short (Q9) and long (Q11) average of F(I)
    Qol16s td, sez;    // tone flag, zero-predictor output
    Qol16s b[6], a[2]; // predictor coefficients, Q14
    Qol16u dqFloat[6]; // quantised differences, exponent << 6 | mantissa, newest first
    Qol16u srFloat[2]; // reconstructed values, likewise
    Qol16s dqSign[6], srSign[2];
};

struct QolsDecodeState_G726 {
    QolsEncodeState_G726 core;
    Qol16s law;
};

static_assert(sizeof(QolsEncodeState_G726) == 88 && sizeof(QolsDecodeState_G726) == 92);

namespace qolsc::g726 {

using simd::i128;

/// Everything that depends on the rate.
struct RateTables {
    int bits;   // of a code
    int leak;   // shift of the zero predictor's leak
    int levels; // decision levels without the lead value
    const Qol16s* dqln;
    const Qol32s* wi;
    const Qol16s* map;
    const Qol16s* lev;    // behind the lead value
    const Qol8u* ind[2];  // code by interval: difference not negative, negative
    const Qol8u* sync[2]; // rank by interval, likewise
};

inline constexpr RateTables kRates[4] = {{2,
                                          8,
                                          2,
                                          tables::reconst16_dqln,
                                          tables::sfa_tab16_wi,
                                          tables::asc_tab16_map,
                                          tables::quant16_lev + 1,
                                          {tables::quant16_ind_pos, tables::quant16_ind_neg},
                                          {tables::sync16_ind_pos, tables::sync16_ind_neg}},
                                         {3,
                                          8,
                                          4,
                                          tables::reconst24_dqln,
                                          tables::sfa_tab24_wi,
                                          tables::asc_tab24_map,
                                          tables::quant24_lev + 1,
                                          {tables::quant24_ind_pos, tables::quant24_ind_neg},
                                          {tables::sync24_ind_pos, tables::sync24_ind_neg}},
                                         {4,
                                          8,
                                          8,
                                          tables::reconst32_dqln,
                                          tables::sfa_tab32_wi,
                                          tables::asc_tab32_map,
                                          tables::quant32_lev + 1,
                                          {tables::quant32_ind_pos, tables::quant32_ind_neg},
                                          {tables::sync32_ind_pos, tables::sync32_ind_neg}},
                                         {5,
                                          9,
                                          16,
                                          tables::reconst40_dqln,
                                          tables::sfa_tab40_wi,
                                          tables::asc_tab40_map,
                                          tables::quant40_lev + 1,
                                          {tables::quant40_ind_pos, tables::quant40_ind_neg},
                                          {tables::sync40_ind_pos, tables::sync40_ind_neg}}};

/// The coder's state while it runs: vectors for the predictor, plain integers for the rest.
struct Core {
    i128 coef;  // lanes 0-5 b, 6-7 a
    i128 delay; // packed floats of dq (0-5) and sr (6-7), the sign flag in bit 15
    Qol32s a1, a2, pk1, pk2, yu, ap, yl, dms, dml, td;
    Qol32s y, sez;
};

/// Values of the sample under way that the later steps need.
struct Prediction {
    i128 se; // signal estimate in four 32-bit lanes
    Qol32s sez;
};

/// What a code stands for.
struct Difference {
    Qol32s code, magnitude, sign; // sign is 0 or 1
    Qol32s value;                 // with its sign
};

/// A packed float with its sign flag in bit 15.
constexpr Qol16u packDelay(Qol16u packed, Qol16s sign) {
    return static_cast<Qol16u>((packed & 0x7FFF) | (sign ? 0x8000 : 0));
}

inline Core loadCore(const QolsEncodeState_G726& s) {
    Core c{};
    alignas(16) Qol16u delay[8];
    alignas(16) Qol16s coef[8];
    for (int k = 0; k < 6; ++k) {
        coef[k] = s.b[k];
        delay[k] = packDelay(s.dqFloat[k], s.dqSign[k]);
    }
    for (int k = 0; k < 2; ++k) {
        coef[6 + k] = s.a[k];
        delay[6 + k] = packDelay(s.srFloat[k], s.srSign[k]);
    }
    c.coef = simd::load(coef);
    c.delay = simd::load(delay);
    c.a1 = s.a[0];
    c.a2 = s.a[1];
    c.pk1 = s.pk1;
    c.pk2 = s.pk2;
    c.yu = s.yu;
    c.ap = s.ap;
    c.yl = static_cast<Qol32s>(s.yl);
    c.dms = s.dms;
    c.dml = s.dml;
    c.td = s.td;
    c.sez = s.sez;
    return c;
}

inline void storeCore(const Core& c, QolsEncodeState_G726& s) {
    alignas(16) Qol16u delay[8];
    alignas(16) Qol16s coef[8];
    simd::store(coef, c.coef);
    simd::store(delay, c.delay);
    for (int k = 0; k < 6; ++k) {
        s.b[k] = coef[k];
        s.dqFloat[k] = delay[k] & 0x7FFF;
        s.dqSign[k] = delay[k] >> 15;
    }
    for (int k = 0; k < 2; ++k) {
        s.a[k] = coef[6 + k];
        s.srFloat[k] = delay[6 + k] & 0x7FFF;
        s.srSign[k] = delay[6 + k] >> 15;
    }
    s.pk0 = s.pk1 = static_cast<Qol16s>(c.pk1); // the newest sign stands in both
    s.pk2 = static_cast<Qol16s>(c.pk2);
    s.yu = static_cast<Qol16s>(c.yu);
    s.ap = static_cast<Qol16s>(c.ap);
    s.yl = static_cast<Qol32u>(c.yl);
    s.dms = static_cast<Qol16s>(c.dms);
    s.dml = static_cast<Qol16s>(c.dml);
    s.td = static_cast<Qol16s>(c.td);
    s.sez = static_cast<Qol16s>(c.sez);
}

/// Scale factor y from fast and slow part by the speed control (§2.5, MIX and LIMA). 544 <= y <=
/// 5120.
inline Qol32s scaleFactor(const Core& c) {
    const Qol32s slow = c.yl >> 6, u = c.yu - slow;
    const Qol32s al = c.ap >= 256 ? 64 : c.ap >> 2;
    const Qol32s product = (al * (u < 0 ? -u : u)) >> 6;
    return slow + (u < 0 ? -product : product);
}

/// Exponents of floats in bits 23-30, least 0.5: what stands in for a logarithm. Lanes hold
/// 0..32767.
inline i128 floatBits(i128 magnitudes) {
    return _mm_castps_si128(_mm_max_ps(_mm_cvtepi32_ps(magnitudes), _mm_set1_ps(0.5f)));
}

/// Four products of FMULT (§2.7). magnitude: |c >> 2| in 32-bit lanes; packed: the delay line's
/// floats, interleaved as (mantissa, 48) and as exponent << 23. With c = cm 2^(ce-6) and cm the top
/// six bits, the product is
/// ((cm fm + 48) >> 4) 2^(e-19) truncated, e the sum of exponents: exact in a float, for the
/// mantissa has 8 bits.
inline i128 floatProducts(i128 magnitude, i128 mantissa48, i128 exponent) {
    const i128 bits = floatBits(magnitude);
    const i128 top = _mm_and_si128(_mm_srli_epi32(bits, 18), simd::splat32(31));
    const i128 cm =
        _mm_or_si128(top, simd::splat32(0x00010020)); // the implied bit, and a 1 beside the 48
    const i128 p = _mm_srli_epi32(simd::maddPairs(cm, mantissa48), 4);
    const i128 scale = simd::add32(_mm_and_si128(bits, simd::splat32(0x7F800000)), exponent);
    const i128 q = _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(p), _mm_castsi128_ps(scale)));
    return _mm_and_si128(q, simd::splat32(0x7FFF));
}

/// Sum of the four 32-bit lanes in every lane.
inline i128 sumEverywhere(i128 v) {
    v = simd::add32(v, _mm_shuffle_epi32(v, 0x4E));
    return simd::add32(v, _mm_shuffle_epi32(v, 0xB1));
}

/// 32-bit lanes wrapped to 16 bits, then shifted right by one.
inline i128 wrapHalve(i128 v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 17); }

/// Zero-predictor and signal estimate (§2.7, ACCUM).
inline Prediction predict(const Core& c) {
    const i128 magnitude =
        _mm_and_si128(_mm_abs_epi16(_mm_srai_epi16(c.coef, 2)), simd::splat16(0x1FFF));
    const i128 mantissa = _mm_and_si128(c.delay, simd::splat16(63));
    // (exponent - 18) << 7: bits 6-9 moved up by one; it becomes exponent << 23 in the upper half
    // of 32 bits.
    const i128 exponent = _mm_sub_epi16(
        _mm_slli_epi16(_mm_and_si128(c.delay, simd::splat16(0x3C0)), 1), simd::splat16(18 << 7));
    const i128 round = simd::splat16(48), zero = simd::zero();
    const i128 low =
        floatProducts(_mm_unpacklo_epi16(magnitude, zero), _mm_unpacklo_epi16(mantissa, round),
                      _mm_unpacklo_epi16(zero, exponent));
    const i128 high =
        floatProducts(_mm_unpackhi_epi16(magnitude, zero), _mm_unpackhi_epi16(mantissa, round),
                      _mm_unpackhi_epi16(zero, exponent));
    const i128 negative = _mm_srai_epi16(_mm_xor_si128(c.coef, c.delay), 15);
    const i128 products =
        _mm_sub_epi16(_mm_xor_si128(simd::packSat16(low, high), negative), negative);
    const i128 zeros = simd::maddPairs(products, _mm_setr_epi16(1, 1, 1, 1, 1, 1, 0, 0));
    const i128 all = simd::maddPairs(products, simd::splat16(1));
    return {wrapHalve(sumEverywhere(all)), _mm_cvtsi128_si32(wrapHalve(sumEverywhere(zeros)))};
}

/// Interval of the decision levels in which the logarithm of |difference| less y lies (§2.3, LOG,
/// SUBTB, QUAN): the index of the first level not above it, the lead value counting as 0. The lead
/// value needs no comparison: y is at least 544, so the logarithm is at most 14 * 128 + 127 - 136 <
/// 2048. difference: 16-bit value in 32-bit lanes.
template <int Rate>
inline int quantise(i128 difference, Qol32s y) {
    const i128 g = _mm_min_epi32(_mm_abs_epi32(difference), simd::splat32(32767));
    const i128 log =
        _mm_sub_epi32(_mm_srli_epi32(floatBits(g), 16), simd::splat32((127 << 7) + (y >> 2)));
    const i128 L = simd::packSat16(log, log);
    constexpr int n = kRates[Rate].levels;
    const Qol16s* lev = kRates[Rate].lev;
    if constexpr (n == 16) {
        const i128 above = _mm_packs_epi16(_mm_cmpgt_epi16(simd::load(lev), L),
                                           _mm_cmpgt_epi16(simd::load(lev + 8), L));
        return 1 + std::popcount(static_cast<unsigned>(_mm_movemask_epi8(above)));
    } else if constexpr (n == 8) {
        return 1 + std::popcount(static_cast<unsigned>(
                       _mm_movemask_epi8(_mm_cmpgt_epi16(simd::load(lev), L)))) /
                       2;
    } else {
        const Qol32s value = _mm_cvtsi128_si32(log);
        int i = 1;
        for (int k = 0; k < n; ++k) {
            i += lev[k] > value;
        }
        return i;
    }
}

/// Quantised difference of a code (§2.4, RECONST, ADDA, ANTILOG).
template <int Rate>
inline Difference dequantise(Qol32s code, Qol32s y) {
    const Qol32s dql = kRates[Rate].dqln[code] + (y >> 2);
    const Qol32s mantissa = ((dql & 127) + 128) << 7;
    const Qol32s dq = dql < 0 ? 0 : mantissa >> (14 - (dql >> 7 & 15));
    const Qol32s sign = code >> (kRates[Rate].bits - 1);
    return {code, dq, sign, sign ? -dq : dq};
}

/// Transition detector (§2.8, TRANS): a tone was on, and the difference passes 3/4 of the slow
/// scale factor.
inline bool isTransition(const Core& c, Qol32s dq) {
    const Qol32s e = c.yl >> 15;
    const Qol32s t = e > 9 ? 31744 : (32 + (c.yl >> 10 & 31)) << e;
    return (t + (t >> 1)) >> 1 < dq;
}

/// New pole-predictor coefficients (§2.7, UPA2, LIMC, UPA1, LIMD), without the transition's reset.
inline void updatePoles(Core& c, Qol32s dqsez, Qol32s pk0) {
    const Qol32s x = c.pk1 ^ pk0;
    const Qol32s f = 4 * (c.a1 > 8191 ? 8191 : c.a1 < -8191 ? -8191 : c.a1);
    const Qol32s step2 = ((x ? f : -f) + (c.pk2 == pk0 ? 16384 : -16384)) >> 7;
    const Qol32s step1 = x ? -192 : 192;
    const Qol32s moving = dqsez != 0 ? -1 : 0;
    Qol32s a2 = c.a2 - (c.a2 >> 7) + (step2 & moving);
    Qol32s a1 = c.a1 - (c.a1 >> 8) + (step1 & moving);
    a2 = a2 > 12288 ? 12288 : a2 < -12288 ? -12288 : a2;
    const Qol32s limit = 15360 - a2;
    a1 = a1 > limit ? limit : a1 < -limit ? -limit : a1;
    c.a1 = a1;
    c.a2 = a2;
}

/// Zero-predictor coefficients (§2.7, UPB): leak, and a step by the signs where the difference
/// isn't 0; then the poles take their lanes.
inline void updateCoefficients(Core& c, const Difference& d, int leak) {
    const Qol16s signMask = static_cast<Qol16s>(-d.sign);
    const i128 differ = _mm_srai_epi16(_mm_xor_si128(c.delay, simd::splat16(signMask)), 15);
    const i128 step = simd::splat16(d.magnitude ? 128 : 0);
    const i128 leaked = _mm_sub_epi16(c.coef, _mm_srai_epi16(c.coef, leak));
    const i128 b = _mm_add_epi16(leaked, _mm_sub_epi16(_mm_xor_si128(step, differ), differ));
    const Qol32s poles =
        static_cast<Qol32s>(static_cast<Qol32u>(c.a2) << 16 | (static_cast<Qol32u>(c.a1) & 0xFFFF));
    c.coef = _mm_insert_epi32(b, poles, 3);
}

/// Delay lines take the difference and the reconstructed value as packed floats (§2.7, FLOATA,
/// FLOATB).
inline void shiftDelay(Core& c, const Difference& d, i128 sr) {
    // |sr| of -32768 counts as 0 there: the standard's 15-bit magnitude of it.
    const i128 srMagnitude = _mm_and_si128(_mm_abs_epi32(sr), simd::splat32(0x7FFF));
    const i128 both = _mm_unpacklo_epi32(_mm_cvtsi32_si128(d.magnitude), srMagnitude);
    const i128 bits = floatBits(both);
    // exponent << 6 | implied bit | top five bits of the mantissa; the float's exponent of 0.5 is
    // 126
    const i128 packed = _mm_sub_epi32(
        simd::add32(_mm_srli_epi32(bits, 18),
                    _mm_srli_epi32(_mm_and_si128(bits, simd::splat32(0x7F800000)), 18)),
        simd::splat32(126 * 64 - 32));
    const i128 signs = _mm_unpacklo_epi32(_mm_cvtsi32_si128(d.sign << 15),
                                          _mm_and_si128(sr, simd::splat32(0x8000)));
    const i128 fresh = _mm_or_si128(packed, signs);
    const i128 placed = _mm_shuffle_epi8(
        fresh, _mm_setr_epi8(0, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 4, 5, -1, -1));
    c.delay = _mm_blend_epi16(_mm_slli_si128(c.delay, 2), placed, 0x41);
}

/// Scale factors and averages (§2.5 FILTD, LIMB, FILTE; §2.6).
template <int Rate>
inline void updateScale(Core& c, Qol32s code, bool transition, Qol32s td) {
    const Qol32s y = c.y;
    const Qol32s yut = y + ((kRates[Rate].wi[code] - y) >> 5);
    c.yu = yut > 5120 ? 5120 : yut < 544 ? 544 : yut;
    c.yl += ((-c.yl) >> 6) + c.yu;
    const Qol32s fi = kRates[Rate].map[code];
    c.dms += (fi - c.dms) >> 5;
    c.dml += (fi * 4 - c.dml) >> 7;
    const Qol32s z = c.dms * 4 - c.dml;
    const bool steady = y >= 1536 && (z < 0 ? -z : z) < c.dml >> 3 && !td;
    c.ap = transition ? 256 : c.ap + (((steady ? 0 : 512) - c.ap) >> 4);
    c.td = td;
}

/// All that follows once the code is known; returns the reconstructed value in 32-bit lanes.
template <int Rate>
inline i128 update(Core& c, const Prediction& p, const Difference& d) {
    const i128 sum = simd::add32(p.se, simd::splat32(d.value));
    const i128 sr = _mm_srai_epi32(_mm_slli_epi32(sum, 16), 16);
    const Qol32s dqsez = wrap16(p.sez + d.value);
    const Qol32s pk0 = dqsez < 0;
    const bool transition = c.td && isTransition(c, d.magnitude);
    updatePoles(c, dqsez, pk0);
    const Qol32s td = c.a2 < -11776;
    updateCoefficients(c, d, kRates[Rate].leak);
    if (transition) [[unlikely]] {
        c.coef = simd::zero();
        c.a1 = c.a2 = 0;
    }
    updateScale<Rate>(c, d.code, transition, transition ? 0 : td);
    shiftDelay(c, d, sr);
    c.sez = p.sez;
    c.pk2 = c.pk1;
    c.pk1 = pk0;
    return sr;
}

/// Calls run(the rate as a compile-time constant).
template <typename Run>
inline void withRate(Qol16s rateIndex, Run run) {
    switch (rateIndex) {
    case 0:
        return run(std::integral_constant<int, 0>());
    case 1:
        return run(std::integral_constant<int, 1>());
    case 2:
        return run(std::integral_constant<int, 2>());
    default:
        return run(std::integral_constant<int, 3>());
    }
}

/// Records lie at any address: calls run(an aligned copy) and puts that back.
template <typename State, typename Run>
inline void onCopy(State* pState, Run run) {
    State state;
    std::memcpy(&state, static_cast<const void*>(pState), sizeof state);
    run(state);
    std::memcpy(static_cast<void*>(pState), &state, sizeof state);
}

/// Index of a rate in kRates, or -1.
constexpr int rateIndex(QolSpchBitRate rate) {
    switch (rate) {
    case QOL_SPCHBR_16000:
        return 0;
    case QOL_SPCHBR_24000:
        return 1;
    case QOL_SPCHBR_32000:
        return 2;
    case QOL_SPCHBR_40000:
        return 3;
    default:
        return -1;
    }
}

/// The standard's reset state (§2.9); fields that are written before they are read stay as they
/// are.
inline void resetCore(QolsEncodeState_G726& s, int rate) {
    const QolsEncodeState_G726 old = s;
    s = QolsEncodeState_G726{};
    std::memcpy(s.reserved, old.reserved, sizeof s.reserved);
    s.pk0 = old.pk0;
    s.sez = old.sez;
    s.rateIndex = static_cast<Qol16s>(rate);
    s.yu = 544;
    s.yl = 34816;
    for (Qol16u& f : s.dqFloat) {
        f = 32;
    }
    for (Qol16u& f : s.srFloat) {
        f = 32;
    }
}

} // namespace qolsc::g726
