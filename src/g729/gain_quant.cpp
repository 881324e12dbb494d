// SPDX-License-Identifier: Apache-2.0
// Conjugate-structure quantiser of the pitch and code gains of G.729 (3.9.2, 3.9.3) and of its 6.4
// kbit/s form (D.5.9).
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/gain.h"
#include "g729/pitch.h"
#include "numeric/helpers.h"
#include "tables/g729_gain.h"
#include "vector/q15.h"

namespace qolsc {

using namespace tables::g729;

namespace {

using namespace basop;

constexpr Qol16s kTamedEstimate_Q9 = 481; // 0.94
constexpr Qol16s kTamedGain_Q14 = 16383;
constexpr int kLanes = 8;

/// A codebook of two stages with its preselection and scalings.
struct Codebook {
    const Qol16s (*stage1)[2];
    const Qol16s (*stage2)[2];
    const Qol16s *map1, *map2;
    const Qol16s *thr1, *thr2;
    int thresholds1, thresholds2;
    int window1, window2; // rows that are searched
    const Qol16s (*coef)[2];
    const Qol32s (*coef32)[2];
    int codeShift;  // code gain estimate to the transform's scale
    Qol16s inverse; // of the transform's determinant
    int shift1;     // threshold scale of stage 1
    int exponent;   // the code gain counts times 2^-exponent more
};

constexpr Codebook kCodebook8k{gbk1, gbk2, map1,      map2,        thr1, thr2,   4, 8,
                               4,    8,    gain_coef, gain_L_coef, 7,    -17103, 3, 0};
constexpr Codebook kCodebook6k{gbk1_6k, gbk2_6k, map1_6k, map2_6k, thr1_6k,      thr2_6k,
                               2,       2,       6,       6,       gain_coef_6k, gain_L_coef_6k,
                               6,       -28940,  2,       1};

/// A 16-bit mantissa and an exponent: mantissa 2^-exponent.
struct Scaled {
    Qol16s mantissa;
    int exponent;
};

/// The five terms of the squared error: of gp^2, gp, gc^2, gc and gp gc.
struct Terms {
    Scaled c[5];
};

Scaled normalise(Qol64s sum) {
    const Qol32s value = saturate32(2 * sum + 1);
    const int n = norm(value);
    return {normalisedWord(value, n), n};
}

Terms errorTerms(const Qol16s* x, const Qol16s* y1, const Qol16s* y2) {
    GainWords w;
    _qolsComputeAdaptiveCodebookGain_16s(x, y1, &w);
    Qol16s z[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        z[i] = static_cast<Qol16s>(y2[i] >> 3);
    }
    const Scaled zz = normalise(energyExact(z, kSubframe)),
                 xz = normalise(dotExact(x, z, kSubframe)),
                 yz = normalise(dotExact(y1, z, kSubframe));
    return {{{w.yy, w.yyExp - 15},
             {negate(w.xy), w.xy <= 0 ? 14 : w.xyExp - 16},
             {zz.mantissa, zz.exponent + 3},
             {negate(xz.mantissa), xz.exponent - 7},
             {yz.mantissa, yz.exponent - 7}}};
}

/// a 2^-ea - b 2^-eb with `margin` bits of headroom, normalised to a word.
Scaled difference(Qol32s a, int ea, Qol32s b, int eb, int margin) {
    const Qol32s t = ea > eb ? L_sub(L_shr(a, ea - eb + margin), L_shr(b, margin))
                             : L_sub(L_shr(a, margin), L_shr(b, eb - ea + margin));
    const int n = norm(t);
    return {extract_h(L_shl(t, n)), (ea > eb ? eb : ea) - margin + n - 16};
}

/// Gains at which the error is least without quantisation: pitch Q9, code Q2.
struct Optimum {
    Qol16s pitch, code;
};

Optimum bestGains(const Terms& t, bool tame) {
    const Scaled* c = t.c;
    const auto product = [c](int i, int j) { return L_mult(c[i].mantissa, c[j].mantissa); };
    const auto exponent = [c](int i, int j) { return c[i].exponent + c[j].exponent; };
    const Scaled d =
        difference(product(0, 2), exponent(0, 2) - 1, product(4, 4), exponent(4, 4) + 1, 0);
    const Qol16s inverse = d.mantissa <= 16384 ? static_cast<Qol16s>(-32767)
                                               : static_cast<Qol16s>(-(0x20000000 / d.mantissa));
    const int inverseExp = 29 - d.exponent;
    const auto solve = [inverse, inverseExp](Scaled n, int q) {
        return extract_h(L_shr(L_mult(n.mantissa, inverse), n.exponent + inverseExp - q));
    };
    Optimum best{
        solve(difference(product(2, 1), exponent(2, 1), product(3, 4), exponent(3, 4) + 1, 1), 24),
        solve(difference(product(0, 3), exponent(0, 3), product(1, 4), exponent(1, 4) + 1, 1), 17)};
    if (tame && best.pitch > kTamedEstimate_Q9) {
        best.pitch = kTamedEstimate_Q9;
    }
    return best;
}

/// First rows of the windows of both stages.
struct Start {
    int row1, row2;
};

/// Count of the thresholds that a value passes, from the first on; they scale with the predicted
/// gain.
int passed(Qol32s value, const Qol16s* thr, int count, Qol16s gain, int shift) {
    int k = 0;
    while (k < count) {
        const Qol32s over = L_sub(value, L_shr(L_mult(thr[k], gain), shift));
        if (gain > 0 ? over <= 0 : over >= 0) {
            break;
        }
        ++k;
    }
    return k;
}

Start preselect(const Codebook& b, Optimum best, PredictedGain g0) {
    const Qol16s gain = g0.exponent >= 4 ? shr(g0.value, g0.exponent - 4)
                                         : extract_h(L_shl(g0.value, 20 - g0.exponent));
    const auto transform = [&b](Qol32s w) { return L_mult(extract_h(L_shl(w, 2)), b.inverse); };
    const Qol32s f = L_mult(b.coef[0][0], best.pitch);
    const Qol16s u = extract_h(L_add(f, b.coef32[1][1] >> 15));
    const Qol32s x = transform(L_sub(L_shl(best.code, b.codeShift), L_mult(u, gain)));
    const Qol16s v = mult(extract_h(L_sub(f, b.coef32[0][1] >> 10)), gain);
    const Qol32s y =
        transform(L_sub(L_mult(v, b.coef[1][0]), L_shr(L_mult(b.coef[0][0], best.code), 3)));
    return {passed(y, b.thr1, b.thresholds1, gain, b.shift1),
            passed(x, b.thr2, b.thresholds2, gain, 5)};
}

using simd::i128;

/// Eight 32-bit values.
struct Wide {
    i128 low, high;
};

i128 addSat32(i128 a, i128 b) {
    const i128 s = simd::add32(a, b);
    const i128 overflow = _mm_andnot_si128(_mm_xor_si128(a, b), _mm_xor_si128(a, s));
    const i128 limit = _mm_xor_si128(_mm_srai_epi32(a, 31), simd::splat32(MAX_32));
    return _mm_castps_si128(
        _mm_blendv_ps(_mm_castsi128_ps(s), _mm_castsi128_ps(limit), _mm_castsi128_ps(overflow)));
}

/// Double-precision product of a split weight with eight gains, which are never -32768.
Wide weigh(Dpf w, i128 gain) {
    const i128 hi = simd::splat16(w.hi);
    const i128 lowHalf = _mm_mullo_epi16(gain, hi), highHalf = _mm_mulhi_epi16(gain, hi);
    const i128 rest = simd::mulQ15(gain, simd::splat16(w.lo));
    const auto doubled = [](i128 product, i128 fine) {
        return _mm_slli_epi32(simd::add32(product, fine), 1);
    };
    return {doubled(_mm_unpacklo_epi16(lowHalf, highHalf), simd::widenLow(rest)),
            doubled(_mm_unpackhi_epi16(lowHalf, highHalf), simd::widenHigh(rest))};
}

/// Errors of eight pairs of gains by the five weights, summed in order with saturation.
void weightedErrors(const Dpf* w, i128 gp, i128 gc, Qol32s* error) {
    const i128 gains[5] = {simd::mulQ15(gp, gp), gp, simd::mulQ15(gc, gc), gc,
                           simd::mulQ15(gc, gp)};
    Wide sum = weigh(w[0], gains[0]);
    for (int i = 1; i < 5; ++i) {
        const Wide term = weigh(w[i], gains[i]);
        sum = {addSat32(sum.low, term.low), addSat32(sum.high, term.high)};
    }
    simd::store(error, sum.low);
    simd::store(error + 4, sum.high);
}

/// Pair of rows with the least error within the windows; the first one of equals, and the first of
/// the window when taming leaves none.
Start ownWeightedMSE(const Codebook& b, const Terms& t, PredictedGain g0, Start start, bool tame) {
    const int exponents[5] = {t.c[0].exponent + 13, t.c[1].exponent + 14,
                              t.c[2].exponent + 2 * g0.exponent - 21 + 2 * b.exponent,
                              t.c[3].exponent + g0.exponent - 3 + b.exponent,
                              t.c[4].exponent + g0.exponent - 4 + b.exponent};
    int least = exponents[0];
    for (const int e : exponents) {
        least = e < least ? e : least;
    }
    Dpf w[5];
    for (int i = 0; i < 5; ++i) {
        w[i] = L_Extract(L_shr(L_deposit_h(t.c[i].mantissa), exponents[i] - least));
    }
    // The rows of stage 2 lie in the lanes; a window of 6 repeats its last row.
    alignas(16) Qol16s pitch2[kLanes], code2[kLanes];
    for (int k = 0; k < kLanes; ++k) {
        const Qol16s* row = b.stage2[start.row2 + (k < b.window2 ? k : b.window2 - 1)];
        pitch2[k] = row[0];
        code2[k] = row[1];
    }
    Start best = start;
    Qol32s lowest = MAX_32;
    for (int i = start.row1; i < start.row1 + b.window1; ++i) {
        const i128 gp = simd::addSat16(simd::splat16(b.stage1[i][0]), simd::load(pitch2));
        const i128 a = simd::splat16(b.stage1[i][1]), c = simd::load(code2);
        const i128 half =
            _mm_add_epi16(_mm_add_epi16(_mm_srai_epi16(a, 1), _mm_srai_epi16(c, 1)),
                          _mm_and_si128(_mm_and_si128(a, c), simd::splat16(1))); // (a + c) >> 1
        alignas(16) Qol32s error[kLanes];
        alignas(16) Qol16s pitch[kLanes];
        weightedErrors(w, gp, simd::mulQ15(half, simd::splat16(g0.value)), error);
        simd::store(pitch, gp);
        for (int k = 0; k < b.window2; ++k) {
            if (error[k] < lowest && !(tame && pitch[k] >= kTamedGain_Q14)) {
                lowest = error[k];
                best = {i, start.row2 + k};
            }
        }
    }
    return best;
}

QolStatus quantise(const Codebook& b, const Qol16s* x, const Qol16s* y1, const Qol16s* code,
                   const Qol16s* y2, Qol16s* history, Qol16s* gains, Qol16s* index,
                   Qol16s tameProcess) {
    if (anyNull(x, y1, code, y2, history, gains, index)) {
        return qolStsNullPtrErr;
    }
    if (tameProcess < 0 || tameProcess > 1) {
        return qolStsSizeErr;
    }
    const bool tame = tameProcess == 1;
    const Terms terms = errorTerms(x, y1, y2);
    const PredictedGain g0 = ownGainPredict(saturate32(energyExact(code, kSubframe)), history);
    const Start start = preselect(b, bestGains(terms, tame), g0);
    const Start best = ownWeightedMSE(b, terms, g0, start, tame);

    const Qol32s correction = b.stage1[best.row1][1] + b.stage2[best.row2][1];
    const auto half = static_cast<Qol16s>(correction >> 1);
    gains[0] = add(b.stage1[best.row1][0], b.stage2[best.row2][0]);
    gains[1] = extract_h(L_shl(L_mult(half, g0.value), 4 - b.exponent - g0.exponent));
    index[0] = b.map1[best.row1];
    index[1] = b.map2[best.row2];
    ownGainUpdate(correction >> b.exponent, history);
    return qolStsNoErr;
}

} // namespace

QolStatus qolsGainQuant_G729_16s(const Qol16s* pSrcAdptTarget, const Qol16s* pSrcFltAdptVector,
                                 const Qol16s* pSrcFixedVector, const Qol16s* pSrcFltFixedVector,
                                 Qol16s* pSrcDstEnergyErr, Qol16s* pDstQGain,
                                 Qol16s* pDstQGainIndex, Qol16s tameProcess) noexcept {
    return quantise(kCodebook8k, pSrcAdptTarget, pSrcFltAdptVector, pSrcFixedVector,
                    pSrcFltFixedVector, pSrcDstEnergyErr, pDstQGain, pDstQGainIndex, tameProcess);
}

QolStatus qolsGainQuant_G729D_16s(const Qol16s* pSrcAdptTarget, const Qol16s* pSrcFltAdptVector,
                                  const Qol16s* pSrcFixedVector, const Qol16s* pSrcFltFixedVector,
                                  Qol16s* pSrcDstEnergyErr, Qol16s* pDstQGain,
                                  Qol16s* pDstQGainIndex, Qol16s tameProcess) noexcept {
    return quantise(kCodebook6k, pSrcAdptTarget, pSrcFltAdptVector, pSrcFixedVector,
                    pSrcFltFixedVector, pSrcDstEnergyErr, pDstQGain, pDstQGainIndex, tameProcess);
}

} // namespace qolsc
