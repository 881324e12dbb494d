// SPDX-License-Identifier: Apache-2.0
// Fast form of the G.722 ADPCM: both bands at once, the lower in 16-bit lane 0, the higher in lane
// 1, so that every saturation and limit is one instruction for both. It equals the plain form of
// g722band.h for every record that Init, the coder and the resynchronisation can leave.
//
// Ranges that it rests on: scale factors are 16384 at most, so quantised differences stay within
// +-10228 and a product with a Q14 coefficient, shifted, fits 16 bits. |a2| <= 12288, |a1| <=
// 27648.
#pragma once

#include "vector/simd.h"
#include "waveform/g722band.h"

#include <bit>

namespace qolsc::g722 {

using simd::i128;

/// The bands' scalars in lanes 0 and 1; p1, r1 are those of the last sample, p2, r2 of the one
/// before.
struct Pair {
    i128 a1, a2;         ///< pole predictors, Q14
    i128 p1, p2, r1, r2; ///< partial and reconstructed signals
    i128 dq, sz, sp, s;  ///< difference, predictions of zeros, poles, both
    i128 bl, bh, dl, dh; ///< zero predictors and differences of each band in lanes 0..5
    int nbl, nbh, detl, deth;
};

inline i128 lanes(Qol16s low, Qol16s high) {
    return _mm_cvtsi32_si128(static_cast<int>(
        static_cast<Qol16u>(low) | static_cast<Qol32u>(static_cast<Qol16u>(high)) << 16));
}

// ---- predictors ----

/// b' = 255/256 b +- 128 by the signs of the new and the old differences, no step for a difference
/// of 0; the new difference enters the line; returns the sums of pairs of the shifted products.
inline i128 adaptZeros(i128& b, i128& d, i128 dq) {
    const i128 step = _mm_setr_epi16(128, 128, 128, 128, 128, 128, 0, 0);
    // The old differences' signs, 0 counting as positive; psignw by the new one gives 0 for 0.
    const i128 signs = _mm_sign_epi16(step, _mm_or_si128(d, simd::splat16(1)));
    // floor(-b/256) as the upper half of -256 b: exact for every b.
    const i128 leaked = _mm_add_epi16(b, _mm_mulhi_epi16(b, simd::splat16(-256)));
    b = _mm_add_epi16(leaked, _mm_sign_epi16(signs, dq));
    d = _mm_blend_epi16(_mm_slli_si128(d, 2), dq, 1);
    const i128 products = _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(b, d), 2),
                                       _mm_srli_epi16(_mm_mullo_epi16(b, d), 14));
    return simd::maddPairs(products, simd::splat16(1));
}

/// All that follows from the bands' new differences but the scale factors.
inline void adaptPredictors(Pair& t, i128 dq) {
    const i128 zero = simd::zero();
    t.dq = dq;
    const i128 p = _mm_add_epi16(dq, t.sz), r = _mm_add_epi16(t.s, dq);

    // Zero predictors.
    const i128 everyLow = _mm_set1_epi16(0x0100), everyHigh = _mm_set1_epi16(0x0302);
    const i128 l = adaptZeros(t.bl, t.dl, _mm_shuffle_epi8(dq, everyLow));
    const i128 h = adaptZeros(t.bh, t.dh, _mm_shuffle_epi8(dq, everyHigh));
    const i128 half = simd::add32(_mm_unpacklo_epi32(l, h), _mm_unpackhi_epi32(l, h));
    const i128 sum = simd::add32(half, _mm_shuffle_epi32(half, 0x4E));
    t.sz = simd::packSat16(sum, sum);

    // Pole predictors: differ1 and differ2 are -1 where the partial signal changed its sign.
    const i128 sign = _mm_srai_epi16(p, 15);
    const i128 differ1 = _mm_xor_si128(sign, _mm_srai_epi16(t.p1, 15));
    const i128 differ2 = _mm_xor_si128(sign, _mm_srai_epi16(t.p2, 15));
    const i128 twice = simd::addSat16(t.a1, t.a1), f = simd::addSat16(twice, twice);
    const i128 gradient =
        _mm_blendv_epi8(_mm_srai_epi16(simd::subSat16(zero, f), 7), _mm_srai_epi16(f, 7), differ1);
    const i128 leaked2 = _mm_add_epi16(
        _mm_add_epi16(t.a2, _mm_srai_epi16(_mm_sub_epi16(zero, t.a2), 7)), simd::splat16(128));
    const i128 leaked1 = _mm_add_epi16(
        _mm_add_epi16(t.a1, _mm_srai_epi16(_mm_sub_epi16(zero, t.a1), 8)), simd::splat16(192));
    const i128 a2 = _mm_add_epi16(_mm_add_epi16(leaked2, gradient),
                                  _mm_and_si128(differ2, simd::splat16(-256)));
    t.a2 = _mm_max_epi16(_mm_min_epi16(a2, simd::splat16(12288)), simd::splat16(-12288));
    const i128 bound = _mm_sub_epi16(simd::splat16(15360), t.a2);
    const i128 a1 = _mm_add_epi16(leaked1, _mm_and_si128(differ1, simd::splat16(-384)));
    t.a1 = _mm_max_epi16(_mm_min_epi16(a1, bound), _mm_sub_epi16(zero, bound));

    // New predictions. Each product is truncated by itself.
    const auto product = [zero](i128 signal, i128 coefficient) {
        const i128 doubled = simd::addSat16(signal, signal);
        return _mm_srai_epi32(simd::maddPairs(_mm_unpacklo_epi16(doubled, zero),
                                              _mm_unpacklo_epi16(coefficient, zero)),
                              15);
    };
    const i128 poles = simd::add32(product(r, t.a1), product(t.r1, t.a2));
    t.sp = simd::packSat16(poles, poles);
    t.s = simd::addSat16(t.sp, t.sz);
    t.p2 = t.p1, t.p1 = p;
    t.r2 = t.r1, t.r1 = r;
}

// ---- scale factors ----

/// Scale factor by logarithm >> 6, the lower band's entries first displaced by two octaves.
inline constexpr auto kScale = [] {
    std::array<Qol16s, tables::table_ila.size()> t{};
    for (std::size_t i = 0; i < t.size(); ++i) {
        t[i] = static_cast<Qol16s>(tables::table_ila[i] * 4 + 4);
    }
    return t;
}();

inline void adaptScales(Pair& t, int stepLow, int stepHigh) {
    const auto next = [](int nb, int step, int most) {
        const int x = ((nb * 127) >> 7) + step;
        return x < 0 ? 0 : x > most ? most : x;
    };
    t.nbl = next(t.nbl, stepLow, kNbMax<BandId::low>);
    t.nbh = next(t.nbh, stepHigh, kNbMax<BandId::high>);
    t.detl = kScale[static_cast<unsigned>((t.nbl >> 6) + 64)];
    t.deth = kScale[static_cast<unsigned>(t.nbh >> 6)];
}

/// What a code means for the decoder and the adaptation.
struct CodeStep {
    Qol16s level; ///< signed relative level, Q12
    Qol16s step;  ///< of the logarithm
};
inline constexpr auto kLowSteps = [] {
    std::array<CodeStep, 16> t{};
    for (std::size_t c = 0; c < t.size(); ++c) {
        t[c] = {kLevel4[c], tables::table_quant_wl[tables::table_quant_ril4[c]]};
    }
    return t;
}();
inline constexpr auto kHighSteps = [] {
    std::array<CodeStep, 4> t{};
    for (std::size_t c = 0; c < t.size(); ++c) {
        t[c] = {kLevel2[c], tables::table_quant_wh[tables::table_quant_ih2[c]]};
    }
    return t;
}();

inline i128 differences(const Pair& t, int levelLow, int levelHigh) {
    return lanes(static_cast<Qol16s>((t.detl * levelLow) >> 12),
                 static_cast<Qol16s>((t.deth * levelHigh) >> 12));
}

// ---- coder ----

/// Decision levels times 16, so that the upper half of the product with the scale factor is the
/// threshold: the seven that part the 4-bit codes, and the higher band's one in the last lane.
struct Thresholds {
    alignas(16) Qol16u coarse[8];
    alignas(8) Qol16u fine[8][4]; ///< inside each 4-bit code
};
inline constexpr Thresholds kThresholds = [] {
    Thresholds t{};
    const auto level = [](int i) { return static_cast<Qol16u>(tables::table_quant_q6[i] * 16); };
    for (int r = 0; r < 7; ++r) {
        t.coarse[r] = level(4 * r + 2);
    }
    t.coarse[7] = 564 * 16;
    for (int r = 0; r < 8; ++r) {
        for (int k = 0; k < 4; ++k) {
            // Intervals 0 and 1 are the first code, then four of each. A threshold of 0 never
            // counts.
            const bool inside = r == 0 ? k == 0 : k < 3;
            t.fine[r][k] = inside ? level(r == 0 ? 1 : 4 * r - 1 + k) : Qol16u{0};
        }
    }
    return t;
}();

/// By twice the count of coarse thresholds above the magnitude, plus one for a negative difference.
struct LowInterval {
    CodeStep step;
    Qol16s lastCode; ///< 6-bit code of the last interval; those before it rise
    Qol16s row;      ///< of the fine thresholds
};
inline constexpr auto kLowIntervals = [] {
    std::array<LowInterval, 16> t{};
    for (int n = 0; n < 16; ++n) {
        const int r = 7 - n / 2, last = 4 * r + 1;
        const auto code = tables::table_misil[(n % 2 != 0 ? 0 : 32) + last + 1];
        t[n] = {kLowSteps[code >> 2], code, static_cast<Qol16s>(r)};
    }
    return t;
}();

inline void encodePair(Pair& t, const Qol16s* pSrc, Qol16s* pDst) {
    // Saturated differences have the same codes: thresholds end at 12800.
    const i128 e = simd::subSat16(lanes(pSrc[0], pSrc[1]), t.s);
    const i128 magnitude = _mm_xor_si128(e, _mm_srai_epi16(e, 15));
    const i128 lowButLast = _mm_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 2, 3);
    const i128 scale = _mm_shuffle_epi8(
        lanes(static_cast<Qol16s>(t.detl), static_cast<Qol16s>(t.deth)), lowButLast);
    const i128 w = _mm_shuffle_epi8(magnitude, lowButLast);
    const i128 above = _mm_cmpgt_epi16(_mm_mulhi_epu16(simd::load(kThresholds.coarse), scale), w);
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(above));
    const auto signs = static_cast<unsigned>(_mm_cvtsi128_si32(e));

    const unsigned n = static_cast<unsigned>(std::popcount(mask & 0x3FFF)) + (signs >> 15 & 1);
    const LowInterval& low = kLowIntervals[n];
    // 0, 1 for negative, 2, 3 for positive differences, the odd ones small.
    const unsigned codeHigh = (~signs >> 31) << 1 | mask >> 15;
    const CodeStep high = kHighSteps[codeHigh];
    const i128 dq = differences(t, low.step.level, high.level);

    // The rest of the code isn't needed for what follows.
    const i128 fine = _mm_mulhi_epu16(simd::loadLow64(kThresholds.fine[low.row]), scale);
    const auto finer = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpgt_epi16(fine, w)));
    adaptScales(t, low.step.step, high.step);
    adaptPredictors(t, dq);
    pDst[0] = static_cast<Qol16s>(low.lastCode + std::popcount(finer & 0xFF) / 2);
    pDst[1] = static_cast<Qol16s>(codeHigh);
}

// ---- decoder ----

template <LowBits N>
inline void decodePair(Pair& t, const Qol16s* pSrc, Qol16s* pDst) {
    const int codeLow = pSrc[0] & 63, codeHigh = pSrc[1] & 3;
    const CodeStep low = kLowSteps[static_cast<unsigned>(codeLow >> 2)];
    const CodeStep high = kHighSteps[static_cast<unsigned>(codeHigh)];
    const int level = N == LowBits::six    ? kLevel6[static_cast<unsigned>(codeLow)]
                      : N == LowBits::five ? kLevel5[static_cast<unsigned>(codeLow >> 1)]
                                           : low.level;
    const i128 dq = differences(t, low.level, high.level);
    // The lower band's output has the full code's difference, the higher band's is the wrapped
    // reconstruction.
    const i128 full = _mm_cvtsi32_si128((t.detl * level) >> 12);
    const i128 y = _mm_blend_epi16(_mm_add_epi16(t.s, dq), simd::addSat16(t.s, full), 1);
    const i128 limited =
        _mm_max_epi16(_mm_min_epi16(y, simd::splat16(16383)), simd::splat16(-16384));
    const int out = _mm_cvtsi128_si32(limited);
    adaptScales(t, low.step, high.step);
    adaptPredictors(t, dq);
    pDst[0] = static_cast<Qol16s>(out);
    pDst[1] = static_cast<Qol16s>(out >> 16);
}

// ---- record ----

inline i128 six(const Qol16s* p) {
    return _mm_setr_epi16(p[0], p[1], p[2], p[3], p[4], p[5], 0, 0);
}

inline Pair pairOf(const QolsSBADPCMState_G722& s) {
    Pair t;
    t.a1 = lanes(s.al1, s.ah1), t.a2 = lanes(s.al2, s.ah2);
    t.p1 = lanes(s.plt1, s.ph1), t.p2 = lanes(s.plt2, s.ph2);
    t.r1 = lanes(s.rlt1, s.rh1), t.r2 = lanes(s.rlt2, s.rh2);
    t.dq = lanes(s.dlt, s.dh), t.sz = lanes(s.szl, s.szh);
    t.sp = lanes(s.spl, s.sph), t.s = lanes(s.sl, s.sh);
    t.bl = six(s.bl), t.bh = six(s.bh), t.dl = six(s.dltDelay), t.dh = six(s.dhDelay);
    t.nbl = s.nbl, t.nbh = s.nbh, t.detl = s.detl, t.deth = s.deth;
    return t;
}

inline void storePair(const Pair& t, QolsSBADPCMState_G722& s) {
    const auto split = [](i128 v, Qol16s& low, Qol16s& high) {
        const int both = _mm_cvtsi128_si32(v);
        low = static_cast<Qol16s>(both);
        high = static_cast<Qol16s>(both >> 16);
    };
    const auto storeSix = [](i128 v, Qol16s* p) {
        simd::storeLow64(p, v);
        const int last = _mm_extract_epi32(v, 2);
        p[4] = static_cast<Qol16s>(last);
        p[5] = static_cast<Qol16s>(last >> 16);
    };
    split(t.a1, s.al1, s.ah1), split(t.a2, s.al2, s.ah2);
    split(t.p1, s.plt, s.ph), split(t.r1, s.rlt, s.rh);
    split(t.p1, s.plt1, s.ph1), split(t.p2, s.plt2, s.ph2);
    split(t.r1, s.rlt1, s.rh1), split(t.r2, s.rlt2, s.rh2);
    split(t.dq, s.dlt, s.dh), split(t.sz, s.szl, s.szh);
    split(t.sp, s.spl, s.sph), split(t.s, s.sl, s.sh);
    storeSix(t.bl, s.bl), storeSix(t.bh, s.bh), storeSix(t.dl, s.dltDelay),
        storeSix(t.dh, s.dhDelay);
    s.nbl = static_cast<Qol16s>(t.nbl), s.nbh = static_cast<Qol16s>(t.nbh);
    s.detl = static_cast<Qol16s>(t.detl), s.deth = static_cast<Qol16s>(t.deth);
}

} // namespace qolsc::g722
